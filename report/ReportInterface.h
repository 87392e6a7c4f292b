#pragma once
// The report library's interfaces: what a host loads from the report library
// ("KxCellDll.dll", see below) and what it hands to it.
//
// Entry point: the library exports the C function "CreateReportEx", taking no
// argument and returning a new report object (IReport, reference count 1);
// the caller releases it. The object offers, after the three reference-
// counting operations, one operation per print kind in the order of
// TPrintType: design, preview, print, setup, export to a spreadsheet. Each
// takes the template file name (zero-terminated GBK) and the data provider,
// and returns 0 on success, 1 when the user cancelled, 2 on an error (the
// library has told the user).
//
// Library file: hosts ask for "KxCellDll.dll" in the executable's folder. On
// platforms whose libraries are named otherwise the loader drops the ".dll"
// extension and lets the platform add its own prefix and suffix, so
// "<folder>/KxCellDll.dll" loads "<folder>/libKxCellDll.so" here (and
// "KxCellDll.dll" where that is the platform's name).
//
// Data providers (ICanReportOut) serve a report's data: master data (named
// single values such as a customer's name printed in a page header; hosts add
// their own with AddMasterData) and detail data (the rows: columns with
// titles and widths, walked with FirstDetail / NextDetail). Texts cross the
// boundary as zero-terminated GBK: the caller passes a buffer and its size;
// the provider writes as much as fits (always terminated) and reports the
// full byte length in *length, so a caller whose buffer was too small asks
// again with a bigger one (ReportText below does that). Column titles may be
// two-level: "parent.child".
//
// Provider references are borrowed: valid for the duration of the call that
// receives them; the library never keeps one beyond it.

#include "util/Clock.h"

#include <QByteArray>
#include <QLibrary>
#include <QString>
#include <algorithm>
#include <cstdint>

