#include "data/DataSet.h"

#include "data/Collation.h"
#include "data/DataSetPrivate.h"
#include "data/RecordStore.h"
#include "util/Exceptions.h"

#include <QBuffer>
#include <QFile>
#include <QPointer>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <exception>
#include <functional>
#include <utility>

namespace lnq {

namespace {

[[noreturn]] void dbError(const QString& message) {
    throw EDatabaseError(message);
}

// Byte order, a shorter prefix first.
int compareBytes(const char* a, qint64 na, const char* b, qint64 nb) {
    const qint64 n = std::min(na, nb);
    const int c = n > 0 ? std::memcmp(a, b, static_cast<size_t>(n)) : 0;
    if (c != 0) return c < 0 ? -1 : 1;
    return na == nb ? 0 : (na < nb ? -1 : 1);
}

// Restores a value on scope exit (filter passes and calculations must not
// leave the dataset in their temporary state when a callback throws).
template <typename T> class ValueGuard {
public:
    ValueGuard(T& ref, T value) : m_ref(ref), m_old(ref) { m_ref = value; }
    ~ValueGuard() { m_ref = m_old; }
    ValueGuard(const ValueGuard&) = delete;
    ValueGuard& operator=(const ValueGuard&) = delete;

private:
    T& m_ref;
    T m_old;
};

int compareCells(const TStoreColumn& c, qint64 a, qint64 b, bool ci) {
    const bool na = c.isNull(a);
    const bool nb = c.isNull(b);
    if (na || nb) return na == nb ? 0 : (na ? -1 : 1);
    const auto ia = static_cast<size_t>(a);
    const auto ib = static_cast<size_t>(b);
    switch (c.kind) {
    case TStorageKind::Integer:
    case TStorageKind::Boolean:
        return c.ints[ia] < c.ints[ib] ? -1 : (c.ints[ia] > c.ints[ib] ? 1 : 0);
    case TStorageKind::Float:
    case TStorageKind::DateTime: {
        // NaN (only a damaged source holds one) sorts with the nulls, so that
        // the order stays a strict weak ordering.
        const double x = c.reals[ia];
        const double y = c.reals[ib];
        const bool nx = std::isnan(x);
        const bool ny = std::isnan(y);
        if (nx || ny) return nx == ny ? 0 : (nx ? -1 : 1);
        return x < y ? -1 : (x > y ? 1 : 0);
    }
    case TStorageKind::Text:
    case TStorageKind::Bytes: {
        const QByteArrayView x = c.cells.view(a);
        const QByteArrayView y = c.cells.view(b);
        if (ci && c.kind == TStorageKind::Text)
            return Collation::compareUtf8(x.data(), x.size(), y.data(), y.size());
        return compareBytes(x.data(), x.size(), y.data(), y.size());
    }
    }
    return 0;
}

// One record's sort bytes: the collation key of its text, or the stored
// bytes themselves (code point order for UTF-8). The first eight bytes, big
// endian, decide most comparisons without reading the rest.
struct SortBytes {
    quint64 head = 0;
    const char* p = nullptr;
    qint64 n = 0;
    qint32 record = 0;

    void set(const char* bytes, qint64 len) {
        p = bytes;
        n = len;
        unsigned char b[8] = {};
        if (len > 0) std::memcpy(b, bytes, static_cast<size_t>(std::min<qint64>(len, 8)));
        head = 0;
        for (const unsigned char x : b)
            head = head << 8 | x;
    }
    static int compare(const SortBytes& a, const SortBytes& b) {
        if (a.head != b.head) return a.head < b.head ? -1 : 1;
        return compareBytes(a.p, a.n, b.p, b.n);
    }
};

// The sort bytes of the records in v for one key column: collation keys
// (built once per sort into one buffer) for a case-insensitive text key, the
// stored bytes otherwise. Nulls are marked by record in isNull.
class SortColumn {
public:
    SortColumn(const TStoreColumn& c, bool ci, const std::vector<qint32>& v, qint64 rows) {
        m_bytes.resize(static_cast<size_t>(rows));
        const bool keys = ci && c.kind == TStorageKind::Text;
        if (keys) {
            std::vector<qint64> off(v.size());
            qint64 total = 0;
            for (const qint32 r : v)
                total += c.cells.view(r).size();
            m_keys.reserve(static_cast<qsizetype>(total) * 3);
            for (size_t i = 0; i < v.size(); ++i) {
                off[i] = m_keys.size();
                const QByteArrayView t = c.cells.view(v[i]);
                Collation::appendSortKeyUtf8(t.data(), t.size(), m_keys);
            }
            for (size_t i = 0; i < v.size(); ++i) {
                const qint64 end = i + 1 < v.size() ? off[i + 1] : m_keys.size();
                m_bytes[static_cast<size_t>(v[i])].set(m_keys.constData() + off[i], end - off[i]);
            }
        } else {
            for (const qint32 r : v) {
                const QByteArrayView t = c.cells.view(r);
                m_bytes[static_cast<size_t>(r)].set(t.data(), t.size());
            }
        }
        for (const qint32 r : v)
            m_bytes[static_cast<size_t>(r)].record = r;
    }
    const SortBytes& at(qint32 r) const { return m_bytes[static_cast<size_t>(r)]; }

private:
    QByteArray m_keys;
    std::vector<SortBytes> m_bytes;
};

} // namespace

// ---------------------------------------------------------------------------
// The builder used while loading.

// Builder column n is store column storeCols[n]: the loaded columns in the
// caller's order (calculated columns are not loaded; they sit between the
// fields and the hidden columns in the store).
class TStoreBuilder final : public TRecordSetBuilder {
public:
    TStoreBuilder(TRecordStore& store, const std::vector<int>& storeCols) : m_store(store) {
        m_cols.reserve(storeCols.size());
        for (const int sc : storeCols) {
            TStoreColumn& c = store.cols[static_cast<size_t>(sc)];
            m_cols.push_back({&c, c.kind, false, &store.defs[static_cast<size_t>(sc)].Name});
        }
        startRow();
    }

    void SetNull(int col) override {
        ColState& s = state(col);
        if (s.set) {
            popValue(s);
            s.set = false;
        }
    }
    void SetInteger(int col, qint64 v) override {
        ColState& s = state(col);
        if (s.kind == TStorageKind::Integer) {
            put(s, s.c->ints, v);
        } else if (s.kind == TStorageKind::Boolean) {
            put(s, s.c->ints, qint64(v != 0));
        } else {
            slot(s);
            cell::setInt(*s.c, m_row, v);
        }
    }
    void SetFloat(int col, double v) override {
        ColState& s = state(col);
        if (s.kind == TStorageKind::Float || s.kind == TStorageKind::DateTime) {
            put(s, s.c->reals, v);
        } else {
            slot(s);
            cell::setFloat(*s.c, m_row, v);
        }
    }
    void SetDateTime(int col, TDateTime v) override {
        ColState& s = state(col);
        if (s.kind == TStorageKind::DateTime || s.kind == TStorageKind::Float) {
            put(s, s.c->reals, v);
        } else {
            slot(s);
            cell::setDateTime(*s.c, m_row, v);
        }
    }
    void SetText(int col, const QString& v) override {
        ColState& s = state(col);
        if (s.kind == TStorageKind::Text) {
            if (s.set) {
                s.c->cells.setText(m_row, v);
            } else {
                s.c->cells.appendText(v);
                s.set = true;
            }
        } else {
            slot(s);
            try {
                cell::setText(*s.c, m_row, v, *s.name);
            } catch (...) {
                popValue(s);
                s.set = false;
                throw;
            }
            if (s.c->isNull(m_row)) { // empty text into a number: null
                popValue(s);
                s.set = false;
            }
        }
    }
    void SetTextUtf8(int col, const char* utf8, int len) override {
        ColState& s = state(col);
        if (s.kind == TStorageKind::Text) {
            const QByteArrayView v(utf8, len);
            if (isValidUtf8(v))
                putCell(s, v);
            else // kept as the text the bytes decode to
                putCell(s, QString::fromUtf8(v).toUtf8());
        } else {
            SetText(col, QString::fromUtf8(utf8, len));
        }
    }
    void SetBytes(int col, const void* data, int len) override {
        ColState& s = state(col);
        if (s.kind == TStorageKind::Bytes) {
            putCell(s, QByteArrayView(static_cast<const char*>(data), len));
        } else {
            const QByteArray b(static_cast<const char*>(data), len);
            slot(s);
            cell::setBytes(*s.c, m_row, b, *s.name);
            if (s.c->isNull(m_row)) {
                popValue(s);
                s.set = false;
            }
        }
    }
    void EndRow() override {
        for (ColState& s : m_cols) {
            if (!s.set) {
                s.c->appendNull();
                s.c->setNullBit(m_row, true);
            }
            s.set = false;
        }
        ++m_row;
        m_store.rows = m_row;
        startRow();
    }
    void Reserve(qint64 rows) override {
        if (rows > 0) m_store.reserve(m_row + rows);
    }
    // A load that stops in the middle of a row keeps only whole rows.
    void dropPartialRow() {
        for (ColState& s : m_cols)
            if (s.set) {
                popValue(s);
                s.set = false;
            }
    }

private:
    struct ColState {
        TStoreColumn* c;
        TStorageKind kind;
        bool set;
        const QString* name; // for conversion errors
    };

    ColState& state(int col) {
        if (static_cast<size_t>(static_cast<unsigned>(col)) >= m_cols.size())
            dbError(QStringLiteral("列序号 %1 超出范围").arg(col));
        return m_cols[static_cast<size_t>(col)];
    }
    template <typename V, typename T> static void put(ColState& s, std::vector<V>& vec, T&& v) {
        if (s.set) {
            vec.back() = std::forward<T>(v);
        } else {
            vec.push_back(std::forward<T>(v));
            s.set = true;
        }
    }
    void putCell(ColState& s, QByteArrayView v) {
        if (s.set) {
            s.c->cells.set(m_row, v);
        } else {
            s.c->cells.append(v);
            s.set = true;
        }
    }
    // Makes sure the row has a value slot for a converting setter.
    void slot(ColState& s) {
        if (!s.set) {
            s.c->appendNull();
            s.set = true;
        }
    }
    static void popValue(ColState& s) { s.c->popValue(); }
    void startRow() {
        if ((m_row & 63) == 0)
            for (ColState& s : m_cols)
                if (s.c->nulls.size() <= static_cast<size_t>(m_row >> 6)) s.c->nulls.push_back(0);
    }

