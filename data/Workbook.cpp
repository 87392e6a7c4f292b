#include "data/Workbook.h"

#include "util/Exceptions.h"

#include <QDataStream>
#include <QDate>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QXmlStreamReader>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <freexl.h>
#include <memory>
#include <minizip/unzip.h>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace lnq {

namespace {

constexpr int kMaxSheetRows = 1048576; // the largest sheet a workbook can hold
constexpr int kMaxSheetCols = 16384;

[[noreturn]] void damaged(const QString& detail) {
    throw EDatabaseError(QStringLiteral("外部表不是预期的格式: ") + detail);
}

[[noreturn]] void tooLarge(const QString& detail) {
    throw EDatabaseError(QStringLiteral("工作簿超出可读取的大小: ") + detail);
}

[[noreturn]] void encrypted() {
    throw EDatabaseError(QStringLiteral("无法解密文件: 工作簿受密码保护"));
}

// Orders the cells, keeps the last of cells given twice for one position and
// makes positions relative to the used range.
void finishSheet(TWorksheet& sheet, const TWorkbookLimits& limits) {
    auto& cells = sheet.cells;
    std::stable_sort(cells.begin(), cells.end(), [](const TWorkbookCell& a, const TWorkbookCell& b) {
        return a.row != b.row ? a.row < b.row : a.col < b.col;
    });
    size_t out = 0;
    for (size_t i = 0; i < cells.size(); ++i) {
        if (out > 0 && cells[out - 1].row == cells[i].row && cells[out - 1].col == cells[i].col)
            cells[out - 1] = std::move(cells[i]);
        else
            cells[out++] = std::move(cells[i]);
    }
    cells.resize(out);
    if (cells.empty()) {
        sheet.rowCount = sheet.colCount = 0;
        return;
    }
    int minRow = cells.front().row, maxRow = cells.back().row;
    int minCol = cells.front().col, maxCol = cells.front().col;
    for (const auto& c : cells) {
        minCol = std::min(minCol, c.col);
        maxCol = std::max(maxCol, c.col);
    }
    sheet.rowCount = maxRow - minRow + 1;
    sheet.colCount = maxCol - minCol + 1;
    sheet.firstRow = minRow;
    sheet.firstCol = minCol;
    if (qint64(sheet.rowCount) * sheet.colCount > limits.maxCells)
        tooLarge(QStringLiteral("工作表 %1 的区域有 %2 行 %3 列")
                     .arg(sheet.name)
                     .arg(sheet.rowCount)
                     .arg(sheet.colCount));
    for (auto& c : cells) {
        c.row -= minRow;
        c.col -= minCol;
    }
}

// ---------------------------------------------------------------------------
// .xlsx: minizip reading from memory

struct MemoryFile {
    const QByteArray* data = nullptr;
    qint64 pos = 0;
};

voidpf ZCALLBACK memOpen(voidpf opaque, const void*, int) {
    auto* f = static_cast<MemoryFile*>(opaque);
    f->pos = 0;
    return f;
}

uLong ZCALLBACK memRead(voidpf, voidpf stream, void* buf, uLong size) {
    auto* f = static_cast<MemoryFile*>(stream);
    const qint64 left = f->data->size() - f->pos;
    const qint64 n = std::min<qint64>(left, qint64(size));
    if (n <= 0) return 0;
    std::memcpy(buf, f->data->constData() + f->pos, size_t(n));
    f->pos += n;
    return uLong(n);
}

uLong ZCALLBACK memWrite(voidpf, voidpf, const void*, uLong) {
    return 0;
}

ZPOS64_T ZCALLBACK memTell(voidpf, voidpf stream) {
    return ZPOS64_T(static_cast<MemoryFile*>(stream)->pos);
}

long ZCALLBACK memSeek(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
    auto* f = static_cast<MemoryFile*>(stream);
    const qint64 size = f->data->size();
    qint64 base = 0;
    switch (origin) {
    case ZLIB_FILEFUNC_SEEK_SET:
        base = 0;
        break;
    case ZLIB_FILEFUNC_SEEK_CUR:
        base = f->pos;
        break;
    case ZLIB_FILEFUNC_SEEK_END:
        base = size;
        break;
    default:
        return -1;
    }
    if (offset > ZPOS64_T(size)) return -1;
    const qint64 target = base + qint64(offset);
    if (target < 0 || target > size) return -1;
    f->pos = target;
    return 0;
}

int ZCALLBACK memClose(voidpf, voidpf) {
    return 0;
}

int ZCALLBACK memError(voidpf, voidpf) {
    return 0;
}

class ZipArchive {
public:
    ZipArchive(const QByteArray& bytes, const TWorkbookLimits& limits) : m_limits(limits) {
        m_file.data = &bytes;
        zlib_filefunc64_def funcs{};
        funcs.zopen64_file = memOpen;
        funcs.zread_file = memRead;
        funcs.zwrite_file = memWrite;
        funcs.ztell64_file = memTell;
        funcs.zseek64_file = memSeek;
        funcs.zclose_file = memClose;
        funcs.zerror_file = memError;
        funcs.opaque = &m_file;
        m_zipHandle.reset(unzOpen2_64("", &funcs));
        if (!m_zipHandle) damaged(QStringLiteral("不是完整的 zip 压缩文件"));
        // One pass over the directory, so that finding a part does not walk
        // it again for every part.
        int rc = unzGoToFirstFile(m_zipHandle.get());
        while (rc == UNZ_OK) {
            if (m_index.size() >= kMaxZipEntries)
                tooLarge(QStringLiteral("压缩文件的成员超过 ") + QString::number(kMaxZipEntries) +
                         QStringLiteral(" 个"));
            char name[512];
            unz_file_info64 info{};
            unz64_file_pos pos{};
            if (unzGetCurrentFileInfo64(m_zipHandle.get(), &info, name, sizeof name, nullptr, 0, nullptr,
                                        0) != UNZ_OK ||
                unzGetFilePos64(m_zipHandle.get(), &pos) != UNZ_OK)
                damaged(QStringLiteral("zip 目录损坏"));
            const QString key = QString::fromUtf8(name, qsizetype(qstrnlen(name, sizeof name))).toLower();
            if (!m_index.contains(key)) m_index.insert(key, pos);
            rc = unzGoToNextFile(m_zipHandle.get());
        }
        if (rc != UNZ_END_OF_LIST_OF_FILE) damaged(QStringLiteral("zip 目录损坏"));
    }
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;

