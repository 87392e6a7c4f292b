#pragma once
// Drawing of the grid family's title and footer cells and of money amounts.
// PaintHeaderLayout draws the cell list of GridHeaderLayout.h; the data grid
// uses the same functions for its own bands.

#include "grid/core/GridHeaderLayout.h"

#include <QColor>
#include <QFont>
#include <QRect>
#include <functional>

class QPainter;

namespace lnq {

// How a band is painted.
struct THeaderPaintStyle {
    QColor Fill; // header colour (footer: GridTailColor)
    QColor TextColor = Qt::black;
    int Ctl3DThickness = 2; // raised-edge width
    QFont GroupFont;        // font of group captions and of the footer
    // A column's title font and alignment (footer texts use the alignment).
    std::function<QFont(int col)> TitleFont;
    std::function<Qt::Alignment(int col)> Alignment;
};

// A raised cell: filled, white top-left and grey (128,128,128) bottom-right
// edges `thickness` pixels wide.
void DrawRaisedCell(QPainter& painter, const QRect& rect, const QColor& fill, int thickness);

// One title cell. ">" draws the row-indicator triangle on a light grey cell;
// a caption with ";" is split at its first ";" into two lines; text is
// centred and word-wrapped; smUp/smDown draw a small 3-D triangle beside it.
void DrawButton(QPainter& painter, const QRect& rect, const QString& caption, const QFont& font,
                TSortMark mark, const THeaderPaintStyle& style);
void DrawSortMark(QPainter& painter, const QPoint& topLeft, TSortMark mark);

// The title cell of a money column: the caption over a strip with the labels
// of the ten digit cells (DrawCurrencyCaption), ruled as DrawCurrency.
void DrawCurrencyButton(QPainter& painter, const QRect& rect, const QString& caption, const QFont& font,
                        TSortMark mark, const THeaderPaintStyle& style);
void DrawCurrencyCaption(QPainter& painter, const QRect& rect, const QFont& font, const QColor& textColor);

// A money amount in ten digit cells (accounting-paper style): nine rules,
// the 2nd and 5th blue, the 8th red, the others grey; one character centred
// in each cell.
void DrawCurrency(QPainter& painter, const QRect& rect, double value, const QColor& textColor);
void DrawCurrencyRules(QPainter& painter, const QRect& rect);
// x of the i-th rule (1..9) and the i-th digit cell (0..9) of a rectangle.
int CurrencyRuleX(const QRect& rect, int i);
QRect CurrencyCellRect(const QRect& rect, int i);

// Paints a layout from LayoutHeader or LayoutFooter.
void PaintHeaderLayout(QPainter& painter, const THeaderLayout& layout, const THeaderPaintStyle& style);

} // namespace lnq
