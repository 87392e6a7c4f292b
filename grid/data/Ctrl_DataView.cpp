#include "grid/data/Ctrl_DataView.h"

#include "grid/data/Ctrl_LNQDBGrid.h"

#include "data/ADOConnection.h"
#include "data/DataSet.h"
#include "data/Plat_dataenvironment.h"

#include <QEvent>
#include <QFontMetrics>
#include <QHash>
#include <QHeaderView>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <QTableView>
#include <QTextLayout>
#include <algorithm>

namespace lnq {

namespace {

const QString kNotVisible = QStringLiteral("NOTVISIBLE");

// Trim() of the platform: every character up to the blank counts as blank.
bool blankAfterTrim(const QString& s) {
    return std::all_of(s.begin(), s.end(), [](QChar c) { return c.unicode() <= u' '; });
}

QString withoutSortMarks(QString caption) {
    caption.remove(QChar(u'↑'));
    caption.remove(QChar(u'↓'));
    return caption;
}

// The pair's text cut into drawn lines: paragraphs at line breaks, each
// wrapped at blanks or, where there are none (Chinese), between characters.
QStringList wrapText(const QString& text, int width, const QFont& font) {
    QString flat = text;
    flat.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    flat.replace(QChar(u'\r'), QChar(u'\n'));
    QStringList lines;
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    for (const QString& paragraph : flat.split(QChar(u'\n'))) {
        if (paragraph.isEmpty()) {
            lines << QString();
            continue;
        }
        QTextLayout layout(paragraph, font);
        layout.setTextOption(option);
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(width);
            lines << paragraph.mid(line.textStart(), line.textLength());
        }
        layout.endLayout();
    }
    return lines;
}

} // namespace

// ------------------------------------------------------------ paint box

class TDataView::PaintBoxWidget : public QWidget {
public:
    PaintBoxWidget(TDataView& view) : m_view(view) {
        setAutoFillBackground(true);
        QPalette p = palette();
        p.setColor(QPalette::Window, Qt::white);
        setPalette(p);
    }

protected:
    void paintEvent(QPaintEvent* event) override {
        QPainter painter(this);
        m_view.paintBox(painter, event->rect());
    }

private:
    TDataView& m_view;
};

// ------------------------------------------------------------ TDataView

TDataView::TDataView(QWidget* parent) : QScrollArea(parent) {
    QPalette p = palette();
    p.setColor(QPalette::Window, Qt::white);
    p.setColor(QPalette::Base, Qt::white);
    setPalette(p);
    setBackgroundRole(QPalette::Base);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidgetResizable(false);
    auto box = std::make_unique<PaintBoxWidget>(*this);
    m_paintBox = box.get();
    setWidget(box.release()); // the scroll area owns its widget
    m_paintBox->resize(viewport()->width(), 0);
}

TDataView::~TDataView() = default;

QWidget* TDataView::PaintBox() const {
    return m_paintBox;
}

void TDataView::SetColumnCount(int count) {
    count = std::max(1, count);
    if (count == m_columnCount) return;
    m_columnCount = count;
    Refresh();
}

void TDataView::FAddItem(const QString& Caption, const QString& Value) {
    const QString caption = withoutSortMarks(Caption);
    if (blankAfterTrim(Value) || caption.toUpper() == kNotVisible) return;
    m_items << caption << Value;
}

void TDataView::AddItem(const QString& Caption, const QString& Value) {
    FAddItem(Caption, Value);
    Refresh();
}

void TDataView::Clear() {
    m_items.clear();
    m_fieldCaptions.clear();
}

