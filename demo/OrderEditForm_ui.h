#pragma once
// TOrderEditfm: the demo's sales order screen over Sal_SaleMain and
// Sal_SaleDetail. Header: receipt number (from the host's numbering, else the
// next "XS" + date + four digits in the table), sale date, customer (lookup
// edit over Cust_CustomersMain, found by name or pinyin initials), seller,
// remark. Lines: goods chosen through the product lookup dialogs (the "选货"
// button, F3 or the "..." button of the goods column), quantity, price, the
// amount on the money digit grid; the total in figures and in capital
// numerals under the grid. The host routes "app://SaleOrder?..." links here
// (ApplinkInit).

#include "forms/MasterDetailEdit_ui.h"

class QDateTimeEdit;
class QLabel;

namespace lnq {

class TLNQMaskEdit;
class TLNQSuperEdit;

class TOrderEditfm : public TMasterDetailEditfm {
    Q_OBJECT
public:
    TOrderEditfm(std::shared_ptr<IConnection> connection, IServicesInterface* services,
                 QWidget* parent = nullptr);
    ~TOrderEditfm() override;

    // The receipt kind asked of the host's numbering.
    static constexpr const char* kReceiptKind = "SaleOrder";

    // Picks goods through the lookup dialog and puts them on lines (from the
    // current line on, empty lines first); the number of lines filled.
    int ChooseProducts();
    // Puts one product on a line, with its list price and quantity 1 when
    // the line has none; false when the product does not exist.
    bool SetLineProduct(int row, int productNo);
    // The order total in capital numerals ("零元整" for nothing).
    QString CapitalTotal() const;

    TLNQSuperEdit* CustomerEdit() const { return m_customer; }
    TLNQMaskEdit* ReceiptEdit() const { return m_receipt; }
    QDateTimeEdit* DateEdit() const { return m_date; }

protected:
    QString MasterTable() const override;
    QString MasterKeyField() const override;
    QString DetailTable() const override;
    QString DetailKeyField() const override;
    QString DetailLineKeyField() const override;
    QString ConfirmStateField() const override;
    QString ConfirmUserField() const override;
    QString ConfirmDateField() const override;
    QString CreateUserField() const override;
    QString CreateTimeField() const override;
    QString ModifyUserField() const override;
    QString ModifyTimeField() const override;

    void CreateHeader() override;
    void CreateDetailColumns() override;
    void InitNewDocument() override;
    void DetailCellChanged(int col, int row) override;
    bool CanSave() override;

private:
    QString nextReceiptNo() const;
    void totalsChanged();

    // children of the form (Qt parent ownership)
    TLNQMaskEdit* m_receipt = nullptr;
    QDateTimeEdit* m_date = nullptr;
    TLNQSuperEdit* m_customer = nullptr;
    TLNQMaskEdit* m_seller = nullptr;
    TLNQMaskEdit* m_remark = nullptr;
    QLabel* m_totalLabel = nullptr;
    QLabel* m_capitalLabel = nullptr;
};

} // namespace lnq
