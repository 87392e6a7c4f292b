#pragma once
// Geometry of a grid's title band and footer band. The grids paint exactly
// the cells these functions return (see PaintHeaderLayout in
// Ctrl_LNQGridPaint.h), so the layout can be checked without pixels.
//
// Coordinates are those of the grid's cell area: frozen columns at their
// fixed place on the left, scrolled columns where they are on screen.
// Column positions come from the view, so a column's width already includes
// its grid line; a group cell runs from the left edge of its first member to
// the right edge of its last one (the summed widths when the members are
// adjacent, which visible members always are unless scrolled-out columns
// lie between a frozen and a scrolled member).

#include "grid/core/GridTypes.h"

#include <QList>
#include <QPoint>
#include <QRect>
#include <QString>

namespace lnq {

// One grid column as the band sees it, in grid column order.
struct THeaderColumn {
    int Index = 0;            // grid column
    int Left = 0;             // x of the column's left edge
    int Width = 0;            // <= 0: hidden
    bool ScrolledOut = false; // a scrolled column hidden behind the frozen ones
    QString Caption;
    QString TailCaption;
    bool Currency = false; // dpCurrency: digit-cell title
    TSortMark SortMark = smNone;
};

enum class THeaderCellKind {
    Band,     // the whole band, painted first as one empty raised cell
    Whole,    // a column's own full-height title cell
    Group,    // a group caption over a run of columns (group level)
    Sub,      // a column's own caption below its group
    Tail,     // a footer cell with the column's TailCaption
    TailEdge, // the footer's second, empty pass: a border band under the texts
};

struct THeaderCell {
    THeaderCellKind Kind = THeaderCellKind::Whole;
    QRect Rect;
    QString Text;
    int Col = -1;     // the column (first member for a group), -1 for the band
    int LastCol = -1; // last member of a group
    TSortMark SortMark = smNone;
    bool Currency = false;
};

struct THeaderLayout {
    int GroupHeight = 0; // height of the group level
    QList<THeaderCell> Cells;
    bool HasLock = false; // lock glyph of frozen columns
    QPoint LockOrigin;    // its top-left corner
};

// Group level height: HeaderHeight / 2 with DblEqual, else HeaderHeight / 3.
int HeaderGroupHeight(int headerHeight, bool dblEqual);

// The title band. Nothing at all when headerHeight < 1. lastFrozen is the
// last frozen column (fixed plus locked), -1 for none; the lock glyph is
// placed when showLock is set and that column is visible.
THeaderLayout LayoutHeader(const QList<THeaderColumn>& columns, int headerHeight, bool dblEqual,
                           bool showLock, int lastFrozen);

// The footer band: each visible column's TailCaption in one cell of the
// column's width, never split at ";" and never grouped; an empty border band
// of kTailEdgeHeight pixels under the texts when the band is high enough.
inline constexpr int kTailEdgeHeight = 3;
THeaderLayout LayoutFooter(const QList<THeaderColumn>& columns, int tailHeight);

// Offset of the lock glyph's origin from the right edge of the last frozen
// column (to the left), and its distance from the top of the band.
inline constexpr int kLockGlyphInset = 4;
inline constexpr int kLockGlyphTop = 1;

} // namespace lnq
