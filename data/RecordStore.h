#pragma once
// Internal to the data layer: the typed column storage behind TDataSet and the
// value conversions every reader of it shares (fields, Locate, the filter
// text, the record-set file). Not for use outside data/.
//
// A record is a physical row number. Rows are only ever appended; a deleted
// row is marked dead and keeps its number, so that bookmarks (which are row
// numbers) of the dataset and its clones never point at another record. The
// natural order (insertion order, where Insert may put a row before another)
// is kept apart from the row numbers.

#include "data/DataSet.h"
#include "data/FieldTypes.h"
#include "util/DateUtils.h"
#include "util/Exceptions.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>
#include <QVariant>
#include <cstdint>
#include <memory>
#include <vector>

namespace lnq {

// The cells of a text or byte column: the bytes of every cell in one growing
// buffer and one 8-byte span per row (offset << 24 | length), so a loaded
// cell costs its bytes and 8 more, never a heap block of its own. A length
// of kLongLength or more is kept as an 8-byte prefix in the buffer instead.
// Replacing a cell appends the new bytes and leaves the old ones unused; once
// the unused bytes pass half of the buffer it is packed again. Text columns
// hold UTF-8 (what the embedded database hands over, and the smaller form for
// the mostly ASCII codes of business tables), byte columns their bytes as
// given. A view of a cell stays valid only until the column is written.
class TCellBuffer {
public:
    static constexpr int kLengthBits = 24; // TStoredColumn::Text reads spans this way too
    static constexpr quint64 kLongLength = (quint64(1) << kLengthBits) - 1;

    qint64 size() const { return static_cast<qint64>(m_spans.size()); }
    void reserve(qint64 rows) { m_spans.reserve(static_cast<size_t>(rows)); }
    QByteArrayView view(qint64 r) const {
        const quint64 s = m_spans[static_cast<size_t>(r)];
        const quint64 len = s & kLongLength;
        const char* p = m_buf.data() + (s >> kLengthBits);
        if (len != kLongLength) return QByteArrayView(p, static_cast<qsizetype>(len));
        return longView(p);
    }
    // Whether row r holds no bytes (a null or an empty text).
    bool isEmpty(qint64 r) const { return (m_spans[static_cast<size_t>(r)] & kLongLength) == 0; }
    void append(QByteArrayView v) { m_spans.push_back(place(v)); }
    // Text given as UTF-16, kept as UTF-8 (encoded straight into the buffer).
    void appendText(QStringView v) { m_spans.push_back(placeText(v)); }
    void setText(qint64 r, QStringView v);
    void appendEmpty() { m_spans.push_back(0); }
    void popBack();
    void set(qint64 r, QByteArrayView v);
    void clear(qint64 r) { set(r, QByteArrayView()); }
    // The spans and the buffer as they are now (TStoredColumn reads them).
    const quint64* spans() const { return m_spans.data(); }
    const char* bytes() const { return m_buf.data(); }
    static QByteArrayView longView(const char* p);
    // Bytes held (live and unused) and bytes no row refers to any more.
    qint64 bufferBytes() const { return static_cast<qint64>(m_buf.size()); }
    qint64 unusedBytes() const { return m_unused; }

private:
    quint64 place(QByteArrayView v);
    quint64 placeText(QStringView v);
    qint64 storedBytes(quint64 span) const;
    void pack();

    std::vector<char> m_buf;
    std::vector<quint64> m_spans;
    qint64 m_unused = 0;
};

struct TStoreColumn {
    TStorageKind kind = TStorageKind::Text;
    TFieldType type = TFieldType::ftString;
    std::vector<qint64> ints;   // Integer, Boolean (0/1)
    std::vector<double> reals;  // Float, DateTime
    TCellBuffer cells;          // Text (UTF-8), Bytes
    std::vector<quint64> nulls; // one bit per row, set = null

