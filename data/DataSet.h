#pragma once
// The framework's one record-set engine. Every grid, form and dialog reads and
// edits database rows through these classes; nothing else keeps rows.
//
//  - TDataSet: typed fields, a cursor with BOF/EOF, Locate, bookmarks, editing
//    (Edit/Insert/Append/Post/Cancel/Delete), blob streams, the record-filter
//    callback with the Filtered flag, persistence to a file, and change
//    notifications (Qt signals) that views attach to.
//  - TCustomADODataSet family (TADODataSet, TADOQuery, TADOTable): attached to
//    a TADOConnection, opened from command text, sorted by a Sort text such as
//    "F DESC", cloned with Clone (shared records, own cursor), posting edits
//    back to the database.
//  - TClientDataSet: rows copied from another dataset, index definitions,
//    IndexName / IndexFieldNames, a filter text.
//
// Records are stored column-wise in typed arrays shared (std::shared_ptr) by
// a dataset and its clones; text is kept as UTF-8 in one buffer per column
// and becomes a QString only when a caller asks for one. Each dataset has its own cursor and its own view:
// the order (sort or index) and the filtered subset of the shared records.
//
// Cursor semantics (the framework's rules depend on them):
//  - After Open, and after First, the cursor is on the first visible record
//    and Bof() is true; Eof() is true only when there is no record.
//  - Next on the last record leaves the cursor there and raises Eof();
//    Prior on the first raises Bof(). Last() puts the cursor on the last
//    record and raises Eof() (the platform's rule, mirror image of First).
//    Any other move clears both flags; an empty view has both set.
//  - RecNo() is 1-based within the current view; 0 when empty, -1 when
//    inactive.
//  - Moving (First/Next/Locate/GotoBookmark...) posts a pending edit first.
//
// Editing: Insert puts the new record before the current one, Append at the
// end; the new record enters the view when it is posted (until then
// RecordCount() is unchanged and the fields read the edit buffer). Post hands
// the change to ApplyUpdate first and stores it only when that returns: a
// resolver that throws leaves the stored records untouched and the edit
// pending. A posted record is placed by the dataset's sort and re-checked by
// its filter (it leaves the view when the filter refuses it).
//
// Clones: every dataset sharing the records sees posted changes at once;
// inserts and deletes re-build the other datasets' views (their own sort and
// filter) and emit dataSetChanged there. Requery() of any member reloads the
// records of the whole group; Close() + Open() detaches the one dataset.
//
// Calculated fields: AddCalculatedField declares one before opening; the
// OnCalcFields callback fills them for every record at load and after each
// post (State() is dsCalcFields then and only calculated fields may be set).
//
// Hidden columns: a driver may load columns flagged Hidden next to the
// query's own (the row identity, fetched so that a change finds its row). They are
// kept with the records and shared with clones, handed to the resolver with
// every change (TUpdateRequest::Fields lists them; RowId is read from the
// IsRowId column), but they are no fields: FieldCount, Fields, FieldDefs,
// FieldNames, FieldByName and FindField, the view accessors, Locate, sorting
// and filters never see them. A copy (TClientDataSet::CopyFrom) and the
// record-set file leave them out: outside its connection the identity of a
// row means nothing.

#include "data/FieldTypes.h"
#include "util/DateUtils.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QFlags>
#include <QIODevice>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <functional>
#include <memory>
#include <vector>

namespace lnq {

class TDataSet;
class TADOConnection;
struct TRecordStore; // the shared typed column storage (DataSet.cpp)
class TRecordsPass;

enum class TFieldKind : std::uint8_t { fkData, fkCalculated };
enum class TDataSetState : std::uint8_t { dsInactive, dsBrowse, dsEdit, dsInsert, dsCalcFields };
enum class TBlobStreamMode : std::uint8_t { bmRead, bmWrite, bmReadWrite };

enum class TLocateOption : std::uint8_t { loCaseInsensitive = 1, loPartialKey = 2 };
Q_DECLARE_FLAGS(TLocateOptions, TLocateOption)

enum class TCommandType : std::uint8_t { cmdUnknown, cmdText, cmdTable, cmdStoredProc };

// Column description: what a query reports and the record store keeps.
struct TFieldDef {
    QString Name;
    TFieldType DataType = TFieldType::ftString;
    int Size = 0;  // characters for strings, precision for BCD
    int Scale = 0; // decimals for BCD / currency
    TFieldKind Kind = TFieldKind::fkData;
    bool Required = false;
    bool ReadOnly = false; // expression columns and auto-increment keys
    bool IsKey = false;    // part of the base table's primary key
    bool Hidden = false;   // carried for the resolver, not a field (see the top of this file)
    bool IsRowId = false;  // the database's own identity of the row (SQLite's rowid)
    QString BaseTable;     // table the column comes from ("" for expressions)
    QString BaseColumn;    // its name there
};
using TFieldDefs = std::vector<TFieldDef>;

// A field is a typed window on one column of its dataset's current record.
// Field objects belong to their dataset and live as long as it is open.
class TField {
public:
    TField(TDataSet& owner, int index);

