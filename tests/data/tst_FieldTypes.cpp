#include "common/TestMain.h"
#include "data/FieldTypes.h"

using namespace lnq;

class TestFieldTypes : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void declaredTypes_data();
    void declaredTypes();
    void groups_data();
    void groups();
    void names();
};

void TestFieldTypes::declaredTypes_data() {
    QTest::addColumn<QString>("declared");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("scale");
    auto row = [](const char* decl, TFieldType t, int size = 0, int scale = 0) {
        QTest::newRow(decl) << QString::fromUtf8(decl) << int(t) << size << scale;
    };
    row("DATETIME", TFieldType::ftDateTime);
    row("datetime2(7)", TFieldType::ftDateTime);
    row("[datetime] NULL", TFieldType::ftDateTime);
    row("DATE", TFieldType::ftDate);
    row("TIME", TFieldType::ftTime);
    row("BIT", TFieldType::ftBoolean);
    row("boolean", TFieldType::ftBoolean);
    row("MONEY", TFieldType::ftCurrency, 19, 4);
    row("smallmoney", TFieldType::ftCurrency, 19, 4);
    row("DECIMAL(18,2)", TFieldType::ftBCD, 18, 2);
    row("decimal (10, 4)", TFieldType::ftBCD, 10, 4);
    row("NUMERIC", TFieldType::ftBCD, 18, 0);
    row("numeric(9)", TFieldType::ftBCD, 9, 0);
    row("INT", TFieldType::ftInteger);
    row("SMALLINT", TFieldType::ftSmallint);
    row("TINYINT", TFieldType::ftSmallint);
    row("BIGINT", TFieldType::ftLargeint);
    row("INT IDENTITY(1,1)", TFieldType::ftAutoInc);
    row("[int] IDENTITY (1, 1) NOT NULL", TFieldType::ftAutoInc);
    row("INTEGER PRIMARY KEY AUTOINCREMENT", TFieldType::ftAutoInc);
    row("FLOAT", TFieldType::ftFloat);
    row("REAL", TFieldType::ftFloat);
    row("DOUBLE PRECISION", TFieldType::ftFloat);
    row("VARCHAR(50)", TFieldType::ftString, 50);
    row("[varchar] (20) COLLATE Chinese_PRC_CI_AS NULL", TFieldType::ftString, 20);
    row("NVARCHAR(50)", TFieldType::ftWideString, 50);
    row("CHAR(6)", TFieldType::ftFixedChar, 6);
    row("CHAR", TFieldType::ftFixedChar, 1);
    row("TEXT", TFieldType::ftString);
    row("NTEXT", TFieldType::ftMemo);
    row("VARCHAR(MAX)", TFieldType::ftMemo);
    row("nvarchar(max)", TFieldType::ftMemo);
    row("IMAGE", TFieldType::ftBlob);
    row("BLOB", TFieldType::ftBlob);
    row("VARBINARY(MAX)", TFieldType::ftBlob);
    row("VARBINARY(16)", TFieldType::ftVarBytes, 16);
    row("BINARY(8)", TFieldType::ftBytes, 8);
    row("UNIQUEIDENTIFIER", TFieldType::ftString, 38);
    row("   ", TFieldType::ftString);
    row("SOMETHING", TFieldType::ftString);
    row("UNSIGNED BIG INT", TFieldType::ftLargeint);
    row("NATIVE CHARACTER(70)", TFieldType::ftString, 70);
}

void TestFieldTypes::declaredTypes() {
    QFETCH(QString, declared);
    QFETCH(int, type);
    QFETCH(int, size);
    QFETCH(int, scale);
    int gotSize = -1;
    int gotScale = -1;
    QCOMPARE(int(FieldTypeFromDeclaredType(declared, &gotSize, &gotScale)), type);
    QCOMPARE(gotSize, size);
    QCOMPARE(gotScale, scale);
    int onlySize = -1;
    QCOMPARE(int(FieldTypeFromDeclaredType(declared, &onlySize)), type);
    QCOMPARE(onlySize, size);
    QCOMPARE(int(FieldTypeFromDeclaredType(declared)), type);
}

void TestFieldTypes::groups_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("groups"); // T text, N number, D date, B boolean
    QTest::addColumn<int>("storage");
    auto row = [](TFieldType t, const char* g, TStorageKind k) {
        QTest::newRow(qPrintable(FieldTypeToString(t))) << int(t) << QString::fromLatin1(g) << int(k);
    };
    row(TFieldType::ftUnknown, "", TStorageKind::Text);
    row(TFieldType::ftString, "T", TStorageKind::Text);
    row(TFieldType::ftSmallint, "N", TStorageKind::Integer);
    row(TFieldType::ftInteger, "N", TStorageKind::Integer);
    row(TFieldType::ftWord, "N", TStorageKind::Integer);
    row(TFieldType::ftBoolean, "B", TStorageKind::Boolean);
    row(TFieldType::ftFloat, "N", TStorageKind::Float);
    row(TFieldType::ftCurrency, "N", TStorageKind::Float);
    row(TFieldType::ftBCD, "N", TStorageKind::Float);
    row(TFieldType::ftDate, "D", TStorageKind::DateTime);
    row(TFieldType::ftTime, "D", TStorageKind::DateTime);
    row(TFieldType::ftDateTime, "D", TStorageKind::DateTime);
    row(TFieldType::ftBytes, "N", TStorageKind::Bytes);
    row(TFieldType::ftVarBytes, "N", TStorageKind::Bytes);
    row(TFieldType::ftAutoInc, "N", TStorageKind::Integer);
    row(TFieldType::ftBlob, "", TStorageKind::Bytes);
    row(TFieldType::ftMemo, "T", TStorageKind::Text);
    row(TFieldType::ftGraphic, "T", TStorageKind::Bytes);
    row(TFieldType::ftFmtMemo, "T", TStorageKind::Text);
    row(TFieldType::ftFixedChar, "T", TStorageKind::Text);
    row(TFieldType::ftWideString, "T", TStorageKind::Text);
    row(TFieldType::ftLargeint, "N", TStorageKind::Integer);
    row(TFieldType::ftFMTBcd, "TN", TStorageKind::Float);
}

void TestFieldTypes::groups() {
    QFETCH(int, type);
    QFETCH(QString, groups);
    QFETCH(int, storage);
    const auto t = TFieldType(type);
    QString got;
    if (IsTextTypeGroup(t)) got += 'T';
    if (IsNumberTypeGroup(t)) got += 'N';
    if (IsDateTypeGroup(t)) got += 'D';
    if (IsBooleanTypeGroup(t)) got += 'B';
    QCOMPARE(got, groups);
    QCOMPARE(int(StorageKindOf(t)), storage);
}

void TestFieldTypes::names() {
    for (int t = 0; t <= int(TFieldType::ftFMTBcd); ++t) {
        const QString n = FieldTypeToString(TFieldType(t));
        QVERIFY(n.startsWith(QStringLiteral("ft")));
        QCOMPARE(int(FieldTypeFromString(n)), t);
        QCOMPARE(int(FieldTypeFromString(n.toUpper())), t);
    }
    QCOMPARE(FieldTypeToString(TFieldType::ftWideString), QStringLiteral("ftWideString"));
    QCOMPARE(FieldTypeFromString(QStringLiteral("ftNothing")), TFieldType::ftUnknown);
    QCOMPARE(FieldTypeToString(TFieldType(200)), QString());
}

LNQ_TEST_MAIN_CORE(TestFieldTypes)
#include "tst_FieldTypes.moc"
