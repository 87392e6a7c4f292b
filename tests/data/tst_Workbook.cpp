// Workbook readers (.xlsx, .xls) and a TADOConnection opened on a workbook.

#include "common/TestMain.h"
#include "data/ADOConnection.h"
#include "data/FieldTypes.h"
#include "data/Workbook.h"
#include "util/Exceptions.h"
#include "util/Plat_clientutils.h"

#include <QTemporaryDir>
#include <QTest>
#include <minizip/zip.h>
#include <xlsxwriter.h>

using namespace lnq;

namespace {

const QString kFixtureXls = QStringLiteral(LNQ_TEST_DATA_DIR "/workbooks/customers.xls");

// A zip archive of the given parts (deflated).
QByteArray makeZip(const QString& dir, const QList<QPair<QByteArray, QByteArray>>& parts) {
    const QString path = dir + QStringLiteral("/part.zip");
    QFile::remove(path);
    zipFile zf = zipOpen64(QFile::encodeName(path).constData(), APPEND_STATUS_CREATE);
    for (const auto& [name, data] : parts) {
        zipOpenNewFileInZip64(zf, name.constData(), nullptr, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED,
                              Z_BEST_COMPRESSION, 1);
        zipWriteInFileInZip(zf, data.constData(), unsigned(data.size()));
        zipCloseFileInZip(zf);
    }
    zipClose(zf, nullptr);
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    return f.readAll();
}

// A one-sheet .xlsx ("客户") from raw XML fragments.
QByteArray xlsx(const QString& dir, const QByteArray& sheetData, const QByteArray& shared = {},
                const QByteArray& styles = {}, bool date1904 = false) {
    const QByteArray ns = "xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\"";
    QList<QPair<QByteArray, QByteArray>> parts;
    parts.append({"xl/workbook.xml",
                  "<workbook " + ns +
                      " xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\">"
                      "<workbookPr date1904=\"" +
                      (date1904 ? "1" : "0") +
                      "\"/><sheets><sheet name=\"客户\" sheetId=\"1\" r:id=\"rId1\"/></sheets></workbook>"});
    parts.append(
        {QByteArray("xl/_rels/workbook.xml.rels"),
         QByteArray("<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
                    "<Relationship Id=\"rId1\" "
                    "Type=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet\" "
                    "Target=\"worksheets/sheet1.xml\"/></Relationships>")});
    parts.append({"xl/worksheets/sheet1.xml",
                  "<worksheet " + ns + "><sheetData>" + sheetData + "</sheetData></worksheet>"});
    if (!shared.isEmpty()) parts.append({"xl/sharedStrings.xml", "<sst " + ns + ">" + shared + "</sst>"});
    if (!styles.isEmpty())
        parts.append({"xl/styles.xml", "<styleSheet " + ns + ">" + styles + "</styleSheet>"});
    return makeZip(dir, parts);
}

QString cellText(const TWorkbookCell& c) {
    switch (c.kind) {
    case TWorkbookCell::Kind::Number:
        return QStringLiteral("N:") + QString::number(c.number, 'g', 15);
    case TWorkbookCell::Kind::Text:
        return QStringLiteral("T:") + c.text;
    case TWorkbookCell::Kind::Boolean:
        return QStringLiteral("B:") + QString::number(c.number);
    case TWorkbookCell::Kind::DateTime:
        return QStringLiteral("D:") + DateTimeToQt(c.number).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    case TWorkbookCell::Kind::Error:
        return QStringLiteral("E:") + c.text;
    }
    return {};
}

// "rows x cols|r,c=K:value ..." of a sheet.
QString dump(const TWorksheet& s) {
    QStringList cells;
    for (const auto& c : s.cells)
        cells << QString::number(c.row) + QLatin1Char(',') + QString::number(c.col) + QLatin1Char('=') +
                     cellText(c);
    return QString::number(s.rowCount) + QLatin1Char('x') + QString::number(s.colCount) + QLatin1Char('|') +
           cells.join(QLatin1Char(' '));
}

QString writeFile(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(bytes);
    return path;
}

QString readError(const QString& path, const TWorkbookLimits& limits = {}) {
    try {
        ReadWorkbookFile(path, limits);
    } catch (const Exception& e) {
        return e.Message();
    }
    return QStringLiteral("no error");
}

// The customers workbook as a spreadsheet program writes it: shared strings,
// a date format, a number among the phone texts, formatted empty rows below.
QString writeCustomersXlsx(const QString& path) {
    lxw_workbook* wb = workbook_new(QFile::encodeName(path).constData());
    lxw_worksheet* ws = workbook_add_worksheet(wb, "客户");
    lxw_format* date = workbook_add_format(wb);
    format_set_num_format(date, "yyyy\"年\"m\"月\"d\"日\"");
    lxw_format* bold = workbook_add_format(wb);
    format_set_bold(bold);
    const char* header[] = {"客户编码", "客户名称", "地址", "省份", "城市", "电话", "日期01"};
    for (int c = 0; c < 7; ++c)
        worksheet_write_string(ws, 0, lxw_col_t(c), header[c], bold);
    const char* rows[3][6] = {
        {"K001", "北京华信科技有限公司", "北京市海淀区中关村大街1号", "北京", "北京", nullptr},
        {"K002", "上海东方贸易公司", "上海市浦东新区世纪大道100号", "上海", "上海", "021-55556666"},
        {"K003", "广州南方电子厂", "广州市天河区体育西路3号", "广东", "广州", "020-87654321"}};
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 6; ++c)
            if (rows[r][c]) worksheet_write_string(ws, lxw_row_t(r + 1), lxw_col_t(c), rows[r][c], nullptr);
    worksheet_write_number(ws, 1, 5, 13800138000.0, nullptr);
    lxw_datetime d1 = {2024, 1, 5, 0, 0, 0};
    lxw_datetime d2 = {2024, 2, 29, 13, 45, 30};
    worksheet_write_datetime(ws, 1, 6, &d1, date);
    worksheet_write_datetime(ws, 2, 6, &d2, date);
    for (int r = 4; r < 9; ++r)
        worksheet_write_blank(ws, lxw_row_t(r), 0, bold);
    lxw_worksheet* ws2 = workbook_add_worksheet(wb, "Sheet 2");
    worksheet_write_number(ws2, 0, 0, 1, nullptr);
    worksheet_write_string(ws2, 0, 1, "甲", nullptr);
    worksheet_write_number(ws2, 1, 0, 2, nullptr);
    worksheet_write_string(ws2, 1, 1, "乙", nullptr);
    worksheet_write_boolean(ws2, 1, 2, 1, nullptr);
    workbook_close(wb);
    return path;
}

