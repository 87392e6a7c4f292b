#include "grid/core/Ctrl_LNQGridPaint.h"

#include "grid/core/Ctrl_LNQImages.h"
#include "grid/core/GridText.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPolygon>

#include <algorithm>

namespace lnq {

namespace {

const QColor kShadow(128, 128, 128);
const QColor kIndicatorGround(192, 192, 192);

QRect inset(const QRect& r, int d) {
    return r.adjusted(d, d, -d, -d);
}

// Two lines for a caption holding ";" (split at the first one only).
QString captionLines(const QString& caption) {
    const qsizetype semi = caption.indexOf(u';');
    if (semi < 0) return caption;
    return caption.left(semi) + u'\n' + caption.mid(semi + 1);
}

} // namespace

void DrawRaisedCell(QPainter& painter, const QRect& rect, const QColor& fill, int thickness) {
    if (rect.width() <= 0 || rect.height() <= 0) return;
    painter.fillRect(rect, fill);
    const int t = std::clamp(thickness, 0, std::min(rect.width(), rect.height()) / 2);
    for (int i = 0; i < t; ++i) {
        const QRect r = inset(rect, i);
        painter.setPen(Qt::white);
        painter.drawLine(r.topLeft(), QPoint(r.right() - 1, r.top()));
        painter.drawLine(r.topLeft(), QPoint(r.left(), r.bottom() - 1));
        painter.setPen(kShadow);
        painter.drawLine(r.bottomLeft(), r.bottomRight());
        painter.drawLine(r.topRight(), r.bottomRight());
    }
}

void DrawSortMark(QPainter& painter, const QPoint& o, TSortMark mark) {
    if (mark == smNone) return;
    // A 9 x 5 triangle: shadowed on the left, lit on the right.
    painter.save();
    if (mark == smUp) {
        painter.setPen(kShadow);
        painter.drawLine(o + QPoint(4, 0), o + QPoint(0, 4));
        painter.setPen(Qt::white);
        painter.drawLine(o + QPoint(4, 0), o + QPoint(8, 4));
        painter.drawLine(o + QPoint(0, 4), o + QPoint(8, 4));
    } else {
        painter.setPen(kShadow);
        painter.drawLine(o, o + QPoint(8, 0));
        painter.drawLine(o, o + QPoint(4, 4));
        painter.setPen(Qt::white);
        painter.drawLine(o + QPoint(8, 0), o + QPoint(4, 4));
    }
    painter.restore();
}

void DrawButton(QPainter& painter, const QRect& rect, const QString& caption, const QFont& font,
                TSortMark mark, const THeaderPaintStyle& style) {
    if (rect.width() <= 0 || rect.height() <= 0) return;
    if (caption == QLatin1String(">")) {
        DrawRaisedCell(painter, rect, kIndicatorGround, style.Ctl3DThickness);
        const QPoint c = rect.center();
        painter.save();
        painter.setPen(Qt::black);
        painter.setBrush(Qt::black);
        painter.drawPolygon(QPolygon({c + QPoint(-2, -4), c + QPoint(2, 0), c + QPoint(-2, 4)}));
        painter.restore();
        return;
    }
    DrawRaisedCell(painter, rect, style.Fill, style.Ctl3DThickness);
    const QString text = captionLines(caption);
    painter.save();
    painter.setFont(font);
    painter.setPen(style.TextColor);
    const QRect inner = inset(rect, std::max(1, style.Ctl3DThickness));
    painter.setClipRect(inner);
    const int flags = Qt::AlignCenter | Qt::TextWordWrap;
    painter.drawText(inner, flags, text);
    if (mark != smNone) {
        const QRect used = painter.boundingRect(inner, flags, text);
        int x = used.right() + 4;
        if (x + 9 > inner.right()) x = inner.right() - 9;
        const int y = inner.top() + (inner.height() - 5) / 2;
        DrawSortMark(painter, QPoint(x, y), mark);
    }
    painter.restore();
}

int CurrencyRuleX(const QRect& rect, int i) {
    return rect.left() + rect.width() * i / kCurrencyDigitCells;
}

QRect CurrencyCellRect(const QRect& rect, int i) {
    const int l = CurrencyRuleX(rect, i);
    const int r = CurrencyRuleX(rect, i + 1);
    return QRect(l, rect.top(), r - l, rect.height());
}

void DrawCurrencyRules(QPainter& painter, const QRect& rect) {
    painter.save();
    for (int i = 1; i < kCurrencyDigitCells; ++i) {
        QColor c = kShadow;
        if (i == 2 || i == 5) c = Qt::blue; // thousands groups
        if (i == 8) c = Qt::red;            // units | tenths
        painter.setPen(QPen(c, 1));
        const int x = CurrencyRuleX(rect, i);
        painter.drawLine(x, rect.top(), x, rect.bottom());
    }
    painter.restore();
}

void DrawCurrency(QPainter& painter, const QRect& rect, double value, const QColor& textColor) {
    DrawCurrencyRules(painter, rect);
    const QString digits = CurrencyDigitText(value);
    painter.save();
    painter.setPen(textColor);
    for (int i = 0; i < kCurrencyDigitCells && i < digits.size(); ++i) {
        if (digits[i] == u' ') continue;
        painter.drawText(CurrencyCellRect(rect, i), Qt::AlignCenter | Qt::TextSingleLine, QString(digits[i]));
    }
    painter.restore();
}

void DrawCurrencyCaption(QPainter& painter, const QRect& rect, const QFont& font, const QColor& textColor) {
    painter.save();
    painter.setPen(kShadow);
    painter.drawLine(rect.topLeft(), rect.topRight());
    DrawCurrencyRules(painter, rect);
    QFont small = font;
    if (small.pointSizeF() > 0) small.setPointSizeF(std::max(6.0, small.pointSizeF() - 1));
    painter.setFont(small);
    painter.setPen(textColor);
    const QString labels = CurrencyCaptionLabels();
    for (int i = 0; i < kCurrencyDigitCells; ++i)
        painter.drawText(CurrencyCellRect(rect, i).adjusted(0, 1, 0, 0), Qt::AlignCenter | Qt::TextSingleLine,
                         QString(labels[i]));
    painter.restore();
}

void DrawCurrencyButton(QPainter& painter, const QRect& rect, const QString& caption, const QFont& font,
                        TSortMark mark, const THeaderPaintStyle& style) {
    if (rect.width() <= 0 || rect.height() <= 0) return;
    DrawRaisedCell(painter, rect, style.Fill, style.Ctl3DThickness);
    const int strip = std::min(rect.height() / 2, QFontMetrics(font).height() + 2);
    const QRect top(rect.left(), rect.top(), rect.width(), rect.height() - strip);
    const QRect bottom(rect.left(), rect.bottom() - strip + 1, rect.width(), strip);
    THeaderPaintStyle flat = style;
    flat.Ctl3DThickness = 0;
    painter.save();
    painter.setClipRect(rect);
    DrawButton(painter, top, caption, font, mark, flat);
    DrawCurrencyCaption(painter, bottom, font, style.TextColor);
    painter.restore();
    // Edges again over the strip so the cell keeps its raised look.
    painter.save();
    painter.setPen(Qt::white);
    painter.drawLine(rect.topLeft(), rect.bottomLeft());
    painter.setPen(kShadow);
    painter.drawLine(rect.bottomLeft(), rect.bottomRight());
    painter.drawLine(rect.topRight(), rect.bottomRight());
    painter.restore();
}

void PaintHeaderLayout(QPainter& painter, const THeaderLayout& layout, const THeaderPaintStyle& style) {
    const auto fontOf = [&](int col) { return style.TitleFont ? style.TitleFont(col) : style.GroupFont; };
    for (const THeaderCell& cell : layout.Cells) {
        switch (cell.Kind) {
        case THeaderCellKind::Band:
        case THeaderCellKind::TailEdge:
            DrawRaisedCell(painter, cell.Rect, style.Fill, std::min(style.Ctl3DThickness, 1));
            break;
        case THeaderCellKind::Whole:
            if (cell.Currency)
                DrawCurrencyButton(painter, cell.Rect, cell.Text, fontOf(cell.Col), cell.SortMark, style);
            else
                DrawButton(painter, cell.Rect, cell.Text, fontOf(cell.Col), cell.SortMark, style);
            break;
        case THeaderCellKind::Group:
            DrawButton(painter, cell.Rect, cell.Text, style.GroupFont, smNone, style);
            break;
        case THeaderCellKind::Sub:
            DrawButton(painter, cell.Rect, cell.Text, fontOf(cell.Col), cell.SortMark, style);
            break;
        case THeaderCellKind::Tail: {
            DrawRaisedCell(painter, cell.Rect, style.Fill, std::min(style.Ctl3DThickness, 1));
            painter.save();
            painter.setFont(style.GroupFont);
            painter.setPen(style.TextColor);
            Qt::Alignment a = style.Alignment ? style.Alignment(cell.Col) : Qt::AlignLeft;
            painter.drawText(cell.Rect.adjusted(2, 0, -2, 0), int(a | Qt::AlignVCenter | Qt::TextSingleLine),
                             cell.Text);
            painter.restore();
            break;
        }
        }
    }
    if (layout.HasLock) DrawLockGlyph(painter, layout.LockOrigin);
}

} // namespace lnq