    TDataSet& DataSet() const { return *m_owner; }
    int Index() const { return m_index; }
    const TFieldDef& Def() const;
    const QString& FieldName() const;
    TFieldType DataType() const;
    TFieldKind FieldKind() const;
    int Size() const;

    // Presentation (grids, record viewer).
    QString DisplayLabel() const; // the field name unless set
    void SetDisplayLabel(const QString& label);
    bool Visible() const { return m_visible; }
    void SetVisible(bool v) { m_visible = v; }
    int DisplayWidth() const; // in characters
    void SetDisplayWidth(int w) { m_displayWidth = w; }
    QString DisplayFormat() const { return m_displayFormat; } // "%.2f"-style or Qt date pattern
    void SetDisplayFormat(const QString& f) { m_displayFormat = f; }

    // Reading the current record. Conversions follow the platform's rules:
    // AsString of a null is "", AsInteger of a null is 0, AsString of a float
    // is its shortest round-trip text, AsString of a date-time is
    // "yyyy-MM-dd HH:mm:ss" (date only when the time is 00:00:00 for ftDate),
    // AsString of a boolean is "True"/"False". A text that does not convert
    // raises EConvertError naming the text and the field.
    bool IsNull() const;
    QString AsString() const;
    qint32 AsInteger() const;
    qint64 AsLargeInt() const;
    double AsFloat() const;
    double AsCurrency() const;
    TDateTime AsDateTimeValue() const; // days since 1899-12-30 (fast path for filters)
    QDateTime AsDateTime() const;      // invalid for null
    bool AsBoolean() const;
    QByteArray AsBytes() const; // blobs and byte fields
    // The text as the dataset stores it (UTF-8), read without building a
    // QString: true and the bytes in utf8 for a text field (a null reads as
    // no bytes, as AsString reads ""), false for a field of any other kind.
    // The view is valid until the records change.
    bool AsUtf8View(QByteArrayView& utf8) const;
    QVariant AsVariant() const;  // null QVariant for null
    QString DisplayText() const; // as a grid shows it