// The .xls fixture with one record changed in place (type and body kept in size).
QByteArray patchedXls(quint16 fromType, quint16 toType, const QByteArray& body = {}) {
    QFile f(kFixtureXls);
    f.open(QIODevice::ReadOnly);
    QByteArray bytes = f.readAll();
    const char from[2] = {char(fromType & 0xFF), char(fromType >> 8)};
    for (qsizetype i = bytes.indexOf(QByteArray(from, 2)); i >= 0;
         i = bytes.indexOf(QByteArray(from, 2), i + 1)) {
        const int len = quint8(bytes[i + 2]) | quint8(bytes[i + 3]) << 8;
        if (body.isEmpty() ? len == 2 : len == body.size()) {
            bytes[i] = char(toType & 0xFF);
            bytes[i + 1] = char(toType >> 8);
            if (!body.isEmpty()) bytes.replace(i + 4, body.size(), body);
            return bytes;
        }
    }
    return {};
}

} // namespace

class TestWorkbook : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private Q_SLOTS:
    void readXlsx_data() {
        QTest::addColumn<QByteArray>("sheet");
        QTest::addColumn<QByteArray>("shared");
        QTest::addColumn<QByteArray>("styles");
        QTest::addColumn<bool>("date1904");
        QTest::addColumn<QString>("expected");
        const QByteArray styles =
            "<numFmts count=\"2\"><numFmt numFmtId=\"176\" formatCode=\"yyyy&quot;年&quot;m&quot;月&quot;\"/>"
            "<numFmt numFmtId=\"177\" formatCode=\"[Red]0.00;&quot;day&quot;0\"/></numFmts>"
            "<cellStyleXfs><xf numFmtId=\"14\"/></cellStyleXfs>"
            "<cellXfs count=\"5\"><xf numFmtId=\"0\"/><xf numFmtId=\"14\"/><xf numFmtId=\"176\"/>"
            "<xf numFmtId=\"11\"/><xf numFmtId=\"177\"/></cellXfs>";
        QTest::newRow("inline, number, boolean, error")
            << QByteArray(
                   "<row r=\"1\"><c r=\"A1\" t=\"inlineStr\"><is><t>编码</t></is></c>"
                   "<c r=\"B1\"><v>12.5</v></c><c r=\"C1\" t=\"b\"><v>1</v></c>"
                   "<c r=\"D1\" t=\"e\"><v>#N/A</v></c><c r=\"E1\" t=\"str\"><f>A1</f><v>x_x0041_</v></c>"
                   "</row>")
            << QByteArray() << QByteArray() << false
            << "1x5|0,0=T:编码 0,1=N:12.5 0,2=B:1 0,3=E:#N/A 0,4=T:xA";
        QTest::newRow("shared strings: runs joined, phonetic guide left out, huge count ignored")
            << QByteArray(
                   "<row r=\"1\"><c r=\"A1\" t=\"s\"><v>1</v></c><c r=\"B1\" t=\"s\"><v>0</v></c></row>")
            << QByteArray("<si><t>北京</t></si><si><r><t>华</t></r><r><t xml:space=\"preserve\">信 </t></r>"
                          "<rPh sb=\"0\" eb=\"1\"><t>カ</t></rPh></si>")
            << QByteArray() << false << "1x2|0,0=T:华信  0,1=T:北京";
        QTest::newRow("dates from built-in and custom formats")
            << QByteArray("<row r=\"1\"><c s=\"1\"><v>45296</v></c><c s=\"2\"><v>45296.5</v></c>"
                          "<c s=\"3\"><v>45296</v></c><c s=\"4\"><v>45296</v></c><c s=\"0\"><v>45296</v></c>"
                          "<c s=\"99\"><v>7</v></c></row>")
            << QByteArray() << styles << false
            << "1x6|0,0=D:2024-01-05 00:00:00 0,1=D:2024-01-05 12:00:00 0,2=N:45296 0,3=N:45296 0,4=N:45296 "
               "0,5=N:7";
        QTest::newRow("1900 system around its missing leap day")
            << QByteArray(
                   "<row r=\"1\"><c s=\"1\"><v>1</v></c><c s=\"1\"><v>59</v></c><c s=\"1\"><v>61</v></c>"
                   "<c s=\"1\"><v>0.75</v></c><c s=\"1\"><v>-3</v></c></row>")
            << QByteArray() << styles << false
            << "1x5|0,0=D:1900-01-01 00:00:00 0,1=D:1900-02-28 00:00:00 0,2=D:1900-03-01 00:00:00 "
               "0,3=D:1899-12-30 18:00:00 0,4=N:-3";
        QTest::newRow("1904 system")
            << QByteArray("<row r=\"1\"><c s=\"1\"><v>0</v></c><c s=\"1\"><v>43830</v></c></row>")
            << QByteArray() << styles << true << "1x2|0,0=D:1904-01-01 00:00:00 0,1=D:2024-01-01 00:00:00";
        QTest::newRow("positions without references; formatted empty rows at the end")
            << QByteArray("<row><c t=\"inlineStr\"><is><t>a</t></is></c><c><v>2</v></c></row>"
                          "<row><c r=\"B2\"><v>3</v></c></row>"
                          "<row r=\"5\"><c r=\"A5\" s=\"1\"/></row><row r=\"9\"><c r=\"C9\" s=\"1\"/>"
                          "<c r=\"D9\" t=\"inlineStr\"><is><t></t></is></c></row>")
            << QByteArray() << QByteArray() << false << "2x2|0,0=T:a 0,1=N:2 1,1=N:3";
        QTest::newRow("used range starts at the first value")
            << QByteArray("<row r=\"3\"><c r=\"C3\"><v>1</v></c></row><row r=\"4\"><c r=\"D4\"><v>2</v></c>"
                          "<c r=\"D4\"><v>5</v></c></row>")
            << QByteArray() << QByteArray() << false << "2x2|0,0=N:1 1,1=N:5";
    }
    void readXlsx() {
        QFETCH(QByteArray, sheet);
        QFETCH(QByteArray, shared);
        QFETCH(QByteArray, styles);
        QFETCH(bool, date1904);
        QFETCH(QString, expected);
        const TWorkbook book = ReadXlsx(xlsx(m_dir.path(), sheet, shared, styles, date1904));
        QCOMPARE(book.sheets.size(), 1);
        QCOMPARE(book.sheets[0].name, QStringLiteral("客户"));
        QCOMPARE(dump(book.sheets[0]), expected);
    }

    void damagedXlsx_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<qint64>("maxCells");
        QTest::addColumn<QString>("error");
        const QString dir = m_dir.path();
        const QByteArray good = xlsx(dir, "<row r=\"1\"><c r=\"A1\"><v>1</v></c></row>");
        QTest::newRow("truncated zip")
            << good.left(good.size() / 2) << qint64(1000) << "外部表不是预期的格式";
        QTest::newRow("not a workbook") << QByteArray("hello, world") << qint64(1000) << "不是工作簿文件";
        QTest::newRow("bad XML") << xlsx(dir, "<row r=\"1\"><c r=\"A1\"><v>1</v></row>") << qint64(1000)
                                 << "xl/worksheets/sheet1.xml 的 XML 无效";
        QTest::newRow("shared string out of range")
            << xlsx(dir, "<row r=\"1\"><c r=\"A1\" t=\"s\"><v>5</v></c></row>", "<si><t>a</t></si>")
            << qint64(1000) << "不存在的共享字符串 5";
        QTest::newRow("cell beyond the last column")
            << xlsx(dir, "<row r=\"1\"><c r=\"XFE1\"><v>1</v></c></row>") << qint64(1000)
            << "单元格地址无效: XFE1";
        QTest::newRow("bad number") << xlsx(dir, "<row r=\"1\"><c r=\"A1\"><v>1e999</v></c></row>")
                                    << qint64(1000) << "数值无效";
        QTest::newRow("range claimed by two far cells")
            << xlsx(dir, "<row r=\"1\"><c r=\"A1\"><v>1</v></c></row><row r=\"1048576\"><c r=\"XFD1048576\">"
                         "<v>1</v></c></row>")
            << qint64(4000000) << "区域有 1048576 行 16384 列";
        QTest::newRow("more cells than allowed")
            << xlsx(dir, "<row r=\"1\"><c><v>1</v></c><c><v>1</v></c><c><v>1</v></c><c><v>1</v></c></row>")
            << qint64(3) << "单元格超过 3 个";
        QTest::newRow("more cells than allowed, over two sheets")
            << makeZip(dir,
                       {{"xl/workbook.xml", "<workbook xmlns:r=\"r\"><sheets><sheet name=\"a\" r:id=\"1\"/>"
                                            "<sheet name=\"b\" r:id=\"1\"/></sheets></workbook>"},
                        {"xl/_rels/workbook.xml.rels",
                         "<Relationships><Relationship Id=\"1\" Type=\"x/worksheet\" Target=\"s.xml\"/>"
                         "</Relationships>"},
                        {"xl/s.xml", "<worksheet><sheetData><row><c><v>1</v></c><c><v>1</v></c></row>"
                                     "</sheetData></worksheet>"}})
            << qint64(3) << "单元格超过 3 个";
        QTest::newRow("no workbook part")
            << makeZip(dir, {{"a.txt", "x"}}) << qint64(1000) << "缺少 xl/workbook.xml";
        // A protected package: a compound document holding "EncryptedPackage".
        QByteArray cfb = QByteArray::fromHex("d0cf11e0a1b11ae1") + QByteArray(1016, '\0');
        for (char c : QByteArrayLiteral("EncryptedPackage"))
            cfb.append(c).append('\0');
        cfb.append(QByteArray(2048, '\0'));
        QTest::newRow("password-protected xlsx") << cfb << qint64(1000) << "工作簿受密码保护";
    }
    void damagedXlsx() {
        QFETCH(QByteArray, bytes);
        QFETCH(qint64, maxCells);
        QFETCH(QString, error);
        TWorkbookLimits limits;
        limits.maxCells = maxCells;
        const QString message =
            readError(writeFile(m_dir.filePath(QStringLiteral("bad.xlsx")), bytes), limits);
        QVERIFY2(message.contains(error), qPrintable(message));
    }

    void zipBombRefused() {
        // 64 MB of blanks inside a sheet compress to a few hundred kilobytes.
        const QByteArray bomb =
            xlsx(m_dir.path(), "<row r=\"1\"><c r=\"A1\"><v>1</v></c></row>" + QByteArray(64 << 20, ' '));
        QVERIFY(bomb.size() < (1 << 20));
        TWorkbookLimits limits;
        limits.maxPartBytes = 8 << 20;
        try {
            ReadXlsx(bomb, limits);
            QFAIL("read");
        } catch (const EDatabaseError& e) {
            QVERIFY2(e.Message().contains(QStringLiteral("xl/worksheets/sheet1.xml 解压后过大")),
                     qPrintable(e.Message()));
        }
    }

    void isDateFormat_data() {
        QTest::addColumn<int>("id");
        QTest::addColumn<QString>("code");
        QTest::addColumn<bool>("date");
        QTest::newRow("scientific") << 164 << "0.00E+00" << false;
        QTest::newRow("quoted letters") << 164 << "0.00\"days\"" << false;
        QTest::newRow("escaped letter") << 164 << "0\\d" << false;
        QTest::newRow("colour and locale") << 164 << "[Red][$-804]0.00" << false;
        QTest::newRow("elapsed hours") << 164 << "[h]:mm" << true;
        QTest::newRow("locale then date") << 164 << "[$-F800]dddd, mmmm dd, yyyy" << true;
        QTest::newRow("date only in a later section") << 164 << "0;\"d\"yyyy" << false;
    }
    void isDateFormat() {
        QFETCH(int, id);
        QFETCH(QString, code);
        QFETCH(bool, date);
        QCOMPARE(IsDateNumberFormat(id, code), date);
    }

    void readXls() {
        const TWorkbook book = ReadWorkbookFile(kFixtureXls);
        QCOMPARE(book.sheets.size(), 2);
        QCOMPARE(book.sheets[0].name, QStringLiteral("客户"));
        const TWorksheet& s = book.sheets[0];
        // The formatted empty rows below the data are not part of the range.
        QCOMPARE(s.rowCount, 4);
        QCOMPARE(s.colCount, 7);
        const QString d = dump(s);
        QVERIFY2(d.contains(QStringLiteral("0,0=T:客户编码 ")), qPrintable(d));
        QVERIFY2(d.contains(QStringLiteral("1,5=N:13800138000 1,6=D:2024-01-05 00:00:00")), qPrintable(d));
        QVERIFY2(d.contains(QStringLiteral("2,6=D:2024-02-29 13:45:30")), qPrintable(d));
        QCOMPARE(dump(book.sheets[1]), QStringLiteral("2x3|0,0=N:1 0,1=T:甲 1,0=N:2 1,1=T:乙 1,2=N:1"));
    }

    void damagedXls_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error");
        QFile f(kFixtureXls);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray bytes = f.readAll();
        QTest::newRow("truncated") << bytes.left(bytes.size() - 2048) << "外部表不是预期的格式";
        QTest::newRow("header only") << bytes.left(600) << "外部表不是预期的格式";
        QByteArray badSector = bytes;
        badSector.replace(30, 2, QByteArray::fromHex("1000")); // sector shift 16
        QTest::newRow("bad sector size") << badSector << "外部表不是预期的格式";
        // The protection record in the globals: PASSWORD (0x13) becomes FILEPASS (0x2F).
        QTest::newRow("password-protected") << patchedXls(0x0013, 0x002F) << "工作簿受密码保护";
        // A DIMENSIONS record claiming the largest sheet the format has.
        QByteArray dims(14, '\0');
        dims[6] = 1;  // last row + 1 = 65536
        dims[11] = 1; // last column + 1 = 256
        QTest::newRow("huge dimensions") << patchedXls(0x0200, 0x0200, dims) << "区域";
    }
    void damagedXls() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        QVERIFY(!bytes.isEmpty());
        const QString message = readError(writeFile(m_dir.filePath(QStringLiteral("bad.xls")), bytes));
        QVERIFY2(message.contains(error), qPrintable(message));
    }

    void connection_data() {
        QTest::addColumn<QString>("file");
        QTest::newRow("xlsx") << writeCustomersXlsx(m_dir.filePath(QStringLiteral("客户资料.xlsx")));
        QTest::newRow("xls") << kFixtureXls;
    }
    void connection() {
        QFETCH(QString, file);
        TADOConnection excel;
        excel.SetConnectionString(TClientUtils::GetExcelConnString(file));
        TADODataSet ds;
        excel.OpenDataSet(QStringLiteral("select * from [客户$] where 省份 <> '上海' order by 客户编码 desc"),
                          ds);
        QCOMPARE(ds.FieldCount(), 7);
        QCOMPARE(ds.Fields(1).FieldName(), QStringLiteral("客户名称"));
        QCOMPARE(ds.RecordCount(), 2);
        QCOMPARE(ds.FieldByName(QStringLiteral("客户名称")).AsString(), QStringLiteral("广州南方电子厂"));
        QVERIFY(ds.FieldByName(QStringLiteral("日期01")).IsNull());
        QVERIFY(IsDateTypeGroup(ds.FieldByName(QStringLiteral("日期01")).DataType()));
        ds.Next();
        // IMEX=1: the number among the phone texts reads as its text.
        QCOMPARE(ds.FieldByName(QStringLiteral("电话")).AsString(), QStringLiteral("13800138000"));
        QCOMPARE(ds.FieldByName(QStringLiteral("日期01")).AsDateTime(),
                 QDateTime(QDate(2024, 1, 5), QTime(0, 0)));

        // Ranges of a sheet: the range's first row names its columns.
        excel.OpenDataSet(QStringLiteral("select * from [客户$B1:C9] where 地址 like '%广州%'"), ds);
        QCOMPARE(ds.FieldCount(), 2);
        QCOMPARE(ds.Fields(0).FieldName(), QStringLiteral("客户名称"));
        QCOMPARE(ds.RecordCount(), 1);
        excel.OpenDataSet(QStringLiteral("select * from [客户$A2:B2]"), ds);
        QCOMPARE(ds.Fields(0).FieldName(), QStringLiteral("K001"));
        QCOMPARE(ds.RecordCount(), 0);
        excel.OpenDataSet(QStringLiteral("select * from [客户$f:g] order by 1"), ds);
        QCOMPARE(ds.FieldCount(), 2);
        QCOMPARE(ds.Fields(0).FieldName(), QStringLiteral("电话"));
        QCOMPARE(ds.RecordCount(), 3);

        // Without IMEX the column takes its most frequent kind; the number is NULL.
        TADOConnection typed;
        typed.SetConnectionString(QStringLiteral("Provider=Microsoft.ACE.OLEDB.12.0;Data Source=") + file +
                                  QStringLiteral(";Extended Properties=\"Excel 12.0 Xml;HDR=YES\""));
        typed.OpenDataSet(QStringLiteral("select 电话 from [客户$] where 客户编码 = 'k001'"), ds);
        QCOMPARE(ds.RecordCount(), 1);
        QVERIFY(ds.Fields(0).IsNull());

        // HDR=NO: columns by position, the first row is data.
        TADOConnection noHeader;
        noHeader.SetConnectionString(QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source= '") +
                                     file +
                                     QStringLiteral("';Extended Properties=\"Excel 8.0;HDR=NO;IMEX=1\""));
        const bool xlsx = file.endsWith(QLatin1String(".xlsx"));
        // A name with a blank is listed quoted and answers to both spellings.
        QCOMPARE(noHeader.GetTableNames(),
                 xlsx ? QStringList({QStringLiteral("客户$"), QStringLiteral("'Sheet 2$'")})
                      : QStringList({QStringLiteral("客户$"), QStringLiteral("Sheet2$")}));
        noHeader.OpenDataSet(xlsx ? QStringLiteral("select * from [Sheet 2$] order by F1")
                                  : QStringLiteral("select * from [Sheet2$] order by F1"),
                             ds);
        QCOMPARE(ds.FieldCount(), 3);
        QCOMPARE(ds.Fields(2).FieldName(), QStringLiteral("F3"));
        QCOMPARE(ds.RecordCount(), 2);
        QCOMPARE(ds.Fields(1).AsString(), QStringLiteral("甲"));
        QVERIFY(ds.Fields(2).IsNull());
        if (xlsx) {
            noHeader.OpenDataSet(QStringLiteral("select count(*) from ['Sheet 2$']"), ds);
            QCOMPARE(ds.Fields(0).AsInteger(), 2);
        }
    }

    void readOnly() {
        TADOConnection excel;
        excel.SetConnectionString(TClientUtils::GetExcelConnString(kFixtureXls));
        QVERIFY(!excel.IsEmbedded());
        const auto refused = [&](const std::function<void()>& work) {
            try {
                work();
            } catch (const EDatabaseError& e) {
                return e.Message();
            }
            return QStringLiteral("done");
        };
        const QString readOnly = QStringLiteral("操作必须使用一个可更新的查询。");
        QCOMPARE(refused([&] { excel.Execute(QStringLiteral("delete from [客户$]")); }), readOnly);
        TADODataSet ds;
        ds.SetConnection(&excel);
        ds.SetCommandText(QStringLiteral("select * from [客户$]"));
        ds.Open();
        ds.Edit();
        ds.FieldByName(QStringLiteral("省份")).SetAsString(QStringLiteral("河北"));
        QCOMPARE(refused([&] { ds.Post(); }), readOnly);
        ds.Cancel();
        excel.OpenDataSet(QStringLiteral("select count(*) from [客户$] where 省份 = '北京'"), ds);
        QCOMPARE(ds.Fields(0).AsInteger(), 1);
        const QString missingSheet =
            refused([&] { excel.OpenDataSet(QStringLiteral("select * from [Sheet9$]"), ds); });
        QVERIFY2(missingSheet.contains(QStringLiteral("Sheet9$")), qPrintable(missingSheet));
        // A missing or damaged file is an error of Open, with the reason.
        TADOConnection missing;
        missing.SetConnectionString(
            TClientUtils::GetExcelConnString(m_dir.filePath(QStringLiteral("无.xls"))));
        try {
            missing.Open();
            QFAIL("opened");
        } catch (const EInOutError& e) {
            QVERIFY(e.Message().contains(QStringLiteral("无.xls")));
        }
    }
};

LNQ_TEST_MAIN_CORE(TestWorkbook)
#include "tst_Workbook.moc"
