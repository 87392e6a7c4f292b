#pragma once
// Column layout files (".FMT") and the layout rules of the data grid.
//
// A layout file remembers, per screen, which fields a grid shows, in which
// order, how wide and under which titles. Little-endian, no header:
//
//   int32 N                       column count
//   N times:
//     int32 L1, L1 bytes          field name (GBK, no terminator)
//     int32 width                 pixels; 0 means hidden
//     int32 L2, L2 bytes          title without the sort marks "↑" "↓" (GBK)
//
// Files live in the folder "KXFormat" beside the executable (report
// templates use the same naming in "KXReport"). They are written to a
// temporary file that replaces the old one only when complete, so a crash
// never leaves half a file.
//
// The grid plugs in through TLayoutColumns: it exposes its columns (field
// name, title, width) and the few layout operations the algorithms need;
// LoadFormat, SaveFormat and UpdateFormat below hold the rules.

#include <QIODevice>
#include <QString>
#include <QStringList>
#include <functional>
#include <vector>

namespace lnq {

struct TLayoutEntry {
    QString FieldName;
    qint32 Width = 0;
    QString Title;
    bool operator==(const TLayoutEntry&) const = default;
};
using TLayoutEntries = std::vector<TLayoutEntry>;

// Removes every "↑" and "↓" from a caption.
QString StripSortMarks(const QString& caption);

// Reads a whole layout. A stream that ends before the records its count
// announces, or that holds a negative count or length, or a length beyond what
// is left of it, raises EReadError "流读取错误"; nothing is allocated beyond the
// stream's own size.
TLayoutEntries ReadLayout(QIODevice& stream);
void WriteLayout(QIODevice& stream, const TLayoutEntries& entries);
// File versions. LoadLayoutFile raises EInOutError when the file cannot be
// opened; SaveLayoutFile writes through a temporary file and renames it
// (EInOutError when the folder or the file cannot be written; the old file is
// then untouched).
TLayoutEntries LoadLayoutFile(const QString& fileName);
void SaveLayoutFile(const QString& fileName, const TLayoutEntries& entries);

// Where a grid's file lives: applicationDirPath()/folder/ + either the file-
// name part of fileNameProperty (any folder in it, "\" or "/" separated,
// dropped) + extension, or, when that is empty, executable file name + "." +
// owner name + "." + grid name + extension. The folder is created when missing
// (a failure surfaces when the file is opened).
QString GridFileName(const QString& folder, const QString& extension, const QString& fileNameProperty,
                     const QString& ownerName, const QString& gridName);
// GridFileName(u"KXFormat", u".FMT", ...).
QString LayoutFileName(const QString& formatFileName, const QString& ownerName, const QString& gridName);

// The columns of a grid as the layout rules see them. Index 0 is the grid's
// first data column (the indicator column is the grid's own business).
class TLayoutColumns {
public:
    virtual ~TLayoutColumns() = default;
    virtual int ColumnCount() const = 0;
    virtual QString FieldName(int index) const = 0;
    virtual QString Title(int index) const = 0;
    virtual int Width(int index) const = 0; // 0 for a hidden column
    virtual void SetTitle(int index, const QString& title) = 0;
    // A width the user assigned (layout file, setup form).
    virtual void SetWidth(int index, int width) = 0;
    // The column's width before any assignment (one per field of the dataset).
    virtual int DefaultWidth(int index) const = 0;
    // A width that does not count as user-assigned (first-use defaults).
    virtual void SetDefaultWidth(int index, int width) = 0;
    virtual void ClearColumns() = 0;
    // A new column at index (0..ColumnCount()) with the given field name.
    virtual void InsertColumn(int index, const QString& fieldName) = 0;
    virtual void DeleteColumn(int index) = 0;
    virtual void BeginLayout() = 0;
    virtual void EndLayout() = 0;
    // The grid's InitDBGrid hook (re-applies its per-column setup).
    virtual void InitDBGrid() = 0;
};

// A plain column list: a grid's columns copied out (exports, the setup form,
// tools) or a grid stand-in.
struct TLayoutColumn {
    QString FieldName;
    QString Title;
    int Width = 64;
    int DefaultWidth = 64;
    bool UserWidth = false;
    bool operator==(const TLayoutColumn&) const = default;
};
class TLayoutColumnList : public TLayoutColumns {
public:
    std::vector<TLayoutColumn> Items;
    int BeginCount = 0, EndCount = 0, InitCount = 0; // hook calls, for callers that need to know

    int ColumnCount() const override;
    QString FieldName(int index) const override;
    QString Title(int index) const override;
    int Width(int index) const override;
    void SetTitle(int index, const QString& title) override;
    void SetWidth(int index, int width) override;
    int DefaultWidth(int index) const override;
    void SetDefaultWidth(int index, int width) override;
    void ClearColumns() override;
    void InsertColumn(int index, const QString& fieldName) override;
    void DeleteColumn(int index) override;
    void BeginLayout() override { ++BeginCount; }
    void EndLayout() override { ++EndCount; }
    void InitDBGrid() override { ++InitCount; }
};

// What LoadFormat and SaveFormat need to know about the grid beside its columns.
struct TLayoutContext {
    QString FileName; // from LayoutFileName
    bool Designing = false;
    bool HasDataSet = false; // a data source with a dataset
    bool DataSetOpen = false;
    // The dictionary title of a field (TDataEnvironment::GetTitleCaption).
    std::function<QString(const QString& fieldName)> TitleOf;
};

// Reads the layout file into the columns, or builds the first-use defaults
// when there is none. Returns false when it stopped at once (designing, no
// open dataset). The file is read whole before any column changes, so a
// corrupt file (EReadError) leaves the grid as it was.
bool LoadFormat(TLayoutColumns& columns, const TLayoutContext& context);
// The layout entries SaveFormat writes for the columns (title rule applied).
TLayoutEntries LayoutEntriesOf(const TLayoutColumns& columns, const TLayoutContext& context);
// Writes the file; returns false when a stop rule applies (designing, no
// dataset, requireOpen and the dataset closed, no columns, first column
// without field name), leaving any existing file untouched.
bool SaveFormat(TLayoutColumns& columns, const TLayoutContext& context, bool requireOpen);

// One data row of the grid setup form.
struct TGridSetupRow {
    QString FieldName;   // DataCaption
    QString UserCaption; // the title the column will get
    bool Shown = false;  // IsDisplay is "显示"
};
// Applies the setup form's rows (after the OK result) to the columns.
void UpdateFormat(TLayoutColumns& columns, const std::vector<TGridSetupRow>& rows);

} // namespace lnq