    bool Has(const QString& name) {
        const auto it = m_index.constFind(name.toLower());
        if (it == m_index.constEnd()) return false;
        unz64_file_pos pos = *it;
        return unzGoToFilePos64(m_zipHandle.get(), &pos) == UNZ_OK;
    }

    // The decompressed part; an empty array when the archive has no such part.
    QByteArray Read(const QString& name) {
        if (!Has(name)) return {};
        unz_file_info64 info{};
        if (unzGetCurrentFileInfo64(m_zipHandle.get(), &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK)
            damaged(QStringLiteral("部件 ") + name + QStringLiteral(" 的目录项损坏"));
        // Encrypted members are a sign of a protected package, not of a workbook.
        if (info.flag & 1) encrypted();
        if (unzOpenCurrentFile(m_zipHandle.get()) != UNZ_OK) damaged(QStringLiteral("无法解压部件 ") + name);
        QByteArray out;
        char buf[65536];
        for (;;) {
            const int n = unzReadCurrentFile(m_zipHandle.get(), buf, sizeof buf);
            if (n < 0) {
                unzCloseCurrentFile(m_zipHandle.get());
                damaged(QStringLiteral("部件 ") + name + QStringLiteral(" 的压缩数据损坏"));
            }
            if (n == 0) break;
            m_total += n;
            if (out.size() + n > m_limits.maxPartBytes || m_total > m_limits.maxTotalBytes) {
                unzCloseCurrentFile(m_zipHandle.get());
                tooLarge(QStringLiteral("部件 ") + name + QStringLiteral(" 解压后过大"));
            }
            out.append(buf, n);
        }
        if (unzCloseCurrentFile(m_zipHandle.get()) == UNZ_CRCERROR)
            damaged(QStringLiteral("部件 ") + name + QStringLiteral(" 的校验和不符"));
        return out;
    }

private:
    static constexpr int kMaxZipEntries = 100000;
    MemoryFile m_file;
    struct Closer {
        void operator()(void* zip) const { unzClose(zip); }
    };
    // Closed also when the constructor gives up half way.
    std::unique_ptr<void, Closer> m_zipHandle;
    QHash<QString, unz64_file_pos> m_index; // part name in lower case -> directory position
    const TWorkbookLimits& m_limits;
    qint64 m_total = 0;
};

// ---------------------------------------------------------------------------
// .xlsx: the XML parts

void checkXml(const QXmlStreamReader& xml, const QString& part) {
    if (xml.hasError())
        damaged(QStringLiteral("部件 ") + part + QStringLiteral(" 的 XML 无效 (第 ") +
                QString::number(xml.lineNumber()) + QStringLiteral(" 行): ") + xml.errorString());
}

// Characters a writer could not put into XML are escaped as "_xHHHH_".
QString decodeEscapes(const QString& s) {
    if (!s.contains(QLatin1String("_x"))) return s;
    QString out;
    out.reserve(s.size());
    for (qsizetype i = 0; i < s.size(); ++i) {
        if (s[i] == u'_' && i + 6 < s.size() && s[i + 1] == u'x' && s[i + 6] == u'_') {
            bool ok = false;
            const uint code = QStringView(s).mid(i + 2, 4).toUInt(&ok, 16);
            if (ok) {
                out += QChar(char16_t(code));
                i += 6;
                continue;
            }
        }
        out += s[i];
    }
    return out;
}

// The text of a string item (<si> or <is>): its <t> and the <t> of its runs,
// without the phonetic guide (<rPh>). The reader stands on the start element.
QString readStringItem(QXmlStreamReader& xml) {
    QString text;
    int phonetic = 0;
    int depth = 1;
    while (!xml.atEnd() && depth > 0) {
        const auto token = xml.readNext();
        if (token == QXmlStreamReader::StartElement) {
            ++depth;
            if (xml.name() == QLatin1String("rPh")) {
                ++phonetic;
            } else if (xml.name() == QLatin1String("t") && phonetic == 0) {
                text += xml.readElementText(QXmlStreamReader::IncludeChildElements);
                --depth;
            }
        } else if (token == QXmlStreamReader::EndElement) {
            --depth;
            if (xml.name() == QLatin1String("rPh")) --phonetic;
        }
    }
    return decodeEscapes(text);
}

QStringList readSharedStrings(const QByteArray& bytes, const TWorkbookLimits& limits) {
    QStringList strings;
    if (bytes.isEmpty()) return strings;
    QXmlStreamReader xml(bytes);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement || xml.name() != QLatin1String("si")) continue;
        if (strings.size() >= limits.maxSharedStrings)
            tooLarge(QStringLiteral("共享字符串超过 ") + QString::number(limits.maxSharedStrings) +
                     QStringLiteral(" 个"));
        strings.append(readStringItem(xml));
    }
    checkXml(xml, QStringLiteral("xl/sharedStrings.xml"));
    return strings;
}

