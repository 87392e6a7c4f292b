#include "forms/Plat_searchdialogs_ui.h"

#include "data/Plat_databaseinterface.h"
#include "forms/Plat_searchdialogfm_ui.h"
#include "forms/Plat_searchlists.h"
#include "grid/data/Ctrl_LNQDBGrid.h"

#include <QApplication>
#include <QHash>
#include <memory>
#include <optional>
#include <vector>

namespace lnq {

std::function<void(TPLAT_Searchfm&)> TUtils_SearchDialogs::OnBeforeShow;

namespace {

constexpr int mrOk = TPLAT_Searchfm::mrOk;

const TSearchList& listOf(const char* member) {
    const TSearchList* list = TSearchLists::Find(QLatin1String(member));
    Q_ASSERT(list);
    return *list;
}

// A multi-choice member: the key column of every chosen row merged into text.
int multiChoice(IConnection& connection, const char* member, QString& text, const QString& sql = {}) {
    const TSearchList& list = listOf(member);
    QStringList chosen;
    const int result = TUtils_SearchDialogs::CommShowDialog(
        connection, sql.isEmpty() ? TSearchLists::Sql(list.member) : sql, list.columns.first(), chosen, true);
    if (result == mrOk) TUtils_SearchDialogs::MergeItems(text, chosen);
    return result;
}

// A single-choice member: its columns of the chosen row into the reference
// arguments, in order; nothing changes when the user cancelled or the list
// was empty.
int singleChoice(IConnection& connection, const char* member, const QString& sql,
                 std::initializer_list<QString*> targets) {
    const TSearchList& list = listOf(member);
    QList<QStringList> rows;
    const int result = TUtils_SearchDialogs::ShowRowsDialog(connection, sql, list.columns, rows, false);
    if (result == mrOk && !rows.isEmpty()) {
        int i = 0;
        for (QString* target : targets)
            *target = rows.first().value(i++);
    }
    return result;
}

} // namespace

int TUtils_SearchDialogs::ShowRowsDialog(IConnection& connection, const QString& sql,
                                         const QStringList& columns, QList<QStringList>& rows,
                                         bool multiSelect) {
    // The dataset is declared first so that it outlives the form bound to it.
    const std::unique_ptr<TADODataSet> dataSet = connection.CreateDataset();
    auto form = std::make_unique<TPLAT_Searchfm>(QApplication::activeWindow());
    form->SetMultiSelect(multiSelect);
    form->SetDataSet(dataSet.get());
    connection.FillDataset(*dataSet, sql);
    form->UpdateFieldName();
    if (OnBeforeShow) OnBeforeShow(*form);
    const int result = form->Finished() ? form->ModalResult() : form->exec();

    if (dataSet->Active() && !dataSet->IsEmpty() && result == mrOk) {
        // The fields are looked up before moving: a missing column is an
        // error of the caller's query, raised before anything is returned.
        std::vector<const TField*> fields;
        for (const QString& c : columns)
            fields.push_back(&dataSet->FieldByName(c));
        TBookmarkList& selected = form->LNQDBGrid()->SelectedRows();
        if (selected.Count() == 0) selected.SetCurrentRowSelected(true);
        // The grid repaints once, after the visits.
        struct Quiet {
            TDataSet& ds;
            explicit Quiet(TDataSet& d) : ds(d) { ds.DisableControls(); }
            ~Quiet() { ds.EnableControls(); }
        } quiet(*dataSet);
        const auto texts = [&fields] {
            QStringList row;
            for (const TField* f : fields)
                row << f->AsString();
            return row;
        };
        // Rows in the order of the selection list. Finding one record in a
        // sorted or filtered view means searching it, so a long selection is
        // gathered in one pass over the view instead.
        const int count = selected.Count();
        std::vector<std::optional<QStringList>> chosen(static_cast<size_t>(count));
        constexpr int kVisitLimit = 16;
        if (count <= kVisitLimit) {
            for (int i = 0; i < count; ++i) {
                const TBookmark& b = selected.Items(i);
                if (!dataSet->BookmarkValid(b)) continue;
                dataSet->GotoBookmark(b);
                chosen[static_cast<size_t>(i)] = texts();
            }
        } else {
            QHash<qint64, int> position;
            position.reserve(count);
            for (int i = 0; i < count; ++i)
                position.insert(selected.Items(i).record, i);
            for (dataSet->First(); !dataSet->Eof(); dataSet->Next()) {
                const auto it = position.constFind(dataSet->GetBookmark().record);
                if (it != position.constEnd()) chosen[static_cast<size_t>(*it)] = texts();
            }
        }
        for (const std::optional<QStringList>& row : chosen)
            if (row) rows << *row;
    }
    form->SetDataSet(nullptr);
    form.reset();
    dataSet->Close();
    return result;
}

int TUtils_SearchDialogs::CommShowDialog(IConnection& connection, const QString& sql,
                                         const QString& keyColumn, QStringList& results, bool multiSelect) {
    QList<QStringList> rows;
    const int result = ShowRowsDialog(connection, sql, {keyColumn}, rows, multiSelect);
    for (const QStringList& row : rows)
        results << row.first();
    return result;
}

int TUtils_SearchDialogs::ItemInStr(const QString& item, const QString& list) {
    if (item.isEmpty()) return 0;
    int position = 0;
    qsizetype from = 0;
    while (from <= list.size()) {
        qsizetype comma = list.indexOf(u',', from);
        if (comma < 0) comma = list.size();
        ++position;
        if (QStringView(list).mid(from, comma - from) == item) return position;
        from = comma + 1;
    }
    return 0;
}

void TUtils_SearchDialogs::MergeItems(QString& list, const QStringList& items) {
    // Items already held, and those added by this call, are skipped; the set
    // keeps a long list linear.
    QSet<QString> held;
    for (const QStringView piece : QStringView(list).split(u','))
        if (!piece.isEmpty()) held.insert(piece.toString());
    for (const QString& item : items) {
        if (item.isEmpty() || held.contains(item)) continue;
        if (!list.isEmpty() && !list.endsWith(u',')) list += u',';
        list += item + u',';
        held.insert(item);
    }
}

// ---------------------------------------------------------------- query texts

QString TUtils_SearchDialogs::ServiceSql(const QString& goodsNo) {
    return TSearchLists::ServiceSql(goodsNo);
}

QString TUtils_SearchDialogs::ProgramListSql(bool withPackages) {
    return TSearchLists::ProgramListSql(withPackages);
}

QString TUtils_SearchDialogs::CustomerSql(const QString& condition) {
    return TSearchLists::CustomerSql(condition);
}

QString TUtils_SearchDialogs::SellPlaceSql(const QString& condition) {
    return TSearchLists::SellPlaceSql(condition);
}

QString TUtils_SearchDialogs::GoodsNameSql(const QString& condition) {
    return TSearchLists::GoodsNameSql(condition);
}

QString TUtils_SearchDialogs::ProductListSql(const QString& condition, const QString& goodsNo) {
    return TSearchLists::ProductListSql(condition, goodsNo);
}

// ---------------------------------------------------------------- members

int TUtils_SearchDialogs::ShowMultProvinceListDialog(IConnection& connection, QString& provinces) {
    return multiChoice(connection, "ShowMultProvinceListDialog", provinces);
}

int TUtils_SearchDialogs::ShowServiceDialog(IConnection& connection, const QString& goodsNo,
                                            QStringList& serviceNos) {
    return CommShowDialog(connection, ServiceSql(goodsNo), QStringLiteral("服务编号"), serviceNos, true);
}

int TUtils_SearchDialogs::ShowProgramPackageDialog(IConnection& connection, QString& programNo,
                                                   QString& program, QString& uploadName) {
    return singleChoice(connection, "ShowProgramPackageDialog",
                        TSearchLists::Sql(QStringLiteral("ShowProgramPackageDialog")),
                        {&programNo, &program, &uploadName});
}

int TUtils_SearchDialogs::ShowProgramListDialog(IConnection& connection, bool withPackages,
                                                QString& programNo, QString& program, QString& price,
                                                bool& isPackage) {
    QStringList columns = listOf("ShowProgramListDialog").columns;
    if (withPackages) columns << QStringLiteral("节目类型");
    QList<QStringList> rows;
    const int result = ShowRowsDialog(connection, ProgramListSql(withPackages), columns, rows, false);
    if (result == mrOk && !rows.isEmpty()) {
        const QStringList& row = rows.first();
        programNo = row[0];
        program = row[1];
        price = row[2];
        isPackage = withPackages && row[3] == QStringLiteral("节目包");
    }
    return result;
}

int TUtils_SearchDialogs::ShowMultProgramListDialog(IConnection& connection, bool withPackages,
                                                    QString& programNos) {
    return multiChoice(connection, "ShowMultProgramListDialog", programNos, ProgramListSql(withPackages));
}

int TUtils_SearchDialogs::ShowProductTypeListDialog(IConnection& connection, QString& productTypes) {
    return multiChoice(connection, "ShowProductTypeListDialog", productTypes);
}

int TUtils_SearchDialogs::ShowProductType2ListDialog(IConnection& connection, QString& productTypes2) {
    return multiChoice(connection, "ShowProductType2ListDialog", productTypes2);
}

int TUtils_SearchDialogs::ShowSt_ProductsListDialog(IConnection& connection, QString& productNo,
                                                    QString& barcode, QString& name) {
    return singleChoice(connection, "ShowSt_ProductsListDialog",
                        TSearchLists::Sql(QStringLiteral("ShowSt_ProductsListDialog")),
                        {&productNo, &barcode, &name});
}

int TUtils_SearchDialogs::ShowMultServiceListDialog(IConnection& connection, QString& serviceNos) {
    return multiChoice(connection, "ShowMultServiceListDialog", serviceNos);
}

int TUtils_SearchDialogs::ShowCustomerListDialog(IConnection& connection, const QString& condition,
                                                 QString& no, QString& code, QString& name,
                                                 QString& province) {
    return singleChoice(connection, "ShowCustomerListDialog", CustomerSql(condition),
                        {&no, &code, &name, &province});
}

int TUtils_SearchDialogs::ShowSystemUserListDialog(IConnection& connection, QString& userNo,
                                                   QString& userCode, QString& userName, QString& workRole,
                                                   QString& tel, QString& email) {
    return singleChoice(connection, "ShowSystemUserListDialog",
                        TSearchLists::Sql(QStringLiteral("ShowSystemUserListDialog")),
                        {&userNo, &userCode, &userName, &workRole, &tel, &email});
}

int TUtils_SearchDialogs::ShowMultCustomerListDialog(IConnection& connection, QString& customerNos) {
    return multiChoice(connection, "ShowMultCustomerListDialog", customerNos);
}

int TUtils_SearchDialogs::ShowSellPlaceListDialog(IConnection& connection, const QString& condition,
                                                  QString& no, QString& name, QString& province) {
    return singleChoice(connection, "ShowSellPlaceListDialog", SellPlaceSql(condition),
                        {&no, &name, &province});
}

int TUtils_SearchDialogs::ShowMultSellPlaceListDialog(IConnection& connection, QString& sellPlaceNos) {
    return multiChoice(connection, "ShowMultSellPlaceListDialog", sellPlaceNos);
}

int TUtils_SearchDialogs::ShowGoodsNameListDialog(IConnection& connection, const QString& condition,
                                                  QString& no, QString& name, QString& province) {
    return singleChoice(connection, "ShowGoodsNameListDialog", GoodsNameSql(condition),
                        {&no, &name, &province});
}

int TUtils_SearchDialogs::ShowProductListDialog(IConnection& connection, const QString& condition,
                                                const QString& goodsNo, QStringList& barcodes,
                                                QStringList& productNos) {
    QList<QStringList> rows;
    const int result = ShowRowsDialog(connection, ProductListSql(condition, goodsNo),
                                      listOf("ShowProductListDialog").columns, rows, true);
    for (const QStringList& row : rows) {
        barcodes << row[0];
        productNos << row[1];
    }
    return result;
}

int TUtils_SearchDialogs::ShowMultCustomerKindListDialog(IConnection& connection, QString& customerKinds) {
    return multiChoice(connection, "ShowMultCustomerKindListDialog", customerKinds);
}

int TUtils_SearchDialogs::ShowMultGoodsListDialog(IConnection& connection, QString& goodsNos) {
    return multiChoice(connection, "ShowMultGoodsListDialog", goodsNos);
}

} // namespace lnq
