#include "grid/core/Ctrl_LNQImages.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>
#include <QPolygon>

namespace lnq {

namespace {

QColor systemColour(quint32 index) {
    const QPalette pal = QGuiApplication::palette();
    switch (index) {
    case 1: // desktop
    case 4: // menu
        return pal.color(QPalette::Window);
    case 2:  // active caption
    case 13: // highlight
        return pal.color(QPalette::Highlight);
    case 3:  // inactive caption
    case 12: // application work space
        return pal.color(QPalette::Mid);
    case 5: // window
        return pal.color(QPalette::Base);
    case 6: // window frame
    case 7: // menu text
        return pal.color(QPalette::WindowText);
    case 8:  // window text
    case 19: // inactive caption text
        return pal.color(QPalette::Text);
    case 9:  // caption text
    case 14: // highlight text
        return pal.color(QPalette::HighlightedText);
    case 16: // button shadow
        return pal.color(QPalette::Dark);
    case 17: // grey text
        return pal.color(QPalette::Disabled, QPalette::Text);
    case 18: // button text
        return pal.color(QPalette::ButtonText);
    case 20: // button highlight
        return pal.color(QPalette::Light);
    case 21: // 3D dark shadow
        return pal.color(QPalette::Shadow);
    case 22: // 3D light
        return pal.color(QPalette::Midlight);
    case 23: // tool tip text
        return pal.color(QPalette::ToolTipText);
    case 24: // tool tip ground
        return pal.color(QPalette::ToolTipBase);
    default: // scroll bar, borders, button face and anything unknown
        return pal.color(QPalette::Button);
    }
}

QPixmap blankPixmap(QSize size, qreal dpr, const QColor& ground) {
    QPixmap pm(size * dpr);
    pm.setDevicePixelRatio(dpr);
    pm.fill(ground);
    return pm;
}

void drawDots(QPainter& p, int x, int y) {
    for (int i = 0; i < 3; ++i)
        p.fillRect(QRect(x + 3 * i, y, 2, 2), Qt::black);
}

QPixmap makeThreeDots(qreal dpr) {
    const QPalette pal = QGuiApplication::palette();
    QPixmap pm = blankPixmap(QSize(16, 16), dpr, pal.color(QPalette::Button));
    QPainter p(&pm);
    // Raised face: light top-left, shadow then black bottom-right.
    p.fillRect(QRect(0, 0, 15, 1), Qt::white);
    p.fillRect(QRect(0, 0, 1, 15), Qt::white);
    p.fillRect(QRect(1, 14, 14, 1), QColor(128, 128, 128));
    p.fillRect(QRect(14, 1, 1, 14), QColor(128, 128, 128));
    p.fillRect(QRect(0, 15, 16, 1), Qt::black);
    p.fillRect(QRect(15, 0, 1, 16), Qt::black);
    drawDots(p, 4, 9);
    return pm;
}

QPixmap makeDetail(qreal dpr) {
    QPixmap pm = blankPixmap(QSize(12, 12), dpr, Qt::transparent);
    QPainter p(&pm);
    drawDots(p, 2, 7);
    return pm;
}

QPixmap makeDropDown(qreal dpr) {
    QPixmap pm = blankPixmap(QSize(12, 12), dpr, Qt::transparent);
    QPainter p(&pm);
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::black);
    p.drawPolygon(QPolygon({QPoint(2, 4), QPoint(10, 4), QPoint(6, 8)}));
    return pm;
}

QPixmap makeLock(qreal dpr) {
    QPixmap pm = blankPixmap(QSize(10, 12), dpr, Qt::transparent);
    QPainter p(&pm);
    DrawLockGlyph(p, QPoint(0, 0));
    return pm;
}

} // namespace

QColor TColorToQColor(quint32 color) {
    if ((color >> 24) == 0x80u) return systemColour(color & 0xFFu);
    return QColor(int(color & 0xFFu), int((color >> 8) & 0xFFu), int((color >> 16) & 0xFFu));
}

void DrawLockGlyph(QPainter& painter, QPoint origin) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, false);
    const QPolygon shape =
        QPolygon({QPoint(0, 0), QPoint(9, 0), QPoint(9, 7), QPoint(4, 11), QPoint(0, 7)}).translated(origin);
    painter.setBrush(TColorToQColor(kLockColor));
    painter.setPen(QPen(Qt::black, 1));
    painter.drawPolygon(shape);
    painter.setPen(QPen(Qt::white, 1));
    painter.drawLine(origin + QPoint(1, 1), origin + QPoint(8, 1));
    painter.drawLine(origin + QPoint(1, 1), origin + QPoint(1, 6));
    painter.restore();
}

QPixmap LnqBitmap(const QString& name) {
    const QString key = name.toUpper();
    QPixmap (*make)(qreal) = nullptr;
    if (key == QLatin1String("3DOT"))
        make = makeThreeDots;
    else if (key == QLatin1String("DETAIL"))
        make = makeDetail;
    else if (key == QLatin1String("DROPDOWN"))
        make = makeDropDown;
    else if (key == QLatin1String("LOCK"))
        make = makeLock;
    if (!make) return QPixmap();

    const qreal dpr = qApp ? qApp->devicePixelRatio() : 1.0;
    // QPixmapCache dies with the application, unlike a static container.
    const QString cacheKey = QStringLiteral("lnq-bitmap-") + key + QLatin1Char('@') + QString::number(dpr);
    QPixmap pm;
    if (QPixmapCache::find(cacheKey, &pm)) return pm;
    pm = make(dpr);
    QPixmapCache::insert(cacheKey, pm);
    return pm;
}

} // namespace lnq