    // Writing (only in dsEdit / dsInsert, else EDatabaseError).
    void SetAsString(const QString& v);
    void SetAsInteger(qint32 v);
    void SetAsLargeInt(qint64 v);
    void SetAsFloat(double v);
    void SetAsCurrency(double v);
    void SetAsDateTimeValue(TDateTime v);
    void SetAsDateTime(const QDateTime& v);
    void SetAsBoolean(bool v);
    void SetAsBytes(const QByteArray& v);
    void SetAsVariant(const QVariant& v);
    void Clear(); // set null

private:
    friend class TDataSet; // re-indexes fields kept across a reload
    TDataSet* m_owner;
    int m_index;
    bool m_visible = true;
    int m_displayWidth = -1;
    QString m_displayLabel;
    QString m_displayFormat;
};

// Opaque position of a record, valid across sorting and filtering of the same
// dataset and its clones (it names the stored record, not the view position).
struct TBookmark {
    qint64 record = -1;
    bool isValid() const { return record >= 0; }
    bool operator==(const TBookmark&) const = default;
};

// Appends typed rows to a dataset being loaded (drivers, Clone, CopyFrom,
// LoadFromFile). Values are set column by column for one row, then EndRow.
// A column not set for a row is null.
class TRecordSetBuilder {
public:
    virtual ~TRecordSetBuilder() = default;
    virtual void SetNull(int col) = 0;
    virtual void SetInteger(int col, qint64 v) = 0; // integers, booleans (0/1)
    virtual void SetFloat(int col, double v) = 0;   // float, currency, BCD
    virtual void SetDateTime(int col, TDateTime v) = 0;
    virtual void SetText(int col, const QString& v) = 0;
    virtual void SetTextUtf8(int col, const char* utf8, int len) = 0;
    virtual void SetBytes(int col, const void* data, int len) = 0;
    virtual void EndRow() = 0;
    virtual void Reserve(qint64 rows) = 0;
};

// Kinds of change a dataset asks its resolver (the connection) to apply.
enum class TUpdateKind : std::uint8_t { ukModify, ukInsert, ukDelete };

// Fields and the value vectors cover every column of the record set: the
// fields, then calculated ones, then hidden ones (Hidden set).
struct TUpdateRequest {
    TUpdateKind Kind = TUpdateKind::ukModify;
    QString BaseTable;
    const TFieldDefs* Fields = nullptr;
    std::vector<QVariant> OldValues; // row as read (modify, delete)
    std::vector<QVariant> NewValues; // row as posted (modify, insert)
    std::vector<bool> Changed;       // per column, modify and insert
    QVariant RowId;                  // modify, delete: the row's IsRowId column when there is one
};

// What the resolver hands back after an insert: values the database chose
// (auto-increment keys, defaults) to store into the posted record.
struct TUpdateResult {
    std::vector<std::pair<int, QVariant>> Assigned; // column index (as in the request), value
    QVariant RowId;                                 // the new row's identity, stored into its IsRowId column
};

// One field's stored values, read by record number (the records of a
// TRecordsPass) without field objects, for passes over many records. A null
// cell holds its kind's default (0, no bytes) and has its bit set. Valid while
// the records are not changed.
class TStoredColumn {
public:
    TStorageKind Kind() const { return m_kind; }
    bool IsNull(qint64 record) const {
        return (m_nulls[static_cast<size_t>(record >> 6)] >> (record & 63)) & 1u;
    }
    qint64 Int(qint64 record) const { return m_ints[record]; }   // Integer, Boolean (0/1)
    double Real(qint64 record) const { return m_reals[record]; } // Float, DateTime
    QByteArrayView Text(qint64 record) const {                   // Text (UTF-8), Bytes
        // The cell's span: offset in the column's buffer << 24 | length, the
        // length all ones when it is kept in front of the bytes instead.
        const quint64 s = m_spans[record];
        const quint64 len = s & kLongLength;
        const char* at = m_bytes + (s >> 24);
        return len != kLongLength ? QByteArrayView(at, static_cast<qsizetype>(len)) : longText(at);
    }

private:
    friend class TRecordsPass;
    static constexpr quint64 kLongLength = (quint64(1) << 24) - 1;
    static QByteArrayView longText(const char* at);
    TStorageKind m_kind = TStorageKind::Text;
    const quint64* m_nulls = nullptr;
    const qint64* m_ints = nullptr;
    const double* m_reals = nullptr;
    const quint64* m_spans = nullptr;
    const char* m_bytes = nullptr;
};

// A records filter narrows the candidate records of a filtering pass in one
// call, column by column, instead of being asked record by record.
// Records() holds the candidates in view order; the filter removes the ones
// it refuses and keeps the order of the rest. It may neither add records nor
// reorder them: more records than the candidates, a record that does not
// exist and, over candidates in natural order, a record out of order raise
// EDatabaseError. ReadRecord points the
// dataset's fields at a record, for conditions that read through fields;
// before the first call they read as on an empty dataset (null).
class TRecordsPass {
public:
    TRecordsPass(const TRecordsPass&) = delete;
    TRecordsPass& operator=(const TRecordsPass&) = delete;

    std::vector<qint32>& Records() { return m_records; }
    TStoredColumn Column(int field) const; // EDatabaseError for an index out of range
    void ReadRecord(qint64 record);

private:
    friend class TDataSet;
    TRecordsPass(TDataSet& dataSet, std::vector<qint32>& records) : m_dataSet(dataSet), m_records(records) {}
    TDataSet& m_dataSet;
    std::vector<qint32>& m_records;
};

class TDataSet : public QObject {
    Q_OBJECT
public:
    explicit TDataSet(QObject* owner = nullptr);
    ~TDataSet() override;

