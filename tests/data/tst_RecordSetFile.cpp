#include "common/DataSetHelpers.h"
#include "common/TestMain.h"
#include "data/DataSet.h"
#include "util/Exceptions.h"

#include <QBuffer>
#include <QTemporaryDir>
#include <cstring>

using namespace lnq;

namespace {

using lnqtest::fieldDef;
TFieldDef def(const QString& name, TFieldType type, int size = 0) {
    return fieldDef(name, type, size);
}

// One column of every type, three rows: values, nulls, edge values.
void loadAllTypes(TDataSet& ds) {
    TFieldDefs defs;
    for (int t = int(TFieldType::ftString); t <= int(TFieldType::ftFMTBcd); ++t)
        defs.push_back(def(FieldTypeToString(TFieldType(t)).mid(2), TFieldType(t), 10));
    defs[0].Required = true;
    defs[0].IsKey = true;
    defs[0].BaseTable = u"客户"_qs;
    defs[0].BaseColumn = u"编码"_qs;
    defs[1].ReadOnly = true;
    TRecordSetBuilder& b = ds.BeginLoad(defs);
    for (int row = 0; row < 3; ++row) {
        for (int c = 0; c < int(defs.size()); ++c) {
            if (row == 1) continue; // all null
            const TStorageKind k = StorageKindOf(defs[size_t(c)].DataType);
            switch (k) {
            case TStorageKind::Text:
                b.SetText(c,
                          row == 0 ? u"中文 text %1"_qs.arg(c) : QString()); // empty is not null
                break;
            case TStorageKind::Integer:
                b.SetInteger(c, row == 0 ? c : std::numeric_limits<qint64>::min());
                break;
            case TStorageKind::Boolean:
                b.SetInteger(c, row == 0);
                break;
            case TStorageKind::Float:
                b.SetFloat(c, row == 0 ? 0.1 * c : -1e300);
                break;
            case TStorageKind::DateTime:
                b.SetDateTime(c, row == 0 ? 45000.5 : -700000.25);
                break;
            case TStorageKind::Bytes:
                b.SetBytes(c, row == 0 ? "\0\x01\x02" : "", row == 0 ? 3 : 0);
                break;
            }
        }
        b.EndRow();
    }
    ds.EndLoad();
}

void compareDataSets(TDataSet& a, TDataSet& b) {
    QCOMPARE(b.FieldCount(), a.FieldCount());
    for (int f = 0; f < a.FieldCount(); ++f) {
        const TFieldDef& x = a.FieldDefs()[size_t(f)];
        const TFieldDef& y = b.FieldDefs()[size_t(f)];
        QCOMPARE(y.Name, x.Name);
        QCOMPARE(y.DataType, x.DataType);
        QCOMPARE(y.Size, x.Size);
        QCOMPARE(y.Scale, x.Scale);
        QCOMPARE(y.Required, x.Required);
        QCOMPARE(y.ReadOnly, x.ReadOnly);
        QCOMPARE(y.IsKey, x.IsKey);
        QCOMPARE(y.BaseTable, x.BaseTable);
        QCOMPARE(y.BaseColumn, x.BaseColumn);
    }
    QCOMPARE(b.RecordCount(), a.RecordCount());
    for (int r = 0; r < a.RecordCount(); ++r)
        for (int f = 0; f < a.FieldCount(); ++f) {
            QCOMPARE(b.IsNullAt(r, f), a.IsNullAt(r, f));
            QCOMPARE(b.ValueAt(r, f), a.ValueAt(r, f));
        }
}

QByteArray saved(TDataSet& ds) {
    QBuffer buf;
    buf.open(QIODevice::WriteOnly);
    ds.SaveToStream(buf);
    return buf.data();
}

void loadBytes(TDataSet& ds, const QByteArray& bytes) {
    QBuffer buf;
    buf.setData(bytes);
    buf.open(QIODevice::ReadOnly);
    ds.LoadFromStream(buf);
}

// Re-computes the trailing checksum so that a hand-made change reaches the
// structural checks (a hostile file, not an accidentally damaged one).
QByteArray withChecksum(QByteArray body) {
    quint32 crc = 0xFFFFFFFFu;
    for (char ch : body) {
        crc ^= quint8(ch);
        for (int k = 0; k < 8; ++k)
            crc = (crc & 1) ? 0xEDB88320u ^ (crc >> 1) : crc >> 1;
    }
    crc = ~crc;
    for (int i = 0; i < 4; ++i)
        body.append(char((crc >> (8 * i)) & 0xFF));
    return body;
}

} // namespace