std::vector<TDataViewPlacement> TDataView::LayoutItems(const QStringList& items, int clientWidth,
                                                       int columnCount, const QFont& font) {
    std::vector<TDataViewPlacement> out;
    columnCount = std::max(1, columnCount);
    const int cellWidth = std::max(1, clientWidth / columnCount);
    const QFontMetrics fm(font);
    int line = 0;
    int col = 0;
    int rowLines = 1;
    const qsizetype pairs = items.size() / 2;
    out.reserve(size_t(pairs));
    for (qsizetype i = 0; i < pairs; ++i) {
        const QString text = items[2 * i] + QLatin1Char(':') + items[2 * i + 1];
        QString measured = text;
        measured.replace(QChar(u'\r'), QChar(u' ')).replace(QChar(u'\n'), QChar(u' '));
        const int width = fm.horizontalAdvance(measured);
        const int cells = width > cellWidth ? std::min(columnCount, width / cellWidth + 1) : 1;
        if (col + cells > columnCount) {
            line += rowLines;
            col = 0;
            rowLines = 1;
        }
        TDataViewPlacement p;
        p.Item = int(i);
        p.Cells = cells;
        p.Lines = wrapText(text, std::max(1, cells * cellWidth - 2 * kInset), font);
        p.Rect =
            QRect(col * cellWidth, line * kLineHeight, cells * cellWidth, int(p.Lines.size()) * kLineHeight);
        rowLines = std::max(rowLines, int(p.Lines.size()));
        col += cells;
        out.push_back(std::move(p));
    }
    return out;
}

int TDataView::CalcPaintBoxHeight() const {
    return m_lines * kLineHeight;
}

void TDataView::Refresh() {
    const int width = viewport()->width();
    m_placements = LayoutItems(m_items, width, m_columnCount, font());
    m_lines = 0;
    for (const TDataViewPlacement& p : m_placements)
        m_lines = std::max(m_lines, (p.Rect.bottom() + 1) / kLineHeight);
    m_paintBox->resize(width, CalcPaintBoxHeight());
    m_paintBox->update();
}

bool TDataView::viewportEvent(QEvent* event) {
    // A new viewport width (the window, or the vertical scroll bar coming
    // and going) flows the pairs again.
    if (event->type() == QEvent::Resize) Refresh();
    return QScrollArea::viewportEvent(event);
}

void TDataView::changeEvent(QEvent* event) {
    QScrollArea::changeEvent(event);
    // The card follows its parent's font: text widths, and so the flow, change.
    if (event->type() == QEvent::FontChange) Refresh();
}

void TDataView::paintBox(QPainter& painter, const QRect& exposed) const {
    painter.fillRect(exposed, Qt::white);
    painter.setFont(font());
    const QColor captionColor(Qt::black);
    const QColor valueColor(0x00, 0x00, 0x80);
    const QFontMetrics fm(font());
    for (const TDataViewPlacement& p : m_placements) {
        if (!p.Rect.intersects(exposed)) continue;
        qsizetype captionLeft = m_items[2 * p.Item].size() + 1; // "caption:"
        for (int k = 0; k < p.Lines.size(); ++k) {
            const QString& line = p.Lines[k];
            const QRect r(p.Rect.x() + kInset, p.Rect.y() + k * kLineHeight + kInset,
                          p.Rect.width() - 2 * kInset, kLineHeight - kInset);
            const QString head = line.left(captionLeft);
            captionLeft -= head.size();
            const QString rest = line.mid(head.size());
            int x = r.x();
            if (!head.isEmpty()) {
                painter.setPen(captionColor);
                painter.drawText(QRect(x, r.y(), r.right() - x + 1, r.height()), Qt::AlignLeft | Qt::AlignTop,
                                 head);
                x += fm.horizontalAdvance(head);
            }
            if (!rest.isEmpty()) {
                painter.setPen(valueColor);
                painter.drawText(QRect(x, r.y(), r.right() - x + 1, r.height()), Qt::AlignLeft | Qt::AlignTop,
                                 rest);
            }
        }
    }
}

