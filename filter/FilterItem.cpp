#include "filter/FilterItem.h"

#include "util/Exceptions.h"
#include "util/Plat_sysutils.h"

#include <QDateTime>
#include <QLocale>
#include <QTime>
#include <cmath>
#include <exception>
#include <string_view>

namespace lnq {

enum class TFilterItem::Op : std::uint8_t {
    Accept, // "(全部)" and names the type does not know
    TextContains,
    TextNotContains,
    TextEquals,
    TextNotEquals,
    NumberEquals,
    NumberNotEquals,
    NumberGreater,
    NumberLess,
    NumberGreaterEq,
    NumberLessEq,
    DateEquals,
    DateNotEquals,
    DateGreater,
    DateLess,
    DateGreaterEq,
    DateLessEq,
    Yesterday,
    Today,
    Tomorrow,
    LastNDays,
    NextNDays,
    LastWeek,
    ThisWeek,
    NextWeek,
    LastMonth,
    ThisMonth,
    NextMonth,
    LastYear,
    ThisYear,
    NextYear,
    Yes,
    No,
};

namespace {

struct TypeName {
    TFilterType type;
    const char16_t* name;
};

constexpr TypeName kTypeNames[] = {
    {TFilterType::ftFilterDate, u"日期"},
    {TFilterType::ftFilterNumber, u"数值"},
    {TFilterType::ftFilterText, u"文本"},
    {TFilterType::ftFilterBoolean, u"是否"},
};

} // namespace

TFilterType FilterTypeOfField(TFieldType t, TFilterType current) {
    TFilterType result = current;
    if (IsTextTypeGroup(t)) result = TFilterType::ftFilterText;
    if (IsNumberTypeGroup(t)) result = TFilterType::ftFilterNumber;
    if (IsDateTypeGroup(t)) result = TFilterType::ftFilterDate;
    if (IsBooleanTypeGroup(t)) result = TFilterType::ftFilterBoolean;
    return result;
}

QString GetFieldTypeName(TFieldType t) {
    QString name;
    if (IsTextTypeGroup(t)) name = QStringLiteral("文本");
    if (IsNumberTypeGroup(t)) name = QStringLiteral("数值");
    if (IsDateTypeGroup(t)) name = QStringLiteral("日期");
    if (IsBooleanTypeGroup(t)) name = QStringLiteral("是否");
    return name;
}

QStringList FilterOperatorNames(TFilterType type) {
    switch (type) {
    case TFilterType::ftFilterText:
        return {QStringLiteral("(全部)"), QStringLiteral("包含"), QStringLiteral("不包含"),
                QStringLiteral("等于"), QStringLiteral("不等于")};
    case TFilterType::ftFilterNumber:
        return {QStringLiteral("(全部)"), QStringLiteral("等于"),     QStringLiteral("大于"),
                QStringLiteral("小于"),   QStringLiteral("大于等于"), QStringLiteral("小于等于"),
                QStringLiteral("不等于")};
    case TFilterType::ftFilterDate:
        return {QStringLiteral("(全部)"),   QStringLiteral("等于"),     QStringLiteral("大于"),
                QStringLiteral("小于"),     QStringLiteral("大于等于"), QStringLiteral("小于等于"),
                QStringLiteral("不等于"),   QStringLiteral("昨天"),     QStringLiteral("今天"),
                QStringLiteral("明天"),     QStringLiteral("最近N天"),  QStringLiteral("随后N天"),
                QStringLiteral("上个星期"), QStringLiteral("这个星期"), QStringLiteral("下个星期"),
                QStringLiteral("上月"),     QStringLiteral("本月"),     QStringLiteral("下月"),
                QStringLiteral("去年"),     QStringLiteral("今年"),     QStringLiteral("明年")};
    case TFilterType::ftFilterBoolean:
        return {QStringLiteral("(全部)"), QStringLiteral("是"), QStringLiteral("否")};
    }
    return {};
}

// ---------------------------------------------------------------------------

TFilterItem::TFilterItem(const QString& fieldName, TFilterType type, const QString& op, const QString& value)
    : m_fieldName(fieldName), m_filterType(type), m_filterOp(op), m_equalValue(value) {}

TFilterItem::TFilterItem(const TFilterItem& other)
    : m_fieldName(other.m_fieldName), m_filterType(other.m_filterType), m_filterOp(other.m_filterOp),
      m_equalValue(other.m_equalValue) {}

TFilterItem& TFilterItem::operator=(const TFilterItem& other) {
    if (this != &other) {
        SetFieldName(other.m_fieldName);
        SetFilterType(other.m_filterType);
        SetFilterOP(other.m_filterOp);
        SetEqualValue(other.m_equalValue);
    }
    return *this;
}

TFilterItem::~TFilterItem() = default;

void TFilterItem::SetFieldName(const QString& name) {
    if (name == m_fieldName) return;
    m_fieldName = name;
    forgetField();
}

void TFilterItem::SetFilterType(TFilterType type) {
    if (type == m_filterType) return;
    m_filterType = type;
    invalidate();
}

void TFilterItem::SetFilterOP(const QString& op) {
    if (op == m_filterOp) return;
    m_filterOp = op;
    invalidate();
}

void TFilterItem::SetEqualValue(const QString& value) {
    if (value == m_equalValue) return;
    m_equalValue = value;
    invalidate();
}

QString TFilterItem::GetFieldTypeName() const {
    for (const TypeName& t : kTypeNames)
        if (t.type == m_filterType) return QString::fromUtf16(t.name);
    return QString();
}

void TFilterItem::SetFieldTypeName(const QString& name) {
    for (const TypeName& t : kTypeNames) {
        if (name == QStringView(t.name)) {
            SetFilterType(t.type);
            return;
        }
    }
}

bool TFilterItem::IsValid() const {
    return !m_fieldName.isEmpty() && m_filterOp != FilterOpAll();
}

QString TFilterItem::ToString() const {
    return QStringLiteral("FieldName=%1,EqualValue=%2").arg(m_fieldName, m_equalValue);
}

TDateTime TFilterItem::MyStrToDate(const QString& text) {
    const QString s = text.trimmed();
    if (s.isEmpty()) return 0;

    QDateTime iso = QDateTime::fromString(s, Qt::ISODate);
    if (iso.isValid() && s.contains(QLatin1Char('T'))) return DateFromQt(iso.date());

    const int blank = s.indexOf(QLatin1Char(' '));
    const QString datePart = blank < 0 ? s : s.left(blank);
    const QString timePart = blank < 0 ? QString() : s.mid(blank + 1).trimmed();

    const QLocale locale;
    QDate d = locale.toDate(datePart, locale.dateFormat(QLocale::ShortFormat));
    if (!d.isValid()) d = QDate::fromString(datePart, QStringLiteral("yyyy-MM-dd"));
    if (!d.isValid()) return 0;
    if (!timePart.isEmpty()) {
        QTime t = QTime::fromString(timePart, QStringLiteral("H:m:s"));
        if (!t.isValid()) t = QTime::fromString(timePart, QStringLiteral("H:m"));
        if (!t.isValid()) return 0;
    }
    return DateFromQt(d);
}

int TFilterItem::MyStrToInt(const QString& text) {
    int errorPos = 0;
    return ValInt(text, &errorPos);
}

// ---------------------------------------------------------------------------
// Preparation

TFilterItem::Op TFilterItem::resolveOp(TFilterType type, const QString& name) {
    using O = Op;
    struct Entry {
        const char16_t* name;
        O op;
    };
    static const Entry text[] = {
        {u"包含", O::TextContains},
        {u"不包含", O::TextNotContains},
        {u"等于", O::TextEquals},
        {u"不等于", O::TextNotEquals},
    };
    static const Entry number[] = {
        {u"等于", O::NumberEquals}, {u"不等于", O::NumberNotEquals},   {u"大于", O::NumberGreater},
        {u"小于", O::NumberLess},   {u"大于等于", O::NumberGreaterEq}, {u"小于等于", O::NumberLessEq},
    };
    static const Entry date[] = {
        {u"等于", O::DateEquals},        {u"不等于", O::DateNotEquals},
        {u"大于", O::DateGreater},       {u"小于", O::DateLess},
        {u"大于等于", O::DateGreaterEq}, {u"小于等于", O::DateLessEq},
        {u"昨天", O::Yesterday},         {u"今天", O::Today},
        {u"明天", O::Tomorrow},          {u"最近N天", O::LastNDays},
        {u"随后N天", O::NextNDays},      {u"上个星期", O::LastWeek},
        {u"这个星期", O::ThisWeek},      {u"下个星期", O::NextWeek},
        {u"上月", O::LastMonth},         {u"本月", O::ThisMonth},
        {u"下月", O::NextMonth},         {u"去年", O::LastYear},
        {u"今年", O::ThisYear},          {u"明年", O::NextYear},
    };
    static const Entry boolean[] = {
        {u"是", O::Yes},
        {u"否", O::No},
    };
    auto find = [&](const auto& table) {
        for (const Entry& e : table)
            if (name == QStringView(e.name)) return e.op;
        return O::Accept;
    };
    switch (type) {
    case TFilterType::ftFilterText:
        return find(text);
    case TFilterType::ftFilterNumber:
        return find(number);
    case TFilterType::ftFilterDate:
        return find(date);
    case TFilterType::ftFilterBoolean:
        return find(boolean);
    }
    return O::Accept;
}

bool TFilterItem::needsToday(Op op) {
    using O = Op;
    return op >= O::Yesterday && op <= O::NextYear;
}

bool TFilterItem::NeedsToday() const {
    return needsToday(m_prepared ? m_op : resolveOp(m_filterType, m_filterOp));
}

void TFilterItem::prepare() {
    m_op = resolveOp(m_filterType, m_filterOp);
    m_numberOk = false;
    m_number = 0;
    m_date = 0;
    m_days = 0;
    if (m_filterType == TFilterType::ftFilterNumber) {
        try {
            m_number = StrToFloat(m_equalValue);
            m_numberOk = true;
        } catch (const EConvertError&) {
            // Raised again by CanAccept, after the field was read.
        }
    } else if (m_filterType == TFilterType::ftFilterDate) {
        m_date = MyStrToDate(m_equalValue);
        m_days = MyStrToInt(m_equalValue);
    }
    m_utf8 = m_filterType == TFilterType::ftFilterText ? m_equalValue.toUtf8() : QByteArray();
    m_textValid = m_equalValue.isValidUtf16();
    m_todayKey.reset();
    m_prepared = true;
}

// ---------------------------------------------------------------------------
// Field lookup

TField& TFilterItem::field(TDataSet& dataSet) {
    FieldCache& c = m_cache;
    if (c.dataSet == &dataSet) {
        const TFieldDefs& defs = dataSet.FieldDefs();
        if (size_t(c.index) < defs.size() && defs[size_t(c.index)].Name.constData() == c.name.constData()) {
            TField& f = dataSet.Fields(c.index);
            if (&f == c.field) return f;
        }
    }
    TField& f = dataSet.FieldByName(m_fieldName); // raises for an unknown name
    c.dataSet = &dataSet;
    c.field = &f;
    c.index = f.Index();
    c.name = f.FieldName();
    return f;
}

// ---------------------------------------------------------------------------
// Acceptance

namespace {

bool containsBytes(QByteArrayView hay, QByteArrayView needle) {
    return std::string_view(hay.data(), static_cast<size_t>(hay.size()))
               .find(std::string_view(needle.data(), static_cast<size_t>(needle.size()))) !=
           std::string_view::npos;
}

// Keeps the records pred accepts, in order; on an exception the ones kept so
// far stay and the rest go.
template <typename Pred> void keepIf(std::vector<qint32>& recs, Pred&& pred) {
    size_t o = 0;
    struct Trim {
        std::vector<qint32>& v;
        size_t& n;
        ~Trim() { v.resize(n); }
    } trim{recs, o};
    const size_t n = recs.size();
    for (size_t i = 0; i < n; ++i) {
        const qint32 r = recs[i];
        if (pred(r)) recs[o++] = r;
    }
}

// The days whose month start is x: [x, next month) when x is the first of a
// month at 00:00, none otherwise.
void monthWindow(TDateTime x, TDateTime& from, TDateTime& to) {
    if (StartOfTheMonth(x) == x) {
        from = x;
        to = IncMonth(x, 1);
    } else {
        from = 1;
        to = 0;
    }
}

} // namespace

bool TFilterItem::CanAccept(TDataSet& dataSet) {
    TodaySource today;
    return accept(dataSet, today);
}

bool TFilterItem::CanAccept(TDataSet& dataSet, TDateTime today) {
    TodaySource given{today};
    return accept(dataSet, given);
}

bool TFilterItem::accept(TDataSet& dataSet, TodaySource& todaySource) {
    using O = Op;
    switch (m_filterType) {
    case TFilterType::ftFilterText: {
        if (!m_prepared) prepare();
        TField& f = field(dataSet);
        QByteArrayView stored;
        if (m_textValid && f.AsUtf8View(stored)) return textAccepts(stored);
        const QString s = f.AsString();
        switch (m_op) {
        case O::TextContains:
            // The search is 1-based and gives 0 for an empty text: no record
            // contains the empty text.
            return !m_equalValue.isEmpty() && s.contains(m_equalValue);
        case O::TextNotContains:
            return m_equalValue.isEmpty() || !s.contains(m_equalValue);
        case O::TextEquals:
            return s == m_equalValue;
        case O::TextNotEquals:
            return s != m_equalValue;
        default:
            return true;
        }
    }
    case TFilterType::ftFilterNumber: {
        if (m_equalValue.isEmpty()) SetEqualValue(QStringLiteral("0"));
        if (!m_prepared) prepare();
        const double f = field(dataSet).AsFloat();
        const double v = m_numberOk ? m_number : StrToFloat(m_equalValue);
        switch (m_op) {
        case O::NumberEquals:
            return std::fabs(v - f) < 0.001;
        case O::NumberNotEquals:
            return std::fabs(v - f) > 0.001;
        case O::NumberGreater:
            return v - f < 0.001;
        case O::NumberLess:
            return v - f > 0.001;
        case O::NumberGreaterEq:
            return f - v > -0.001;
        case O::NumberLessEq:
            return f - v < 0.001;
        default:
            return true;
        }
    }
    case TFilterType::ftFilterDate: {
        if (!m_prepared) prepare();
        const TDateTime f = field(dataSet).AsDateTimeValue();
        const double day = std::trunc(f);
        const double diff = day - std::trunc(m_date);
        if (m_op < O::Yesterday) {
            switch (m_op) {
            case O::DateEquals: // the same test as "大于", kept so
            case O::DateGreater:
                return diff > 0;
            case O::DateLess:
                return diff < 0;
            case O::DateGreaterEq:
                return diff >= 0;
            case O::DateLessEq:
                return diff <= 0;
            case O::DateNotEquals:
                return diff != 0;
            default:
                return true;
            }
        }
        if (m_op > O::NextYear) return true;

        const TDateTime today = todaySource.get();
        const double fromToday = day - std::trunc(today);
        switch (m_op) {
        case O::Yesterday:
            return fromToday == -1;
        case O::Today:
            return fromToday == 0;
        case O::Tomorrow:
            return fromToday == 1;
        case O::LastNDays:
            return fromToday == -static_cast<double>(m_days);
        case O::NextNDays:
            return fromToday == static_cast<double>(m_days);
        default:
            break;
        }
        prepareWindow(today);
        return day >= m_from && day < m_to;
    }
    case TFilterType::ftFilterBoolean: {
        if (!m_prepared) prepare();
        const bool b = field(dataSet).AsBoolean();
        switch (m_op) {
        case O::Yes:
            return b;
        case O::No:
            return !b;
        default:
            return true;
        }
    }
    }
    return true; // a type outside the four values imposes nothing
}

bool TFilterItem::textAccepts(QByteArrayView s) const {
    using O = Op;
    switch (m_op) {
    case O::TextContains: // no record contains the empty text (see accept)
        return !m_utf8.isEmpty() && containsBytes(s, m_utf8);
    case O::TextNotContains:
        return m_utf8.isEmpty() || !containsBytes(s, m_utf8);
    case O::TextEquals:
        return s == QByteArrayView(m_utf8);
    case O::TextNotEquals:
        return s != QByteArrayView(m_utf8);
    default:
        return true;
    }
}

void TFilterItem::prepareWindow(TDateTime today) {
    using O = Op;
    // Week, month and year operators: StartOfTheWeek(F) / StartOfTheMonth(F)
    // equals a fixed day exactly when F's day lies in that day's week or
    // month, so the window is worked out once per day of the clock.
    if (!m_todayKey || *m_todayKey != today) {
        switch (m_op) {
        case O::LastWeek:
            m_from = StartOfTheWeek(today - 7);
            m_to = m_from + 7;
            break;
        case O::ThisWeek:
            m_from = StartOfTheWeek(today);
            m_to = m_from + 7;
            break;
        case O::NextWeek:
            m_from = StartOfTheWeek(today + 7);
            m_to = m_from + 7;
            break;
        case O::LastMonth:
            monthWindow(IncMonth(today, -1), m_from, m_to);
            break;
        case O::ThisMonth: // compared with the week start, kept so
        case O::ThisYear:
            monthWindow(StartOfTheWeek(today), m_from, m_to);
            break;
        case O::NextMonth:
            monthWindow(IncMonth(today, 1), m_from, m_to);
            break;
        case O::LastYear:
            monthWindow(IncMonth(today, -12), m_from, m_to);
            break;
        case O::NextYear:
            monthWindow(IncMonth(today, 12), m_from, m_to);
            break;
        default:
            break;
        }
        m_todayKey = today;
    }
}

// ---------------------------------------------------------------------------
// Column-wise acceptance

void TFilterItem::acceptRecords(TDataSet& dataSet, TRecordsPass& pass, TodaySource& todaySource) {
    using O = Op;
    std::vector<qint32>& recs = pass.Records();
    if (recs.empty()) return;
    // What the first record would do before its value is read: the number
    // default, the preparation and the field lookup (which may raise there).
    if (m_filterType == TFilterType::ftFilterNumber && m_equalValue.isEmpty())
        SetEqualValue(QStringLiteral("0"));
    if (!m_prepared) prepare();
    int index = -1;
    try {
        index = field(dataSet).Index();
    } catch (...) {
        recs.clear();
        throw;
    }
    const TStoredColumn c = pass.Column(index);
    const TStorageKind kind = c.Kind();
    // Any kind the fast paths below do not read: record by record through
    // the field, exactly as CanAccept.
    auto byRecord = [&] {
        keepIf(recs, [&](qint32 r) {
            pass.ReadRecord(r);
            return accept(dataSet, todaySource);
        });
    };
    switch (m_filterType) {
    case TFilterType::ftFilterText: {
        if (kind != TStorageKind::Text || !m_textValid) return byRecord();
        if (m_op == O::Accept) return;
        if (m_op == O::TextContains) {
            if (m_utf8.isEmpty()) {
                recs.clear();
                return;
            }
            const std::string_view needle(m_utf8.constData(), static_cast<size_t>(m_utf8.size()));
            return keepIf(recs, [&](qint32 r) {
                const QByteArrayView t = c.Text(r);
                return std::string_view(t.data(), static_cast<size_t>(t.size())).find(needle) !=
                       std::string_view::npos;
            });
        }
        return keepIf(recs, [&](qint32 r) { return textAccepts(c.Text(r)); });
    }
    case TFilterType::ftFilterNumber: {
        const bool reals = kind == TStorageKind::Float || kind == TStorageKind::DateTime;
        const bool ints = kind == TStorageKind::Integer || kind == TStorageKind::Boolean;
        if (!reals && !ints) return byRecord();
        if (!m_numberOk) {
            // The value is no number: the first record raises.
            try {
                StrToFloat(m_equalValue);
            } catch (...) {
                recs.clear();
                throw;
            }
        }
        const double v = m_number;
        auto run = [&](auto test) {
            if (reals)
                keepIf(recs, [&](qint32 r) { return test(c.Real(r)); });
            else
                keepIf(recs, [&](qint32 r) { return test(static_cast<double>(c.Int(r))); });
        };
        switch (m_op) {
        case O::NumberEquals:
            return run([v](double f) { return std::fabs(v - f) < 0.001; });
        case O::NumberNotEquals:
            return run([v](double f) { return std::fabs(v - f) > 0.001; });
        case O::NumberGreater:
            return run([v](double f) { return v - f < 0.001; });
        case O::NumberLess:
            return run([v](double f) { return v - f > 0.001; });
        case O::NumberGreaterEq:
            return run([v](double f) { return f - v > -0.001; });
        case O::NumberLessEq:
            return run([v](double f) { return f - v < 0.001; });
        default:
            return;
        }
    }
    case TFilterType::ftFilterDate: {
        const bool reals = kind == TStorageKind::Float || kind == TStorageKind::DateTime;
        const bool ints = kind == TStorageKind::Integer || kind == TStorageKind::Boolean;
        if (!reals && !ints) return byRecord();
        auto run = [&](auto test) {
            if (reals)
                keepIf(recs, [&](qint32 r) { return test(std::trunc(c.Real(r))); });
            else
                keepIf(recs, [&](qint32 r) { return test(std::trunc(static_cast<double>(c.Int(r)))); });
        };
        const double base = std::trunc(m_date);
        switch (m_op) {
        case O::DateEquals: // the same test as "大于", as in accept
        case O::DateGreater:
            return run([base](double day) { return day - base > 0; });
        case O::DateLess:
            return run([base](double day) { return day - base < 0; });
        case O::DateGreaterEq:
            return run([base](double day) { return day - base >= 0; });
        case O::DateLessEq:
            return run([base](double day) { return day - base <= 0; });
        case O::DateNotEquals:
            return run([base](double day) { return day - base != 0; });
        default:
            break;
        }
        if (!needsToday(m_op)) return;
        const TDateTime today = todaySource.get();
        const double t = std::trunc(today);
        double want = 0;
        switch (m_op) {
        case O::Yesterday:
            want = -1;
            break;
        case O::Today:
            want = 0;
            break;
        case O::Tomorrow:
            want = 1;
            break;
        case O::LastNDays:
            want = -static_cast<double>(m_days);
            break;
        case O::NextNDays:
            want = static_cast<double>(m_days);
            break;
        default: {
            prepareWindow(today);
            const double from = m_from, to = m_to;
            return run([from, to](double day) { return day >= from && day < to; });
        }
        }
        return run([t, want](double day) { return day - t == want; });
    }
    case TFilterType::ftFilterBoolean: {
        if (kind == TStorageKind::Boolean || kind == TStorageKind::Integer) {
            if (m_op == O::Yes) return keepIf(recs, [&](qint32 r) { return c.Int(r) != 0; });
            if (m_op == O::No) return keepIf(recs, [&](qint32 r) { return c.Int(r) == 0; });
            return;
        }
        if (kind == TStorageKind::Float || kind == TStorageKind::DateTime) {
            if (m_op == O::Yes) return keepIf(recs, [&](qint32 r) { return c.Real(r) != 0; });
            if (m_op == O::No) return keepIf(recs, [&](qint32 r) { return !(c.Real(r) != 0); });
            return;
        }
        return byRecord();
    }
    }
}

// ---------------------------------------------------------------------------
// TFilterList

TFilterList::~TFilterList() = default;

TFilterItem& TFilterList::Add(std::unique_ptr<TFilterItem> item) {
    m_items.push_back(std::move(item));
    return *m_items.back();
}

TFilterItem& TFilterList::Add(const QString& fieldName, TFilterType type, const QString& op,
                              const QString& value) {
    return Add(std::make_unique<TFilterItem>(fieldName, type, op, value));
}

void TFilterList::Delete(int index) {
    m_items.erase(m_items.begin() + index);
}

void TFilterList::Clear() {
    // Last to first, as the grid and the setup form free them.
    while (!m_items.empty())
        m_items.pop_back();
}

int TFilterList::IndexOfField(const QString& name) const {
    for (size_t i = 0; i < m_items.size(); ++i)
        if (m_items[i]->FieldName().compare(name, Qt::CaseInsensitive) == 0) return static_cast<int>(i);
    return -1;
}

TFilterItem* TFilterList::FindByField(const QString& name) const {
    const int i = IndexOfField(name);
    return i < 0 ? nullptr : m_items[static_cast<size_t>(i)].get();
}

bool TFilterList::Accepts(TDataSet& dataSet) {
    TFilterItem::TodaySource today{m_passToday};
    for (const auto& item : m_items)
        if (!item->accept(dataSet, today)) return false;
    return true;
}

void TFilterList::AcceptRecords(TDataSet& dataSet, TRecordsPass& pass) {
    TFilterItem::TodaySource today{m_passToday};
    // An item that raises leaves only the records before the failing one;
    // the items after it look at those only, so an error they raise belongs
    // to an earlier record and is the one to report.
    std::exception_ptr error;
    for (const auto& item : m_items) {
        if (pass.Records().empty()) break;
        try {
            item->acceptRecords(dataSet, pass, today);
        } catch (...) {
            error = std::current_exception();
        }
    }
    if (error) std::rethrow_exception(error);
}

TFilterList::TPass::TPass(TFilterList& list) : m_list(&list), m_saved(list.m_passToday) {
    list.m_passToday = TodayValue();
}

TFilterList::TPass::~TPass() {
    m_list->m_passToday = m_saved;
}

} // namespace lnq