    TRecordStore& m_store;
    std::vector<ColState> m_cols;
    qint64 m_row = 0;
};

// ---------------------------------------------------------------------------
// Private helpers.

TDataSet::Private::Private(TDataSet* owner) : q(owner) {}
TDataSet::Private::~Private() = default;

int TDataSet::Private::indexOfName(const QString& name) const {
    // Callers usually pass the very same string object again: its character
    // data is then shared with the cached copy and a pointer compare decides.
    const QChar* data = name.constData();
    for (const NameCacheEntry& e : nameCache)
        if (e.name.constData() == data && e.name.size() == name.size() && e.index >= 0) return e.index;
    for (const NameCacheEntry& e : nameCache)
        if (e.index >= 0 && e.name.size() == name.size() && e.name == name) return e.index;
    int idx = -1;
    const auto it = exactNames.constFind(name);
    if (it != exactNames.constEnd()) {
        idx = *it;
    } else {
        const auto it2 = foldedNames.constFind(name.toCaseFolded());
        if (it2 == foldedNames.constEnd()) return -1;
        idx = *it2;
    }
    nameCache[nameCacheNext++ % nameCache.size()] = {name, idx};
    return idx;
}

void TDataSet::Private::setupFields() {
    // Field objects survive a reload when the new record set still has a
    // column of their name, so display settings made by grids stay.
    std::vector<std::unique_ptr<TField>> old;
    old.swap(fields);
    const QStringList oldNames = std::exchange(fieldNames, QStringList());
    exactNames.clear();
    foldedNames.clear();
    for (NameCacheEntry& e : nameCache)
        e = {};
    for (FieldCacheEntry& e : q->m_fieldCache)
        e = {};
    for (size_t i = 0; i < defs.size(); ++i) {
        const QString& n = defs[i].Name;
        std::unique_ptr<TField> f;
        for (size_t k = 0; k < old.size(); ++k)
            if (old[k] && oldNames.at(static_cast<qsizetype>(k)).compare(n, Qt::CaseInsensitive) == 0) {
                f = std::move(old[k]);
                break;
            }
        if (!f) f = std::make_unique<TField>(*q, static_cast<int>(i));
        f->m_index = static_cast<int>(i);
        fields.push_back(std::move(f));
        fieldNames << n;
        if (!exactNames.contains(n)) exactNames.insert(n, static_cast<int>(i));
        const QString folded = n.toCaseFolded();
        if (!foldedNames.contains(folded)) foldedNames.insert(folded, static_cast<int>(i));
    }
}

void TDataSet::Private::attach(const std::shared_ptr<TRecordStore>& s) {
    detach();
    store = s;
    if (store) store->sharers.push_back(q);
}

void TDataSet::Private::detach() {
    if (!store) return;
    auto& sh = store->sharers;
    sh.erase(std::remove(sh.begin(), sh.end(), q), sh.end());
    store.reset();
}

bool TDataSet::Private::filterActive() const {
    return filtered && (onFilter || onFilterRecords || q->HasFilterText());
}

bool TDataSet::Private::accepts(qint64 record) {
    std::vector<qint32> one{static_cast<qint32>(record)};
    filterRecords(one);
    return !one.empty();
}

void TDataSet::Private::filterRecords(std::vector<qint32>& v) {
    const bool hasText = q->HasFilterText();
    ValueGuard<bool> g1(evaluating, true);
    ValueGuard<qint64> g2(evalRecord, -1);
    if (!onFilterRecords) { // record by record: the filter text, then the callback
        size_t o = 0;
        for (const qint32 r : v) {
            evalRecord = r;
            bool ok = !hasText || q->FilterTextAccepts(r);
            if (ok && onFilter) onFilter(*q, ok);
            if (ok) v[o++] = r;
        }
        v.resize(o);
        return;
    }
    if (hasText) {
        size_t o = 0;
        for (const qint32 r : v)
            if (q->FilterTextAccepts(r)) v[o++] = r;
        v.resize(o);
    }
    if (!v.empty()) {
        // What is left must be live records, no more than the candidates and,
        // when the candidates ascend (the natural order), still ascending.
        const size_t count = v.size();
        const bool ascending =
            std::adjacent_find(v.begin(), v.end(), std::greater_equal<qint32>()) == v.end();
        TRecordsPass pass(*q, v);
        onFilterRecords(*q, pass);
        if (v.size() > count) dbError(QStringLiteral("记录过滤器返回的记录多于候选记录"));
        qint32 last = -1;
        for (const qint32 r : v) {
            if (!store->isLive(r) || (ascending && r <= last))
                dbError(QStringLiteral("记录过滤器返回了不在候选中的记录 %1").arg(r));
            last = r;
        }
    }
    if (onFilter) {
        size_t o = 0;
        for (const qint32 r : v) {
            evalRecord = r;
            bool ok = true;
            onFilter(*q, ok);
            if (ok) v[o++] = r;
        }
        v.resize(o);
    }
}

void TDataSet::Private::resolveKeys() {
    keys.clear();
    for (int i = 0; i < orderFields.size(); ++i) {
        const int idx = indexOfName(orderFields.at(i));
        if (idx < 0) dbError(QStringLiteral("字段 '%1' 不存在").arg(orderFields.at(i)));
        SortKey k;
        k.col = idx;
        k.desc = i < static_cast<int>(orderDesc.size()) && orderDesc[static_cast<size_t>(i)];
        k.ci = i < static_cast<int>(orderCi.size()) && orderCi[static_cast<size_t>(i)];
        keys.push_back(k);
    }
}

void TDataSet::Private::sortByKey(std::vector<qint32>& v, const SortKey& k) const {
    const TStoreColumn& c = store->cols[static_cast<size_t>(k.col)];
    if (c.kind == TStorageKind::Text || c.kind == TStorageKind::Bytes) {
        // Sort bytes made once (collation keys for a case-insensitive text),
        // nulls first (last when descending), ties in their present order.
        std::vector<qint32> nulls;
        std::vector<SortBytes> items;
        items.reserve(v.size());
        QByteArray keys;
        const bool collate = k.ci && c.kind == TStorageKind::Text;
        std::vector<qint64> keyEnd;
        if (collate) {
            qint64 total = 0;
            for (const qint32 r : v)
                total += c.cells.view(r).size();
            keys.reserve(static_cast<qsizetype>(total) * 3);
        }
        for (const qint32 r : v) {
            if (c.isNull(r)) {
                nulls.push_back(r);
                continue;
            }
            const QByteArrayView t = c.cells.view(r);
            SortBytes b;
            b.record = r;
            if (collate) {
                Collation::appendSortKeyUtf8(t.data(), t.size(), keys);
                keyEnd.push_back(keys.size());
            } else {
                b.set(t.data(), t.size());
            }
            items.push_back(b);
        }
        if (collate) // the key buffer no longer grows: point at it
            for (size_t i = 0; i < items.size(); ++i) {
                const qint64 from = i ? keyEnd[i - 1] : 0;
                items[i].set(keys.constData() + from, keyEnd[i] - from);
            }
        if (k.desc)
            std::stable_sort(items.begin(), items.end(), [](const SortBytes& a, const SortBytes& b) {
                return SortBytes::compare(b, a) < 0;
            });
        else
            std::stable_sort(items.begin(), items.end(), [](const SortBytes& a, const SortBytes& b) {
                return SortBytes::compare(a, b) < 0;
            });
        size_t o = 0;
        if (!k.desc)
            for (const qint32 r : nulls)
                v[o++] = r;
        for (const SortBytes& b : items)
            v[o++] = b.record;
        if (k.desc)
            for (const qint32 r : nulls)
                v[o++] = r;
        return;
    }
    // Numbers: sort (key, record) pairs, nulls first (last when descending).
    const bool isInt = c.kind == TStorageKind::Integer || c.kind == TStorageKind::Boolean;
    std::vector<qint32> nulls;
    std::vector<std::pair<double, qint32>> realKeys;
    std::vector<std::pair<qint64, qint32>> intKeys;
    if (isInt)
        intKeys.reserve(v.size());
    else
        realKeys.reserve(v.size());
    for (qint32 r : v) {
        if (c.isNull(r) || (!isInt && std::isnan(c.reals[static_cast<size_t>(r)])))
            nulls.push_back(r);
        else if (isInt)
            intKeys.emplace_back(c.ints[static_cast<size_t>(r)], r);
        else
            realKeys.emplace_back(c.reals[static_cast<size_t>(r)], r);
    }
    auto run = [&](auto& pairs) {
        if (k.desc)
            std::stable_sort(pairs.begin(), pairs.end(),
                             [](const auto& a, const auto& b) { return a.first > b.first; });
        else
            std::stable_sort(pairs.begin(), pairs.end(),
                             [](const auto& a, const auto& b) { return a.first < b.first; });
        size_t o = 0;
        if (!k.desc)
            for (qint32 r : nulls)
                v[o++] = r;
        for (const auto& p : pairs)
            v[o++] = p.second;
        if (k.desc)
            for (qint32 r : nulls)
                v[o++] = r;
    };
    if (isInt)
        run(intKeys);
    else
        run(realKeys);
}

void TDataSet::Private::sortRecords(std::vector<qint32>& v) const {
    if (keys.empty()) return;
    if (keys.size() == 1) {
        sortByKey(v, keys.front());
        return;
    }
    // Several numeric keys: stable passes from the last key to the first give
    // the same order as one lexicographic stable sort, each pass on the fast
    // single-key path. With text keys the lexicographic comparison is cheaper
    // (later keys are compared only on ties).
    const bool allNumeric = std::all_of(keys.begin(), keys.end(), [&](const SortKey& k) {
        const TStorageKind kind = store->cols[static_cast<size_t>(k.col)].kind;
        return kind != TStorageKind::Text && kind != TStorageKind::Bytes;
    });
    if (allNumeric) {
        for (auto it = keys.rbegin(); it != keys.rend(); ++it)
            sortByKey(v, *it);
        return;
    }
    // Text keys: their sort bytes are made once, then compared as bytes.
    std::vector<std::unique_ptr<SortColumn>> prepared(keys.size());
    for (size_t i = 0; i < keys.size(); ++i) {
        const TStoreColumn& c = store->cols[static_cast<size_t>(keys[i].col)];
        if (c.kind == TStorageKind::Text || c.kind == TStorageKind::Bytes)
            prepared[i] = std::make_unique<SortColumn>(c, keys[i].ci, v, store->rows);
    }
    std::stable_sort(v.begin(), v.end(), [&](qint32 a, qint32 b) {
        for (size_t i = 0; i < keys.size(); ++i) {
            const SortKey& k = keys[i];
            const TStoreColumn& c = store->cols[static_cast<size_t>(k.col)];
            int r;
            if (prepared[i]) {
                const bool na = c.isNull(a), nb = c.isNull(b);
                r = na || nb ? (na == nb ? 0 : (na ? -1 : 1))
                             : SortBytes::compare(prepared[i]->at(a), prepared[i]->at(b));
            } else {
                r = compareCells(c, a, b, k.ci);
            }
            if (r != 0) return k.desc ? r > 0 : r < 0;
        }
        return false;
    });
}

bool TDataSet::Private::lessRecord(qint64 a, qint64 b) const {
    for (const SortKey& k : keys) {
        const int c = compareCells(store->cols[static_cast<size_t>(k.col)], a, b, k.ci);
        if (c != 0) return k.desc ? c > 0 : c < 0;
    }
    return false;
}

void TDataSet::Private::rebuildView() {
    if (!store) {
        view.clear();
        viewIdentity = true;
        return;
    }
    const bool filt = filterActive();
    if (!filt && keys.empty() && store->identityOrder) {
        std::vector<qint32>().swap(view);
        viewIdentity = true;
        return;
    }
    std::vector<qint32> v = store->naturalOrder();
    if (filt) {
        q->PrepareFilterText();
        filterRecords(v);
    }
    sortRecords(v);
    view.swap(v);
    viewIdentity = false;
}

void TDataSet::Private::materializeView() {
    if (!viewIdentity) return;
    view = store ? store->naturalOrder() : std::vector<qint32>();
    viewIdentity = false;
}

int TDataSet::Private::positionOf(qint64 record) const {
    if (!store || !store->isLive(record)) return -1;
    if (viewIdentity) return static_cast<int>(record);
    const auto it = std::find(view.begin(), view.end(), static_cast<qint32>(record));
    return it == view.end() ? -1 : static_cast<int>(it - view.begin());
}

int TDataSet::Private::sortedInsertPos(qint64 record) const {
    const auto it = std::upper_bound(view.begin(), view.end(), static_cast<qint32>(record),
                                     [&](qint32 a, qint32 b) { return lessRecord(a, b); });
    return static_cast<int>(it - view.begin());
}

void TDataSet::Private::setCursorFirst() {
    const int n = viewSize();
    cur = n > 0 ? 0 : -1;
    bof = true;
    eof = n == 0;
}

void TDataSet::Private::placeCursor(int pos) {
    const int n = viewSize();
    if (n == 0) {
        cur = -1;
        bof = eof = true;
        return;
    }
    cur = std::clamp(pos, 0, n - 1);
    bof = eof = false;
}

void TDataSet::Private::emitChanged() {
    if (disable > 0)
        pendingChange = true;
    else
        Q_EMIT q->dataSetChanged();
}
void TDataSet::Private::emitScrolled() {
    if (disable > 0)
        pendingChange = true;
    else
        Q_EMIT q->scrolled();
}
void TDataSet::Private::emitState() {
    if (disable > 0)
        pendingChange = true;
    else
        Q_EMIT q->stateChanged();
}
void TDataSet::Private::emitRecordChanged(int row) {
    if (disable > 0)
        pendingChange = true;
    else
        Q_EMIT q->recordChanged(row);
}
void TDataSet::Private::emitRowsInserted(int first, int count) {
    if (disable > 0)
        pendingChange = true;
    else
        Q_EMIT q->rowsInserted(first, count);
}
void TDataSet::Private::emitRowsRemoved(int first, int count) {
    if (disable > 0)
        pendingChange = true;
    else
        Q_EMIT q->rowsRemoved(first, count);
}

void TDataSet::Private::calcRecord(qint64 record) {
    if (!onCalc || !store) return;
    bool any = false;
    for (const TFieldDef& d : defs)
        if (d.Kind == TFieldKind::fkCalculated) any = true;
    if (!any) return;
    ValueGuard<TDataSetState> g0(state, TDataSetState::dsCalcFields);
    ValueGuard<bool> g1(evaluating, true);
    ValueGuard<qint64> g2(evalRecord, record);
    onCalc(*q);
}

void TDataSet::Private::calcAll() {
    if (!onCalc || !store) return;
    for (qint64 r = 0; r < store->rows; ++r)
        if (store->isLive(r)) calcRecord(r);
}

void TDataSet::Private::install(const std::shared_ptr<TRecordStore>& s) {
    attach(s);
    defs.assign(s->defs.begin(), s->defs.begin() + s->fieldCount);
    setupFields();
    active = true;
    state = TDataSetState::dsBrowse;
    std::exception_ptr calcError; // the rows are there even when a calculation fails
    try {
        calcAll();
    } catch (...) {
        calcError = std::current_exception();
    }
    try {
        resolveKeys();
    } catch (const EDatabaseError&) {
        // The ordering named fields this record set does not have.
        orderFields.clear();
        orderDesc.clear();
        orderCi.clear();
        keys.clear();
    }
    try {
        rebuildView();
    } catch (...) {
        // The filter cannot be applied to this record set (a field it names
        // is gone, its callback fails): open unfiltered and report why.
        filtered = false;
        rebuildView();
        setCursorFirst();
        throw;
    }
    setCursorFirst();
    if (calcError) std::rethrow_exception(calcError);
}

void TDataSet::Private::installAndAnnounce(const std::shared_ptr<TRecordStore>& s) {
    std::exception_ptr error;
    try {
        install(s);
    } catch (...) {
        error = std::current_exception();
    }
    emitState();
    emitChanged();
    if (error) std::rethrow_exception(error);
}

void TDataSet::Private::onStoreEvent(StoreEvent ev, qint64 record) {
    if (!active) return;
    if (ev == StoreEvent::Modified && !filterActive() && keys.empty()) {
        const int p = positionOf(record);
        if (p >= 0) emitRecordChanged(p);
        return;
    }
    if (ev == StoreEvent::Deleted && editBuf && state == TDataSetState::dsEdit && editRecord == record) {
        editBuf.reset();
        state = TDataSetState::dsBrowse;
        emitState();
    }
    const qint64 curRecord = cur >= 0 ? recAt(cur) : -1;
    const int oldCur = cur;
    try {
        rebuildView();
    } catch (...) {
        // A filter that fails on the other dataset's change shows the
        // records unfiltered rather than a view with dead records.
        filtered = false;
        rebuildView();
    }
    const int p = positionOf(curRecord);
    if (p >= 0)
        placeCursor(p);
    else
        placeCursor(oldCur);
    emitChanged();
}

void TDataSet::Private::notifySharers(StoreEvent ev, qint64 record) {
    if (!store) return;
    const std::vector<TDataSet*> others = store->sharers;
    for (TDataSet* ds : others)
        if (ds != q) ds->d->onStoreEvent(ev, record);
}

void TDataSet::Private::checkActive() const {
    if (!active) dbError(QStringLiteral("数据集 %1 没有打开").arg(q->ClassName()));
}

// ---------------------------------------------------------------------------
// TField

TField::TField(TDataSet& owner, int index) : m_owner(&owner), m_index(index) {}

const TFieldDef& TField::Def() const {
    return m_owner->d->defs[static_cast<size_t>(m_index)];
}
const QString& TField::FieldName() const {
    return Def().Name;
}
TFieldType TField::DataType() const {
    return Def().DataType;
}
TFieldKind TField::FieldKind() const {
    return Def().Kind;
}
int TField::Size() const {
    return Def().Size;
}

QString TField::DisplayLabel() const {
    return m_displayLabel.isEmpty() ? FieldName() : m_displayLabel;
}
void TField::SetDisplayLabel(const QString& label) {
    m_displayLabel = label;
}

int TField::DisplayWidth() const {
    if (m_displayWidth >= 0) return m_displayWidth;
    switch (DataType()) {
    case TFieldType::ftString:
    case TFieldType::ftFixedChar:
    case TFieldType::ftWideString:
        return Size() > 0 ? Size() : 20;
    case TFieldType::ftBoolean:
        return 5;
    case TFieldType::ftDate:
        return 10;
    case TFieldType::ftTime:
        return 8;
    case TFieldType::ftDateTime:
        return 19;
    case TFieldType::ftSmallint:
        return 6;
    case TFieldType::ftLargeint:
        return 15;
    default:
        return 10;
    }
}

bool TField::IsNull() const {
    qint64 r;
    const TStoreColumn* c = m_owner->d->readColumn(m_index, r);
    return !c || c->isNull(r);
}

QString TField::AsString() const {
    qint64 r;
    const TStoreColumn* c = m_owner->d->readColumn(m_index, r);
    if (!c) return QString();
    if (c->kind == TStorageKind::Text) return c->isNull(r) ? QString() : c->textAt(r);
    return cell::toText(*c, r);
}

bool TField::AsUtf8View(QByteArrayView& utf8) const {
    qint64 r;
    const TStoreColumn* c = m_owner->d->readColumn(m_index, r);
    if (!c) {
        if (StorageKindOf(Def().DataType) != TStorageKind::Text) return false;
        utf8 = QByteArrayView();
        return true;
    }
    if (c->kind != TStorageKind::Text) return false;
    utf8 = c->cells.view(r);
    return true;
}

qint32 TField::AsInteger() const {
    const qint64 v = AsLargeInt();
    if (v < std::numeric_limits<qint32>::min() || v > std::numeric_limits<qint32>::max())
        throw EConvertError(QStringLiteral("字段 '%1' 的值 %2 超出整数范围").arg(FieldName()).arg(v));
    return static_cast<qint32>(v);
}

qint64 TField::AsLargeInt() const {
    qint64 r;
    const TStoreColumn* c = m_owner->d->readColumn(m_index, r);
    if (!c || c->isNull(r)) return 0;
    if (c->kind == TStorageKind::Integer || c->kind == TStorageKind::Boolean)
        return c->ints[static_cast<size_t>(r)];
    return cell::toInt(*c, r, FieldName());
}

double TField::AsFloat() const {
    qint64 r;
    const TStoreColumn* c = m_owner->d->readColumn(m_index, r);
    if (!c || c->isNull(r)) return 0;
    if (c->kind == TStorageKind::Float || c->kind == TStorageKind::DateTime)
        return c->reals[static_cast<size_t>(r)];
    return cell::toFloat(*c, r, FieldName());
}

double TField::AsCurrency() const {
    // Currency keeps four decimals.
    return std::round(AsFloat() * 10000.0) / 10000.0;
}

TDateTime TField::AsDateTimeValue() const {
    qint64 r;
    const TStoreColumn* c = m_owner->d->readColumn(m_index, r);
    if (!c || c->isNull(r)) return 0;
    if (c->kind == TStorageKind::DateTime || c->kind == TStorageKind::Float)
        return c->reals[static_cast<size_t>(r)];
    return cell::toDateTime(*c, r, FieldName());
}

QDateTime TField::AsDateTime() const {
    if (IsNull()) return QDateTime();
    return DateTimeToQt(AsDateTimeValue());
}

bool TField::AsBoolean() const {
    qint64 r;
    const TStoreColumn* c = m_owner->d->readColumn(m_index, r);
    if (!c || c->isNull(r)) return false;
    if (c->kind == TStorageKind::Boolean || c->kind == TStorageKind::Integer)
        return c->ints[static_cast<size_t>(r)] != 0;
    return cell::toBool(*c, r, FieldName());
}

QByteArray TField::AsBytes() const {
    qint64 r;
    const TStoreColumn* c = m_owner->d->readColumn(m_index, r);
    if (!c) return QByteArray();
    return cell::toBytes(*c, r);
}

QVariant TField::AsVariant() const {
    qint64 r;
    const TStoreColumn* c = m_owner->d->readColumn(m_index, r);
    if (!c) return QVariant();
    return cell::toVariant(*c, r);
}

QString TField::DisplayText() const {
    qint64 r;
    const TStoreColumn* c = m_owner->d->readColumn(m_index, r);
    if (!c) return QString();
    return TDataSet::Private::displayText(*c, r, Def(), m_displayFormat);
}

namespace {

// A "%[flags][width][.prec]conv" pattern applied to one number.
QString printfNumber(const QString& format, double v, bool integral) {
    const qsizetype pct = format.indexOf(QLatin1Char('%'));
    if (pct < 0) return QString();
    qsizetype i = pct + 1;
    while (i < format.size() && QStringLiteral("-+ 0#*.0123456789").contains(format.at(i)))
        ++i;
    if (i >= format.size()) return QString();
    const QChar conv = format.at(i);
    QByteArray pattern = format.mid(pct, i - pct).toLatin1();
    if (pattern.contains('*')) pattern.replace('*', "");
    // A width or precision beyond any column's needs is a broken format.
    if (pattern.count('.') > 1) return QString();
    int number = 0;
    for (const char ch : pattern) {
        number = (ch >= '0' && ch <= '9') ? number * 10 + (ch - '0') : 0;
        if (number > 400) return QString();
    }
    const QString before = format.left(pct);
    const QString after = format.mid(i + 1);
    QString body;
    switch (conv.toLatin1()) {
    case 'd':
    case 'u':
        body = QString::asprintf((pattern + "lld").constData(), static_cast<long long>(std::llround(v)));
        break;
    case 'f':
    case 'e':
    case 'g':
    case 'E':
    case 'G':
        body = QString::asprintf((pattern + conv.toLatin1()).constData(), v);
        break;
    case 'n':
    case 'm': {
        // Fixed decimals with thousands separators.
        QByteArray s2 = pattern;
        if (!s2.contains('.')) s2 += integral ? ".0" : ".2";
        body = QString::asprintf((s2 + 'f').constData(), v).trimmed();
        const bool neg = body.startsWith(QLatin1Char('-'));
        if (neg) body.remove(0, 1);
        qsizetype dot = body.indexOf(QLatin1Char('.'));
        if (dot < 0) dot = body.size();
        for (qsizetype p = dot - 3; p > 0; p -= 3)
            body.insert(p, QLatin1Char(','));
        if (neg) body.prepend(QLatin1Char('-'));
        break;
    }
    case 's':
        body = integral ? QString::number(static_cast<long long>(v)) : formatFloat(v);
        break;
    default:
        return QString();
    }
    return before + body + after;
}

} // namespace

QString TDataSet::Private::displayText(const TStoreColumn& c, qint64 r, const TFieldDef& def,
                                       const QString& format) {
    if (c.isNull(r)) return QString();
    switch (c.kind) {
    case TStorageKind::Integer:
    case TStorageKind::Float: {
        const bool integral = c.kind == TStorageKind::Integer;
        const double v =
            integral ? static_cast<double>(c.ints[static_cast<size_t>(r)]) : c.reals[static_cast<size_t>(r)];
        if (!format.isEmpty()) {
            const QString s = printfNumber(format, v, integral);
            if (!s.isNull()) return s;
        }
        if (def.DataType == TFieldType::ftCurrency) return QString::number(v, 'f', 2);
        if ((def.DataType == TFieldType::ftBCD || def.DataType == TFieldType::ftFMTBcd) && def.Scale > 0)
            return QString::number(v, 'f', def.Scale);
        return cell::toText(c, r);
    }
    case TStorageKind::DateTime: {
        const double v = c.reals[static_cast<size_t>(r)];
        if (!format.isEmpty()) {
            if (format.contains(QLatin1Char('%'))) return printfNumber(format, v, false);
            return DateTimeToQt(v).toString(format);
        }
        if (def.DataType == TFieldType::ftDateTime && v == std::trunc(v))
            return DateToQt(v).toString(QStringLiteral("yyyy-MM-dd"));
        return cell::toText(c, r);
    }
    case TStorageKind::Bytes:
        return QStringLiteral("(BLOB)");
    case TStorageKind::Boolean:
    case TStorageKind::Text:
        return cell::toText(c, r);
    }
    return QString();
}

TStoreColumn& TDataSet::Private::writeColumn(int field, qint64& r) {
    if (state == TDataSetState::dsCalcFields) {
        if (defs[static_cast<size_t>(field)].Kind != TFieldKind::fkCalculated)
            dbError(
                QStringLiteral("计算字段时不能修改数据字段 '%1'").arg(defs[static_cast<size_t>(field)].Name));
        r = evalRecord;
        return store->cols[static_cast<size_t>(field)];
    }
    if (!editBuf || (state != TDataSetState::dsEdit && state != TDataSetState::dsInsert))
        dbError(QStringLiteral("数据集不在编辑或插入状态，不能修改字段 '%1'")
                    .arg(defs[static_cast<size_t>(field)].Name));
    r = 0;
    return editBuf->cols[static_cast<size_t>(field)];
}

void TDataSet::Private::afterWrite(int field) {
    if (state != TDataSetState::dsEdit && state != TDataSetState::dsInsert) return;
    changed[static_cast<size_t>(field)] = 1;
    modified = true;
    if (state == TDataSetState::dsEdit && cur >= 0) emitRecordChanged(cur);
}

#define LNQ_FIELD_SETTER(body)                                                                               \
    TDataSet::Private& p = *m_owner->d;                                                                      \
    qint64 r;                                                                                                \
    TStoreColumn& c = p.writeColumn(m_index, r);                                                             \
    body;                                                                                                    \
    p.afterWrite(m_index);

void TField::SetAsString(const QString& v) {
    LNQ_FIELD_SETTER(cell::setText(c, r, v, FieldName()))
}
void TField::SetAsInteger(qint32 v) {
    LNQ_FIELD_SETTER(cell::setInt(c, r, v))
}
void TField::SetAsLargeInt(qint64 v) {
    LNQ_FIELD_SETTER(cell::setInt(c, r, v))
}
void TField::SetAsFloat(double v) {
    LNQ_FIELD_SETTER(cell::setFloat(c, r, v))
}
void TField::SetAsCurrency(double v) {
    LNQ_FIELD_SETTER(cell::setFloat(c, r, std::round(v * 10000.0) / 10000.0))
}
void TField::SetAsDateTimeValue(TDateTime v) {
    LNQ_FIELD_SETTER(cell::setDateTime(c, r, v))
}
void TField::SetAsDateTime(const QDateTime& v) {
    if (!v.isValid()) {
        Clear();
        return;
    }
    LNQ_FIELD_SETTER(cell::setDateTime(c, r, DateTimeFromQt(v)))
}
void TField::SetAsBoolean(bool v) {
    LNQ_FIELD_SETTER(cell::setBool(c, r, v))
}
void TField::SetAsBytes(const QByteArray& v) {
    LNQ_FIELD_SETTER(cell::setBytes(c, r, v, FieldName()))
}
void TField::SetAsVariant(const QVariant& v) {
    LNQ_FIELD_SETTER(cell::setVariant(c, r, v, FieldName()))
}
void TField::Clear() {
    LNQ_FIELD_SETTER(cell::setNull(c, r))
}

#undef LNQ_FIELD_SETTER

// ---------------------------------------------------------------------------
// TDataSet: state and fields

TDataSet::TDataSet(QObject* owner) : QObject(owner), d(std::make_unique<Private>(this)) {}

TDataSet::~TDataSet() {
    d->detach();
}

void TDataSet::Open() {
    if (d->active) return;
    DoOpen();
}

void TDataSet::DoOpen() {
    if (d->defs.empty()) dbError(QStringLiteral("数据集 %1 没有数据，不能打开").arg(ClassName()));
    TFieldDefs defs;
    for (const TFieldDef& f : d->defs)
        if (f.Kind == TFieldKind::fkData) defs.push_back(f);
    BeginLoad(defs);
    EndLoad();
}

void TDataSet::Close() {
    d->builder.reset();
    d->loading.reset();
    if (!d->active) return;
    d->editBuf.reset();
    d->detach();
    d->active = false;
    d->state = TDataSetState::dsInactive;
    d->view.clear();
    d->viewIdentity = true;
    d->cur = -1;
    d->bof = d->eof = true;
    d->emitState();
    d->emitChanged();
}

bool TDataSet::Active() const {
    return d->active;
}
void TDataSet::SetActive(bool active) {
    if (active)
        Open();
    else
        Close();
}
TDataSetState TDataSet::State() const {
    return d->state;
}
bool TDataSet::Modified() const {
    return d->editBuf && d->modified;
}

int TDataSet::FieldCount() const {
    return static_cast<int>(d->fields.size());
}

TField& TDataSet::Fields(int index) const {
    if (index < 0 || index >= FieldCount()) dbError(QStringLiteral("字段序号 %1 超出范围").arg(index));
    return *d->fields[static_cast<size_t>(index)];
}

TField& TDataSet::FieldByNameSlow(const QString& name) const {
    const int idx = d->indexOfName(name);
    if (idx < 0) dbError(QStringLiteral("字段 '%1' 不存在").arg(name));
    TField* f = d->fields[static_cast<size_t>(idx)].get();
    FieldCacheEntry& e = m_fieldCache[m_fieldCacheNext++ % std::size(m_fieldCache)];
    e.name = name;
    e.field = f;
    return *f;
}

TField* TDataSet::FindField(const QString& name) const {
    const int idx = d->indexOfName(name);
    return idx < 0 ? nullptr : d->fields[static_cast<size_t>(idx)].get();
}

const TFieldDefs& TDataSet::FieldDefs() const {
    return d->defs;
}

QStringList TDataSet::FieldNames() const {
    QStringList l;
    for (const TFieldDef& f : d->defs)
        l << f.Name;
    return l;
}

// ---------------------------------------------------------------------------
// Cursor

void TDataSet::First() {
    d->checkActive();
    CheckBrowseMode();
    const int old = d->cur;
    d->setCursorFirst();
    if (old != d->cur) d->emitScrolled();
}

void TDataSet::Last() {
    d->checkActive();
    CheckBrowseMode();
    const int old = d->cur;
    const int n = d->viewSize();
    d->cur = n - 1;
    d->bof = n == 0;
    d->eof = true;
    if (old != d->cur) d->emitScrolled();
}

void TDataSet::Next() {
    d->checkActive();
    CheckBrowseMode();
    const int n = d->viewSize();
    if (d->cur + 1 >= n) {
        d->eof = true;
        if (n > 0) d->bof = false;
        return;
    }
    ++d->cur;
    d->bof = d->eof = false;
    d->emitScrolled();
}

void TDataSet::Prior() {
    d->checkActive();
    CheckBrowseMode();
    const int n = d->viewSize();
    if (d->cur <= 0) {
        d->bof = true;
        if (n > 0) d->eof = false;
        return;
    }
    --d->cur;
    d->bof = d->eof = false;
    d->emitScrolled();
}

int TDataSet::MoveBy(int distance) {
    d->checkActive();
    CheckBrowseMode();
    const int n = d->viewSize();
    if (n == 0 || distance == 0) return 0;
    const int target = d->cur + distance;
    const int clamped = std::clamp(target, 0, n - 1);
    const int moved = clamped - d->cur;
    d->cur = clamped;
    d->bof = target < 0;
    d->eof = target > n - 1;
    if (moved != 0) d->emitScrolled();
    return moved;
}

bool TDataSet::Bof() const {
    return d->bof;
}
bool TDataSet::Eof() const {
    return d->eof;
}
bool TDataSet::IsEmpty() const {
    return !d->active || d->viewSize() == 0;
}

int TDataSet::RecNo() const {
    if (!d->active) return -1;
    return d->cur < 0 ? 0 : d->cur + 1;
}

void TDataSet::SetRecNo(int recNo) {
    d->checkActive();
    CheckBrowseMode();
    const int n = d->viewSize();
    if (n == 0) return;
    const int old = d->cur;
    d->placeCursor(recNo - 1);
    if (old != d->cur) d->emitScrolled();
}

int TDataSet::RecordCount() const {
    return d->active ? d->viewSize() : 0;
}

int TDataSet::CurrentRow() const {
    return d->active ? d->cur : -1;
}

// ---------------------------------------------------------------------------
// Locate / Lookup

namespace {

struct KeyMatcher {
    const TStoreColumn* col = nullptr;
    bool wantNull = false;
    bool asText = false;
    bool impossible = false; // the key value cannot equal any value of the column
    QString text;
    qint64 i = 0;
    double f = 0;
    bool b = false;
    QByteArray bytes;
    Qt::CaseSensitivity cs = Qt::CaseSensitive;
    bool partial = false;
    QByteArray utf8;            // text as stored, for a text column
    QByteArray key;             // its collation key, for a case-insensitive partial key
    mutable QByteArray cellKey; // scratch