// Per cell style (index of <cellXfs>): whether its number format shows dates.
std::vector<bool> readDateStyles(const QByteArray& bytes) {
    std::vector<bool> dateStyles;
    if (bytes.isEmpty()) return dateStyles;
    QHash<int, QString> customFormats;
    std::vector<int> xfFormats;
    QXmlStreamReader xml(bytes);
    bool inCellXfs = false;
    while (!xml.atEnd()) {
        const auto token = xml.readNext();
        if (token == QXmlStreamReader::StartElement) {
            const auto name = xml.name();
            if (name == QLatin1String("numFmt")) {
                const auto a = xml.attributes();
                customFormats.insert(a.value(QLatin1String("numFmtId")).toInt(),
                                     a.value(QLatin1String("formatCode")).toString());
            } else if (name == QLatin1String("cellXfs")) {
                inCellXfs = true;
            } else if (name == QLatin1String("xf") && inCellXfs) {
                xfFormats.push_back(xml.attributes().value(QLatin1String("numFmtId")).toInt());
            }
        } else if (token == QXmlStreamReader::EndElement && xml.name() == QLatin1String("cellXfs")) {
            inCellXfs = false;
        }
    }
    checkXml(xml, QStringLiteral("xl/styles.xml"));
    dateStyles.reserve(xfFormats.size());
    for (int id : xfFormats)
        dateStyles.push_back(IsDateNumberFormat(id, customFormats.value(id)));
    return dateStyles;
}

// "AB12" -> column 27, row 11 (0-based); false for anything else.
bool parseCellRef(QStringView ref, int& row, int& col) {
    qsizetype i = 0;
    qint64 c = 0;
    while (i < ref.size() && ref[i].isLetter() && ref[i].unicode() < 128) {
        c = c * 26 + (ref[i].toUpper().unicode() - 'A' + 1);
        if (c > kMaxSheetCols) return false;
        ++i;
    }
    if (i == 0 || i == ref.size()) return false;
    qint64 r = 0;
    for (; i < ref.size(); ++i) {
        if (!ref[i].isDigit() || ref[i].unicode() >= 128) return false;
        r = r * 10 + (ref[i].unicode() - '0');
        if (r > kMaxSheetRows) return false;
    }
    if (r == 0) return false;
    row = int(r - 1);
    col = int(c - 1);
    return true;
}

struct SheetContext {
    const QStringList& strings;
    const std::vector<bool>& dateStyles;
    bool date1904 = false;
    const TWorkbookLimits& limits;
    qint64& cellsRead; // all sheets together
};

void readSheetXml(const QByteArray& bytes, const QString& part, const SheetContext& ctx, TWorksheet& sheet) {
    QXmlStreamReader xml(bytes);
    int row = -1;
    int col = -1;
    while (!xml.atEnd()) {
        const auto token = xml.readNext();
        if (token != QXmlStreamReader::StartElement) continue;
        const auto name = xml.name();
        if (name == QLatin1String("row")) {
            const auto r = xml.attributes().value(QLatin1String("r"));
            if (r.isEmpty()) {
                ++row;
            } else {
                bool ok = false;
                const int n = r.toInt(&ok);
                if (!ok || n < 1 || n > kMaxSheetRows)
                    damaged(QStringLiteral("部件 ") + part + QStringLiteral(" 的行号无效: ") + r.toString());
                row = n - 1;
            }
            col = -1;
            continue;
        }
        if (name != QLatin1String("c")) continue;
        const auto attrs = xml.attributes();
        const auto ref = attrs.value(QLatin1String("r"));
        if (ref.isEmpty()) {
            if (row < 0) row = 0;
            ++col;
            if (col >= kMaxSheetCols)
                damaged(QStringLiteral("部件 ") + part + QStringLiteral(" 的列超出范围"));
        } else if (!parseCellRef(ref, row, col)) {
            damaged(QStringLiteral("部件 ") + part + QStringLiteral(" 的单元格地址无效: ") + ref.toString());
        }
        const QString type = attrs.value(QLatin1String("t")).toString();
        const int style = attrs.value(QLatin1String("s")).toInt();
        QString value;
        QString inlineText;
        bool hasValue = false;
        bool hasInline = false;
        // Children: <v> (value), <is> (inline string), <f> (formula, whose
        // cached value is in <v>).
        while (xml.readNextStartElement()) {
            if (xml.name() == QLatin1String("v")) {
                value = xml.readElementText(QXmlStreamReader::IncludeChildElements);
                hasValue = true;
            } else if (xml.name() == QLatin1String("is")) {
                inlineText = readStringItem(xml);
                hasInline = true;
            } else {
                xml.skipCurrentElement();
            }
        }
        TWorkbookCell cell;
        cell.row = row;
        cell.col = col;
        if (type == QLatin1String("inlineStr")) {
            if (!hasInline) continue;
            cell.kind = TWorkbookCell::Kind::Text;
            cell.text = inlineText;
        } else if (!hasValue) {
            continue; // formatting only
        } else if (type == QLatin1String("s")) {
            bool ok = false;
            const qint64 index = value.trimmed().toLongLong(&ok);
            if (!ok || index < 0 || index >= ctx.strings.size())
                damaged(QStringLiteral("部件 ") + part + QStringLiteral(" 引用了不存在的共享字符串 ") +
                        value);
            cell.kind = TWorkbookCell::Kind::Text;
            cell.text = ctx.strings.at(index);
        } else if (type == QLatin1String("str")) {
            cell.kind = TWorkbookCell::Kind::Text;
            cell.text = decodeEscapes(value);
        } else if (type == QLatin1String("b")) {
            cell.kind = TWorkbookCell::Kind::Boolean;
            cell.number = value.trimmed() == QLatin1String("1") ? 1 : 0;
        } else if (type == QLatin1String("e")) {
            cell.kind = TWorkbookCell::Kind::Error;
            cell.text = value;
        } else if (type == QLatin1String("d")) {
            QDateTime dt = QDateTime::fromString(value.trimmed(), Qt::ISODateWithMs);
            if (!dt.isValid()) {
                const QDate d = QDate::fromString(value.trimmed(), Qt::ISODate);
                if (!d.isValid())
                    damaged(QStringLiteral("部件 ") + part + QStringLiteral(" 的日期无效: ") + value);
                dt = d.startOfDay();
            }
            cell.kind = TWorkbookCell::Kind::DateTime;
            cell.number = DateTimeFromQt(dt);
        } else {
            bool ok = false;
            const double v = value.trimmed().toDouble(&ok);
            if (!ok || !std::isfinite(v))
                damaged(QStringLiteral("部件 ") + part + QStringLiteral(" 的数值无效: ") + value);
            cell.kind = TWorkbookCell::Kind::Number;
            cell.number = v;
            TDateTime dt = 0;
            if (style >= 0 && size_t(style) < ctx.dateStyles.size() && ctx.dateStyles[size_t(style)] &&
                WorkbookSerialToDateTime(v, ctx.date1904, dt)) {
                cell.kind = TWorkbookCell::Kind::DateTime;
                cell.number = dt;
            }
        }
        if (cell.kind == TWorkbookCell::Kind::Text && cell.text.isEmpty()) continue;
        if (++ctx.cellsRead > ctx.limits.maxCells)
            tooLarge(QStringLiteral("单元格超过 ") + QString::number(ctx.limits.maxCells) +
                     QStringLiteral(" 个"));
        sheet.cells.push_back(std::move(cell));
    }
    checkXml(xml, part);
}