    // The class name the framework shows in messages ("TADODataSet",
    // "TClientDataSet", ...).
    virtual QString ClassName() const = 0;

    // State.
    void Open();
    void Close();
    bool Active() const;
    void SetActive(bool active);
    TDataSetState State() const;
    bool Modified() const;

    // Fields.
    int FieldCount() const;
    TField& Fields(int index) const;
    // FieldByName is meant to be called for every record (filters do): the
    // same name object asked again is answered from a small cache without
    // hashing. Names are case-insensitive.
    TField& FieldByName(const QString& name) const { // EDatabaseError "字段 'X' 不存在" (names X)
        for (const FieldCacheEntry& e : m_fieldCache)
            if (e.name.constData() == name.constData() && e.field && e.name.size() == name.size())
                return *e.field;
        return FieldByNameSlow(name);
    }
    TField* FindField(const QString& name) const; // nullptr when unknown; case-insensitive
    const TFieldDefs& FieldDefs() const;
    QStringList FieldNames() const;

    // Cursor.
    void First();
    void Last();
    void Next();
    void Prior();
    int MoveBy(int distance);
    bool Bof() const;
    bool Eof() const;
    bool IsEmpty() const;
    int RecNo() const;
    void SetRecNo(int recNo);
    int RecordCount() const;

    // Locate on one field or several separated by ";" ("a;b"), values in the
    // same order. Moves to the first matching record of the view and returns
    // true, or leaves the cursor and returns false.
    bool Locate(const QString& keyFields, const QVariantList& keyValues, TLocateOptions options = {});
    bool Locate(const QString& keyField, const QVariant& keyValue, TLocateOptions options = {});
    // Lookup without moving: the result field's value of the first match.
    QVariant Lookup(const QString& keyFields, const QVariantList& keyValues, const QString& resultField);

    TBookmark GetBookmark() const;
    void GotoBookmark(const TBookmark& bookmark); // EDatabaseError when gone
    bool BookmarkValid(const TBookmark& bookmark) const;
    // The bookmark of the record at a 0-based view position, without moving
    // (invalid when out of range or inactive).
    TBookmark BookmarkAt(int row) const;

    // Editing. Post writes through the dataset's resolver (ADO datasets post
    // to their database; a client dataset keeps the change in memory).
    void Edit();
    void Insert();
    void Append();
    void Post();
    void Cancel();
    void Delete();
    void CheckBrowseMode(); // posts a pending edit, like the platform does before moving

    // Blob fields as streams: read gives the field's bytes; write replaces
    // them on close (of the returned device) within the pending edit.
    std::unique_ptr<QIODevice> CreateBlobStream(TField& field, TBlobStreamMode mode);

    // Record filter. With Filtered true only records the callback accepts are
    // visible; changing the callback or toggling the flag re-evaluates every
    // record (so does Refilter()).
    using FilterRecordFn = std::function<void(TDataSet& dataSet, bool& accept)>;
    bool Filtered() const;
    void SetFiltered(bool filtered);
    void SetOnFilterRecord(FilterRecordFn fn);
    const FilterRecordFn& OnFilterRecord() const;
    // The records filter (see TRecordsPass): asked once per pass with every
    // candidate, after the filter text and before the record-filter
    // callback, which then sees only the records it kept; a posted record is
    // re-checked by both. It counts as a filter like the callback does.
    using FilterRecordsFn = std::function<void(TDataSet& dataSet, TRecordsPass& pass)>;
    void SetOnFilterRecords(FilterRecordsFn fn);
    const FilterRecordsFn& OnFilterRecords() const;
    void Refilter();

    // Random access for views: value of field `field` at 0-based position
    // `row` of the current view, without moving the cursor.
    QVariant ValueAt(int row, int field) const;
    QString DisplayTextAt(int row, int field) const;
    bool IsNullAt(int row, int field) const;
    // AsFloat of the field at that row (0 for null, out of range or inactive);
    // the fast path of totals over a view.
    double FloatAt(int row, int field) const;
    // The sum of FloatAt over every record of the current view, in one pass
    // over the column (the footer totals of a filtered list).
    double SumFloat(int field) const;
    // The same for several fields in one pass over the view (an unknown
    // field sums to 0).
    std::vector<double> SumFloats(const std::vector<int>& fields) const;
    int CurrentRow() const; // 0-based position of the cursor in the view (-1 empty)

