#pragma once
// Client-side filter conditions: one TFilterItem is a field, an operator and a
// comparison value; a TFilterList is the conjunction the data grid's quick
// filters and the filter setup form apply to a dataset's records.
//
// Operators are named by their Chinese display names, which are also what the
// user picks in the lists; the names are the vocabulary and are matched byte
// for byte. The rules keep their historical quirks on purpose (date "等于"
// accepts only later days, "最近N天" accepts exactly the N-th day back, the
// month and year operators compare a month start with a day that is one only
// on some days, number "大于" equals "大于等于", an empty number value becomes
// "0" in the item). Existing saved filters and users' habits depend on them.
//
// Cost. CanAccept is called once per record and item by the dataset's record
// filter, so everything that does not depend on the record is prepared once:
// the operator is resolved when the type or operator changes, the value is
// parsed when it changes, the day boundaries of the relative date operators
// are worked out once per day of the clock, and the field found by name is
// remembered with its dataset and position and used again only while that
// position still holds the same field object under the same name text (a
// reload that drops, renames or moves the field fails the check). Otherwise
// FieldByName runs again, so an unknown field raises exactly where it would.
// Text is compared on the dataset's stored UTF-8 bytes, with no QString made
// per record.
//
// A whole dataset is filtered fastest through TFilterList::AcceptRecords
// installed as its records filter: each item then makes one pass over the
// remaining candidates, reading the stored column directly, and the items
// narrow the candidates in list order. That accepts exactly the records the
// record-by-record test accepts, and when a test raises, the error raised is
// the one the record-by-record order meets first.

#include "data/DataSet.h"
#include "data/FieldTypes.h"
#include "util/DateUtils.h"

#include <QString>
#include <QStringList>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace lnq {

enum class TFilterType : std::uint8_t { ftFilterDate, ftFilterNumber, ftFilterText, ftFilterBoolean };

// The filter type the data grid gives a field of type t. The type tests run in
// the order text, number, date, boolean and a later match overrides an earlier
// one (FMT-BCD, in both the text and the number group, ends as a number); a
// type in no group leaves current unchanged.
TFilterType FilterTypeOfField(TFieldType t, TFilterType current);

// "文本", "数值", "日期", "是否" for the type groups in that order, a later match
// overriding (FMT-BCD gives "数值"); "" for a type in no group.
QString GetFieldTypeName(TFieldType t);

// The operator names offered for a filter type, "(全部)" first, in the order
// the filter setup form lists them. CanAccept knows every one of them.
QStringList FilterOperatorNames(TFilterType type);

// "(全部)": the operator that imposes no condition, in every type.
inline QString FilterOpAll() {
    return QStringLiteral("(全部)");
}

class TFilterItem {
public:
    TFilterItem() = default;
    TFilterItem(const QString& fieldName, TFilterType type, const QString& op, const QString& value);
    // Copies the condition, not the prepared state.
    TFilterItem(const TFilterItem& other);
    TFilterItem& operator=(const TFilterItem& other);
    ~TFilterItem();

    const QString& FieldName() const { return m_fieldName; }
    void SetFieldName(const QString& name);
    TFilterType FilterType() const { return m_filterType; }
    void SetFilterType(TFilterType type);
    const QString& FilterOP() const { return m_filterOp; }
    void SetFilterOP(const QString& op);
    const QString& EqualValue() const { return m_equalValue; }
    void SetEqualValue(const QString& value);

    // Whether the dataset's current record passes. The field is looked up by
    // name (EDatabaseError for an unknown name, not caught); a number item
    // with an empty value first sets its value to "0" and compares with
    // StrToFloat of the value (EConvertError for a bad text, not caught).
    // "(全部)", an operator the type does not know and a type outside the four
    // values accept. The date operators read today from the clock, or take
    // `today` (midnight of the day, a TodayValue()) when given.
    bool CanAccept(TDataSet& dataSet);
    bool CanAccept(TDataSet& dataSet, TDateTime today);

    // Whether CanAccept reads today (the relative date operators).
    bool NeedsToday() const;

    // "日期", "数值", "文本", "是否"; "" for a type outside the four values.
    QString GetFieldTypeName() const;
    // Sets the type from one of the four names; any other text leaves it.
    void SetFieldTypeName(const QString& name);
    QString GetFilterOPName() const { return m_filterOp; }
    void SetFilterOPName(const QString& op) { SetFilterOP(op); }

    // A field name and an operator other than "(全部)".
    bool IsValid() const;
    // "FieldName=<name>,EqualValue=<value>" for traces.
    QString ToString() const;

