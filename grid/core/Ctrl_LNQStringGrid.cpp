#include "grid/core/Ctrl_LNQStringGrid.h"

#include "grid/core/Ctrl_LNQImages.h"
#include "grid/core/GridText.h"
#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_sysutils.h"

#include <QFile>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionButton>

namespace lnq {

namespace {

constexpr char kSeparator = '\x07';
constexpr int kMaxFormatWidth = 255; // "%*d" widths beyond this are not padded further
const QString kEnd = QStringLiteral("==END==");
const QString kColorColumn = QStringLiteral("TColor");
const QString kUnitColumn = QStringLiteral("vUnit");

int formatWidth(int dataWidth) {
    return std::clamp(dataWidth, 0, kMaxFormatWidth);
}

QString trimLeft(const QString& s) {
    qsizetype i = 0;
    while (i < s.size() && s[i].unicode() <= ' ')
        ++i;
    return s.mid(i);
}

QString trimBoth(const QString& s) {
    qsizetype b = 0;
    qsizetype e = s.size();
    while (b < e && s[b].unicode() <= ' ')
        ++b;
    while (e > b && s[e - 1].unicode() <= ' ')
        --e;
    return s.mid(b, e - b);
}

void writeAll(QFile& file, const QByteArray& bytes) {
    if (file.write(bytes) != bytes.size())
        throw EInOutError(QStringLiteral("写文件 %1 失败: %2").arg(file.fileName(), file.errorString()));
}

} // namespace

TLNQStringGrid::TLNQStringGrid(QWidget* parent) : TLNQDrawGrid(parent) {
    SetHeaderHeight(50);
}

TLNQStringGrid::~TLNQStringGrid() = default;

// ------------------------------------------------------------ cell store

QString TLNQStringGrid::Cells(int ACol, int ARow) const {
    return CellModel().Cell(ACol, ARow);
}

void TLNQStringGrid::SetCells(int ACol, int ARow, const QString& text) {
    CellModel().SetCell(ACol, ARow, text);
}

QObject* TLNQStringGrid::Objects(int ACol, int ARow) const {
    return CellModel().Object(ACol, ARow);
}

void TLNQStringGrid::SetObjects(int ACol, int ARow, QObject* object) {
    CellModel().SetObject(ACol, ARow, object);
}

QStringList TLNQStringGrid::Cols(int index) const {
    return CellModel().ColTexts(index);
}

void TLNQStringGrid::SetCols(int index, const QStringList& texts) {
    CellModel().SetColTexts(index, texts);
}

QStringList TLNQStringGrid::Rows(int index) const {
    return CellModel().RowTexts(index);
}

void TLNQStringGrid::SetRows(int index, const QStringList& texts) {
    CellModel().SetRowTexts(index, texts);
}

// --------------------------------------------------------- typed access

bool TLNQStringGrid::SetCellValS(int row, const QString& colName, const QString& value) {
    const int c = ColByName(colName);
    if (row < 1 || row > RowCount() || c < 0 || c >= ColCount()) return false;
    SetCells(c, row, value);
    return true;
}

bool TLNQStringGrid::SetCellValI(int row, const QString& colName, int value) {
    const int c = ColByName(colName);
    if (row < 1 || row > RowCount() || c < 0 || c >= ColCount()) return false;
    SetCells(c, row, FormatInt(value, formatWidth(GridCols()[c]->DataWidth())));
    return true;
}

bool TLNQStringGrid::SetCellValF(int row, const QString& colName, double value) {
    const int c = ColByName(colName);
    if (row < 1 || row > RowCount() || c < 0 || c >= ColCount()) return false;
    const TGridCol* col = GridCols()[c];
    SetCells(c, row, FormatFixed(value, col->DataDec(), formatWidth(col->DataWidth())));
    return true;
}

bool TLNQStringGrid::SetCellValI(int row, const QString& colName, const QVariant& value) {
    if (!value.isNull()) return SetCellValI(row, colName, value.toInt());
    const int c = ColByName(colName);
    return row >= 1 && row <= RowCount() && c >= 0 && c < ColCount();
}

bool TLNQStringGrid::SetCellValF(int row, const QString& colName, const QVariant& value) {
    if (!value.isNull()) return SetCellValF(row, colName, value.toDouble());
    const int c = ColByName(colName);
    return row >= 1 && row <= RowCount() && c >= 0 && c < ColCount();
}

bool TLNQStringGrid::GetCellValS(int row, const QString& colName, QString& value) const {
    value.clear();
    const int c = ColByName(colName);
    if (row < 1 || row > RowCount() || c < 0 || c >= ColCount()) return false;
    value = Cells(c, row);
    return true;
}

bool TLNQStringGrid::GetCellValI(int row, const QString& colName, int& value) const {
    value = 0;
    const int c = ColByName(colName);
    if (row < 1 || row > RowCount() || c < 0 || c >= ColCount()) return false;
    if (GridCols()[c]->DataTypePro() == dpOrderNo) {
        value = row;
        return true;
    }
    QString text = Cells(c, row);
    NumAdjust(c, text);
    text = trimLeft(text);
    if (!text.isEmpty()) value = StrToInt(text);
    return true;
}

bool TLNQStringGrid::GetCellValF(int row, const QString& colName, double& value) const {
    value = 0;
    const int c = ColByName(colName);
    if (row < 1 || row > RowCount() || c < 0 || c >= ColCount()) return false;
    QString text = Cells(c, row);
    NumAdjust(c, text);
    text = trimBoth(text);
    if (!text.isEmpty()) value = ReadCellNumber(text);
    return true;
}

// ------------------------------------------------------------------ rows

bool TLNQStringGrid::AddRow(int row) {
    bool can = true;
    if (OnRowAdding) OnRowAdding(row, can);
    if (!can) return false;
    SetRowCount(RowCount() + 1);
    const int last = RowCount() - 1;
    SetRowHeights(last, RowsHeight());
    if (row >= 1 && row < RowCount()) {
        MoveRow(last, row);
        SetRow(row);
    } else {
        SetRow(last);
    }
    const TGridCols& cols = GridCols();
    for (int i = 0; i < cols.Count(); ++i)
        SetCellValS(row, cols[i]->ColName(), QString());
    return true;
}

bool TLNQStringGrid::DeleteRow(int row) {
    bool can = true;
    if (OnRowDeleting) OnRowDeleting(row, can);
    // The title row is never deleted.
    if (!can || row > RowCount() - 1 || row < 1) return false;
    for (int c = 0; c < ColCount(); ++c)
        SetCells(c, row, QString());
    // The title row and one data row always stay.
    if (RowCount() < 3) return false;
    if (row == Row()) SetRow(row < RowCount() - 1 ? row + 1 : row - 1);
    MoveRow(row, RowCount() - 1);
    SetRowCount(RowCount() - 1);
    return true;
}

// ------------------------------------------------------------------ file

bool TLNQStringGrid::SaveToFile() {
    if (m_fileNameSaved.trimmed().isEmpty()) return false;
    QFile file(m_fileNameSaved);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        throw EInOutError(QStringLiteral("无法创建文件 %1: %2").arg(m_fileNameSaved, file.errorString()));
    // Lines are gathered as text and encoded in blocks: BEL, CR and LF are
    // single bytes in GBK, so block-wise encoding gives the same bytes.
    QString block;
    block.reserve(1 << 16);
    const auto flush = [&] {
        writeAll(file, Gbk::encode(block));
        block.clear();
    };
    const int cols = ColCount();
    const TGridCols& gridCols = GridCols();
    for (int c = 0; c < cols; ++c) {
        if (const TGridCol* col = gridCols.Items(c)) block += col->ColName();
        block += QLatin1Char(kSeparator);
    }
    block += QLatin1String("\r\n");
    const TLNQCellModel& store = CellModel();
    for (int r = 0; r < RowCount(); ++r) {
        for (int c = 0; c < cols; ++c) {
            block += store.Cell(c, r);
            block += QLatin1Char(kSeparator);
        }
        block += QLatin1String("\r\n");
        if (block.size() > (1 << 16)) flush();
    }
    block += kEnd;
    block += QLatin1String("\r\n");
    flush();
    if (!file.flush())
        throw EInOutError(QStringLiteral("写文件 %1 失败: %2").arg(m_fileNameSaved, file.errorString()));
    file.close();
    return true;
}

bool TLNQStringGrid::LoadFromFile() {
    if (m_fileNameSaved.trimmed().isEmpty()) return false;
    QFile file(m_fileNameSaved);
    if (!file.open(QIODevice::ReadOnly))
        throw EInOutError(QStringLiteral("无法打开文件 %1: %2").arg(m_fileNameSaved, file.errorString()));
    LoadFromStream(file);
    return true;
}

void TLNQStringGrid::LoadFromStream(QIODevice& file) {
    const QString source = m_fileNameSaved.isEmpty() ? QStringLiteral("数据流") : m_fileNameSaved;
    TLNQCellModel& store = CellModel();
    std::vector<int> mapping; // file column -> grid column (-1: unknown)
    bool haveNames = false;
    bool done = false;
    int row = 0;
    QByteArray pending;
    // One read buffer for the whole load, no larger than what the device
    // says it holds: a small file must not cost a megabyte per load.
    const qint64 available = file.bytesAvailable();
    QByteArray chunk(qsizetype(available > 0 ? qBound(qint64(4096), available, qint64(1) << 20) : 1 << 16),
                     Qt::Uninitialized);
    // Blocks end at a line feed, which is never part of a GBK character, so
    // each block decodes on its own.
    while (!done) {
        const qint64 got = file.read(chunk.data(), chunk.size());
        const auto* fileDevice = qobject_cast<const QFileDevice*>(&file);
        if (got <= 0 && fileDevice && fileDevice->error() != QFileDevice::NoError)
            throw EInOutError(QStringLiteral("读文件 %1 失败: %2").arg(source, file.errorString()));
        const bool atEnd = got <= 0;
        qsizetype cut = pending.size();
        if (!atEnd) {
            // Only the new bytes are searched, so a long line read in many
            // blocks costs linear time.
            const qsizetype lf = QByteArrayView(chunk.constData(), qsizetype(got)).lastIndexOf('\n');
            pending.append(chunk.constData(), qsizetype(got));
            cut = lf < 0 ? 0 : cut + lf + 1;
            if (cut <= 0) continue;
        } else if (cut <= 0) {
            break;
        }
        const QString text = Gbk::decode(QByteArrayView(pending).first(cut));
        pending.remove(0, cut);
        QStringList lines = text.split(u'\n');
        if (text.endsWith(u'\n')) lines.removeLast();
        for (QString& line : lines)
            if (line.endsWith(u'\r')) line.chop(1);
        qsizetype first = 0;
        if (!haveNames && !lines.isEmpty()) {
            haveNames = true;
            const QStringList names = lines[0].split(QLatin1Char(kSeparator));
            for (qsizetype i = 0; i + 1 < names.size() && i < kMaxFileColumns; ++i)
                mapping.push_back(ColByName(names[i]));
            first = 1;
        }
        // Rows this block adds: up to "==END==" or an empty line.
        qsizetype stop = first;
        while (stop < lines.size() && !lines[stop].isEmpty() && lines[stop] != kEnd)
            ++stop;
        if (stop < lines.size()) done = true;
        const int needed = row + int(stop - first);
        if (needed > RowCount()) SetRowCount(needed);
        for (qsizetype i = first; i < stop; ++i, ++row) {
            const QStringList fields = lines[i].split(QLatin1Char(kSeparator));
            // The text after the last separator is no field.
            for (qsizetype f = 0; f + 1 < fields.size() && size_t(f) < mapping.size(); ++f)
                if (mapping[f] >= 0) store.SetCellQuiet(mapping[f], row, fields[f]);
        }
        if (atEnd) break;
    }
    store.NotifyAllChanged();
}

// ------------------------------------------------------------ file buffer

bool TLNQStringGrid::SetFileBufferS(int& Pos, const QString& S) {
    const QByteArray bytes = Gbk::encode(S);
    // The text and its zero byte must fit.
    if (Pos < 0 || qint64(Pos) + bytes.size() + 1 > kFileBufferSize) return false;
    std::copy(bytes.begin(), bytes.end(), m_fileBuffer.begin() + Pos);
    m_fileBuffer[Pos + bytes.size()] = 0;
    Pos += int(bytes.size()) + 1;
    return true;
}

bool TLNQStringGrid::SetFileBufferI(int& Pos, int Value) {
    if (Pos < 0 || Pos + 2 > kFileBufferSize) return false;
    m_fileBuffer[Pos] = quint8(Value & 0xFF);
    m_fileBuffer[Pos + 1] = quint8((Value >> 8) & 0xFF);
    Pos += 2;
    return true;
}

bool TLNQStringGrid::GetFileBufferS(int& Pos, QString& S) const {
    if (Pos < 0 || Pos >= kFileBufferSize) return false;
    QByteArray bytes;
    int n = 0;
    while (Pos + n < kFileBufferSize) {
        const quint8 b = m_fileBuffer[Pos + n];
        ++n;
        if (b == 0) break;
        bytes.append(char(b));
    }
    S = Gbk::decode(bytes);
    Pos += n;
    return Pos < kFileBufferSize;
}

bool TLNQStringGrid::GetFileBufferI(int& Pos, int& Value) const {
    if (Pos < 0 || Pos + 2 > kFileBufferSize) return false;
    Value = m_fileBuffer[Pos + 1] * 256 + m_fileBuffer[Pos];
    Pos += 2;
    return true;
}

// ------------------------------------------------------ columns and colours

void TLNQStringGrid::HideEnglishCol() {
    QStringList names;
    const TGridCols& cols = GridCols();
    for (int i = 1; i < cols.Count(); ++i) {
        const QString caption = cols[i]->Caption();
        if (caption.isEmpty() || caption[0].unicode() < 127) names.append(cols[i]->ColName());
    }
    for (const QString& name : names)
        HideCol(name);
}

void TLNQStringGrid::RefreshColor() {
    const int c = ColByName(kColorColumn);
    if (c < 0 || c >= ColCount()) return;
    const QString odd = ColorValueToString(RgbToColorValue(240, 240, 240));
    const QString even = ColorValueToString(RgbToColorValue(230, 240, 240));
    TLNQCellModel& store = CellModel();
    for (int r = 1; r < RowCount(); ++r)
        store.SetCellQuiet(c, r, r % 2 ? odd : even);
    if (RowCount() > 1)
        Q_EMIT store.dataChanged(store.index(1, 0), store.index(RowCount() - 1, ColCount() - 1));
}

QColor TLNQStringGrid::GetRowColor(int row) const {
    QString name;
    if (!GetCellValS(row, kColorColumn, name) || name.isEmpty()) return {};
    quint32 value = 0;
    if (!StringToColorValue(name, value)) return {};
    return TColorToQColor(value);
}

// ---------------------------------------------------------------- display

QString TLNQStringGrid::DisplayText(int col, int row) {
    const QString stored = Cells(col, row);
    TGridCol* gc = GridCols().Items(col);
    if (!gc || row < 1) return stored;
    const TLNQDataTypePro pro = gc->DataTypePro();
    if (pro == dpOrderNo) return QString::number(row);
    if (!IsNumericDataTypePro(pro)) return stored;

    QString text = stored;
    NumAdjust(col, text);
    double value = 0;
    bool number = false;
    const QString trimmed = trimBoth(text);
    if (!trimmed.isEmpty()) {
        if (trimmed == QLatin1String("-") || TryStrToFloat(trimmed, value)) {
            number = true;
            text = FormatFixed(value, gc->DataDec());
            if (StrToFloatDef(text, 0) == 0) {
                value = 0;
                text = gc->ShowZero() ? QStringLiteral("0") : QString();
            }
        }
    }
    // Drawing normalises the data.
    if (text != stored) CellModel().SetCellQuiet(col, row, text);
    if (col == Col() && row == Row()) gc->SetCurValue(text);

    if (pro == dpComboCount && number && !text.isEmpty()) {
        const int unitCol = ColByName(kUnitColumn);
        const QString units = unitCol >= 0 ? Cells(unitCol, row) : QString();
        if (!units.isEmpty()) return ComboCountText(value, units);
    }
    return text;
}

void TLNQStringGrid::DrawCell(QPainter& painter, const QRect& rect, int col, int row, TGridDrawState) {
    const TGridCol* gc = GridCols().Items(col);
    const QString text = DisplayText(col, row);
    if (!gc) {
        TLNQCustomGrid::DrawCell(painter, rect, col, row, {});
        return;
    }
    if (gc->CheckBox()) {
        QStyleOptionButton opt;
        opt.initFrom(this);
        const int size = style()->pixelMetric(QStyle::PM_IndicatorWidth, &opt, this);
        opt.rect = QRect(rect.center().x() - size / 2, rect.center().y() - size / 2, size, size);
        opt.state = QStyle::State_Enabled | (text == gc->ValueTrue() ? QStyle::State_On : QStyle::State_Off);
        style()->drawPrimitive(QStyle::PE_IndicatorCheckBox, &opt, &painter, this);
        return;
    }
    const TLNQDataTypePro pro = gc->DataTypePro();
    if (pro == dpCurrency) {
        const QString t = trimBoth(text);
        DrawCurrency(painter, rect, t.isEmpty() ? 0 : StrToFloatDef(t, 0), painter.pen().color());
        return;
    }
    if (text.isEmpty()) return;
    if (gc->AutoEnter() && pro != dpDecimal && pro != dpComboCount) {
        const int capacity = rect.width() / DigitWidth() - 1;
        const TTwoLines lines = SplitAutoEnterLines(text, capacity);
        const int mid = rect.top() + rect.height() / 2;
        const int flags = Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine;
        painter.drawText(QRect(rect.left() + 1, rect.top(), rect.width() - 1, mid - rect.top()), flags,
                         lines.First);
        painter.drawText(QRect(rect.left() + 1, mid + 1, rect.width() - 1, rect.bottom() - mid), flags,
                         lines.Second);
        return;
    }
    // The text's top is placed from RowsHeight, not from the cell's height.
    const int y = rect.top() + (RowsHeight() - SampleTextHeight()) / 2 + 2;
    const Qt::Alignment a = gc->Alignment();
    QRect r(rect.left() + 2, y, rect.width() - 4, rect.bottom() - y + 1);
    painter.drawText(r, int(a | Qt::AlignTop | Qt::TextSingleLine), text);
}

} // namespace lnq
