#pragma once
// Drives a data grid as a user does through its run-time menu, and reads
// back what a column shows.

#include "grid/data/Ctrl_LNQDBGrid.h"

#include <QMenu>
#include <QTest>

namespace lnqtest {

// Focuses the field's cell on that row, opens the menu and picks the item
// with that caption.
inline void chooseMenuItem(lnq::TLNQCustomDBGrid& g, const QString& field, int row, const QString& caption) {
    g.FocusCell(g.GridColOf(g.Columns().ColumnOfField(field)), row);
    QMenu* menu = g.RuntimePopupMenu();
    Q_EMIT menu->aboutToShow();
    for (QAction* a : menu->actions())
        if (a->text() == caption) {
            a->trigger();
            return;
        }
    QFAIL(qPrintable(QStringLiteral("no menu item ") + caption));
}

// The texts a column shows, top to bottom, below its title.
inline QStringList shownColumn(const lnq::TLNQCustomDBGrid& g, const QString& field) {
    QStringList out;
    const int c = g.GridColOf(g.Columns().ColumnOfField(field));
    for (int r = 1; r < g.RowCount(); ++r)
        out << g.CellModel().Cell(c, r);
    return out;
}

} // namespace lnqtest
