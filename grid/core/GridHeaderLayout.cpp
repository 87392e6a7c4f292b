#include "grid/core/GridHeaderLayout.h"

#include <algorithm>

namespace lnq {

namespace {

bool hasGroup(const THeaderColumn& c) {
    return c.Caption.contains(u';');
}

QString groupPart(const QString& caption) {
    return caption.left(caption.indexOf(u';'));
}

QString subPart(const QString& caption) {
    return caption.mid(caption.indexOf(u';') + 1);
}

// The columns the bands visit: scrolled-out ones are skipped altogether.
QList<const THeaderColumn*> visited(const QList<THeaderColumn>& columns) {
    QList<const THeaderColumn*> out;
    out.reserve(columns.size());
    for (const THeaderColumn& c : columns)
        if (!c.ScrolledOut) out.append(&c);
    return out;
}

int bandRight(const QList<const THeaderColumn*>& cols) {
    int right = 0;
    for (const THeaderColumn* c : cols)
        if (c->Width > 0) right = std::max(right, c->Left + c->Width);
    return right;
}

} // namespace

int HeaderGroupHeight(int headerHeight, bool dblEqual) {
    return dblEqual ? headerHeight / 2 : headerHeight / 3;
}

THeaderLayout LayoutHeader(const QList<THeaderColumn>& columns, int headerHeight, bool dblEqual,
                           bool showLock, int lastFrozen) {
    THeaderLayout out;
    if (headerHeight < 1) return out;
    const QList<const THeaderColumn*> cols = visited(columns);
    const int groupHeight = HeaderGroupHeight(headerHeight, dblEqual);
    out.GroupHeight = groupHeight;

    THeaderCell band;
    band.Kind = THeaderCellKind::Band;
    band.Rect = QRect(0, 0, bandRight(cols), headerHeight);
    out.Cells.append(band);

    const qsizetype n = cols.size();
    qsizetype i = 0;
    while (i < n) {
        const THeaderColumn& c = *cols[i];
        if (c.Width <= 0) {
            ++i;
            continue;
        }
        if (!hasGroup(c)) {
            THeaderCell cell;
            cell.Kind = THeaderCellKind::Whole;
            cell.Rect = QRect(c.Left, 0, c.Width, headerHeight);
            cell.Text = c.Caption;
            cell.Col = c.Index;
            cell.SortMark = c.SortMark;
            cell.Currency = c.Currency;
            out.Cells.append(cell);
            ++i;
            continue;
        }
        // A run: following visited columns with a width and the same group
        // text before their first ";". A hidden column ends it.
        const QString group = groupPart(c.Caption);
        qsizetype last = i;
        while (last + 1 < n) {
            const THeaderColumn& next = *cols[last + 1];
            if (next.Width <= 0 || !hasGroup(next) || groupPart(next.Caption) != group) break;
            ++last;
        }
        if (last == i) {
            // A group of one: both parts in one full-height cell, on two lines.
            THeaderCell cell;
            cell.Kind = THeaderCellKind::Whole;
            cell.Rect = QRect(c.Left, 0, c.Width, headerHeight);
            cell.Text = group + u';' + subPart(c.Caption);
            cell.Col = c.Index;
            cell.SortMark = c.SortMark;
            out.Cells.append(cell);
            ++i;
            continue;
        }
        const THeaderColumn& end = *cols[last];
        THeaderCell groupCell;
        groupCell.Kind = THeaderCellKind::Group;
        groupCell.Rect = QRect(QPoint(c.Left, 0), QPoint(end.Left + end.Width - 1, groupHeight - 1));
        groupCell.Text = group;
        groupCell.Col = c.Index;
        groupCell.LastCol = end.Index;
        out.Cells.append(groupCell);
        for (qsizetype k = i; k <= last; ++k) {
            const THeaderColumn& m = *cols[k];
            THeaderCell sub;
            sub.Kind = THeaderCellKind::Sub;
            sub.Rect = QRect(m.Left, groupHeight + 1, m.Width, headerHeight - groupHeight - 1);
            sub.Text = subPart(m.Caption);
            sub.Col = m.Index;
            sub.SortMark = m.SortMark;
            out.Cells.append(sub);
        }
        i = last + 1;
    }

    if (showLock && lastFrozen >= 0) {
        for (const THeaderColumn* c : cols) {
            if (c->Index == lastFrozen && c->Width > 0) {
                out.HasLock = true;
                out.LockOrigin = QPoint(c->Left + c->Width - kLockGlyphInset, kLockGlyphTop);
                break;
            }
        }
    }
    return out;
}

THeaderLayout LayoutFooter(const QList<THeaderColumn>& columns, int tailHeight) {
    THeaderLayout out;
    if (tailHeight < 1) return out;
    const QList<const THeaderColumn*> cols = visited(columns);
    THeaderCell band;
    band.Kind = THeaderCellKind::Band;
    band.Rect = QRect(0, 0, bandRight(cols), tailHeight);
    out.Cells.append(band);
    const int edge = tailHeight > 2 * kTailEdgeHeight ? kTailEdgeHeight : 0;
    for (const THeaderColumn* c : cols) {
        if (c->Width <= 0) continue;
        THeaderCell cell;
        cell.Kind = THeaderCellKind::Tail;
        cell.Rect = QRect(c->Left, 0, c->Width, tailHeight - edge);
        cell.Text = c->TailCaption;
        cell.Col = c->Index;
        out.Cells.append(cell);
    }
    if (edge > 0) {
        for (const THeaderColumn* c : cols) {
            if (c->Width <= 0) continue;
            THeaderCell cell;
            cell.Kind = THeaderCellKind::TailEdge;
            cell.Rect = QRect(c->Left, tailHeight - edge, c->Width, edge);
            cell.Col = c->Index;
            out.Cells.append(cell);
        }
    }
    return out;
}

} // namespace lnq