class TestRecordSetFile : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void roundTripThroughFile();
    void keepsNaturalOrderAndDropsDeleted();
    void emptyRecordSet();
    void everyTruncationIsReadError();
    void everyFlippedByteIsReadError();
    void hostileCounts_data();
    void hostileCounts();
    void failedLoadKeepsDataset();
    void nullRowsAreBoundedByFileSize_data();
    void nullRowsAreBoundedByFileSize();
    void hiddenColumnsAreNotWritten_data();
    void hiddenColumnsAreNotWritten();
};

void TestRecordSetFile::roundTripThroughFile() {
    QTemporaryDir dir;
    // The name does not matter: the dictionary cache is called .xml.
    const QString path = dir.filePath(u"FldAttr.xml"_qs);
    TADODataSet a;
    loadAllTypes(a);
    a.SaveToFile(path);
    TADODataSet b;
    b.LoadFromFile(path);
    compareDataSets(a, b);
    QVERIFY(b.Bof());
    QVERIFY(!b.IsNullAt(2, 0)); // empty text stays not null
    QCOMPARE(b.ValueAt(2, 20).toLongLong(), std::numeric_limits<qint64>::min());
    QVERIFY_THROWS_EXCEPTION(EInOutError, b.LoadFromFile(dir.filePath(u"missing.dat"_qs)));
    QVERIFY_THROWS_EXCEPTION(EInOutError, a.SaveToFile(dir.filePath(u"no/such/dir/x.dat"_qs)));
    QVERIFY(b.Active()); // a failed load leaves the dataset as it was
}

void TestRecordSetFile::keepsNaturalOrderAndDropsDeleted() {
    TADODataSet a;
    TRecordSetBuilder& b = a.BeginLoad({def("ID", TFieldType::ftInteger)});
    for (int i = 1; i <= 4; ++i) {
        b.SetInteger(0, i);
        b.EndRow();
    }
    a.EndLoad();
    a.SetRecNo(2);
    a.Delete(); // 1 3 4
    a.SetRecNo(2);
    a.Insert(); // 1 9 3 4
    a.FieldByName(u"ID"_qs).SetAsInteger(9);
    a.Post();
    a.SetSort(u"ID DESC"_qs);
    a.SetOnFilterRecord([](TDataSet& d, bool& acc) { acc = d.FieldByName("ID").AsInteger() != 4; });
    a.SetFiltered(true);
    TClientDataSet c;
    loadBytes(c, saved(a));
    QList<int> got;
    for (int r = 0; r < c.RecordCount(); ++r)
        got << c.ValueAt(r, 0).toInt();
    QCOMPARE(got, (QList<int>{1, 9, 3, 4})); // the whole record set, natural order
    // Calculated fields are not stored; the loader computes its own.
    TClientDataSet withCalc;
    withCalc.AddCalculatedField(u"Twice"_qs, TFieldType::ftInteger);
    withCalc.SetOnCalcFields(
        [](TDataSet& d) { d.FieldByName("Twice").SetAsInteger(d.FieldByName("ID").AsInteger() * 2); });
    loadBytes(withCalc, saved(c));
    QCOMPARE(withCalc.FieldCount(), 2);
    QCOMPARE(withCalc.ValueAt(1, 1).toInt(), 18);
    TClientDataSet again;
    loadBytes(again, saved(withCalc));
    QCOMPARE(again.FieldCount(), 1);
}

void TestRecordSetFile::emptyRecordSet() {
    TClientDataSet a;
    a.BeginLoad({def("A", TFieldType::ftString), def("B", TFieldType::ftFloat)});
    a.EndLoad();
    TClientDataSet b;
    loadBytes(b, saved(a));
    QCOMPARE(b.FieldCount(), 2);
    QCOMPARE(b.RecordCount(), 0);
    QVERIFY(b.Bof() && b.Eof());
    TClientDataSet closed;
    QVERIFY_THROWS_EXCEPTION(EDatabaseError, saved(closed));
}

