#include "demo/OrderEditForm_ui.h"

#include "data/DataSet.h"
#include "data/Plat_databaseinterface.h"
#include "forms/Ctrl_LNQSuperEdit.h"
#include "forms/Plat_searchdialogs_ui.h"
#include "grid/core/Ctrl_LNQMaskEdit.h"
#include "grid/core/Ctrl_LNQStringGrid.h"
#include "util/Clock.h"
#include "util/Exceptions.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"
#include "util/Plat_convert.h"

#include <QDateTimeEdit>
#include <QHBoxLayout>
#include <QLabel>
#include <QShortcut>
#include <QToolButton>
#include <cmath>

namespace lnq {

namespace {

const QString kPrompt = QStringLiteral("提示");

double round2(double v) {
    return std::round(v * 100.0) / 100.0;
}

} // namespace

TOrderEditfm::TOrderEditfm(std::shared_ptr<IConnection> connection, IServicesInterface* services,
                           QWidget* parent)
    : TMasterDetailEditfm(std::move(connection), services, parent) {
    setObjectName(QStringLiteral("OrderEditfm"));
    setWindowTitle(QStringLiteral("销售订单"));
}

TOrderEditfm::~TOrderEditfm() = default;

QString TOrderEditfm::MasterTable() const {
    return QStringLiteral("Sal_SaleMain");
}
QString TOrderEditfm::MasterKeyField() const {
    return QStringLiteral("iNo");
}
QString TOrderEditfm::DetailTable() const {
    return QStringLiteral("Sal_SaleDetail");
}
QString TOrderEditfm::DetailKeyField() const {
    return QStringLiteral("iMasterNo");
}
QString TOrderEditfm::DetailLineKeyField() const {
    return QStringLiteral("iNo");
}
QString TOrderEditfm::ConfirmStateField() const {
    return QStringLiteral("vConfirmState");
}
QString TOrderEditfm::ConfirmUserField() const {
    return QStringLiteral("vConfirmUser");
}
QString TOrderEditfm::ConfirmDateField() const {
    return QStringLiteral("dConfirmDate");
}
QString TOrderEditfm::CreateUserField() const {
    return QStringLiteral("vCreateUser");
}
QString TOrderEditfm::CreateTimeField() const {
    return QStringLiteral("dCreateDate");
}
QString TOrderEditfm::ModifyUserField() const {
    return QStringLiteral("vModifyUser");
}
QString TOrderEditfm::ModifyTimeField() const {
    return QStringLiteral("dModifyDate");
}

void TOrderEditfm::CreateHeader() {
    m_receipt = new TLNQMaskEdit;
    m_receipt->setObjectName(QStringLiteral("EditReceiptNo"));
    m_receipt->setMaxLength(20);
    m_date = new QDateTimeEdit;
    m_date->setObjectName(QStringLiteral("DateTimePickerSaleDate"));
    m_date->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
    m_date->setCalendarPopup(true);
    m_customer = new TLNQSuperEdit;
    m_customer->setObjectName(QStringLiteral("SuperEditCustomer"));
    m_customer->SetConnectionEx(ConnectionPtr());
    m_customer->SetSQLs(
        QStringLiteral("select iCustomerNo, vPYCode, vCustomerName, vProvince from Cust_CustomersMain"));
    m_customer->SetNoField(QStringLiteral("iCustomerNo"));
    m_customer->SetCodeField(QStringLiteral("vPYCode"));
    m_customer->SetValueField(QStringLiteral("vCustomerName"));
    m_customer->SetColumn0Width(-1);
    m_customer->SetColumn1Width(70);
    m_customer->SetColumn2Width(240);
    m_seller = new TLNQMaskEdit;
    m_seller->setObjectName(QStringLiteral("EditSeller"));
    m_seller->setMaxLength(50);
    m_remark = new TLNQMaskEdit;
    m_remark->setObjectName(QStringLiteral("EditRemark"));

    AddHeaderEditor(QStringLiteral("单据编号"), m_receipt, 0, 0);
    AddHeaderEditor(QStringLiteral("销售日期"), m_date, 0, 1);
    AddHeaderEditor(QStringLiteral("客户"), m_customer, 1, 0);
    AddHeaderEditor(QStringLiteral("业务员"), m_seller, 1, 1);
    AddHeaderEditor(QStringLiteral("备注"), m_remark, 2, 0, 2);

    BindField(QStringLiteral("vReceiptNo"), m_receipt);
    BindField(QStringLiteral("dSaleDate"), m_date);
    BindField(QStringLiteral("vSeller"), m_seller);
    BindField(QStringLiteral("vRemark"), m_remark);
    // The customer: its number and its name, both from the lookup edit's choice.
    BindField(
        QStringLiteral("iCustomerNo"), m_customer,
        [this] { return m_customer->GetNo() > 0 ? QVariant(m_customer->GetNo()) : QVariant(); },
        [this](const QVariant& v) { m_customer->SetNo(v.isNull() ? QString() : v.toString()); });
    BindField(
        QStringLiteral("vCustomerName"), m_customer,
        [this] { return m_customer->Value().isEmpty() ? QVariant() : QVariant(m_customer->Value()); },
        [this](const QVariant& v) { m_customer->SetValue(v.isNull() ? QString() : v.toString()); });
    connect(m_customer, &TLNQSuperEdit::ItemChange, this, [this] { MarkModified(); });

    QToolButton* choose =
        AddToolButton(QStringLiteral("SpeedButtonChooseGoods"), QStringLiteral("选货"), true);
    connect(choose, &QToolButton::clicked, this, [this] { ChooseProducts(); });

    // The total in figures and in capital numerals, and the order amount
    // (mAmount) always saved as the sum of the lines.
    m_totalLabel = new QLabel(FooterPanel());
    m_totalLabel->setObjectName(QStringLiteral("LabelTotal"));
    m_capitalLabel = new QLabel(FooterPanel());
    m_capitalLabel->setObjectName(QStringLiteral("LabelCapital"));
    auto* footer = qobject_cast<QHBoxLayout*>(FooterPanel()->layout());
    footer->insertWidget(0, m_totalLabel);
    footer->insertSpacing(1, 16);
    footer->insertWidget(2, m_capitalLabel);
    BindField(
        QStringLiteral("mAmount"), m_totalLabel, [this] { return QVariant(round2(DetailTotal("mAmount"))); },
        [](const QVariant&) {});
    connect(this, &TMasterDetailEditfm::TotalsChanged, this, [this] { totalsChanged(); });
}

void TOrderEditfm::CreateDetailColumns() {
    TLNQStringGrid& g = *DetailGrid();
    const auto add = [&](const char* name, const char* caption, int width, TLNQDataTypePro pro, int dec,
                         TCalcMode calc, bool readOnly) {
        TGridCol* c = g.AddCol(QString::fromLatin1(name), width);
        c->SetCaption(QString::fromUtf8(caption));
        c->SetDataTypePro(pro);
        c->SetDataWidth(pro == dpString ? 0 : 12);
        c->SetDataDec(dec);
        c->SetCalcMode(calc);
        c->SetReadOnly(readOnly);
        c->SetAlignment(IsNumericDataTypePro(pro) ? Qt::AlignRight : Qt::AlignLeft);
        return c;
    };
    add("iProductNo", "商品编号", 64, dpString, 0, ccUser, true);
    add("vBarcode", "商品条码", 110, dpString, 0, ccUser, false);
    TGridCol* name = add("vProductName", "商品名称", 200, dpString, 0, ccCount, true);
    name->SetLoadButton(true);
    add("fQuantity", "数量", 70, dpDecimal, 2, ccSum, false);
    add("mPrice", "单价", 80, dpDecimal, 2, ccUser, false);
    add("mAmount", "金额", 150, dpCurrency, 2, ccSum, true);
    g.SetDefaultRowHeight(24);

    // Goods for the current line: the "..." button of the name column or F3.
    const auto chooseForLine = [this] {
        if (Confirmed()) return;
        const int row = DetailGrid()->Row();
        if (row < 1) return;
        QString no, barcode, productName;
        try {
            if (TUtils_SearchDialogs::ShowSt_ProductsListDialog(Connection(), no, barcode, productName) ==
                    1 &&
                !no.isEmpty())
                SetLineProduct(row, no.toInt());
        } catch (const Exception& e) {
            ShowMessage(e.Message(), QStringLiteral("错误提示"), mb::Ok | mb::IconHand);
        }
    };
    connect(&g, &TLNQCustomGrid::OnLoadButtonClick, this,
            [chooseForLine](TLNQCustomGrid*) { chooseForLine(); });
    auto* f3 = new QShortcut(QKeySequence(Qt::Key_F3), &g);
    f3->setContext(Qt::WidgetWithChildrenShortcut);
    connect(f3, &QShortcut::activated, this, chooseForLine);
}

void TOrderEditfm::InitNewDocument() {
    SetMasterValue(QStringLiteral("vReceiptNo"), nextReceiptNo());
    SetMasterValue(QStringLiteral("dSaleDate"), QDateTime(Clock::today(), QTime(0, 0)));
    SetMasterValue(QStringLiteral("vSeller"), TClientUtils::GetCurrentUserCode(Connection()));
}

QString TOrderEditfm::nextReceiptNo() const {
    if (Services()) {
        const QString fromHost = TClientUtils::GetReceiptNo(*Services(), QString::fromLatin1(kReceiptKind));
        if (!fromHost.isEmpty()) return fromHost;
    }
    // "XS" + the day + a four-digit running number of the day.
    const QString prefix = QStringLiteral("XS") + Clock::today().toString(QStringLiteral("yyyyMMdd"));
    int next = 1;
    try {
        const std::unique_ptr<TADODataSet> ds = Connection().ExecuteWithQuery(
            QStringLiteral("SELECT MAX(vReceiptNo) FROM Sal_SaleMain WHERE vReceiptNo LIKE '") + prefix +
            QStringLiteral("%'"));
        if (!ds->IsEmpty() && !ds->Fields(0).IsNull()) {
            bool ok = false;
            const int last = ds->Fields(0).AsString().mid(prefix.size()).toInt(&ok);
            if (ok) next = last + 1;
        }
    } catch (const Exception&) {
        // No number from the table: the user types one.
        return {};
    }
    return prefix + QString::number(next).rightJustified(4, QLatin1Char('0'));
}

bool TOrderEditfm::SetLineProduct(int row, int productNo) {
    TLNQStringGrid& g = *DetailGrid();
    if (row < 1 || productNo <= 0) return false;
    std::unique_ptr<TADODataSet> ds;
    try {
        ds = Connection().ExecuteWithQuery(QStringLiteral("SELECT iProductNo, vBarcode, vProductName, "
                                                          "mSellPrice FROM St_Products WHERE iProductNo = ") +
                                           QString::number(productNo));
    } catch (const Exception& e) {
        ShowMessage(e.Message(), QStringLiteral("错误提示"), mb::Ok | mb::IconHand);
        return false;
    }
    if (ds->IsEmpty()) return false;
    if (row >= g.RowCount()) g.SetRowCount(row + 1);
    g.SetCellValS(row, QStringLiteral("iProductNo"),
                  ds->FieldByName(QStringLiteral("iProductNo")).AsString());
    g.SetCellValS(row, QStringLiteral("vBarcode"), ds->FieldByName(QStringLiteral("vBarcode")).AsString());
    g.SetCellValS(row, QStringLiteral("vProductName"),
                  ds->FieldByName(QStringLiteral("vProductName")).AsString());
    QString quantity;
    g.GetCellValS(row, QStringLiteral("fQuantity"), quantity);
    if (quantity.trimmed().isEmpty()) g.SetCellValF(row, QStringLiteral("fQuantity"), 1.0);
    g.SetCellValF(row, QStringLiteral("mPrice"), ds->FieldByName(QStringLiteral("mSellPrice")).AsFloat());
    DetailCellChanged(g.ColByName(QStringLiteral("mPrice")), row);
    DetailLinesChanged();
    return true;
}

int TOrderEditfm::ChooseProducts() {
    if (Confirmed()) return 0;
    QStringList barcodes;
    QStringList productNos;
    try {
        if (TUtils_SearchDialogs::ShowProductListDialog(Connection(), QStringLiteral(" and bStop=0"),
                                                        QStringLiteral("-1"), barcodes, productNos) != 1)
            return 0;
    } catch (const Exception& e) {
        ShowMessage(e.Message(), QStringLiteral("错误提示"), mb::Ok | mb::IconHand);
        return 0;
    }
    TLNQStringGrid& g = *DetailGrid();
    const int nameCol = g.ColByName(QStringLiteral("vProductName"));
    // From the current line on, filling empty lines first, then new ones.
    int row = std::max(1, g.Row());
    int filled = 0;
    for (const QString& no : std::as_const(productNos)) {
        while (row < g.RowCount() && !g.Cells(nameCol, row).trimmed().isEmpty())
            ++row;
        if (SetLineProduct(row, no.toInt())) ++filled;
        ++row;
    }
    return filled;
}

void TOrderEditfm::DetailCellChanged(int col, int row) {
    TLNQStringGrid& g = *DetailGrid();
    const QString name = col >= 0 && col < g.ColCount() ? g.GridCols()[col]->ColName() : QString();
    if (name == QLatin1String("vBarcode")) {
        // A scanned or typed barcode puts its product on the line.
        QString barcode;
        g.GetCellValS(row, name, barcode);
        barcode = barcode.trimmed();
        if (barcode.isEmpty()) return;
        QString quoted = barcode;
        quoted.replace(QLatin1Char('\''), QStringLiteral("''"));
        try {
            const std::unique_ptr<TADODataSet> ds = Connection().ExecuteWithQuery(
                QStringLiteral("SELECT iProductNo FROM St_Products WHERE vBarcode = '") + quoted +
                QStringLiteral("'"));
            if (ds->IsEmpty()) {
                ShowMessage(QStringLiteral("没有条码为“") + barcode + QStringLiteral("”的商品"), kPrompt,
                            mb::Ok | mb::IconAsterisk);
                return;
            }
            const int no = ds->Fields(0).AsInteger();
            // SetLineProduct recomputes the line itself.
            QMetaObject::invokeMethod(
                this, [this, row, no] { SetLineProduct(row, no); }, Qt::QueuedConnection);
        } catch (const Exception& e) {
            ShowMessage(e.Message(), QStringLiteral("错误提示"), mb::Ok | mb::IconHand);
        }
        return;
    }
    if (name != QLatin1String("fQuantity") && name != QLatin1String("mPrice")) return;
    double quantity = 0;
    double price = 0;
    try {
        g.GetCellValF(row, QStringLiteral("fQuantity"), quantity);
        g.GetCellValF(row, QStringLiteral("mPrice"), price);
    } catch (const Exception&) {
        return; // not a number yet
    }
    g.SetCellValF(row, QStringLiteral("mAmount"), round2(quantity * price));
}

bool TOrderEditfm::CanSave() {
    const QString receipt = m_receipt->text().trimmed();
    if (receipt.isEmpty()) {
        ShowMessage(QStringLiteral("请输入单据编号"), kPrompt, mb::Ok | mb::IconAsterisk);
        return false;
    }
    if (m_customer->GetNo() <= 0) {
        ShowMessage(QStringLiteral("请选择客户"), kPrompt, mb::Ok | mb::IconAsterisk);
        return false;
    }
    if (DetailLineCount() == 0) {
        ShowMessage(QStringLiteral("请输入商品明细"), kPrompt, mb::Ok | mb::IconAsterisk);
        return false;
    }
    try {
        if (!TClientUtils::CheckReceiptNo(Connection(), KeyValue(), MasterTable(), receipt)) {
            ShowMessage(QStringLiteral("单据编号“") + receipt + QStringLiteral("”已存在"), kPrompt,
                        mb::Ok | mb::IconAsterisk);
            return false;
        }
    } catch (const Exception&) {
        // The save itself reports what is wrong with the database.
    }
    return true;
}

QString TOrderEditfm::CapitalTotal() const {
    const double total = round2(DetailTotal(QStringLiteral("mAmount")));
    try {
        return TUtils_Convert::CurrencyTextToCapitalization2(QString::number(total, 'f', 2));
    } catch (const EConvertError&) {
        return {};
    }
}

void TOrderEditfm::totalsChanged() {
    if (!m_totalLabel) return;
    const double total = round2(DetailTotal(QStringLiteral("mAmount")));
    m_totalLabel->setText(QStringLiteral("合计金额：") + QString::number(total, 'f', 2));
    m_capitalLabel->setText(QStringLiteral("大写：") + CapitalTotal());
}

} // namespace lnq