    // The date of a text, as whole days: the default locale's short date
    // format ("yyyy/M/d" for zh_CN) or ISO "yyyy-MM-dd", either optionally
    // followed by a blank and a time "H:mm" or "H:mm:ss" (which is dropped), or
    // an ISO date-time "yyyy-MM-ddTHH:mm:ss". Blanks around the text are
    // ignored. Empty or unparsable text gives 0 and raises nothing.
    static TDateTime MyStrToDate(const QString& text);
    // The value of the longest valid integer prefix of the text, the position
    // where the scan stopped being ignored ("12天" gives 12, "abc" and ""
    // give 0, " -3" gives -3). Never raises.
    static int MyStrToInt(const QString& text);

private:
    enum class Op : std::uint8_t;
    static Op resolveOp(TFilterType type, const QString& name);
    static bool needsToday(Op op);
    void invalidate() { m_prepared = false; }
    void prepare();
    TField& field(TDataSet& dataSet);
    void forgetField() { m_cache = FieldCache(); }
    // Today for one evaluation: given by the caller or read from the clock
    // when the first relative date operator needs it.
    struct TodaySource {
        std::optional<TDateTime> value;
        TDateTime get() {
            if (!value) value = TodayValue();
            return *value;
        }
    };
    bool accept(TDataSet& dataSet, TodaySource& today);
    // Keeps the records of pass.Records() this item accepts, in order. When a
    // test raises, the records before the failing one that the item accepted
    // are left and the error is passed on.
    void acceptRecords(TDataSet& dataSet, TRecordsPass& pass, TodaySource& today);
    void prepareWindow(TDateTime today);
    bool textAccepts(QByteArrayView stored) const;
    friend class TFilterList;

    QString m_fieldName;
    TFilterType m_filterType = TFilterType::ftFilterDate;
    QString m_filterOp;
    QString m_equalValue;

    // Prepared from type, operator and value.
    bool m_prepared = false;
    Op m_op{};
    bool m_numberOk = false; // m_number holds StrToFloat of the value
    double m_number = 0;
    QByteArray m_utf8;        // the value as UTF-8, for text items
    bool m_textValid = false; // the value is well-formed text (its UTF-8 means the same)
    TDateTime m_date = 0;     // MyStrToDate of the value
    int m_days = 0;           // MyStrToInt of the value

    // Day window of the week, month and year operators for the day m_todayKey:
    // the record's day must lie in [m_from, m_to).
    std::optional<TDateTime> m_todayKey;
    TDateTime m_from = 0;
    TDateTime m_to = 0;

    // The field FieldByName found for m_fieldName in dataSet, at index, whose
    // name text is held in name. It is used again only while the dataset's
    // field definition at index still has that very name text (the held copy
    // keeps the text's storage alive, so an equal address means the same text)
    // and the dataset still has that very field object there; otherwise the
    // name is looked up again. Nothing cached is dereferenced before that.
    struct FieldCache {
        const TDataSet* dataSet = nullptr;
        const TField* field = nullptr;
        int index = -1;
        QString name;
    };
    FieldCache m_cache;
};

// An ordered list of items, owned by the list. A record passes when every item
// accepts it; the items are asked in list order and the asking stops at the
// first refusal; an empty list passes every record.
class TFilterList {
public:
    TFilterList() = default;
    TFilterList(const TFilterList&) = delete;
    TFilterList& operator=(const TFilterList&) = delete;
    ~TFilterList();

    int Count() const { return static_cast<int>(m_items.size()); }
    bool IsEmpty() const { return m_items.empty(); }
    TFilterItem& Item(int index) const { return *m_items.at(static_cast<size_t>(index)); }
    TFilterItem& Add(std::unique_ptr<TFilterItem> item);
    TFilterItem& Add(const QString& fieldName, TFilterType type, const QString& op, const QString& value);
    void Delete(int index);
    void Clear();
    // The first item whose field name equals name, letter case ignored.
    TFilterItem* FindByField(const QString& name) const;
    int IndexOfField(const QString& name) const;

    // The conjunction for the dataset's current record. Reads the clock at
    // most once per call, and only when an item needs today, unless a pass is
    // open (below).
    bool Accepts(TDataSet& dataSet);

    // The conjunction over all candidates of a filtering pass, column by
    // column (see the top of this file); today is read as by Accepts. Made to
    // be the dataset's records filter; the list must outlive that use:
    //     ds.SetOnFilterRecords([&list](TDataSet& d, TRecordsPass& p) { list.AcceptRecords(d, p); });
    void AcceptRecords(TDataSet& dataSet, TRecordsPass& pass);

    // While a pass object lives, every Accepts of the list takes today from
    // one reading of the clock made when the pass began, so that re-filtering
    // a whole dataset reads the clock once instead of once per record:
    //     { auto pass = list.BeginPass(); dataSet.Refilter(); }
    class TPass {
    public:
        explicit TPass(TFilterList& list);
        ~TPass();
        TPass(const TPass&) = delete;
        TPass& operator=(const TPass&) = delete;

    private:
        TFilterList* m_list; // not owned
        std::optional<TDateTime> m_saved;
    };
    [[nodiscard]] TPass BeginPass() { return TPass(*this); }

    auto begin() const { return m_items.begin(); }
    auto end() const { return m_items.end(); }

private:
    std::vector<std::unique_ptr<TFilterItem>> m_items;
    std::optional<TDateTime> m_passToday;
};

} // namespace lnq
