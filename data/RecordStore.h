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
#include <QString>
#include <QVariant>
#include <cstdint>
#include <memory>
#include <vector>

namespace lnq {

struct TColumn {
    TStorageKind kind = TStorageKind::Text;
    TFieldType type = TFieldType::ftString;
    std::vector<qint64> ints;      // Integer, Boolean (0/1)
    std::vector<double> reals;     // Float, DateTime
    std::vector<QString> texts;    // Text
    std::vector<QByteArray> bytes; // Bytes
    std::vector<quint64> nulls;    // one bit per row, set = null

    bool isNull(qint64 r) const { return (nulls[static_cast<size_t>(r >> 6)] >> (r & 63)) & 1u; }
    void setNullBit(qint64 r, bool null) {
        quint64& w = nulls[static_cast<size_t>(r >> 6)];
        const quint64 bit = quint64(1) << (r & 63);
        w = null ? (w | bit) : (w & ~bit);
    }
    void reserve(qint64 rows);
    // Appends one null row.
    void appendNull();
    // Makes row r hold the storage default (0, "", empty) and marks it null.
    void clearValue(qint64 r);
};

struct TRecordStore {
    TFieldDefs defs;
    std::vector<TColumn> cols;
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
QString toText(const TColumn& c, qint64 r);
qint64 toInt(const TColumn& c, qint64 r, const QString& fieldName);
double toFloat(const TColumn& c, qint64 r, const QString& fieldName);
TDateTime toDateTime(const TColumn& c, qint64 r, const QString& fieldName);
bool toBool(const TColumn& c, qint64 r, const QString& fieldName);
QByteArray toBytes(const TColumn& c, qint64 r);
QVariant toVariant(const TColumn& c, qint64 r);

void setNull(TColumn& c, qint64 r);
void setText(TColumn& c, qint64 r, const QString& v, const QString& fieldName);
void setInt(TColumn& c, qint64 r, qint64 v);
void setFloat(TColumn& c, qint64 r, double v);
void setDateTime(TColumn& c, qint64 r, TDateTime v);
void setBool(TColumn& c, qint64 r, bool v);
void setBytes(TColumn& c, qint64 r, const QByteArray& v, const QString& fieldName);
void setVariant(TColumn& c, qint64 r, const QVariant& v, const QString& fieldName);
} // namespace cell

// The record-set file (RecordSetFile.cpp). The writer puts the live records in
// natural order; the reader validates everything against the data's size and
// raises EReadError for anything that is not a complete, intact record set.
void writeRecordSet(QIODevice& out, const TRecordStore& s);
std::shared_ptr<TRecordStore> readRecordSet(const QByteArray& data);

// Text parsing shared by the conversions and the filter text.
bool parseDateTimeText(const QString& text, TDateTime* out);
bool parseBoolText(const QString& text, bool* out);
QString formatFloat(double v);
QString formatDateTime(TFieldType t, TDateTime v);

} // namespace lnq
