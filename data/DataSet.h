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
// a dataset and its clones. Each dataset has its own cursor and its own view:
// the order (sort or index) and the filtered subset of the shared records.
//
// Cursor semantics (the framework's rules depend on them):
//  - After Open, and after First, the cursor is on the first visible record
//    and Bof() is true; Eof() is true only when there is no record.
//  - Next on the last record leaves the cursor there and raises Eof();
//    Prior on the first raises Bof(). Any other move clears both flags.
//  - RecNo() is 1-based within the current view; 0 or -1 when empty/inactive.

#include "data/FieldTypes.h"
#include "util/DateUtils.h"

#include <QByteArray>
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
    QByteArray AsBytes() const;  // blobs and byte fields
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

struct TUpdateRequest {
    TUpdateKind Kind = TUpdateKind::ukModify;
    QString BaseTable;
    const TFieldDefs* Fields = nullptr;
    std::vector<QVariant> OldValues; // row as read (modify, delete)
    std::vector<QVariant> NewValues; // row as posted (modify, insert)
    std::vector<bool> Changed;       // per field, modify and insert
    QVariant RowId;                  // SQLite rowid when the query exposed it
};

// What the resolver hands back after an insert: values the database chose
// (auto-increment keys, defaults) to store into the posted record.
struct TUpdateResult {
    std::vector<std::pair<int, QVariant>> Assigned; // field index, value
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
    TField& FieldByName(const QString& name) const; // EDatabaseError "字段 'X' 不存在" (names X)
    TField* FindField(const QString& name) const;   // nullptr when unknown; case-insensitive
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
    void Refilter();

    // Random access for views: value of field `field` at 0-based position
    // `row` of the current view, without moving the cursor.
    QVariant ValueAt(int row, int field) const;
    QString DisplayTextAt(int row, int field) const;
    bool IsNullAt(int row, int field) const;
    int CurrentRow() const; // 0-based position of the cursor in the view (-1 empty)

    // Views repaint once when controls are re-enabled.
    void DisableControls();
    void EnableControls();
    bool ControlsDisabled() const;

    // Whole record set to a file and back, in the project's own binary format
    // (recognised by its content, not by the file name). LoadFromFile opens
    // the dataset with the file's fields and rows; a file that is not such a
    // record set raises EReadError.
    void SaveToFile(const QString& fileName) const;
    void LoadFromFile(const QString& fileName);
    void SaveToStream(QIODevice& out) const;
    void LoadFromStream(QIODevice& in);

    // Loading rows (drivers, copies). BeginLoad closes the dataset and sets
    // its fields; rows are appended through the builder; EndLoad opens it on
    // the first record.
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

protected:
    // The resolver of posted changes; the base keeps changes in memory only.
    virtual TUpdateResult ApplyUpdate(const TUpdateRequest& request);
    // The view order (sort or index) changed: subclasses call this after
    // changing their sort description; the base rebuilds the view.
    void SetOrdering(const QStringList& fields, const std::vector<bool>& descending,
                     const std::vector<bool>& caseInsensitive = {});
    // Share another dataset's records (Clone).
    void ShareRecordsOf(const TDataSet& source);
    std::shared_ptr<TRecordStore> Store() const;

private:
    friend class TField;
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
    // filter), opens on the first record.
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
    QString Filter() const;
    void SetFilter(const QString& filter);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace lnq
