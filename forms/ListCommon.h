#pragma once
// The non-visual half of the list form (forms/ListCommon_ui.h): the SQL texts
// it runs and the confirmation step that writes a row's state, user and date
// back through the connection. The lnq tool's "confirm" command uses the same
// step, so a script confirms a record exactly as the form does.

#include <QString>

namespace lnq {

class IConnection;
class TDataSet;

// "SELECT TOP 100 * FROM " table " ORDER BY " key " DESC": the newest rows.
QString ListNewestSQL(const QString& table, const QString& keyField);
// The newest rows whose field equals value.
QString ListKeySQL(const QString& table, const QString& field, qint64 value, const QString& keyField);
// The detail rows of a master key (its decimal text).
QString ListDetailSQL(const QString& detailTable, const QString& detailKeyField, const QString& masterKey);
// The property list of one record of table (key as text).
QString ListPropertiesSQL(const QString& table, const QString& key);
// A quick-search condition over the whole table, limited by the user's
// authority condition when there is one.
QString ListAllDataSQL(const QString& table, const QString& condition, const QString& authority);

// Where a list keeps a record's confirmation and the word of its states
// ("已" + Word is confirmed, "未" + Word is not).
struct TConfirmFields {
    QString StateField;
    QString UserField; // may be empty: no user is written
    QString DateField; // may be empty: no date is written
    QString Word = QStringLiteral("确认");
};

QString ConfirmStateText(bool confirmed, const QString& word);
// Whether the current record of dataSet is confirmed (false without the
// state field or without a record).
bool IsConfirmed(const TDataSet& dataSet, const TConfirmFields& fields);

// Puts the current record of dataSet into edit mode, sets the state (and
// the user's name and today's date where the fields are given) and writes
// the row back through the connection (IConnection::DoPost with the table
// and key field). A failure cancels the edit, so the record keeps its
// values, and reaches the caller.
void WriteConfirmState(IConnection& connection, TDataSet& dataSet, const QString& table,
                       const QString& keyField, const TConfirmFields& fields, bool confirm,
                       const QString& userName);

} // namespace lnq