// A target of the workbook's relationships as a part name.
QString resolvePart(const QString& target) {
    QString t = target;
    if (t.startsWith(u'/')) return t.mid(1);
    if (!t.startsWith(QLatin1String("xl/"))) t = QStringLiteral("xl/") + t;
    // "xl/../x" style targets are not followed outside the package root.
    QStringList parts;
    for (const QString& seg : t.split(u'/', Qt::SkipEmptyParts)) {
        if (seg == QLatin1String("..")) {
            if (!parts.isEmpty()) parts.removeLast();
        } else if (seg != QLatin1String(".")) {
            parts << seg;
        }
    }
    return parts.join(u'/');
}

} // namespace

// ---------------------------------------------------------------------------

bool WorkbookSerialToDateTime(double serial, bool date1904, TDateTime& value) {
    if (!std::isfinite(serial) || serial < 0) return false;
    if (date1904) {
        value = serial + 1462; // day 0 is 1 January 1904
    } else if (serial < 1) {
        value = serial; // a time of day alone
    } else if (serial < 60) {
        // The 1900 system counts a 29 February 1900 that never was: serials
        // before it are one day behind the framework's day numbers.
        value = serial + 1;
    } else {
        value = serial;
    }
    return value < 2958466; // 9999-12-31 still counts
}

bool IsDateNumberFormat(int id, const QString& code) {
    // Built-in formats: 14-22 and 45-47 everywhere; 27-36 and 50-58 are the
    // East Asian date and time formats.
    if ((id >= 14 && id <= 22) || (id >= 45 && id <= 47) || (id >= 27 && id <= 36) || (id >= 50 && id <= 58))
        return true;
    if (code.isEmpty()) return false;
    // Only the first section decides; quoted text, escaped characters and
    // bracketed codes (colours, locales) are not format letters, except the
    // elapsed-time codes [h], [mm], [ss].
    bool inQuote = false;
    for (qsizetype i = 0; i < code.size(); ++i) {
        const QChar c = code[i];
        if (inQuote) {
            if (c == u'"') inQuote = false;
            continue;
        }
        if (c == u'"') {
            inQuote = true;
        } else if (c == u'\\' || c == u'_' || c == u'*') {
            ++i;
        } else if (c == u';') {
            break;
        } else if (c == u'[') {
            const qsizetype end = code.indexOf(u']', i);
            if (end < 0) return false;
            const QString inner = code.mid(i + 1, end - i - 1).toLower();
            if (!inner.isEmpty() && (inner[0] == u'h' || inner[0] == u'm' || inner[0] == u's') &&
                inner.count(inner[0]) == inner.size())
                return true;
            i = end;
        } else {
            const char16_t l = c.toLower().unicode();
            if (l == u'y' || l == u'm' || l == u'd' || l == u'h' || l == u's' || c == u'年' || c == u'月' ||
                c == u'日' || c == u'时')
                return true;
            // "General" holds an e; a bare "e" is the era year of a date.
            if (l == u'g' && code.mid(i, 7).compare(QLatin1String("General"), Qt::CaseInsensitive) == 0)
                i += 6;
            else if (l == u'e' && !(i > 0 && code[i - 1].isDigit()) && i + 1 < code.size() &&
                     code[i + 1] != u'+' && code[i + 1] != u'-')
                return true;
        }
    }
    return false;
}

