#pragma once
// TLNQStringGrid: the editable string grid of document detail lines and setup
// dialogs. On top of the draw grid: cells by column name with typed reading
// and writing, veto events for adding and deleting rows, a GBK text file of
// the grid's contents, a 1024-byte parameter buffer, hiding of columns with
// non-Chinese captions, row colours through a "TColor" column, typed cell
// display (numbers at their decimals, row numbers, unit breakdowns, money in
// digit cells, two-line cells).
//
// Row 0 is the title row (its cells are kept and saved like any other row;
// the control shows the column captions in its title band instead); data
// rows are 1 .. RowCount - 1.

#include "grid/core/Ctrl_LNQGrid.h"

#include <QIODevice>
#include <QVariant>
#include <array>

namespace lnq {

class TLNQStringGrid : public TLNQDrawGrid {
    Q_OBJECT
    Q_PROPERTY(QString FileNameSaved READ FileNameSaved WRITE SetFileNameSaved)
public:
    explicit TLNQStringGrid(QWidget* parent = nullptr);
    ~TLNQStringGrid() override;

    // ---- the cell store
    QString Cells(int ACol, int ARow) const;
    void SetCells(int ACol, int ARow, const QString& text);
    QObject* Objects(int ACol, int ARow) const;
    void SetObjects(int ACol, int ARow, QObject* object);
    QStringList Cols(int index) const;
    void SetCols(int index, const QStringList& texts);
    QStringList Rows(int index) const;
    void SetRows(int index, const QStringList& texts);

    // ---- cells by column name. True only when 1 <= row <= RowCount (one
    // past the last row is admitted) and the column exists.
    bool SetCellValS(int row, const QString& colName, const QString& value);
    // "%*d" at the column's DataWidth.
    bool SetCellValI(int row, const QString& colName, int value);
    // "%*.*f" at the column's DataWidth and DataDec.
    bool SetCellValF(int row, const QString& colName, double value);
    // Variant forms: a null variant writes nothing (and still succeeds).
    bool SetCellValI(int row, const QString& colName, const QVariant& value);
    bool SetCellValF(int row, const QString& colName, const QVariant& value);
    bool GetCellValS(int row, const QString& colName, QString& value) const;
    // dpOrderNo: the row number. Otherwise the cell normalised by NumAdjust,
    // left-trimmed, through StrToInt (EConvertError for a non-integer).
    bool GetCellValI(int row, const QString& colName, int& value) const;
    // The cell normalised by NumAdjust and trimmed, read by ReadCellNumber.
    bool GetCellValF(int row, const QString& colName, double& value) const;

    // ---- rows
    bool AddRow(int row);
    bool DeleteRow(int row);
    std::function<void(int Row, bool& CanAddDel)> OnRowAdding;
    std::function<void(int Row, bool& CanAddDel)> OnRowDeleting;

    // ---- the text file: GBK, a BEL (7) after every field, CR LF, column
    // names first, every row from the title row on, "==END==" last.
    QString FileNameSaved() const { return m_fileNameSaved; }
    void SetFileNameSaved(const QString& name) { m_fileNameSaved = name; }
    // EInOutError when the file cannot be written; false for an empty name.
    bool SaveToFile();
    // EInOutError when the file cannot be read; false for an empty name.
    bool LoadFromFile();
    // The file's contents from any device (read to its end), as LoadFromFile
    // reads them; EInOutError when the device fails.
    void LoadFromStream(QIODevice& stream);
    static constexpr int kMaxFileColumns = 200;

    // ---- the 1024-byte parameter buffer (Pos is the caller's counter)
    static constexpr int kFileBufferSize = 1024;
    bool SetFileBufferS(int& Pos, const QString& S);
    bool SetFileBufferI(int& Pos, int Value);
    bool GetFileBufferS(int& Pos, QString& S) const;
    bool GetFileBufferI(int& Pos, int& Value) const;
    const std::array<quint8, kFileBufferSize>& FileBuffer() const { return m_fileBuffer; }

    // Hides every column from index 1 on whose caption is empty or starts
    // with a character below 127 (not Chinese).
    void HideEnglishCol();
    // Writes alternating row colours into the "TColor" column.
    void RefreshColor();
    // The colour named in the row's "TColor" cell; invalid without one.
    QColor GetRowColor(int row) const override;

    // The text a data cell shows (typed display). Numeric cells are
    // normalised in the store as a side effect, as drawing does.
    QString DisplayText(int col, int row);

protected:
    void DrawCell(QPainter& painter, const QRect& rect, int col, int row, TGridDrawState state) override;

private:
    QString m_fileNameSaved;
    std::array<quint8, kFileBufferSize> m_fileBuffer{};
};

} // namespace lnq
