#pragma once
// The embedded database's schema and a sample business database.
//
// CreateSchema lays down the framework's own tables (Sys_FileBase,
// Sys_TableDictionary, sys_Systemuser, sys_group, sys_properties) on an
// embedded (SQLite) connection; the same text ships as sql/schema_sqlite.sql.
//
// CreateSample writes a complete demonstration database: the framework's
// tables filled (users, groups, field dictionary with Chinese captions,
// property lists, saved views) and the business tables the forms and lookup
// dialogs read (Cust_CustomersMain with agents and suppliers, St_Products,
// Dic_Service, dic_program, dic_programPackage, Dic_ProductType, dic_Province,
// dic_unicustomerskind, Cust_Contacts, Sal_SaleMain / Sal_SaleDetail). The
// content depends only on the seed and on lnq::Clock::today() (dates are
// spread around it), so LNQ_NOW makes it fully reproducible.

#include <QString>
#include <QStringList>

namespace lnq {

class TADOConnection;

namespace SampleDatabase {

// The framework schema in SQLite's own dialect (text columns COLLATE ZH_CI,
// the framework's text collation: comparisons ignore letter case and trailing
// blanks and Chinese sorts in pinyin order, as SQL Server's default collation does).
QString SchemaSql();

// Runs SchemaSql on an open embedded connection. EDatabaseError when a table
// already exists or the connection is not embedded.
void CreateSchema(TADOConnection& connection);

struct Options {
    quint32 seed = 20240601;
    int customers = 3000; // Cust_CustomersMain rows (agents and suppliers among them)
    int products = 1200;  // St_Products rows
    int sales = 2000;     // Sal_SaleMain rows (about three detail lines each)
};

// Creates the file (which must not exist or be empty) with schema and sample
// rows. EDatabaseError / EInOutError on failure; a half-written file is removed.
void CreateSample(const QString& path, const Options& options = {});

// Names of the tables CreateSample writes, framework tables first.
QStringList SampleTables();

} // namespace SampleDatabase
} // namespace lnq