bool ParseWorkbookRange(const QString& text, int& row1, int& col1, int& row2, int& col2) {
    const qsizetype colon = text.indexOf(u':');
    if (colon <= 0) return false;
    const auto corner = [](QStringView ref, int& row, int& col, bool& wholeColumn) {
        wholeColumn = !ref.isEmpty() && ref.back().isLetter();
        if (!wholeColumn) return parseCellRef(ref, row, col);
        // Letters alone: a whole column.
        int r = 0;
        QString withRow = ref.toString() + QLatin1Char('1');
        if (!parseCellRef(withRow, r, col)) return false;
        row = -1;
        return true;
    };
    bool whole1 = false, whole2 = false;
    if (!corner(QStringView(text).left(colon), row1, col1, whole1) ||
        !corner(QStringView(text).mid(colon + 1), row2, col2, whole2) || whole1 != whole2)
        return false;
    if (whole1) {
        row1 = 0;
        row2 = kMaxSheetRows - 1;
    }
    if (row1 > row2) std::swap(row1, row2);
    if (col1 > col2) std::swap(col1, col2);
    return true;
}

TWorksheet WorksheetRange(const TWorksheet& sheet, int row1, int col1, int row2, int col2,
                          const TWorkbookLimits& limits) {
    TWorksheet range;
    range.name = sheet.name;
    range.firstRow = row1;
    range.firstCol = col1;
    range.colCount = col2 - col1 + 1;
    int lastRow = -1;
    for (const auto& c : sheet.cells) {
        const int r = c.row + sheet.firstRow;
        const int col = c.col + sheet.firstCol;
        if (r < row1 || r > row2 || col < col1 || col > col2) continue;
        TWorkbookCell copy = c;
        copy.row = r - row1;
        copy.col = col - col1;
        lastRow = copy.row;
        range.cells.push_back(std::move(copy));
    }
    range.rowCount = lastRow + 1;
    if (qint64(range.rowCount) * range.colCount > limits.maxCells)
        tooLarge(QStringLiteral("区域有 %1 行 %2 列").arg(range.rowCount).arg(range.colCount));
    return range;
}

TWorkbookFormat DetectWorkbookFormat(const QByteArray& head) {
    if (head.startsWith("PK\x03\x04") || head.startsWith("PK\x05\x06")) return TWorkbookFormat::Xlsx;
    if (head.startsWith(QByteArray::fromHex("d0cf11e0a1b11ae1"))) return TWorkbookFormat::Xls;
    return TWorkbookFormat::Unknown;
}

TWorkbook ReadXlsx(const QByteArray& bytes, const TWorkbookLimits& limits) {
    ZipArchive zip(bytes, limits);
    const QByteArray workbookXml = zip.Read(QStringLiteral("xl/workbook.xml"));
    if (workbookXml.isEmpty()) damaged(QStringLiteral("缺少 xl/workbook.xml"));

    struct SheetRef {
        QString name;
        QString relId;
    };
    QList<SheetRef> refs;
    bool date1904 = false;
    {
        QXmlStreamReader xml(workbookXml);
        while (!xml.atEnd()) {
            if (xml.readNext() != QXmlStreamReader::StartElement) continue;
            if (xml.name() == QLatin1String("workbookPr")) {
                const auto v = xml.attributes().value(QLatin1String("date1904"));
                date1904 = v == QLatin1String("1") || v == QLatin1String("true");
            } else if (xml.name() == QLatin1String("sheet")) {
                SheetRef ref;
                for (const auto& a : xml.attributes()) {
                    if (a.name() == QLatin1String("name") && a.prefix().isEmpty())
                        ref.name = a.value().toString();
                    else if (a.name() == QLatin1String("id") && !a.prefix().isEmpty())
                        ref.relId = a.value().toString();
                }
                if (refs.size() >= limits.maxSheets)
                    tooLarge(QStringLiteral("工作表超过 ") + QString::number(limits.maxSheets) +
                             QStringLiteral(" 个"));
                refs.append(ref);
            }
        }
        checkXml(xml, QStringLiteral("xl/workbook.xml"));
    }

    QHash<QString, QString> targets; // relationship id -> part of a worksheet
    {
        const QByteArray rels = zip.Read(QStringLiteral("xl/_rels/workbook.xml.rels"));
        QXmlStreamReader xml(rels);
        while (!xml.atEnd()) {
            if (xml.readNext() != QXmlStreamReader::StartElement ||
                xml.name() != QLatin1String("Relationship"))
                continue;
            const auto a = xml.attributes();
            if (a.value(QLatin1String("Type")).endsWith(QLatin1String("/worksheet")))
                targets.insert(a.value(QLatin1String("Id")).toString(),
                               resolvePart(a.value(QLatin1String("Target")).toString()));
        }
        if (!rels.isEmpty()) checkXml(xml, QStringLiteral("xl/_rels/workbook.xml.rels"));
    }

    const QStringList strings = readSharedStrings(zip.Read(QStringLiteral("xl/sharedStrings.xml")), limits);
    const std::vector<bool> dateStyles = readDateStyles(zip.Read(QStringLiteral("xl/styles.xml")));
    qint64 cellsRead = 0;
    const SheetContext ctx{strings, dateStyles, date1904, limits, cellsRead};

    TWorkbook book;
    for (int i = 0; i < refs.size(); ++i) {
        const auto it = targets.constFind(refs[i].relId);
        if (it == targets.constEnd()) continue; // a chart sheet or a dialog sheet: no cells
        if (refs[i].name.isEmpty()) damaged(QStringLiteral("工作表没有名称"));
        TWorksheet sheet;
        sheet.name = refs[i].name;
        const QByteArray xml = zip.Read(*it);
        if (xml.isEmpty()) damaged(QStringLiteral("缺少工作表部件 ") + *it);
        readSheetXml(xml, *it, ctx, sheet);
        finishSheet(sheet, limits);
        book.sheets.append(std::move(sheet));
    }
    return book;
}