    // Views repaint once when controls are re-enabled.
    void DisableControls();
    void EnableControls();
    bool ControlsDisabled() const;

    // Calculated fields (see the top of this file). Declarations take effect
    // at the next load; they are kept across reloads.
    using CalcFieldsFn = std::function<void(TDataSet& dataSet)>;
    void AddCalculatedField(const QString& name, TFieldType type, int size = 0);
    void ClearCalculatedFields();
    void SetOnCalcFields(CalcFieldsFn fn);

    // Whole record set to a file and back, in the project's own binary format
    // (recognised by its content, not by the file name). All live records are
    // written in their natural (insertion) order, whatever the view's sort
    // and filter; the pending edit is not. LoadFromFile opens the dataset
    // with the file's fields and rows; a file that is not such a record set
    // (wrong magic, newer version, truncated, corrupt) raises EReadError, a
    // file that cannot be opened EInOutError.
    void SaveToFile(const QString& fileName) const;
    void LoadFromFile(const QString& fileName);
    void SaveToStream(QIODevice& out) const;
    void LoadFromStream(QIODevice& in);

    // Loading rows (drivers, copies). BeginLoad closes the dataset and sets
    // its fields; rows are appended through the builder; EndLoad opens it on
    // the first record. Builder column numbers are positions in defs, hidden
    // definitions included. The builder converts a value of another kind to the
    // column's type (text to number...) and raises EConvertError when it
    // cannot; a column index out of range raises EDatabaseError. If loading
    // fails half-way, the dataset stays closed until the next BeginLoad.
    TRecordSetBuilder& BeginLoad(const TFieldDefs& defs);
    void EndLoad();

Q_SIGNALS:
    // Everything may have changed: opened, closed, reloaded, sorted, filtered.
    void dataSetChanged();
    // One record's values changed (posted, field set during edit) at 0-based view row.
    void recordChanged(int row);
    // Rows inserted / removed in the view (0-based first row, count).
    void rowsInserted(int first, int count);
    void rowsRemoved(int first, int count);
    // The cursor moved.
    void scrolled();
    // Browse / edit / insert / inactive.
    void stateChanged();
    // The view's order (Sort text, index, index field names) was set or
    // cleared, also when the dataset is closed. This is the post-sort
    // notification host code attaches to; it follows dataSetChanged.
    void orderChanged();

protected:
    // The resolver of posted changes; the base keeps changes in memory only.
    // Calculated fields are in the request's rows but never marked Changed;
    // hidden columns are there too (see the top of this file).
    virtual TUpdateResult ApplyUpdate(const TUpdateRequest& request);
    // Open() without rows yet: the base opens an empty record set on the
    // dataset's last field definitions (EDatabaseError when it has none).
    virtual void DoOpen();
    // Filter text hooks (TClientDataSet): whether there is a condition, bind
    // it to the fields before a filtering pass (may raise), and test a record.
    virtual bool HasFilterText() const { return false; }
    virtual void PrepareFilterText() {}
    virtual bool FilterTextAccepts(qint64 record) const;
    // Loads fields and all rows of source's current view (CopyFrom).
    void LoadRowsFrom(const TDataSet& source);
    // The next load replaces the records of every dataset sharing them.
    void ReloadSharedRecords(const std::function<void()>& load);
    // The view order (sort or index) changed: subclasses call this after
    // changing their sort description; the base rebuilds the view.
    void SetOrdering(const QStringList& fields, const std::vector<bool>& descending,
                     const std::vector<bool>& caseInsensitive = {});
    // Share another dataset's records (Clone).
    void ShareRecordsOf(const TDataSet& source);
    std::shared_ptr<TRecordStore> Store() const;

private:
    friend class TField;
    friend class TRecordsPass;
    TField& FieldByNameSlow(const QString& name) const;
    // The cached copy of the name keeps its character data alive, so a
    // matching data pointer always means the same text.
    struct FieldCacheEntry {
        QString name;
        TField* field = nullptr;
    };
    mutable FieldCacheEntry m_fieldCache[4];
    mutable unsigned m_fieldCacheNext = 0;
    struct Private;
    std::unique_ptr<Private> d;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(TLocateOptions)

// ---------------------------------------------------------------------------
// Connected datasets.

class TCustomADODataSet : public TDataSet {
    Q_OBJECT
public:
    explicit TCustomADODataSet(QObject* owner = nullptr);
    ~TCustomADODataSet() override;

