#include "util/Plat_appfont_ui.h"

#include <QApplication>
#include <QFont>
#include <QFontDatabase>

namespace lnq {

QStringList ChineseFontFamilies() {
    return {QStringLiteral("Noto Sans CJK SC"), QStringLiteral("Source Han Sans SC"),
            QStringLiteral("WenQuanYi Micro Hei"), QStringLiteral("Microsoft YaHei"),
            QStringLiteral("SimSun")};
}

QString UseChineseApplicationFont(int pointSize) {
    const QStringList installed = QFontDatabase::families();
    for (const QString& family : ChineseFontFamilies()) {
        if (!installed.contains(family, Qt::CaseInsensitive)) continue;
        QFont f(family);
        f.setPointSize(pointSize);
        QApplication::setFont(f);
        return family;
    }
    return {};
}

} // namespace lnq
