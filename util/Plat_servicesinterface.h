#pragma once
// IServicesInterface: what the framework asks of its host application. The
// host implements it (options, receipt numbering, input method, navigation to
// its own forms, the history of recently opened views) and hands it to the
// forms; the framework never owns it. TClientUtils (util/Plat_clientutils.h)
// wraps every call in Qt types, and framework code goes through those wrappers.
//
// The operations are called across module boundaries, so they take plain
// zero-terminated GBK strings. Text results go into caller-supplied buffers of
// kBufferSize bytes with a length out-parameter: the implementation writes at
// most kBufferSize bytes, no terminator is required, and sets the length to the
// number of bytes written. The caller sets the length to 0 before the call, so
// an implementation that has nothing to say may leave it alone.
//
// The operation order is fixed; new operations go at the end.

namespace lnq {

class IServicesInterface {
public:
    static constexpr int kBufferSize = 512;

    virtual ~IServicesInterface() = default;

    // 1-3. Host options (the host's own configuration store). An empty answer
    // means "not set"; callers apply their default.
    virtual void GetOptionValue(const char* optionName, char* value, int& valueLen) = 0;
    virtual void GetOptionValueEx(const char* section, const char* optionName, char* value,
                                  int& valueLen) = 0;
    virtual void SetOptionValueEx(const char* section, const char* optionName, const char* value) = 0;

    // 4-6. Receipt numbering per receipt kind: the next number, and the four
    // setting texts of the kind's numbering scheme (read and written in order).
    virtual void GetReceiptNo(const char* receiptKind, char* receiptNo, int& receiptNoLen) = 0;
    virtual void GetReceiptNoSetting(const char* receiptKind, char* setting1, int& setting1Len,
                                     char* setting2, int& setting2Len, char* setting3, int& setting3Len,
                                     char* setting4, int& setting4Len) = 0;
    virtual void SetReceiptNoSetting(const char* receiptKind, const char* setting1, const char* setting2,
                                     const char* setting3, const char* setting4) = 0;

    // 7. Name of the input method the user configured for Chinese entry.
    virtual void GetImeName(char* imeName, int& imeNameLen) = 0;

    // 8. Navigation: an in-application link such as
    // "app://CustomerForm?Action=EDIT&KeyField=12", resolved by the host
    // (typically to one of its editor forms).
    virtual void OpenAppLink(const char* link) = 0;

    // 9-11. History of recently opened views for one kind of list (its vExt),
    // newest first, shown by the saved views frame. An item is a caption and
    // the full SQL that opens it. Unlike the other operations, GetRecentItem
    // takes the buffers' capacities in captionLen / sqlLen on entry (SQL texts
    // outgrow 512 bytes); it returns false for an index out of range. A text
    // longer than its buffer is not written: its length comes back larger than
    // the capacity, and the caller asks again with a buffer of that size.
    virtual int GetRecentCount(const char* ext) = 0;
    virtual bool GetRecentItem(const char* ext, int index, char* caption, int& captionLen, char* sql,
                               int& sqlLen) = 0;
    virtual void AddRecentItem(const char* ext, const char* caption, const char* sql) = 0;
};

} // namespace lnq