// ---------------------------------------------------------------------------
// .xls through FreeXL

namespace {

class XlsHandle {
public:
    XlsHandle() = default;
    ~XlsHandle() {
        if (m_handle) freexl_close(m_handle);
    }
    XlsHandle(const XlsHandle&) = delete;
    XlsHandle& operator=(const XlsHandle&) = delete;
    const void** out() { return &m_handle; }
    const void* get() const { return m_handle; }

private:
    const void* m_handle = nullptr;
};

QString freexlError(int rc) {
    switch (rc) {
    case FREEXL_FILE_NOT_FOUND:
        return QStringLiteral("文件不存在或无法打开");
    case FREEXL_INSUFFICIENT_MEMORY:
        return QStringLiteral("内存不足");
    case FREEXL_INVALID_CFBF_HEADER:
    case FREEXL_CFBF_INVALID_SIGNATURE:
    case FREEXL_CFBF_INVALID_SECTOR_SIZE:
        return QStringLiteral("复合文档的文件头无效");
    case FREEXL_CFBF_READ_ERROR:
    case FREEXL_CFBF_SEEK_ERROR:
        return QStringLiteral("文件被截断");
    case FREEXL_CFBF_EMPTY_FAT_CHAIN:
    case FREEXL_CFBF_ILLEGAL_FAT_ENTRY:
    case FREEXL_INVALID_MINI_STREAM:
    case FREEXL_CFBF_ILLEGAL_MINI_FAT_ENTRY:
        return QStringLiteral("复合文档的扇区表损坏");
    case FREEXL_BIFF_INVALID_BOF:
    case FREEXL_BIFF_WORKBOOK_NOT_FOUND:
        return QStringLiteral("找不到工作簿数据流");
    case FREEXL_BIFF_INVALID_SST:
    case FREEXL_BIFF_ILLEGAL_SST_INDEX:
        return QStringLiteral("共享字符串表损坏");
    case FREEXL_INVALID_CHARACTER:
    case FREEXL_UNSUPPORTED_CHARSET:
        return QStringLiteral("文字编码无效");
    default:
        return QStringLiteral("文件损坏 (") + QString::number(rc) + QLatin1Char(')');
    }
}

// Whether a compound document holds an encrypted package (a protected .xlsx):
// its directory names the stream "EncryptedPackage". The directory may sit
// anywhere in the file, so the whole file is scanned, piece by piece.
bool holdsEncryptedPackage(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return false;
    QByteArray name;
    for (char c : QByteArrayLiteral("EncryptedPackage")) {
        name.append(c);
        name.append('\0');
    }
    QByteArray tail;
    while (!f.atEnd()) {
        const QByteArray piece = tail + f.read(1 << 20);
        if (piece.size() == tail.size()) break;
        if (piece.contains(name)) return true;
        tail = piece.right(name.size() - 1);
    }
    return false;
}

bool parseFreexlDate(const char* text, int type, TDateTime& value) {
    const QString s = QString::fromUtf8(text);
    if (type == FREEXL_CELL_TIME) {
        const QTime t = QTime::fromString(s, QStringLiteral("HH:mm:ss"));
        if (!t.isValid()) return false;
        value = t.msecsSinceStartOfDay() / 86400000.0;
        return true;
    }
    if (type == FREEXL_CELL_DATE) {
        const QDate d = QDate::fromString(s, QStringLiteral("yyyy-MM-dd"));
        if (!d.isValid()) return false;
        value = DateFromQt(d);
        return true;
    }
    const QDateTime dt = QDateTime::fromString(s, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (!dt.isValid()) return false;
    value = DateTimeFromQt(dt);
    return true;
}

} // namespace

namespace {

// Reads the file with the library in this process.
TWorkbook readXlsHere(const QString& path, const TWorkbookLimits& limits) {
    const QByteArray native = QFile::encodeName(path);
    const QFileInfo fileInfo(path);
    if (!fileInfo.isFile()) throw EInOutError(QStringLiteral("无法打开文件: ") + path);
    if (fileInfo.size() > limits.maxFileBytes)
        tooLarge(QStringLiteral("文件有 ") + QString::number(fileInfo.size()) + QStringLiteral(" 字节"));
    {
        // A first pass over the directory and the workbook globals only: the
        // protection flag and the sheet dimensions are checked before the
        // cells are loaded, since loading allocates the whole claimed area.
        XlsHandle info;
        const int rc = freexl_open_info(native.constData(), info.out());
        if (rc != FREEXL_OK) {
            if (rc == FREEXL_FILE_NOT_FOUND) throw EInOutError(QStringLiteral("无法打开文件: ") + path);
            if (holdsEncryptedPackage(path)) encrypted();
            damaged(freexlError(rc));
        }
        unsigned int flag = 0;
        if (freexl_get_info(info.get(), FREEXL_BIFF_PASSWORD, &flag) == FREEXL_OK &&
            flag == FREEXL_BIFF_OBFUSCATED)
            encrypted();
        unsigned int count = 0;
        if (freexl_get_info(info.get(), FREEXL_BIFF_SHEET_COUNT, &count) != FREEXL_OK)
            damaged(QStringLiteral("无法读取工作表数目"));
        if (count > unsigned(limits.maxSheets))
            tooLarge(QStringLiteral("工作表超过 ") + QString::number(limits.maxSheets) +
                     QStringLiteral(" 个"));
        // The library holds every sheet's whole area at once.
        qint64 area = 0;
        for (unsigned short i = 0; i < count; ++i) {
            unsigned int rows = 0;
            unsigned short cols = 0;
            const char* name = nullptr;
            if (freexl_select_active_worksheet(info.get(), i) != FREEXL_OK ||
                freexl_worksheet_dimensions(info.get(), &rows, &cols) != FREEXL_OK ||
                freexl_get_worksheet_name(info.get(), i, &name) != FREEXL_OK || !name)
                damaged(QStringLiteral("无法读取工作表区域"));
            area += qint64(rows) * cols;
            if (area > limits.maxCells)
                tooLarge(QStringLiteral("工作表 %1 的区域有 %2 行 %3 列")
                             .arg(QString::fromUtf8(name))
                             .arg(rows)
                             .arg(cols));
        }
    }
    XlsHandle xls;
    const int rc = freexl_open(native.constData(), xls.out());
    if (rc != FREEXL_OK) damaged(freexlError(rc));
    unsigned int count = 0;
    if (freexl_get_info(xls.get(), FREEXL_BIFF_SHEET_COUNT, &count) != FREEXL_OK)
        damaged(QStringLiteral("无法读取工作表数目"));
    if (count > unsigned(limits.maxSheets))
        tooLarge(QStringLiteral("工作表超过 ") + QString::number(limits.maxSheets) + QStringLiteral(" 个"));
    TWorkbook book;
    for (unsigned short i = 0; i < count; ++i) {
        const char* name = nullptr;
        if (freexl_get_worksheet_name(xls.get(), i, &name) != FREEXL_OK || !name)
            damaged(QStringLiteral("工作表名称无效"));
        if (freexl_select_active_worksheet(xls.get(), i) != FREEXL_OK)
            damaged(QStringLiteral("无法选择工作表"));
        unsigned int rows = 0;
        unsigned short cols = 0;
        if (freexl_worksheet_dimensions(xls.get(), &rows, &cols) != FREEXL_OK)
            damaged(QStringLiteral("无法读取工作表区域"));
        TWorksheet sheet;
        sheet.name = QString::fromUtf8(name);
        if (qint64(rows) * cols > limits.maxCells)
            tooLarge(QStringLiteral("工作表 %1 的区域有 %2 行 %3 列").arg(sheet.name).arg(rows).arg(cols));
        for (unsigned int r = 0; r < rows; ++r) {
            for (unsigned short c = 0; c < cols; ++c) {
                FreeXL_CellValue v{};
                if (freexl_get_cell_value(xls.get(), r, c, &v) != FREEXL_OK) continue;
                TWorkbookCell cell;
                cell.row = int(r);
                cell.col = int(c);
                switch (v.type) {
                case FREEXL_CELL_INT:
                    cell.kind = TWorkbookCell::Kind::Number;
                    cell.number = v.value.int_value;
                    break;
                case FREEXL_CELL_DOUBLE:
                    cell.kind = TWorkbookCell::Kind::Number;
                    cell.number = v.value.double_value;
                    break;
                case FREEXL_CELL_TEXT:
                case FREEXL_CELL_SST_TEXT:
                    cell.kind = TWorkbookCell::Kind::Text;
                    cell.text = QString::fromUtf8(v.value.text_value ? v.value.text_value : "");
                    if (cell.text.isEmpty()) continue;
                    break;
                case FREEXL_CELL_DATE:
                case FREEXL_CELL_DATETIME:
                case FREEXL_CELL_TIME:
                    if (!v.value.text_value) continue;
                    cell.kind = TWorkbookCell::Kind::DateTime;
                    if (!parseFreexlDate(v.value.text_value, v.type, cell.number)) {
                        cell.kind = TWorkbookCell::Kind::Text;
                        cell.text = QString::fromUtf8(v.value.text_value);
                    }
                    break;
                default:
                    continue;
                }
                sheet.cells.push_back(std::move(cell));
            }
        }
        finishSheet(sheet, limits);
        book.sheets.append(std::move(sheet));
    }
    return book;
}

#ifdef Q_OS_UNIX

// The binary format's library trusts lengths inside the file in places and
// can be made to write out of bounds by a hostile file. It therefore runs in
// a child process: the workbook comes back through a pipe, and a child that
// dies leaves only an error behind. Texts travel once each, cells refer to
// them by number, so the stream stays near the size of the cells.

extern "C" void __sanitizer_set_death_callback(void (*callback)(void)) __attribute__((weak));

enum : quint8 { kChildOk = 0, kChildInOut = 1, kChildDatabase = 2 };

QByteArray serialize(const TWorkbook& book) {
    QByteArray out;
    QDataStream ds(&out, QIODevice::WriteOnly);
    QHash<QString, quint32> index;
    QStringList texts;
    for (const auto& sheet : book.sheets)
        for (const auto& c : sheet.cells)
            if (!c.text.isEmpty() && !index.contains(c.text)) {
                index.insert(c.text, quint32(texts.size()));
                texts << c.text;
            }
    ds << quint8(kChildOk) << texts << quint32(book.sheets.size());
    for (const auto& sheet : book.sheets) {
        ds << sheet.name << qint32(sheet.rowCount) << qint32(sheet.colCount) << qint32(sheet.firstRow)
           << qint32(sheet.firstCol) << quint64(sheet.cells.size());
        for (const auto& c : sheet.cells)
            ds << qint32(c.row) << qint32(c.col) << quint8(c.kind) << c.number
               << (c.text.isEmpty() ? quint32(0xFFFFFFFFu) : index.value(c.text));
    }
    return out;
}

TWorkbook deserialize(const QByteArray& bytes, const TWorkbookLimits& limits) {
    QDataStream ds(bytes);
    quint8 status = 0;
    ds >> status;
    if (status != kChildOk) {
        QString message;
        ds >> message;
        if (status == kChildInOut) throw EInOutError(message);
        throw EDatabaseError(message);
    }
    QStringList texts;
    quint32 sheets = 0;
    ds >> texts >> sheets;
    const auto broken = [] { damaged(QStringLiteral("读取中断")); };
    if (ds.status() != QDataStream::Ok || sheets > quint32(limits.maxSheets)) broken();
    TWorkbook book;
    for (quint32 i = 0; i < sheets; ++i) {
        TWorksheet sheet;
        qint32 rows = 0, cols = 0, firstRow = 0, firstCol = 0;
        quint64 count = 0;
        ds >> sheet.name >> rows >> cols >> firstRow >> firstCol >> count;
        if (ds.status() != QDataStream::Ok || rows < 0 || cols < 0 || qint64(rows) * cols > limits.maxCells ||
            count > quint64(qint64(rows) * cols))
            broken();
        sheet.rowCount = rows;
        sheet.colCount = cols;
        sheet.firstRow = firstRow;
        sheet.firstCol = firstCol;
        sheet.cells.reserve(size_t(count));
        for (quint64 k = 0; k < count; ++k) {
            TWorkbookCell c;
            qint32 row = 0, col = 0;
            quint8 kind = 0;
            quint32 text = 0;
            ds >> row >> col >> kind >> c.number >> text;
            if (ds.status() != QDataStream::Ok || row < 0 || row >= rows || col < 0 || col >= cols ||
                kind > quint8(TWorkbookCell::Kind::Error) ||
                (text != 0xFFFFFFFFu && text >= quint32(texts.size())))
                broken();
            c.row = row;
            c.col = col;
            c.kind = TWorkbookCell::Kind(kind);
            if (text != 0xFFFFFFFFu) c.text = texts.at(text);
            sheet.cells.push_back(std::move(c));
        }
        book.sheets.append(std::move(sheet));
    }
    return book;
}

void writeAll(int fd, const QByteArray& bytes) {
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.constData() + done, size_t(bytes.size() - done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;
        done += n;
    }
}

TWorkbook readXlsIsolated(const QString& path, const TWorkbookLimits& limits) {
    int fds[2];
    if (::pipe(fds) != 0) return readXlsHere(path, limits);
    const pid_t pid = ::fork();
    if (pid < 0) {
        ::close(fds[0]);
        ::close(fds[1]);
        return readXlsHere(path, limits);
    }
    if (pid == 0) {
        ::close(fds[0]);
        // A crash here is expected and answered by the parent: the child
        // leaves no crash reports of its own, neither through handlers the
        // host installed nor through an instrumented build's death callback.
        for (int sig : {SIGSEGV, SIGBUS, SIGABRT, SIGILL, SIGFPE})
            ::signal(sig, SIG_DFL);
        if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(nullptr);
        QByteArray out;
        try {
            out = serialize(readXlsHere(path, limits));
        } catch (const Exception& e) {
            QDataStream ds(&out, QIODevice::WriteOnly);
            ds << quint8(dynamic_cast<const EInOutError*>(&e) ? kChildInOut : kChildDatabase) << e.Message();
        } catch (...) {
            ::_exit(1);
        }
        writeAll(fds[1], out);
        ::_exit(0); // nothing of the parent's state is torn down here
    }
    ::close(fds[1]);
    // The stream is a few dozen bytes per cell; anything far beyond that is
    // not what the child was asked for.
    const qint64 cap = limits.maxCells * 64 + limits.maxFileBytes * 4 + 4096;
    QByteArray bytes;
    char buf[65536];
    bool tooMuch = false;
    for (;;) {
        const ssize_t n = ::read(fds[0], buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        if (bytes.size() + n > cap) {
            tooMuch = true;
            break;
        }
        bytes.append(buf, n);
    }
    ::close(fds[0]);
    if (tooMuch) ::kill(pid, SIGKILL);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (tooMuch || !WIFEXITED(status) || WEXITSTATUS(status) != 0 || bytes.isEmpty())
        damaged(QStringLiteral("文件损坏，读取时中止"));
    return deserialize(bytes, limits);
}

#endif

} // namespace

TWorkbook ReadXls(const QString& path, const TWorkbookLimits& limits) {
#ifdef Q_OS_UNIX
    return readXlsIsolated(path, limits);
#else
    return readXlsHere(path, limits);
#endif
}

TWorkbook ReadWorkbookFile(const QString& path, const TWorkbookLimits& limits) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) throw EInOutError(QStringLiteral("无法打开文件: ") + path);
    if (file.size() > limits.maxFileBytes)
        tooLarge(QStringLiteral("文件有 ") + QString::number(file.size()) + QStringLiteral(" 字节"));
    const QByteArray head = file.peek(8);
    switch (DetectWorkbookFormat(head)) {
    case TWorkbookFormat::Xlsx: {
        const QByteArray bytes = file.readAll();
        if (bytes.size() != file.size()) throw EInOutError(QStringLiteral("无法读取文件: ") + path);
        return ReadXlsx(bytes, limits);
    }
    case TWorkbookFormat::Xls:
        file.close();
        return ReadXls(path, limits);
    case TWorkbookFormat::Unknown:
        break;
    }
    damaged(QFileInfo(path).fileName() + QStringLiteral(" 不是工作簿文件"));
}

} // namespace lnq