    bool isNull(qint64 r) const { return (nulls[static_cast<size_t>(r >> 6)] >> (r & 63)) & 1u; }
    void setNullBit(qint64 r, bool null) {
        quint64& w = nulls[static_cast<size_t>(r >> 6)];
        const quint64 bit = quint64(1) << (r & 63);
        w = null ? (w | bit) : (w & ~bit);
    }
    // Text and byte cells.
    QString textAt(qint64 r) const { return QString::fromUtf8(cells.view(r)); }
    QByteArray bytesAt(qint64 r) const { return cells.view(r).toByteArray(); }
    void reserve(qint64 rows);
    // Appends one null row.
    void appendNull();
    // Removes the last row's value (the null bitmap is left as it is).
    void popValue();
    // Makes row r hold the storage default (0, "", empty) and marks it null.
    void clearValue(qint64 r);
};

struct TRecordStore {
    TFieldDefs defs;
    std::vector<TStoreColumn> cols;
    qint64 rows = 0; // physical rows, dead ones included
    // The leading columns that are fields (data, then calculated); the hidden
    // columns follow them (TDataSet::BeginLoad puts them there).
    int fieldCount = 0;

    // Natural order of the live rows. When identityOrder is true the order is
    // simply 0..rows-1 and no row is dead; the vector is then left empty.
    bool identityOrder = true;
    std::vector<qint32> order;
    std::vector<quint8> dead; // empty while nothing was deleted
    qint64 liveRows = 0;

    // Datasets reading this store (a dataset and its clones); not owned.
    std::vector<TDataSet*> sharers;

    explicit TRecordStore(const TFieldDefs& d);
    int columnCount() const { return static_cast<int>(cols.size()); }
    bool isLive(qint64 r) const {
        return r >= 0 && r < rows && (dead.empty() || !dead[static_cast<size_t>(r)]);
    }
    void reserve(qint64 n);
    qint64 appendNullRow(); // returns its row number (not yet in the natural order)

    // Natural order helpers.
    void materializeOrder();
    std::vector<qint32> naturalOrder() const; // copy of the live rows in order
    qint64 naturalRank(qint64 record) const;  // position in the natural order, -1 when absent
    void insertInOrder(qint64 record, qint64 rank);
    void markDead(qint64 record);

    // Copies one cell (same column layout) from another store.
    void copyCell(int col, qint64 dst, const TRecordStore& src, qint64 srcRow);
};

// Conversions of one stored cell. The field name is used in error messages.
namespace cell {
QString toText(const TStoreColumn& c, qint64 r);
qint64 toInt(const TStoreColumn& c, qint64 r, const QString& fieldName);
double toFloat(const TStoreColumn& c, qint64 r, const QString& fieldName);
TDateTime toDateTime(const TStoreColumn& c, qint64 r, const QString& fieldName);
bool toBool(const TStoreColumn& c, qint64 r, const QString& fieldName);
QByteArray toBytes(const TStoreColumn& c, qint64 r);
QVariant toVariant(const TStoreColumn& c, qint64 r);

void setNull(TStoreColumn& c, qint64 r);
void setText(TStoreColumn& c, qint64 r, const QString& v, const QString& fieldName);
void setInt(TStoreColumn& c, qint64 r, qint64 v);
void setFloat(TStoreColumn& c, qint64 r, double v);
void setDateTime(TStoreColumn& c, qint64 r, TDateTime v);
void setBool(TStoreColumn& c, qint64 r, bool v);
void setBytes(TStoreColumn& c, qint64 r, const QByteArray& v, const QString& fieldName);
void setVariant(TStoreColumn& c, qint64 r, const QVariant& v, const QString& fieldName);
} // namespace cell

// The record-set file (RecordSetFile.cpp). The writer puts the live records in
// natural order; the reader validates everything against the data's size and
// raises EReadError for anything that is not a complete, intact record set.
void writeRecordSet(QIODevice& out, const TRecordStore& s);
std::shared_ptr<TRecordStore> readRecordSet(const QByteArray& data);

// Whether the bytes are well-formed UTF-8 (no overlong forms, surrogates or
// code points beyond U+10FFFF).
bool isValidUtf8(QByteArrayView bytes);

// Text parsing shared by the conversions and the filter text.
bool parseDateTimeText(const QString& text, TDateTime* out);
bool parseBoolText(const QString& text, bool* out);
QString formatFloat(double v);
QString formatDateTime(TFieldType t, TDateTime v);

} // namespace lnq
