#include "grid/data/DBGridCalc.h"

#include "util/Plat_sysutils.h"

#include <cmath>

namespace lnq {

QString FormatColumnTotal(double value, TLNQDataTypePro pro, int dataWidth, int dataDec) {
    const int precision = dataWidth > 0 ? std::min(dataWidth, 18) : 15;
    const int decimals = std::clamp(dataDec, 0, 18);
    if (value != 0 && std::isfinite(value)) {
        const int intDigits = int(std::floor(std::log10(std::fabs(value)))) + 1;
        if (intDigits > precision) return QString::number(value, 'E', std::max(0, precision - 1));
        const double scale = std::pow(10.0, precision - intDigits);
        if (std::isfinite(scale) && scale > 0) value = std::round(value * scale) / scale;
    }
    return pro == dpCurrency ? FormatCurrency(value, decimals) : FormatNumber(value, decimals);
}

QString CleanNumberText(const QString& text) {
    QString out;
    for (const QChar ch : text)
        if ((ch >= u'0' && ch <= u'9') || ch == u'.') out.append(ch);
    return out.isEmpty() ? QStringLiteral("0") : out;
}

double CleanNumberValue(const QString& text) {
    double v = 0;
    return TryStrToFloat(CleanNumberText(text), v) ? v : 0;
}

double SumVisible(const TDataSet& dataSet, int field) {
    return dataSet.SumFloat(field);
}

} // namespace lnq