namespace lnq {

enum class TPrintType : std::uint8_t { ptDesign, ptPreview, ptPrint, ptSetup, ptExportToExcel };

// Kind of a detail column's values (how they are aligned, totalled and
// written to a spreadsheet).
enum class TReportDataKind : std::int32_t {
    rdText = 0,
    rdInteger = 1,
    rdFloat = 2,
    rdMoney = 3,    // currency and BCD: two decimals with thousands separators
    rdDate = 4,     // values "yyyy-MM-dd"
    rdDateTime = 5, // values "yyyy-MM-dd HH:mm:ss"
    rdBoolean = 6,  // values "是" / "否"
};

class ICanReportOut {
public:
    // Reference counting, as every interface of the library has. Providers
    // are borrowed (see above), so AddRef/Release may do nothing; QueryInterface
    // answers "ICanReportOut" and, when implemented, "ICanReportOutEx" (0 and
    // the object, or -1).
    virtual std::int32_t QueryInterface(const char* name, void** object) = 0;
    virtual std::int32_t AddRef() = 0;
    virtual std::int32_t Release() = 0;
    virtual std::int32_t GetMasterDataCount() = 0;
    // Name of master item index.
    virtual bool GetMasterData(std::int32_t index, char* buffer, std::int32_t size, std::int32_t* length) = 0;
    virtual bool GetMasterDataValue(const char* name, char* buffer, std::int32_t size,
                                    std::int32_t* length) = 0;
    // Detail columns: count and title of column index.
    virtual std::int32_t GetDetailDataCount() = 0;
    virtual bool GetDetailData(std::int32_t index, char* buffer, std::int32_t size, std::int32_t* length) = 0;
    // Index of the master item / detail column of that name (field name or
    // title, letter case ignored), -1 when none.
    virtual std::int32_t FindMainDataItem(const char* name) = 0;
    virtual std::int32_t FindDetailDataItem(const char* name) = 0;
    // Value of column index on the current detail row.
    virtual bool GetDetailDataValue(std::int32_t index, char* buffer, std::int32_t size,
                                    std::int32_t* length) = 0;
    // Row walk: false when there is no (further) row.
    virtual bool FirstDetail() = 0;
    virtual bool NextDetail() = 0;
    // Number of detail rows.
    virtual std::int32_t GetDetailItemCount() = 0;
    // Width of column index in screen pixels.
    virtual std::int32_t GetDetailWidth(std::int32_t index) = 0;
    virtual void AddMasterData(const char* name, const char* value) = 0;
    // Whether there are rows to serve (an open dataset).
    virtual bool IsDetailValid() = 0;
    virtual void ClearMasterData() = 0;
    virtual bool GetReportTitle(char* buffer, std::int32_t size, std::int32_t* length) = 0;

protected:
    ~ICanReportOut() = default;
};

class ICanReportOutEx : public ICanReportOut {
public:
    // Field name and value kind of column index.
    virtual bool GetDetailFieldName(std::int32_t index, char* buffer, std::int32_t size,
                                    std::int32_t* length) = 0;
    virtual std::int32_t GetDetailDataKind(std::int32_t index) = 0; // a TReportDataKind

protected:
    ~ICanReportOutEx() = default;
};

class IReport {
public:
    // Reference counting. QueryInterface knows "IReport" and "IReportEx".
    virtual std::int32_t QueryInterface(const char* name, void** object) = 0;
    virtual std::int32_t AddRef() = 0;
    virtual std::int32_t Release() = 0;
    // One operation per TPrintType, in its order.
    virtual std::int32_t Design(const char* reportFile, ICanReportOut* data) = 0;
    virtual std::int32_t Preview(const char* reportFile, ICanReportOut* data) = 0;
    virtual std::int32_t Print(const char* reportFile, ICanReportOut* data) = 0;
    virtual std::int32_t Setup(const char* reportFile, ICanReportOut* data) = 0;
    virtual std::int32_t ExportToExcel(const char* reportFile, ICanReportOut* data) = 0;

protected:
    ~IReport() = default;
};

// Options for unattended use (tools, tests). Names and values are
// zero-terminated GBK:
//   "OutputFile"   print writes a PDF there and export writes the .xlsx
//                  there, without any dialog; export does not open it.
//   "Unattended"   "1": no dialog or message box at all (design saves the
//                  template it would have shown, preview renders its pages
//                  off screen); failures are only returned.
class IReportEx : public IReport {
public:
    virtual void SetOption(const char* name, const char* value) = 0;
    // Text of the last failure (GBK), empty when none.
    virtual bool GetLastError(char* buffer, std::int32_t size, std::int32_t* length) = 0;

protected:
    ~IReportEx() = default;
};

extern "C" {
using TCreateReportEx = IReport* (*)();
// A second, optional entry "FollowHostClock": the host hands over its clock,
// so that dates the library prints are the host's (see Clock::followClock).
using TFollowHostClock = void (*)(Clock::TNowFunction hostNow);
}

// Called by a host right after loading a report library: a library that
// offers "FollowHostClock" reads the host's clock from then on.
inline void ShareHostClock(QLibrary* library) {
    if (!library) return;
    if (auto follow = reinterpret_cast<TFollowHostClock>(library->resolve("FollowHostClock")))
        follow(&Clock::now);
}

// Calls a buffer-filling operation, growing the buffer until the text fits
// (texts above 64 MiB are refused). False when the operation returns false.
template <typename Fn> bool ReportBytes(Fn&& fill, QByteArray& out) {
    QByteArray buffer(512, '\0');
    for (int attempt = 0; attempt < 4; ++attempt) {
        std::int32_t length = 0;
        if (!fill(buffer.data(), std::int32_t(buffer.size()), &length)) return false;
        if (length >= 0 && length < buffer.size()) {
            out = QByteArray(buffer.constData(), length);
            return true;
        }
        if (length < 0 || length > 64 * 1024 * 1024) return false;
        buffer = QByteArray(length + 1, '\0');
    }
    return false;
}

// Writes bytes into a caller's buffer (terminated, truncated to fit) and the
// full length into *length.
inline bool FillReportBuffer(const QByteArray& bytes, char* buffer, std::int32_t size, std::int32_t* length) {
    if (length) *length = std::int32_t(bytes.size());
    if (buffer && size > 0) {
        const std::int32_t n = std::min<std::int32_t>(std::int32_t(bytes.size()), size - 1);
        std::copy(bytes.constData(), bytes.constData() + n, buffer);
        buffer[n] = '\0';
    }
    return true;
}

} // namespace lnq
