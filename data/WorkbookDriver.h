#pragma once
// A spreadsheet workbook as a read-only database (private to the data folder;
// a TADOConnection opened with a workbook connection string uses it).
//
// Each worksheet becomes a table named after the sheet with a "$" appended
// ("客户$", "Sheet1$"), held in a private in-memory database, so the whole
// T-SQL dialect runs on it (select * from [客户$] where ... order by ...).
// The first row of the sheet's used range names the columns; without that
// header row, or where a header cell is empty, columns are named F1, F2, ...
// (by position). A name given twice gets a number appended. Dots in names
// become "#". A sheet whose name holds blanks or punctuation is also the
// table "'My Sheet$'" (quoted), the spelling the table list gives for it.
// A range of a sheet is a table too: "[Sheet1$A3:F100]" (its
// first row the header) or whole columns "[Sheet1$B:D]".
//
// A column's type follows its values: numbers FLOAT, dates DATETIME, logical
// values BIT, text NVARCHAR(255), or NTEXT when a text is longer. A column
// that mixes kinds takes the most frequent kind and reads the others as NULL;
// with "mixed as text" it becomes a text column instead and every value reads
// as its text. Error values read as NULL. Rows run to the last row holding a
// value; empty rows inside the range read as rows of NULLs.
//
// Statements that change data are refused with EDatabaseError
// "操作必须使用一个可更新的查询。".

#include "data/DbDriver.h"
#include "data/Workbook.h"

#include <memory>

namespace lnq {

class TSqliteDriver;

struct TWorkbookOptions {
    bool header = true;       // HDR=YES
    bool mixedAsText = false; // IMEX=1
};

class TWorkbookDriver : public TDbDriver {
public:
    // Reads the file (EDatabaseError / EInOutError as ReadWorkbookFile).
    TWorkbookDriver(const QString& file, const TWorkbookOptions& options, const TWorkbookLimits& limits = {});
    TWorkbookDriver(TWorkbook book, const TWorkbookOptions& options, const TWorkbookLimits& limits = {});
    ~TWorkbookDriver() override;

    void OpenDataSet(const QString& sql, TDataSet& target) override;
    void Execute(const QString& sql) override;
    bool ReturnsRows(const QString& sql) override;
    TUpdateResult ApplyUpdate(const TUpdateRequest& request) override;
    void BeginTransaction(int level) override;
    void CommitTransaction(int level) override;
    void RollbackTransaction(int level) override;
    bool TransactionActive() override;
    QStringList TableNames() override;

private:
    void Load();
    void CreateTable(const QString& table, const TWorksheet& sheet);
    // Tables for the ranges a statement names ("[Sheet1$A3:F100]"), made
    // the first time they are named.
    void AddRangeTables(const QString& sql);

    TWorkbook m_book;
    TWorkbookOptions m_options;
    TWorkbookLimits m_limits;
    std::unique_ptr<TSqliteDriver> m_db;
    QStringList m_tables;
};

// The message for any change attempted on a workbook.
inline QString WorkbookReadOnlyMessage() {
    return QStringLiteral("操作必须使用一个可更新的查询。");
}

} // namespace lnq