void TestRecordSetFile::everyTruncationIsReadError() {
    TClientDataSet a;
    loadAllTypes(a);
    const QByteArray full = saved(a);
    for (qsizetype n = 0; n < full.size(); ++n) {
        TClientDataSet b;
        try {
            loadBytes(b, full.left(n));
            QFAIL(qPrintable(u"prefix of %1 bytes loaded"_qs.arg(n)));
        } catch (const EReadError&) {
        }
        QVERIFY(!b.Active());
    }
    // Extra bytes after a complete record set are damage too.
    TClientDataSet b;
    QVERIFY_THROWS_EXCEPTION(EReadError, loadBytes(b, full + "x"));
}

void TestRecordSetFile::everyFlippedByteIsReadError() {
    TClientDataSet a;
    loadAllTypes(a);
    const QByteArray full = saved(a);
    for (qsizetype i = 0; i < full.size(); ++i) {
        QByteArray bad = full;
        bad[i] = char(bad[i] ^ 0x5A);
        TClientDataSet b;
        QVERIFY_THROWS_EXCEPTION(EReadError, loadBytes(b, bad));
    }
    TClientDataSet b;
    QVERIFY_THROWS_EXCEPTION(EReadError, loadBytes(b, QByteArray("<?xml version=\"1.0\"?><root/>")));
}

void TestRecordSetFile::hostileCounts_data() {
    // Offsets into the layout of a one-column ("A", ftString) file.
    QTest::addColumn<int>("offset");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("mentions");
    QTest::newRow("version") << 8 << QByteArray("\x02\x00\x00\x00", 4) << "版本";
    QTest::newRow("huge field count") << 12 << QByteArray("\xff\xff\xff\x0f", 4) << "字段数";
    QTest::newRow("huge name length") << 16 << QByteArray("\xff\xff\xff\x7f", 4) << "长度";
    QTest::newRow("bad type") << 21 << QByteArray("\x63", 1) << "类型";
    QTest::newRow("bad flags") << 30 << QByteArray("\x80", 1) << "标志";
    QTest::newRow("huge scale") << 26 << QByteArray("\xff\xff\xff\x7f", 4) << "小数位数";
    QTest::newRow("negative scale") << 26 << QByteArray("\xff\xff\xff\xff", 4) << "小数位数";
    QTest::newRow("negative rows") << 39 << QByteArray("\xff\xff\xff\xff\xff\xff\xff\xff", 8) << "记录数";
    QTest::newRow("huge rows") << 39 << QByteArray("\x00\x00\x00\x70\x00\x00\x00\x00", 8) << "记录数";
    QTest::newRow("huge text length") << 48 << QByteArray("\xff\xff\xff\xff", 4) << "长度";
}

void TestRecordSetFile::hostileCounts() {
    QFETCH(int, offset);
    QFETCH(QByteArray, value);
    QFETCH(QString, mentions);
    TClientDataSet a;
    TRecordSetBuilder& b = a.BeginLoad({def("A", TFieldType::ftString)});
    b.SetText(0, u"xy"_qs);
    b.EndRow();
    a.EndLoad();
    const QByteArray full = saved(a);
    // magic 8, version 4, count 4, name 4+1, type 1, size 4, scale 4, flags 1,
    // table 4, column 4, rows 8, bitmap 1, text 4+2, crc 4
    QCOMPARE(full.size(), 8 + 4 + 4 + 5 + 1 + 4 + 4 + 1 + 4 + 4 + 8 + 1 + 6 + 4);
    QByteArray body = full.left(full.size() - 4);
    body.replace(offset, value.size(), value);
    TClientDataSet c;
    try {
        loadBytes(c, withChecksum(body));
        QFAIL("hostile file loaded");
    } catch (const EReadError& e) {
        QVERIFY2(e.Message().contains(mentions), qPrintable(e.Message()));
    }
}

// A null cell is one bit in the file but a whole slot in memory: rows of
// nothing but nulls load only as far as the stated growth limit allows.
void TestRecordSetFile::nullRowsAreBoundedByFileSize_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("columns");
    QTest::addColumn<qint64>("rows");
    QTest::addColumn<bool>("loads");
    QTest::newRow("texts, a million rows") << int(TFieldType::ftString) << 8 << qint64(1'000'000) << false;
    QTest::newRow("blobs, a million rows") << int(TFieldType::ftBlob) << 8 << qint64(1'000'000) << false;

    QTest::newRow("texts, small file") << int(TFieldType::ftString) << 8 << qint64(20'000) << true;
    QTest::newRow("integers, one column") << int(TFieldType::ftInteger) << 1 << qint64(1'000'000) << true;
}

