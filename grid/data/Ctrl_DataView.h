#pragma once
// TDataView: a read-only record card. The fields of one record are shown as
// "caption:value" pairs in ColumnCount equal cells per line, flowing like
// text: a pair wider than one cell takes as many whole cells as it needs
// (text width / cell width + 1, at most the whole line), a pair that does
// not fit in what remains of a line starts the next one. Lines are 20 pixels
// high, text is inset 3 pixels in its rectangle; values wrap at blanks, at
// line breaks and between Chinese characters, a wrapped pair taking as many
// lines as its value needs. The paint box is as high as the lines, so the
// card scrolls when the record is long.
//
// The card draws on a white paint box aligned to the top of the scroll
// area; it keeps the width of the viewport and lays the pairs out again
// whenever that width changes.

#include <QScrollArea>
#include <QStringList>
#include <vector>

class QTableView;

namespace lnq {

class TDataSet;
class TLNQCustomDBGrid;

// A column of a data grid as the card needs it (the data grid hands its
// columns in column order).
struct TDataViewColumn {
    QString FieldName;
    QString Title; // the title caption, sort marks included
    bool Visible = true;
};

// Where one pair is drawn.
struct TDataViewPlacement {
    int Item = 0;      // pair index (Items()[2*Item] is its caption)
    QRect Rect;        // in paint-box coordinates, before the 3-pixel inset
    int Cells = 1;     // cells spanned
    QStringList Lines; // the pair's text as drawn: line 0 starts with "caption:"
};

class TDataView : public QScrollArea {
    Q_OBJECT
    Q_PROPERTY(int ColumnCount READ ColumnCount WRITE SetColumnCount)
public:
    static constexpr int kLineHeight = 20;
    static constexpr int kInset = 3;
    // The header role under which a plain item view's model may name the
    // field behind a column; without it the title stands for the name.
    static constexpr int FieldNameRole = Qt::UserRole + 1;

    explicit TDataView(QWidget* parent = nullptr);
    ~TDataView() override;

    // Pairs per line; 2 when created, at least 1.
    int ColumnCount() const { return m_columnCount; }
    void SetColumnCount(int count);

    // FAddItem, then Refresh.
    void AddItem(const QString& Caption, const QString& Value);
    // Adds the pair unless the value is blank after trimming or the caption
    // (sort marks removed first) is "NOTVISIBLE" in any letter case.
    void FAddItem(const QString& Caption, const QString& Value);
    // Empties the items and the field captions.
    void Clear();
    // Lays the pairs out again, sets the paint box's height and repaints.
    void Refresh();
    // Lines times 20 for the current items and width.
    int CalcPaintBoxHeight() const;

    // The current record of an open dataset whose Bof() and Eof() are both
    // false (anything else leaves the card as it is). Captions come from the
    // field captions when there are any (fields without one are left out),
    // else from the field dictionary, whose "NotVisible" hides a field
    // (the dataset's connection loads it on first use; its errors propagate).
    void ShowDataset(const TDataSet& DataSet);
    // A data grid's current record: each column in column order with its
    // title, when the dataset is open and not empty and the text is not
    // empty. The data grid's own overload passes its columns here.
    void ShowGrid(const TDataSet& DataSet, const std::vector<TDataViewColumn>& Columns);
    // The current row of a plain table view: each model column in the shown
    // order (hidden ones too, as with the data grid's columns), its header
    // text as the title. No current row gives an empty card.
    void ShowGrid(const QTableView& Grid);
    // The data grid's current record with its column titles, in column order.
    void ShowGrid(const TLNQCustomDBGrid& Grid);
    // Field captions ("field name=title") from the visible columns.
    void InitFieldsCaptions(const std::vector<TDataViewColumn>& Columns);
    void InitFieldsCaptions(const QTableView& Grid);
    // From the data grid's visible columns (width other than 0).
    void InitFieldsCaptions(const TLNQCustomDBGrid& Grid);

    // Alternating captions and values in display order.
    const QStringList& Items() const { return m_items; }
    // "field name=caption" entries.
    const QStringList& FieldCaptions() const { return m_fieldCaptions; }
    QWidget* PaintBox() const;
    const std::vector<TDataViewPlacement>& Placements() const { return m_placements; }

    // The layout itself, for a given client width and font.
    static std::vector<TDataViewPlacement> LayoutItems(const QStringList& items, int clientWidth,
                                                       int columnCount, const QFont& font);

protected:
    bool viewportEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    class PaintBoxWidget;
    friend class PaintBoxWidget;
    void paintBox(QPainter& painter, const QRect& exposed) const;

    PaintBoxWidget* m_paintBox = nullptr; // owned by the scroll area
    QStringList m_items;
    QStringList m_fieldCaptions;
    int m_columnCount = 2;
    std::vector<TDataViewPlacement> m_placements;
    int m_lines = 0;
};

} // namespace lnq