void TDataView::ShowDataset(const TDataSet& DataSet) {
    if (!DataSet.Active() || DataSet.Bof() || DataSet.Eof()) return;
    m_items.clear();
    if (!m_fieldCaptions.isEmpty()) {
        // Name lookups ignore letter case; the first entry of a name counts.
        QHash<QString, QString> captions;
        for (const QString& entry : m_fieldCaptions) {
            const qsizetype eq = entry.indexOf(QLatin1Char('='));
            const QString name = entry.left(eq).toLower();
            if (eq > 0 && !captions.contains(name)) captions.insert(name, entry.mid(eq + 1));
        }
        for (int i = 0; i < DataSet.FieldCount(); ++i) {
            const TField& f = DataSet.Fields(i);
            const QString caption = captions.value(f.FieldName().toLower());
            if (caption.isEmpty()) continue;
            FAddItem(caption, f.DisplayText());
        }
    } else {
        // The dictionary of the dataset's own connection, or the one already
        // loaded; without either the field names stand for captions.
        TDataEnvironment* env = TDataEnvironment::Instance();
        if (const auto* ado = qobject_cast<const TCustomADODataSet*>(&DataSet); ado && ado->Connection())
            env = &TDataEnvironment::GetInstance(*ado->Connection());
        for (int i = 0; i < DataSet.FieldCount(); ++i) {
            const TField& f = DataSet.Fields(i);
            const QString caption = env ? env->GetTitleCaption(f.FieldName()) : f.FieldName();
            if (caption.toUpper() == kNotVisible) continue;
            FAddItem(caption, f.DisplayText());
        }
    }
    Refresh();
}

void TDataView::ShowGrid(const TDataSet& DataSet, const std::vector<TDataViewColumn>& Columns) {
    m_items.clear();
    if (DataSet.Active() && !DataSet.IsEmpty()) {
        for (const TDataViewColumn& c : Columns) {
            const TField* f = DataSet.FindField(c.FieldName);
            const QString text = f ? f->DisplayText() : QString();
            if (!text.isEmpty()) FAddItem(c.Title, text);
        }
    }
    Refresh();
}

void TDataView::ShowGrid(const QTableView& Grid) {
    m_items.clear();
    const QAbstractItemModel* model = Grid.model();
    const QModelIndex current = Grid.currentIndex();
    if (model && model->rowCount() > 0 && current.isValid()) {
        const QHeaderView* header = Grid.horizontalHeader();
        for (int v = 0; v < model->columnCount(); ++v) {
            const int col = header ? header->logicalIndex(v) : v;
            const QString text = model->index(current.row(), col).data(Qt::DisplayRole).toString();
            if (text.isEmpty()) continue;
            FAddItem(model->headerData(col, Qt::Horizontal, Qt::DisplayRole).toString(), text);
        }
    }
    Refresh();
}

void TDataView::InitFieldsCaptions(const std::vector<TDataViewColumn>& Columns) {
    m_fieldCaptions.clear();
    for (const TDataViewColumn& c : Columns)
        if (c.Visible) m_fieldCaptions << c.FieldName + QLatin1Char('=') + c.Title;
}

void TDataView::InitFieldsCaptions(const QTableView& Grid) {
    std::vector<TDataViewColumn> columns;
    if (const QAbstractItemModel* model = Grid.model()) {
        const QHeaderView* header = Grid.horizontalHeader();
        for (int v = 0; v < model->columnCount(); ++v) {
            const int col = header ? header->logicalIndex(v) : v;
            TDataViewColumn c;
            c.Title = model->headerData(col, Qt::Horizontal, Qt::DisplayRole).toString();
            const QVariant name = model->headerData(col, Qt::Horizontal, FieldNameRole);
            c.FieldName = name.isValid() ? name.toString() : c.Title;
            c.Visible = !Grid.isColumnHidden(col);
            columns.push_back(std::move(c));
        }
    }
    InitFieldsCaptions(columns);
}

namespace {

std::vector<TDataViewColumn> gridColumns(const TLNQCustomDBGrid& grid) {
    std::vector<TDataViewColumn> out;
    const TLNQDBGridColumns& cols = grid.Columns();
    for (int i = 0; i < cols.Count(); ++i) {
        const TColumn* c = cols.Items(i);
        out.push_back({c->FieldName(), c->Title().Caption(), c->Width() > 0});
    }
    return out;
}

} // namespace

void TDataView::ShowGrid(const TLNQCustomDBGrid& Grid) {
    if (const TDataSet* ds = Grid.DataSet()) {
        ShowGrid(*ds, gridColumns(Grid));
    } else {
        m_items.clear();
        Refresh();
    }
}

void TDataView::InitFieldsCaptions(const TLNQCustomDBGrid& Grid) {
    InitFieldsCaptions(gridColumns(Grid));
}

} // namespace lnq
