#pragma once
// TMasterDetailDocument: a document stored as one master row and its detail
// lines (an order and its goods), read and written through IConnection.
// The document editor form (MasterDetailEdit_ui.h) and the lnq tool's "doc"
// commands share it.
//
// Every writing operation runs in one transaction of its own: either all of
// it reaches the database or, on any error, nothing does (the error is
// rethrown after the rollback).

#include <QDateTime>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <functional>
#include <vector>

namespace lnq {

class IConnection;

// Where the document lives. Empty optional fields are left alone.
struct TMasterDetailSettings {
    QString MasterTable;
    QString MasterKeyField; // integer identity of the master table
    QString DetailTable;
    QString DetailKeyField;     // detail field holding the master key
    QString DetailLineKeyField; // the lines' own identity (left to the database)
    QString DetailOrderField;   // order of the lines when read; the line key when empty
    QString ConfirmStateField;
    QString ConfirmUserField;
    QString ConfirmDateField;
    QString CreateUserField;
    QString CreateTimeField;
    QString ModifyUserField;
    QString ModifyTimeField;
    QString ConfirmWord = QStringLiteral("确认");

    QString ConfirmedState() const { return QStringLiteral("已") + ConfirmWord; }
    QString UnconfirmedState() const { return QStringLiteral("未") + ConfirmWord; }
};

// A row's values by field name. Keys are the field names upper-cased (field
// names compare without letter case); a null QVariant is SQL NULL.
using TDocumentValues = QMap<QString, QVariant>;

class TMasterDetailDocument {
public:
    TMasterDetailDocument(IConnection& connection, TMasterDetailSettings settings);

    const TMasterDetailSettings& Settings() const { return m_settings; }

    // The master and detail columns as the tables spell them.
    QStringList MasterFieldNames();
    QStringList DetailFieldNames();

    // Reads the master row with the key and its lines (in DetailOrderField
    // order). False, with master and lines untouched, when there is no row.
    bool Load(int key, TDocumentValues& master, std::vector<TDocumentValues>& lines);

    // Writes the master row (inserting it for key 0) and replaces its lines.
    // Master values for the key and fields the table lacks are ignored; on
    // insert, null values leave the database's defaults. The audit fields
    // get user and now (creating ones on insert only), the confirmation
    // state UnconfirmedState() where it is null. step runs last inside the
    // transaction with the key. Returns the key.
    int Save(int key, const TDocumentValues& master, const std::vector<TDocumentValues>& lines,
             const QString& user, const QDateTime& now, const std::function<void(int key)>& step = {});

    // Confirms (or cancels the confirmation of) the document: state, user and
    // the date of today on the master row and, when the detail table has the
    // state field too, on every line. step runs last inside the transaction.
    // EDatabaseError when the row is gone.
    void SetConfirmation(int key, bool confirm, const QString& user, const QDate& today,
                         const std::function<void()>& step = {});

    // Deletes the lines and the master row.
    void Delete(int key);

    // The SQL texts used (the key is an integer, never text from outside).
    QString MasterSelect(int key) const;
    QString LinesSelect(int key) const;

private:
    IConnection& m_connection;
    TMasterDetailSettings m_settings;
};

} // namespace lnq