    // Values first: a null cell holds its type's default, so the null bit
    // only needs looking at when the value matched.
    bool matches(qint64 r) const {
        const auto ri = static_cast<size_t>(r);
        switch (mode) {
        case Mode::Never:
            return false;
        case Mode::Null:
            return col->isNull(r);
        case Mode::Int:
            return col->ints[ri] == i && !col->isNull(r);
        case Mode::Bool:
            return (col->ints[ri] != 0) == b && !col->isNull(r);
        case Mode::Float:
            return col->reals[ri] == f && !col->isNull(r);
        case Mode::Date:
            return std::fabs(col->reals[ri] - f) < 0.5 / 86400000.0 && !col->isNull(r);
        case Mode::Bytes:
            return col->cells.view(r) == QByteArrayView(bytes) && !col->isNull(r);
        case Mode::Text: {
            if (col->isNull(r)) return false;
            if (col->kind == TStorageKind::Text) {
                const QByteArrayView v = col->cells.view(r);
                if (cs == Qt::CaseSensitive) return partial ? v.startsWith(utf8) : v == QByteArrayView(utf8);
                // Letter case and trailing blanks count as the collation says.
                if (!partial)
                    return Collation::compareUtf8(v.data(), v.size(), utf8.data(), utf8.size()) == 0;
                cellKey.resize(0);
                Collation::appendSortKeyUtf8(v.data(), v.size(), cellKey);
                return cellKey.startsWith(key);
            }
            const QString v = cell::toText(*col, r);
            if (cs == Qt::CaseSensitive) return partial ? v.startsWith(text) : v == text;
            if (!partial) return Collation::compare(v, text) == 0;
            return Collation::sortKey(v).startsWith(key);
        }
        }
        return false;
    }
    void finish() {
        if (wantNull)
            mode = Mode::Null;
        else if (impossible)
            mode = Mode::Never;
        else if (asText)
            mode = Mode::Text;
        else
            switch (col->kind) {
            case TStorageKind::Integer:
                mode = Mode::Int;
                break;
            case TStorageKind::Boolean:
                mode = Mode::Bool;
                break;
            case TStorageKind::Float:
                mode = Mode::Float;
                break;
            case TStorageKind::DateTime:
                mode = Mode::Date;
                break;
            case TStorageKind::Bytes:
                mode = Mode::Bytes;
                break;
            case TStorageKind::Text:
                mode = Mode::Text;
                break;
            }
    }
    enum class Mode { Never, Null, Int, Bool, Float, Date, Bytes, Text } mode = Mode::Never;
};

KeyMatcher makeMatcher(const TStoreColumn& c, const QVariant& v, TLocateOptions options) {
    KeyMatcher m;
    m.col = &c;
    if (v.isNull() || !v.isValid()) {
        m.wantNull = true;
        return m;
    }
    m.cs = options.testFlag(TLocateOption::loCaseInsensitive) ? Qt::CaseInsensitive : Qt::CaseSensitive;
    m.partial = options.testFlag(TLocateOption::loPartialKey);
    if (c.kind == TStorageKind::Text || m.partial) {
        m.asText = true;
        if (c.kind == TStorageKind::DateTime &&
            (v.typeId() == QMetaType::QDateTime || v.typeId() == QMetaType::QDate)) {
            m.text = formatDateTime(c.type, v.typeId() == QMetaType::QDate ? DateFromQt(v.toDate())
                                                                           : DateTimeFromQt(v.toDateTime()));
        } else if (v.typeId() == QMetaType::Double) {
            m.text = formatFloat(v.toDouble());
        } else if (v.typeId() == QMetaType::Bool) {
            m.text = v.toBool() ? QStringLiteral("True") : QStringLiteral("False");
        } else {
            m.text = v.toString();
        }
        m.utf8 = m.text.toUtf8();
        if (m.partial && m.cs == Qt::CaseInsensitive) m.key = Collation::sortKey(m.text);
        return m;
    }
    bool ok = true;
    switch (c.kind) {
    case TStorageKind::Integer: {
        const double dv = v.toDouble(&ok);
        if (!ok) {
            m.impossible = true;
            break;
        }
        if (dv != std::trunc(dv)) m.impossible = true;
        m.i = v.typeId() == QMetaType::Double ? static_cast<qint64>(dv) : v.toLongLong(&ok);
        if (!ok) m.i = static_cast<qint64>(dv);
        break;
    }
    case TStorageKind::Float:
        m.f = v.toDouble(&ok);
        if (!ok) m.impossible = true;
        break;
    case TStorageKind::DateTime:
        if (v.typeId() == QMetaType::QDateTime)
            m.f = DateTimeFromQt(v.toDateTime());
        else if (v.typeId() == QMetaType::QDate)
            m.f = DateFromQt(v.toDate());
        else if (v.typeId() == QMetaType::QString)
            m.impossible = !parseDateTimeText(v.toString(), &m.f);
        else {
            m.f = v.toDouble(&ok);
            m.impossible = !ok;
        }
        break;
    case TStorageKind::Boolean:
        if (v.typeId() == QMetaType::QString)
            m.impossible = !parseBoolText(v.toString(), &m.b);
        else
            m.b = v.toBool();
        break;
    case TStorageKind::Bytes:
        m.bytes = v.toByteArray();
        break;
    case TStorageKind::Text:
        break;
    }
    return m;
}

} // namespace

int TDataSet::Private::findRecord(const QString& keyFields, const QVariantList& keyValues,
                                  TLocateOptions options) const {
    checkActive();
    const QStringList names = keyFields.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    if (names.isEmpty()) dbError(QStringLiteral("没有指定查找字段"));
    if (names.size() != keyValues.size())
        dbError(QStringLiteral("查找字段 '%1' 与查找值的个数不一致").arg(keyFields));
    std::vector<KeyMatcher> matchers;
    for (int i = 0; i < names.size(); ++i) {
        const QString n = names.at(i).trimmed();
        const int idx = indexOfName(n);
        if (idx < 0) dbError(QStringLiteral("字段 '%1' 不存在").arg(n));
        matchers.push_back(makeMatcher(store->cols[static_cast<size_t>(idx)], keyValues.at(i), options));
        matchers.back().finish();
    }
    const int n = viewSize();
    auto allMatch = [&](qint64 r) {
        for (const KeyMatcher& m : matchers)
            if (!m.matches(r)) return false;
        return true;
    };
    // The first key is tested inline on its raw array for the common kinds;
    // the full test runs only on its hits.
    const KeyMatcher& first = matchers.front();
    if (first.mode == KeyMatcher::Mode::Int) {
        const qint64* a = first.col->ints.data();
        const qint64 key = first.i;
        for (int p = 0; p < n; ++p) {
            const qint64 r = recAt(p);
            if (a[r] == key && allMatch(r)) return p;
        }
        return -1;
    }
    if (first.mode == KeyMatcher::Mode::Float) {
        const double* a = first.col->reals.data();
        const double key = first.f;
        for (int p = 0; p < n; ++p) {
            const qint64 r = recAt(p);
            if (a[r] == key && allMatch(r)) return p;
        }
        return -1;
    }
    for (int p = 0; p < n; ++p)
        if (allMatch(recAt(p))) return p;
    return -1;
}

bool TDataSet::Locate(const QString& keyFields, const QVariantList& keyValues, TLocateOptions options) {
    d->checkActive();
    CheckBrowseMode();
    const int p = d->findRecord(keyFields, keyValues, options);
    if (p < 0) return false;
    const int old = d->cur;
    d->placeCursor(p);
    if (old != d->cur) d->emitScrolled();
    return true;
}

bool TDataSet::Locate(const QString& keyField, const QVariant& keyValue, TLocateOptions options) {
    if (keyField.contains(QLatin1Char(';')) && keyValue.typeId() == QMetaType::QVariantList)
        return Locate(keyField, keyValue.toList(), options);
    return Locate(keyField, QVariantList{keyValue}, options);
}

QVariant TDataSet::Lookup(const QString& keyFields, const QVariantList& keyValues,
                          const QString& resultField) {
    d->checkActive();
    const int idx = d->indexOfName(resultField);
    if (idx < 0) dbError(QStringLiteral("字段 '%1' 不存在").arg(resultField));
    const int p = d->findRecord(keyFields, keyValues, {});
    if (p < 0) return QVariant();
    return cell::toVariant(d->store->cols[static_cast<size_t>(idx)], d->recAt(p));
}

// ---------------------------------------------------------------------------
// Bookmarks

TBookmark TDataSet::GetBookmark() const {
    if (!d->active || d->cur < 0 || d->state == TDataSetState::dsInsert) return {};
    return TBookmark{d->recAt(d->cur)};
}

void TDataSet::GotoBookmark(const TBookmark& bookmark) {
    d->checkActive();
    CheckBrowseMode();
    const int p = d->positionOf(bookmark.record);
    if (p < 0) dbError(QStringLiteral("书签指向的记录不存在"));
    const int old = d->cur;
    d->placeCursor(p);
    if (old != d->cur) d->emitScrolled();
}

bool TDataSet::BookmarkValid(const TBookmark& bookmark) const {
    return d->active && bookmark.isValid() && d->positionOf(bookmark.record) >= 0;
}

TBookmark TDataSet::BookmarkAt(int row) const {
    if (!d->active || row < 0 || row >= d->viewSize()) return {};
    return TBookmark{d->recAt(row)};
}

// ---------------------------------------------------------------------------
// Editing

void TDataSet::Edit() {
    d->checkActive();
    if (d->state == TDataSetState::dsEdit || d->state == TDataSetState::dsInsert) return;
    if (d->viewSize() == 0) {
        Insert();
        return;
    }
    const qint64 rec = d->recAt(d->cur);
    auto buf = std::make_unique<TRecordStore>(d->store->defs);
    buf->appendNullRow();
    for (int c = 0; c < buf->columnCount(); ++c)
        buf->copyCell(c, 0, *d->store, rec);
    d->editBuf = std::move(buf);
    ++d->editSerial;
    d->changed.assign(d->store->defs.size(), 0);
    d->modified = false;
    d->editRecord = rec;
    d->state = TDataSetState::dsEdit;
    d->emitState();
}

void TDataSet::Insert() {
    d->checkActive();
    CheckBrowseMode();
    auto buf = std::make_unique<TRecordStore>(d->store->defs);
    buf->appendNullRow();
    d->editBuf = std::move(buf);
    ++d->editSerial;
    d->changed.assign(d->store->defs.size(), 0);
    d->modified = false;
    d->editRecord = -1;
    d->appending = false;
    d->insertBefore = d->cur >= 0 ? d->recAt(d->cur) : -1;
    d->state = TDataSetState::dsInsert;
    d->emitState();
}

void TDataSet::Append() {
    Insert();
    d->appending = true;
    d->insertBefore = -1;
}

int TDataSet::Private::rowIdColumn() const {
    for (size_t i = 0; i < store->defs.size(); ++i)
        if (store->defs[i].IsRowId) return static_cast<int>(i);
    return -1;
}

void TDataSet::Private::storeResult(const TUpdateResult& res, qint64 record) {
    TRecordStore& s = *store;
    for (const auto& [col, value] : res.Assigned)
        if (col >= 0 && col < s.columnCount())
            cell::setVariant(s.cols[static_cast<size_t>(col)], record, value,
                             s.defs[static_cast<size_t>(col)].Name);
    const int rowIdCol = rowIdColumn();
    if (rowIdCol >= 0 && res.RowId.isValid())
        cell::setVariant(s.cols[static_cast<size_t>(rowIdCol)], record, res.RowId,
                         s.defs[static_cast<size_t>(rowIdCol)].Name);
}

TUpdateRequest TDataSet::Private::makeRequest(TUpdateKind kind, qint64 record) const {
    TUpdateRequest req;
    req.Kind = kind;
    for (const TFieldDef& f : store->defs)
        if (!f.BaseTable.isEmpty()) {
            req.BaseTable = f.BaseTable;
            break;
        }
    req.Fields = &store->defs;
    const size_t n = store->defs.size();
    const int rowIdCol = rowIdColumn();
    if (kind != TUpdateKind::ukInsert) {
        req.OldValues.reserve(n);
        for (size_t i = 0; i < n; ++i)
            req.OldValues.push_back(cell::toVariant(store->cols[i], record));
        if (rowIdCol >= 0) req.RowId = req.OldValues[static_cast<size_t>(rowIdCol)];
    }
    if (kind != TUpdateKind::ukDelete) {
        req.NewValues.reserve(n);
        req.Changed.reserve(n);
        for (size_t i = 0; i < n; ++i) {
            req.NewValues.push_back(cell::toVariant(editBuf->cols[i], 0));
            bool ch = changed[i] != 0;
            if (kind == TUpdateKind::ukModify && ch)
                ch = req.NewValues[i] != req.OldValues[i] ||
                     req.NewValues[i].isNull() != req.OldValues[i].isNull();
            if (store->defs[i].Kind == TFieldKind::fkCalculated) ch = false;
            req.Changed.push_back(ch);
        }
    }
    return req;
}

void TDataSet::Post() {
    d->checkActive();
    if (d->state != TDataSetState::dsEdit && d->state != TDataSetState::dsInsert)
        dbError(QStringLiteral("数据集不在编辑或插入状态"));
    Private& p = *d;
    const bool inserting = p.state == TDataSetState::dsInsert;
    if (!inserting) {
        const TUpdateRequest req = p.makeRequest(TUpdateKind::ukModify, p.editRecord);
        const bool any = std::find(req.Changed.begin(), req.Changed.end(), true) != req.Changed.end();
        TUpdateResult res;
        if (any) res = ApplyUpdate(req); // throws: nothing below happens
        const qint64 rec = p.editRecord;
        TRecordStore& s = *p.store;
        for (int c = 0; c < s.columnCount(); ++c)
            if (p.changed[static_cast<size_t>(c)]) s.copyCell(c, rec, *p.editBuf, 0);
        p.storeResult(res, rec);
        p.editBuf.reset();
        p.state = TDataSetState::dsBrowse;
        p.calcRecord(rec);
        const int pos = p.cur;
        if (p.filterActive() && !p.accepts(rec)) {
            p.materializeView();
            p.view.erase(p.view.begin() + pos);
            p.placeCursor(pos);
            p.emitRowsRemoved(pos, 1);
        } else if (!p.keys.empty()) {
            p.materializeView();
            p.view.erase(p.view.begin() + pos);
            const int np = p.sortedInsertPos(rec);
            p.view.insert(p.view.begin() + np, static_cast<qint32>(rec));
            p.placeCursor(np);
            if (np != pos) {
                p.emitChanged();
            } else {
                p.emitRecordChanged(pos);
            }
        } else {
            p.emitRecordChanged(pos);
        }
        p.emitState();
        p.notifySharers(Private::StoreEvent::Modified, rec);
        return;
    }

    const TUpdateRequest req = p.makeRequest(TUpdateKind::ukInsert, -1);
    const TUpdateResult res = ApplyUpdate(req);
    TRecordStore& s = *p.store;
    const qint64 rec = s.appendNullRow();
    for (int c = 0; c < s.columnCount(); ++c)
        s.copyCell(c, rec, *p.editBuf, 0);
    p.storeResult(res, rec);
    const bool viewWasIdentity = p.viewIdentity;
    const int oldSize = viewWasIdentity ? static_cast<int>(s.liveRows) : static_cast<int>(p.view.size());
    qint64 rank = s.liveRows;
    if (!p.appending && p.insertBefore >= 0) {
        const qint64 r = s.naturalRank(p.insertBefore);
        if (r >= 0) rank = r;
    }
    s.insertInOrder(rec, rank);
    p.editBuf.reset();
    p.state = TDataSetState::dsBrowse;
    p.calcRecord(rec);

    int pos = -1;
    if (p.filterActive() && !p.accepts(rec)) {
        pos = -1;
    } else if (!p.keys.empty()) {
        p.materializeView();
        pos = p.sortedInsertPos(rec);
        p.view.insert(p.view.begin() + pos, static_cast<qint32>(rec));
    } else if (viewWasIdentity && s.identityOrder) {
        pos = static_cast<int>(rec); // appended at the end of an identity view
    } else {
        if (viewWasIdentity) {
            p.view = s.naturalOrder();
            p.viewIdentity = false;
            pos = static_cast<int>(rank);
        } else {
            pos = p.appending || p.cur < 0 ? oldSize : std::min(p.cur, oldSize);
            p.view.insert(p.view.begin() + pos, static_cast<qint32>(rec));
        }
    }
    if (pos >= 0) {
        p.placeCursor(pos);
        p.emitRowsInserted(pos, 1);
    } else {
        p.placeCursor(p.cur);
        p.emitChanged();
    }
    p.emitState();
    p.emitScrolled();
    p.notifySharers(Private::StoreEvent::Inserted, rec);
}

void TDataSet::Cancel() {
    if (!d->editBuf) return;
    const bool wasInsert = d->state == TDataSetState::dsInsert;
    d->editBuf.reset();
    d->modified = false;
    d->state = TDataSetState::dsBrowse;
    d->emitState();
    if (wasInsert)
        d->emitChanged();
    else if (d->cur >= 0)
        d->emitRecordChanged(d->cur);
}

void TDataSet::Delete() {
    d->checkActive();
    if (d->state == TDataSetState::dsInsert) {
        Cancel();
        return;
    }
    if (d->state == TDataSetState::dsEdit) Cancel();
    if (d->viewSize() == 0 || d->cur < 0) dbError(QStringLiteral("数据集为空，不能删除"));
    Private& p = *d;
    const qint64 rec = p.recAt(p.cur);
    const TUpdateRequest req = p.makeRequest(TUpdateKind::ukDelete, rec);
    ApplyUpdate(req);
    const int pos = p.cur;
    p.materializeView();
    p.store->markDead(rec);
    p.view.erase(p.view.begin() + pos);
    p.placeCursor(pos);
    p.emitRowsRemoved(pos, 1);
    p.emitScrolled();
    p.notifySharers(Private::StoreEvent::Deleted, rec);
}

void TDataSet::CheckBrowseMode() {
    if (d->state == TDataSetState::dsEdit || d->state == TDataSetState::dsInsert) Post();
}

TUpdateResult TDataSet::ApplyUpdate(const TUpdateRequest&) {
    return {};
}

// ---------------------------------------------------------------------------
// Blob streams

namespace {

// Collects the bytes written and hands them over once, when closed or
// destroyed.
class TBlobWriteStream final : public QBuffer {
public:
    TBlobWriteStream(std::function<void(const QByteArray&)> commit, const QByteArray& initial)
        : m_commit(std::move(commit)) {
        setData(initial);
    }
    ~TBlobWriteStream() override {
        try {
            commit();
        } catch (...) {
            // A destructor must not throw; close() reports the same error.
        }
    }
    void close() override {
        commit();
        QBuffer::close();
    }

private:
    void commit() {
        if (m_done) return;
        m_done = true;
        m_commit(data());
    }