    TADOConnection* Connection() const;
    void SetConnection(TADOConnection* connection); // not owned
    TCommandType CommandType() const;
    void SetCommandType(TCommandType type);
    QString CommandText() const;
    void SetCommandText(const QString& sql);

    // "F", "F DESC", "A ASC, B DESC": sorts the view; "" restores query order.
    // An unknown field raises EDatabaseError.
    QString Sort() const;
    void SetSort(const QString& sort);

    // This dataset becomes a clone of source's record set: the same records
    // (changes through either show in both), its own cursor, filter and sort.
    void Clone(TCustomADODataSet& source);

    // Close and re-run the command text.
    void Requery();

protected:
    TUpdateResult ApplyUpdate(const TUpdateRequest& request) override;
    void DoOpen() override;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

class TADODataSet : public TCustomADODataSet {
    Q_OBJECT
public:
    using TCustomADODataSet::TCustomADODataSet;
    QString ClassName() const override { return QStringLiteral("TADODataSet"); }
};

class TADOQuery : public TCustomADODataSet {
    Q_OBJECT
public:
    using TCustomADODataSet::TCustomADODataSet;
    QString ClassName() const override { return QStringLiteral("TADOQuery"); }
};

class TADOTable : public TCustomADODataSet {
    Q_OBJECT
public:
    using TCustomADODataSet::TCustomADODataSet;
    QString ClassName() const override { return QStringLiteral("TADOTable"); }
    QString TableName() const { return CommandText(); }
    void SetTableName(const QString& name); // command "select * from name"
};

// ---------------------------------------------------------------------------
// Client dataset.

enum class TIndexOption : std::uint8_t {
    ixPrimary = 1,
    ixUnique = 2,
    ixDescending = 4,
    ixCaseInsensitive = 8
};
Q_DECLARE_FLAGS(TIndexOptions, TIndexOption)
Q_DECLARE_OPERATORS_FOR_FLAGS(TIndexOptions)

struct TIndexDef {
    QString Name;
    QString Fields; // "A;B"
    TIndexOptions Options;
    QString DescFields; // fields sorted descending when not all are
};

class TClientDataSet : public TDataSet {
    Q_OBJECT
public:
    explicit TClientDataSet(QObject* owner = nullptr);
    ~TClientDataSet() override;
    QString ClassName() const override { return QStringLiteral("TClientDataSet"); }

    // Copies fields and all rows of source's current view (its order and
    // filter), opens on the first record. The source's calculated fields
    // become data fields; its hidden columns are not copied.
    void CopyFrom(TDataSet& source);

    // Index definitions. Selecting an index (by name) or index field names
    // ("A;B", ascending) orders the view; an empty selection restores the
    // insertion order. Unknown names raise EDatabaseError.
    std::vector<TIndexDef>& IndexDefs();
    void AddIndex(const QString& name, const QString& fields, TIndexOptions options = {},
                  const QString& descFields = {});
    void DeleteIndex(const QString& name);
    QString IndexName() const;
    void SetIndexName(const QString& name);
    QString IndexFieldNames() const;
    void SetIndexFieldNames(const QString& fields);

    // Filter text: a condition over fields ("Name = 'x' and Qty > 3",
    // "Name like 'ab%'", "Price >= 10 or Flag = True"), applied when Filtered
    // is true together with the record-filter callback.
    // A text that does not parse raises EDatabaseError naming the problem
    // and keeps the previous filter; an unknown field is reported when the
    // filter is applied (Filtered true on an open dataset).
    QString Filter() const;
    void SetFilter(const QString& filter);

protected:
    bool HasFilterText() const override;
    void PrepareFilterText() override;
    bool FilterTextAccepts(qint64 record) const override;

private:
    void ApplyIndex();
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace lnq
