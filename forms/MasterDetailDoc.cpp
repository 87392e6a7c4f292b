#include "forms/MasterDetailDoc.h"

#include "data/Plat_databaseinterface.h"
#include "util/Exceptions.h"

namespace lnq {

namespace {

// One transaction: rolled back unless committed, also when an exception
// leaves the scope.
class TTransaction {
public:
    explicit TTransaction(IConnection& connection) : m_connection(connection) { m_connection.BeginTrans(); }
    ~TTransaction() {
        if (m_open) {
            try {
                m_connection.RollbackTrans();
            } catch (const Exception&) {
                // The error that brought us here is the one worth reporting.
            }
        }
    }
    TTransaction(const TTransaction&) = delete;
    TTransaction& operator=(const TTransaction&) = delete;
    void Commit() {
        m_connection.CommitTrans();
        m_open = false;
    }

private:
    IConnection& m_connection;
    bool m_open = true;
};

bool sameName(const QString& a, const QString& b) {
    return !a.isEmpty() && a.compare(b, Qt::CaseInsensitive) == 0;
}

TDocumentValues rowValues(const TDataSet& ds) {
    TDocumentValues values;
    for (int i = 0; i < ds.FieldCount(); ++i) {
        const TField& f = ds.Fields(i);
        values.insert(f.FieldName().toUpper(), f.AsVariant());
    }
    return values;
}

void setIfPresent(TDataSet& ds, const QString& field, const QVariant& value) {
    if (field.isEmpty()) return;
    if (TField* f = ds.FindField(field)) {
        if (value.isNull())
            f->Clear();
        else
            f->SetAsVariant(value);
    }
}

QString missingRow(const TMasterDetailSettings& s, int key) {
    return QStringLiteral("单据已被删除（") + s.MasterKeyField + QStringLiteral("=") + QString::number(key) +
           QStringLiteral("）");
}

} // namespace

TMasterDetailDocument::TMasterDetailDocument(IConnection& connection, TMasterDetailSettings settings)
    : m_connection(connection), m_settings(std::move(settings)) {}

QString TMasterDetailDocument::MasterSelect(int key) const {
    return QStringLiteral("SELECT * FROM ") + m_settings.MasterTable + QStringLiteral(" WHERE ") +
           m_settings.MasterKeyField + QStringLiteral(" = ") + QString::number(key);
}

QString TMasterDetailDocument::LinesSelect(int key) const {
    QString sql = QStringLiteral("SELECT * FROM ") + m_settings.DetailTable + QStringLiteral(" WHERE ") +
                  m_settings.DetailKeyField + QStringLiteral(" = ") + QString::number(key);
    const QString order =
        m_settings.DetailOrderField.isEmpty() ? m_settings.DetailLineKeyField : m_settings.DetailOrderField;
    if (!order.isEmpty()) sql += QStringLiteral(" ORDER BY ") + order;
    return sql;
}

QStringList TMasterDetailDocument::MasterFieldNames() {
    return m_connection
        .ExecuteWithQuery(QStringLiteral("SELECT * FROM ") + m_settings.MasterTable +
                          QStringLiteral(" WHERE 1=0"))
        ->FieldNames();
}

QStringList TMasterDetailDocument::DetailFieldNames() {
    return m_connection
        .ExecuteWithQuery(QStringLiteral("SELECT * FROM ") + m_settings.DetailTable +
                          QStringLiteral(" WHERE 1=0"))
        ->FieldNames();
}

bool TMasterDetailDocument::Load(int key, TDocumentValues& master, std::vector<TDocumentValues>& lines) {
    const std::unique_ptr<TADODataSet> head = m_connection.ExecuteWithQuery(MasterSelect(key));
    if (head->IsEmpty()) return false;
    const std::unique_ptr<TADODataSet> rows = m_connection.ExecuteWithQuery(LinesSelect(key));
    head->First();
    master = rowValues(*head);
    lines.clear();
    lines.reserve(static_cast<size_t>(rows->RecordCount()));
    for (rows->First(); !rows->Eof(); rows->Next())
        lines.push_back(rowValues(*rows));
    return true;
}

int TMasterDetailDocument::Save(int key, const TDocumentValues& master,
                                const std::vector<TDocumentValues>& lines, const QString& user,
                                const QDateTime& now, const std::function<void(int)>& step) {
    const TMasterDetailSettings& s = m_settings;
    const bool inserting = key == 0;
    TDocumentValues values = master;
    const auto setAudit = [&](const QString& field, const QVariant& v) {
        if (!field.isEmpty()) values.insert(field.toUpper(), v);
    };
    if (inserting) {
        setAudit(s.CreateUserField, user);
        setAudit(s.CreateTimeField, now);
    }
    setAudit(s.ModifyUserField, user);
    setAudit(s.ModifyTimeField, now);
    if (!s.ConfirmStateField.isEmpty() && values.value(s.ConfirmStateField.toUpper()).isNull())
        setAudit(s.ConfirmStateField, s.UnconfirmedState());

    TTransaction transaction(m_connection);
    const std::unique_ptr<TADODataSet> head = m_connection.ExecuteWithQuery(
        inserting ? QStringLiteral("SELECT * FROM ") + s.MasterTable + QStringLiteral(" WHERE 1=0")
                  : MasterSelect(key));
    if (inserting) {
        head->Append();
    } else {
        if (head->IsEmpty()) throw EDatabaseError(missingRow(s, key));
        head->Edit();
    }
    for (int i = 0; i < head->FieldCount(); ++i) {
        TField& f = head->Fields(i);
        if (sameName(s.MasterKeyField, f.FieldName())) continue;
        const auto it = values.constFind(f.FieldName().toUpper());
        if (it == values.constEnd() || (inserting && it->isNull())) continue;
        setIfPresent(*head, f.FieldName(), *it);
    }
    head->Post();
    const int saved = head->FieldByName(s.MasterKeyField).AsInteger();

    // The lines are replaced as a whole, in the given order.
    m_connection.ExecuteNonQuery(QStringLiteral("DELETE FROM ") + s.DetailTable + QStringLiteral(" WHERE ") +
                                 s.DetailKeyField + QStringLiteral(" = ") + QString::number(saved));
    const std::unique_ptr<TADODataSet> rows = m_connection.ExecuteWithQuery(
        QStringLiteral("SELECT * FROM ") + s.DetailTable + QStringLiteral(" WHERE 1=0"));
    TField* state = s.ConfirmStateField.isEmpty() ? nullptr : rows->FindField(s.ConfirmStateField);
    for (const TDocumentValues& line : lines) {
        rows->Append();
        for (auto it = line.constBegin(); it != line.constEnd(); ++it) {
            if (sameName(s.DetailKeyField, it.key()) || sameName(s.DetailLineKeyField, it.key()) ||
                it->isNull())
                continue;
            setIfPresent(*rows, it.key(), *it);
        }
        rows->FieldByName(s.DetailKeyField).SetAsInteger(saved);
        if (state && state->IsNull()) state->SetAsString(s.UnconfirmedState());
        rows->Post();
    }
    if (step) step(saved);
    transaction.Commit();
    return saved;
}

void TMasterDetailDocument::SetConfirmation(int key, bool confirm, const QString& user, const QDate& today,
                                            const std::function<void()>& step) {
    const TMasterDetailSettings& s = m_settings;
    if (s.ConfirmStateField.isEmpty()) throw EDatabaseError(QStringLiteral("单据没有审核状态字段"));
    const QString stateText = confirm ? s.ConfirmedState() : s.UnconfirmedState();
    const QDateTime day(today, QTime(0, 0));
    const auto stamp = [&](TDataSet& ds) {
        ds.Edit();
        ds.FieldByName(s.ConfirmStateField).SetAsString(stateText);
        setIfPresent(ds, s.ConfirmUserField, user);
        setIfPresent(ds, s.ConfirmDateField, day);
        ds.Post();
    };
    TTransaction transaction(m_connection);
    const std::unique_ptr<TADODataSet> head = m_connection.ExecuteWithQuery(MasterSelect(key));
    if (head->IsEmpty()) throw EDatabaseError(missingRow(s, key));
    stamp(*head);
    const std::unique_ptr<TADODataSet> rows = m_connection.ExecuteWithQuery(LinesSelect(key));
    if (rows->FindField(s.ConfirmStateField))
        for (rows->First(); !rows->Eof(); rows->Next())
            stamp(*rows);
    if (step) step();
    transaction.Commit();
}

void TMasterDetailDocument::Delete(int key) {
    const TMasterDetailSettings& s = m_settings;
    TTransaction transaction(m_connection);
    m_connection.ExecuteNonQuery(QStringLiteral("DELETE FROM ") + s.DetailTable + QStringLiteral(" WHERE ") +
                                 s.DetailKeyField + QStringLiteral(" = ") + QString::number(key));
    m_connection.ExecuteNonQuery(QStringLiteral("DELETE FROM ") + s.MasterTable + QStringLiteral(" WHERE ") +
                                 s.MasterKeyField + QStringLiteral(" = ") + QString::number(key));
    transaction.Commit();
}

} // namespace lnq