    std::function<void(const QByteArray&)> m_commit;
    bool m_done = false;
};

} // namespace

std::unique_ptr<QIODevice> TDataSet::CreateBlobStream(TField& field, TBlobStreamMode mode) {
    if (&field.DataSet() != this)
        dbError(QStringLiteral("字段 '%1' 不属于这个数据集").arg(field.FieldName()));
    if (mode == TBlobStreamMode::bmRead) {
        auto buf = std::make_unique<QBuffer>();
        buf->setData(field.AsBytes());
        buf->open(QIODevice::ReadOnly);
        return buf;
    }
    if (d->state != TDataSetState::dsEdit && d->state != TDataSetState::dsInsert)
        dbError(QStringLiteral("数据集不在编辑或插入状态，不能修改字段 '%1'").arg(field.FieldName()));
    const QByteArray initial = mode == TBlobStreamMode::bmReadWrite ? field.AsBytes() : QByteArray();
    // The bytes go into the edit that was pending when the stream was made,
    // never into a later one (nor into a dataset that is gone).
    QPointer<TDataSet> self(this);
    const quint64 serial = d->editSerial;
    const int index = field.Index();
    auto commit = [self, serial, index](const QByteArray& bytes) {
        if (!self || !self->d->editBuf || self->d->editSerial != serial) return;
        self->Fields(index).SetAsBytes(bytes);
    };
    auto buf = std::make_unique<TBlobWriteStream>(std::move(commit), initial);
    buf->open(mode == TBlobStreamMode::bmReadWrite ? QIODevice::ReadWrite
                                                   : (QIODevice::WriteOnly | QIODevice::Truncate));
    return buf;
}

// ---------------------------------------------------------------------------
// Filtering

bool TDataSet::Filtered() const {
    return d->filtered;
}

void TDataSet::SetFiltered(bool filtered) {
    if (d->filtered == filtered && !filtered) return;
    d->filtered = filtered;
    Refilter();
}

void TDataSet::SetOnFilterRecord(FilterRecordFn fn) {
    d->onFilter = std::move(fn);
    if (d->filtered) Refilter();
}

const TDataSet::FilterRecordFn& TDataSet::OnFilterRecord() const {
    return d->onFilter;
}

void TDataSet::Refilter() {
    if (!d->active) return;
    CheckBrowseMode();
    d->rebuildView();
    d->setCursorFirst();
    d->emitChanged();
}

bool TDataSet::FilterTextAccepts(qint64) const {
    return true;
}

void TDataSet::SetOnFilterRecords(FilterRecordsFn fn) {
    d->onFilterRecords = std::move(fn);
    if (d->filtered) Refilter();
}

const TDataSet::FilterRecordsFn& TDataSet::OnFilterRecords() const {
    return d->onFilterRecords;
}

QByteArrayView TStoredColumn::longText(const char* at) {
    return TCellBuffer::longView(at);
}

TStoredColumn TRecordsPass::Column(int field) const {
    const TDataSet::Private& p = *m_dataSet.d;
    if (field < 0 || field >= static_cast<int>(p.fields.size()) || !p.store)
        dbError(QStringLiteral("字段序号 %1 超出范围").arg(field));
    const TStoreColumn& c = p.store->cols[static_cast<size_t>(field)];
    TStoredColumn s;
    s.m_kind = c.kind;
    s.m_nulls = c.nulls.data();
    s.m_ints = c.ints.data();
    s.m_reals = c.reals.data();
    if (c.kind == TStorageKind::Text || c.kind == TStorageKind::Bytes) {
        s.m_spans = c.cells.spans();
        s.m_bytes = c.cells.bytes();
    }
    return s;
}

void TRecordsPass::ReadRecord(qint64 record) {
    TDataSet::Private& p = *m_dataSet.d;
    if (!p.store || !p.store->isLive(record)) dbError(QStringLiteral("记录 %1 不存在").arg(record));
    p.evalRecord = record;
}

// ---------------------------------------------------------------------------
// Views

QVariant TDataSet::ValueAt(int row, int field) const {
    if (!d->active || row < 0 || row >= d->viewSize() || field < 0 || field >= FieldCount())
        return QVariant();
    if (d->editBuf && d->state == TDataSetState::dsEdit && row == d->cur)
        return cell::toVariant(d->editBuf->cols[static_cast<size_t>(field)], 0);
    return cell::toVariant(d->store->cols[static_cast<size_t>(field)], d->recAt(row));
}

QString TDataSet::DisplayTextAt(int row, int field) const {
    if (!d->active || row < 0 || row >= d->viewSize() || field < 0 || field >= FieldCount()) return QString();
    const TField& f = *d->fields[static_cast<size_t>(field)];
    if (d->editBuf && d->state == TDataSetState::dsEdit && row == d->cur)
        return Private::displayText(d->editBuf->cols[static_cast<size_t>(field)], 0, f.Def(),
                                    f.DisplayFormat());
    return Private::displayText(d->store->cols[static_cast<size_t>(field)], d->recAt(row), f.Def(),
                                f.DisplayFormat());
}

double TDataSet::FloatAt(int row, int field) const {
    if (!d->active || row < 0 || row >= d->viewSize() || field < 0 || field >= FieldCount()) return 0;
    if (d->editBuf && d->state == TDataSetState::dsEdit && row == d->cur) return Fields(field).AsFloat();
    const TStoreColumn& c = d->store->cols[static_cast<size_t>(field)];
    const qint64 r = d->recAt(row);
    if (c.isNull(r)) return 0;
    if (c.kind == TStorageKind::Float || c.kind == TStorageKind::DateTime)
        return c.reals[static_cast<size_t>(r)];
    return cell::toFloat(c, r, Fields(field).FieldName());
}

double TDataSet::SumFloat(int field) const {
    return SumFloats({field}).front();
}

std::vector<double> TDataSet::SumFloats(const std::vector<int>& fields) const {
    std::vector<double> totals(fields.size(), 0.0);
    if (!d->active) return totals;
    const int n = d->viewSize();
    // The record in edit holds its values in the edit buffer.
    const int editRow = d->editBuf && d->state == TDataSetState::dsEdit ? d->cur : -1;
    // The view is walked in blocks: the record numbers of a block are read
    // once and every column is summed over them, so the columns' loads
    // overlap and the view is not re-read per column. Each total still adds
    // the rows in view order.
    constexpr int kBlock = 256;
    std::array<qint64, kBlock> recs{};
    for (int start = 0; start < n; start += kBlock) {
        const int len = std::min(kBlock, n - start);
        for (int i = 0; i < len; ++i)
            recs[size_t(i)] = d->recAt(start + i);
        const int editAt = editRow >= start && editRow < start + len ? editRow - start : len;
        for (size_t k = 0; k < fields.size(); ++k) {
            const int field = fields[k];
            if (field < 0 || field >= FieldCount()) continue;
            const TStoreColumn& c = d->store->cols[static_cast<size_t>(field)];
            const quint64* nulls = c.nulls.data();
            double t = totals[k];
            auto sumBy = [&](const auto* values, int from, int to) {
                for (int i = from; i < to; ++i) {
                    const qint64 r = recs[size_t(i)];
                    const bool null = (nulls[r >> 6] >> (r & 63)) & 1u;
                    const double v = static_cast<double>(values[r]);
                    t += null ? 0.0 : v;
                }
            };
            auto sumRange = [&](int from, int to) {
                if (c.kind == TStorageKind::Float || c.kind == TStorageKind::DateTime)
                    sumBy(c.reals.data(), from, to);
                else if (c.kind == TStorageKind::Integer || c.kind == TStorageKind::Boolean)
                    sumBy(c.ints.data(), from, to);
                else
                    for (int i = from; i < to; ++i)
                        if (!c.isNull(recs[size_t(i)]))
                            t += cell::toFloat(c, recs[size_t(i)], Fields(field).FieldName());
            };
            sumRange(0, editAt);
            if (editAt < len) {
                t += Fields(field).AsFloat();
                sumRange(editAt + 1, len);
            }
            totals[k] = t;
        }
    }
    return totals;
}

bool TDataSet::IsNullAt(int row, int field) const {
    if (!d->active || row < 0 || row >= d->viewSize() || field < 0 || field >= FieldCount()) return true;
    if (d->editBuf && d->state == TDataSetState::dsEdit && row == d->cur)
        return d->editBuf->cols[static_cast<size_t>(field)].isNull(0);
    return d->store->cols[static_cast<size_t>(field)].isNull(d->recAt(row));
}

void TDataSet::DisableControls() {
    if (d->disable++ == 0) {
        d->pendingChange = false;
        d->stateAtDisable = d->state;
    }
}

void TDataSet::EnableControls() {
    if (d->disable == 0) return;
    if (--d->disable == 0 && d->pendingChange) {
        d->pendingChange = false;
        Q_EMIT dataSetChanged();
        if (d->stateAtDisable != d->state) Q_EMIT stateChanged();
    }
}

bool TDataSet::ControlsDisabled() const {
    return d->disable > 0;
}

// ---------------------------------------------------------------------------
// Calculated fields

void TDataSet::AddCalculatedField(const QString& name, TFieldType type, int size) {
    TFieldDef def;
    def.Name = name;
    def.DataType = type;
    def.Size = size;
    def.Kind = TFieldKind::fkCalculated;
    def.ReadOnly = true;
    d->calcDefs.push_back(def);
}

void TDataSet::ClearCalculatedFields() {
    d->calcDefs.clear();
}

void TDataSet::SetOnCalcFields(CalcFieldsFn fn) {
    d->onCalc = std::move(fn);
}

// ---------------------------------------------------------------------------
// Files

void TDataSet::SaveToFile(const QString& fileName) const {
    QFile f(fileName);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        throw EInOutError(QStringLiteral("无法创建文件 '%1': %2").arg(fileName, f.errorString()));
    SaveToStream(f);
    if (!f.flush() || f.error() != QFileDevice::NoError)
        throw EInOutError(QStringLiteral("无法写入文件 '%1': %2").arg(fileName, f.errorString()));
}

void TDataSet::LoadFromFile(const QString& fileName) {
    QFile f(fileName);
    if (!f.open(QIODevice::ReadOnly))
        throw EInOutError(QStringLiteral("无法打开文件 '%1': %2").arg(fileName, f.errorString()));
    LoadFromStream(f);
}

void TDataSet::SaveToStream(QIODevice& out) const {
    d->checkActive();
    writeRecordSet(out, *d->store);
}

void TDataSet::LoadFromStream(QIODevice& in) {
    const QByteArray data = in.readAll();
    std::shared_ptr<TRecordStore> s = readRecordSet(data); // throws EReadError; dataset untouched
    Close();
    if (!d->calcDefs.empty()) {
        // Append this dataset's calculated columns to the loaded record set.
        TFieldDefs defs = s->defs;
        for (const TFieldDef& c : d->calcDefs)
            defs.push_back(c);
        auto full = std::make_shared<TRecordStore>(defs);
        for (size_t i = 0; i < s->cols.size(); ++i)
            full->cols[i] = std::move(s->cols[i]);
        for (size_t i = s->cols.size(); i < defs.size(); ++i) {
            TStoreColumn& c = full->cols[i];
            c.reserve(s->rows);
            for (qint64 r = 0; r < s->rows; ++r) {
                if ((r & 63) == 0) c.nulls.push_back(0);
                c.appendNull();
                c.setNullBit(r, true);
            }
        }
        full->rows = s->rows;
        full->liveRows = s->liveRows;
        s = std::move(full);
    }
    d->installAndAnnounce(s);
}

// ---------------------------------------------------------------------------
// Loading

TRecordSetBuilder& TDataSet::BeginLoad(const TFieldDefs& defs) {
    Close();
    d->builder.reset();
    // Store order: the fields, this dataset's calculated fields, the hidden
    // columns; the builder keeps the caller's numbering.
    TFieldDefs all;
    all.reserve(defs.size() + d->calcDefs.size());
    std::vector<int> storeCols(defs.size(), -1);
    for (size_t i = 0; i < defs.size(); ++i) {
        if (defs[i].Hidden) continue;
        storeCols[i] = static_cast<int>(all.size());
        all.push_back(defs[i]);
        all.back().Kind = TFieldKind::fkData;
    }
    for (const TFieldDef& c : d->calcDefs)
        all.push_back(c);
    for (size_t i = 0; i < defs.size(); ++i) {
        if (!defs[i].Hidden) continue;
        storeCols[i] = static_cast<int>(all.size());
        all.push_back(defs[i]);
        all.back().Kind = TFieldKind::fkData;
    }
    d->loading = std::make_shared<TRecordStore>(all);
    d->builder = std::make_unique<TStoreBuilder>(*d->loading, storeCols);
    return *d->builder;
}

void TDataSet::EndLoad() {
    if (!d->loading) dbError(QStringLiteral("没有正在装载的数据"));
    std::shared_ptr<TRecordStore> s = std::move(d->loading);
    if (d->builder) d->builder->dropPartialRow();
    d->builder.reset();
    s->liveRows = s->rows;
    // Calculated columns were never touched by the builder: give them rows.
    for (size_t i = 0; i < s->cols.size(); ++i) {
        TStoreColumn& c = s->cols[i];
        if (s->defs[i].Kind != TFieldKind::fkCalculated) continue;
        c.nulls.assign(static_cast<size_t>((s->rows + 63) / 64), ~quint64(0));
        for (qint64 r = 0; r < s->rows; ++r)
            c.appendNull();
    }
    std::exception_ptr error;
    try {
        d->install(s);
    } catch (...) {
        error = std::current_exception();
    }
    if (auto old = d->reloadFrom.lock()) {
        d->reloadFrom.reset();
        const std::vector<TDataSet*> others = old->sharers;
        for (TDataSet* ds : others) {
            if (ds == this) continue;
            ds->d->editBuf.reset();
            try {
                ds->d->install(s);
            } catch (const Exception&) {
                // That dataset's filter does not fit the new rows; it has
                // opened unfiltered, which is all it can do here.
            }
            ds->d->emitState();
            ds->d->emitChanged();
        }
    }
    d->emitState();
    d->emitChanged();
    if (error) std::rethrow_exception(error);
}

void TDataSet::LoadRowsFrom(const TDataSet& source) {
    source.d->checkActive();
    // The source's fields only: its hidden columns are not copied.
    TFieldDefs defs = source.d->defs;
    for (TFieldDef& f : defs)
        f.Kind = TFieldKind::fkData;
    // Copy before BeginLoad: source may be this very dataset.
    const std::shared_ptr<TRecordStore> src = source.d->store;
    std::vector<qint32> records;
    const int n = source.d->viewSize();
    records.reserve(static_cast<size_t>(n));
    for (int p = 0; p < n; ++p)
        records.push_back(static_cast<qint32>(source.d->recAt(p)));
    // The data columns come first in both stores; calculated ones of this
    // dataset follow.
    Close();
    TFieldDefs all = defs;
    for (const TFieldDef& c : d->calcDefs)
        all.push_back(c);
    auto s = std::make_shared<TRecordStore>(all);
    const auto count = static_cast<qint64>(records.size());
    bool identity = count == src->rows;
    for (qint64 i = 0; identity && i < count; ++i)
        identity = records[static_cast<size_t>(i)] == i;
    for (size_t c = 0; c < all.size(); ++c) {
        TStoreColumn& dc = s->cols[c];
        if (c >= defs.size()) { // this dataset's calculated columns
            for (qint64 i = 0; i < count; ++i)
                dc.appendNull();
            dc.nulls.assign(static_cast<size_t>((count + 63) / 64), ~quint64(0));
            continue;
        }
        const TStoreColumn& sc = src->cols[c];
        if (identity) { // the whole record set in its physical order: copy the arrays
            dc.ints = sc.ints;
            dc.reals = sc.reals;
            dc.cells = sc.cells;
            dc.nulls = sc.nulls;
            continue;
        }
        dc.reserve(count);
        dc.nulls.assign(static_cast<size_t>((count + 63) / 64), 0);
        for (qint64 i = 0; i < count; ++i) {
            const auto r = static_cast<size_t>(records[static_cast<size_t>(i)]);
            switch (dc.kind) {
            case TStorageKind::Integer:
            case TStorageKind::Boolean:
                dc.ints.push_back(sc.ints[r]);
                break;
            case TStorageKind::Float:
            case TStorageKind::DateTime:
                dc.reals.push_back(sc.reals[r]);
                break;
            case TStorageKind::Text:
            case TStorageKind::Bytes:
                dc.cells.append(sc.cells.view(static_cast<qint64>(r)));
                break;
            }
            if (sc.isNull(static_cast<qint64>(r))) dc.setNullBit(i, true);
        }
    }
    s->rows = count;
    s->liveRows = s->rows;
    d->installAndAnnounce(s);
}

void TDataSet::ReloadSharedRecords(const std::function<void()>& load) {
    d->reloadFrom = d->store;
    try {
        load();
    } catch (...) {
        d->reloadFrom.reset();
        throw;
    }
    d->reloadFrom.reset();
}

void TDataSet::SetOrdering(const QStringList& fields, const std::vector<bool>& descending,
                           const std::vector<bool>& caseInsensitive) {
    const QStringList oldFields = d->orderFields;
    const std::vector<bool> oldDesc = d->orderDesc;
    const std::vector<bool> oldCi = d->orderCi;
    d->orderFields = fields;
    d->orderDesc = descending;
    d->orderCi = caseInsensitive;
    if (!d->active) {
        Q_EMIT orderChanged();
        return;
    }
    try {
        d->resolveKeys();
    } catch (...) {
        d->orderFields = oldFields;
        d->orderDesc = oldDesc;
        d->orderCi = oldCi;
        d->resolveKeys();
        throw;
    }
    CheckBrowseMode();
    const qint64 curRecord = d->cur >= 0 ? d->recAt(d->cur) : -1;
    d->rebuildView();
    const int p = d->positionOf(curRecord);
    if (p >= 0)
        d->placeCursor(p); // the current record stays current
    else
        d->setCursorFirst();
    d->emitChanged();
    Q_EMIT orderChanged();
}

void TDataSet::ShareRecordsOf(const TDataSet& source) {
    source.d->checkActive();
    if (&source == this) return;
    const std::shared_ptr<TRecordStore> s = source.d->store;
    Close();
    d->orderFields.clear();
    d->orderDesc.clear();
    d->orderCi.clear();
    d->keys.clear();
    d->installAndAnnounce(s);
}

std::shared_ptr<TRecordStore> TDataSet::Store() const {
    return d->store;
}

} // namespace lnq