void TestRecordSetFile::nullRowsAreBoundedByFileSize() {
    QFETCH(int, type);
    QFETCH(int, columns);
    QFETCH(qint64, rows);
    QFETCH(bool, loads);
    auto u32 = [](QByteArray& b, quint32 v) {
        for (int i = 0; i < 4; ++i)
            b.append(char((v >> (8 * i)) & 0xFF));
    };
    QByteArray body("LNQRSET\x1a", 8);
    u32(body, 1);
    u32(body, quint32(columns));
    for (int c = 0; c < columns; ++c) {
        u32(body, 1);
        body.append(char('a' + c));
        body.append(char(type));
        u32(body, 10); // size
        u32(body, 0);  // scale
        body.append('\0');
        u32(body, 0); // base table
        u32(body, 0); // base column
    }
    for (int i = 0; i < 8; ++i)
        body.append(char((rows >> (8 * i)) & 0xFF));
    for (int c = 0; c < columns; ++c)
        body.append(QByteArray((rows + 7) / 8, char(0xFF)));
    TClientDataSet ds;
    if (loads) {
        loadBytes(ds, withChecksum(body));
        QCOMPARE(ds.RecordCount(), int(rows));
        ds.Last();
        QVERIFY(ds.Fields(0).IsNull());
        return;
    }
    try {
        loadBytes(ds, withChecksum(body));
        QFAIL("a file of null rows loaded beyond the growth limit");
    } catch (const EReadError& e) {
        QVERIFY2(e.Message().contains(u"超过文件大小"_qs), qPrintable(e.Message()));
    }
}

void TestRecordSetFile::failedLoadKeepsDataset() {
    TClientDataSet a;
    loadAllTypes(a);
    a.SetRecNo(3);
    QByteArray bad = saved(a);
    bad.chop(1);
    QVERIFY_THROWS_EXCEPTION(EReadError, loadBytes(a, bad));
    QVERIFY(a.Active());
    QCOMPARE(a.RecordCount(), 3);
    QCOMPARE(a.RecNo(), 3);
}

// A database's row identity means nothing in a file: hidden columns,
// wherever the loader gave them, leave no trace in its bytes.
void TestRecordSetFile::hiddenColumnsAreNotWritten_data() {
    QTest::addColumn<int>("position");
    QTest::newRow("first") << 0;
    QTest::newRow("middle") << 1;
    QTest::newRow("last") << 2;
}

void TestRecordSetFile::hiddenColumnsAreNotWritten() {
    QFETCH(int, position);
    auto load = [](TDataSet& ds, int hiddenAt) {
        TFieldDefs defs = {def(u"名称"_qs, TFieldType::ftString, 10), def(u"Qty"_qs, TFieldType::ftInteger)};
        if (hiddenAt >= 0) {
            TFieldDef id = def(u"rowid"_qs, TFieldType::ftLargeint);
            id.Hidden = true;
            id.IsRowId = true;
            defs.insert(defs.begin() + hiddenAt, id);
        }
        TRecordSetBuilder& b = ds.BeginLoad(defs);
        for (int r = 0; r < 3; ++r) {
            int col = 0;
            for (int c = 0; c < int(defs.size()); ++c) {
                if (defs[size_t(c)].Hidden)
                    b.SetInteger(c, 1000 + r);
                else if (col++ == 0)
                    b.SetText(c, u"客户%1"_qs.arg(r));
                else if (r != 1)
                    b.SetInteger(c, r * 10);
            }
            b.EndRow();
        }
        ds.EndLoad();
    };
    TClientDataSet plain, withIdentity;
    load(plain, -1);
    load(withIdentity, position);
    compareDataSets(plain, withIdentity);
    const QByteArray bytes = saved(withIdentity);
    QCOMPARE(bytes, saved(plain));
    TClientDataSet back;
    loadBytes(back, bytes);
    compareDataSets(plain, back);
}

LNQ_TEST_MAIN_CORE(TestRecordSetFile)
#include "tst_RecordSetFile.moc"
