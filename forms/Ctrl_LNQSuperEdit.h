#pragma once
// TLNQSuperEdit: the lookup edit. The user types part of a record's number,
// code or name; a drop-down (TSuperEditDBFm, Ctrl_SuperEditFm.h) lists the
// matching rows of the base select SQLs; choosing a row sets the edit's
// number, code and value and raises ItemChange.
//
// Keys: typing (keys or input-method commits) opens the drop-down and filters
// it; Down / Up / PageDown / PageUp move in the list; Enter chooses the
// current row; Escape closes the list. The button at the right edge (glyph
// "DROPDOWN", shown while the edit has the focus) opens the whole list.
// Leaving the edit or clicking elsewhere closes it.
//
// The chosen record: No (an empty number is stored as "0"), Code and Value.
// Choosing shows the value as the edit's text. Typing alone does not change
// the chosen record; choosing a row or the drop-down's clear button does, and
// only those user actions raise ItemChange (SetNo / SetCode / SetValue are
// silent, so that hosts loading a record see no change events).
//
// Class-level hooks, shared by all lookup edits of the process: the authority
// function (SetCheckAuthorityFunc) and the default handlers of the
// drop-down's add, clear and search buttons for edits whose own are unset.

#include "grid/core/Ctrl_LNQMaskEdit.h"

#include <QPointer>
#include <QString>
#include <array>
#include <functional>
#include <memory>

namespace lnq {

class IConnection;
class TADOConnection;
class TSuperEditDBFm;

class TLNQSuperEdit : public TLNQMaskEdit {
    Q_OBJECT
    Q_PROPERTY(QString SQLs READ SQLs WRITE SetSQLs)
    Q_PROPERTY(QString NoField READ NoField WRITE SetNoField)
    Q_PROPERTY(QString CodeField READ CodeField WRITE SetCodeField)
    Q_PROPERTY(QString ValueField READ ValueField WRITE SetValueField)
    Q_PROPERTY(bool AutoCheckAuthority READ AutoCheckAuthority WRITE SetAutoCheckAuthority)
    Q_PROPERTY(int Column0Width READ Column0Width WRITE SetColumn0Width)
    Q_PROPERTY(int Column1Width READ Column1Width WRITE SetColumn1Width)
    Q_PROPERTY(int Column2Width READ Column2Width WRITE SetColumn2Width)
    Q_PROPERTY(int Column3Width READ Column3Width WRITE SetColumn3Width)
    Q_PROPERTY(int Column4Width READ Column4Width WRITE SetColumn4Width)
    Q_PROPERTY(int Column5Width READ Column5Width WRITE SetColumn5Width)
    Q_PROPERTY(int Column6Width READ Column6Width WRITE SetColumn6Width)
    Q_PROPERTY(int Column7Width READ Column7Width WRITE SetColumn7Width)
    Q_PROPERTY(int Column8Width READ Column8Width WRITE SetColumn8Width)
    Q_PROPERTY(int Column9Width READ Column9Width WRITE SetColumn9Width)
    Q_PROPERTY(int DropDownWidth READ DropDownWidth WRITE SetDropDownWidth)
    Q_PROPERTY(int DropDownHeight READ DropDownHeight WRITE SetDropDownHeight)
    Q_PROPERTY(bool HasAddButton READ HasAddButton WRITE SetHasAddButton)
    Q_PROPERTY(bool HasClearButton READ HasClearButton WRITE SetHasClearButton)
    Q_PROPERTY(bool HasSearchButton READ HasSearchButton WRITE SetHasSearchButton)
    Q_PROPERTY(bool HasRefreshButton READ HasRefreshButton WRITE SetHasRefreshButton)
    Q_PROPERTY(QString No READ No WRITE SetNo DESIGNABLE false)
    Q_PROPERTY(QString Code READ Code WRITE SetCode DESIGNABLE false)
    Q_PROPERTY(QString Value READ Value WRITE SetValue DESIGNABLE false)
public:
    static constexpr int kColumnWidthCount = 10;
    static constexpr int kDefaultDropDownWidth = 420;
    static constexpr int kDefaultDropDownHeight = 240;

    explicit TLNQSuperEdit(QWidget* parent = nullptr);
    ~TLNQSuperEdit() override;

    QString SQLs() const { return m_sqls; }
    void SetSQLs(const QString& sql);
    QString NoField() const { return m_noField; }
    void SetNoField(const QString& field) { m_noField = field; }
    QString CodeField() const { return m_codeField; }
    void SetCodeField(const QString& field) { m_codeField = field; }
    QString ValueField() const { return m_valueField; }
    void SetValueField(const QString& field) { m_valueField = field; }
    bool AutoCheckAuthority() const { return m_autoCheckAuthority; }
    void SetAutoCheckAuthority(bool on) { m_autoCheckAuthority = on; }

    // Widths of the first ten columns of the drop-down grid: 0 leaves the
    // grid's own width, -1 hides the column.
    int ColumnWidth(int index) const;
    void SetColumnWidth(int index, int width);
    int Column0Width() const { return ColumnWidth(0); }
    void SetColumn0Width(int w) { SetColumnWidth(0, w); }
    int Column1Width() const { return ColumnWidth(1); }
    void SetColumn1Width(int w) { SetColumnWidth(1, w); }
    int Column2Width() const { return ColumnWidth(2); }
    void SetColumn2Width(int w) { SetColumnWidth(2, w); }
    int Column3Width() const { return ColumnWidth(3); }
    void SetColumn3Width(int w) { SetColumnWidth(3, w); }
    int Column4Width() const { return ColumnWidth(4); }
    void SetColumn4Width(int w) { SetColumnWidth(4, w); }
    int Column5Width() const { return ColumnWidth(5); }
    void SetColumn5Width(int w) { SetColumnWidth(5, w); }
    int Column6Width() const { return ColumnWidth(6); }
    void SetColumn6Width(int w) { SetColumnWidth(6, w); }
    int Column7Width() const { return ColumnWidth(7); }
    void SetColumn7Width(int w) { SetColumnWidth(7, w); }
    int Column8Width() const { return ColumnWidth(8); }
    void SetColumn8Width(int w) { SetColumnWidth(8, w); }
    int Column9Width() const { return ColumnWidth(9); }
    void SetColumn9Width(int w) { SetColumnWidth(9, w); }

    // Size of the drop-down form (defaults 420 x 240).
    int DropDownWidth() const { return m_dropDownWidth; }
    void SetDropDownWidth(int w);
    int DropDownHeight() const { return m_dropDownHeight; }
    void SetDropDownHeight(int h);

    // The drop-down's buttons (defaults: clear and refresh shown, add and
    // search hidden, since those two need a host handler to mean anything).
    bool HasAddButton() const { return m_hasAddButton; }
    void SetHasAddButton(bool on);
    bool HasClearButton() const { return m_hasClearButton; }
    void SetHasClearButton(bool on);
    bool HasSearchButton() const { return m_hasSearchButton; }
    void SetHasSearchButton(bool on);
    bool HasRefreshButton() const { return m_hasRefreshButton; }
    void SetHasRefreshButton(bool on);

    // The database interface. ConnectionEx wins; a plain Connection is
    // wrapped in a TInterfacedADOConnection on first use (not owned: it must
    // outlive the edit). Changing either drops the drop-down's dataset.
    std::shared_ptr<IConnection> ConnectionEx() const { return m_connectionEx; }
    void SetConnectionEx(std::shared_ptr<IConnection> connection);
    TADOConnection* Connection() const { return m_connection; }
    void SetConnection(TADOConnection* connection);
    // The interface the drop-down uses (GetConnection's rule); null when
    // neither is set.
    std::shared_ptr<IConnection> GetConnection();

    // The chosen record. SetValue also shows the value as the edit's text.
    void SetNo(const QString& no);
    void SetCode(const QString& code);
    void SetValue(const QString& value);
    QString No() const { return m_no; }
    QString Code() const { return m_code; }
    QString Value() const { return m_value; }
    // The chosen record's number as an integer (0 when none or not a number).
    int GetNo() const override;

    // Handlers of the drop-down's buttons; unset ones fall back to the
    // class-level defaults.
    std::function<void(TLNQSuperEdit&)> OnAddButtonClick;
    std::function<void(TLNQSuperEdit&)> OnClearButtonClick;
    std::function<void(TLNQSuperEdit&)> OnSearchButtonClick;

    static void SetCheckAuthorityFunc(std::function<QString()> func);
    static const std::function<QString()>& CheckAuthorityFunc();
    static void SetDefaultOnAddButtonClick(std::function<void(TLNQSuperEdit&)> handler);
    static void SetDefaultOnClearButtonClick(std::function<void(TLNQSuperEdit&)> handler);
    static void SetDefaultOnSearchButtonClick(std::function<void(TLNQSuperEdit&)> handler);

    // The drop-down form, made on first use (a child of this edit).
    TSuperEditDBFm& DropDownForm();
    bool IsDroppedDown() const;
    // Opens the list under the edit (the whole base select unless filtered
    // already) / closes it.
    void DropDown();
    void CloseUp();

    // The glyph "DROPDOWN".
    void LoadButtonGlyph() override;

    // Sets No, Code and Value from the current row of the drop-down's
    // dataset (NoField, CodeField, ValueField; an unset field gives an empty
    // text), closes the list and raises ItemChange. False when there is no
    // current row.
    bool ChooseCurrentRow();
    // What the clear button does before its handler runs: an empty choice
    // (No "0") and an empty text, then ItemChange.
    void ClearChoice();
    // The handlers of the drop-down's buttons, each falling back to the
    // class-level default.
    void AddButtonClick();
    void ClearButtonClick();
    void SearchButtonClick();

Q_SIGNALS:
    void ItemChange();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void TextEdited(const QString& text);

    QString m_sqls;
    QString m_noField;
    QString m_codeField;
    QString m_valueField;
    bool m_autoCheckAuthority = true;
    std::array<int, kColumnWidthCount> m_columnWidths{};
    int m_dropDownWidth = kDefaultDropDownWidth;
    int m_dropDownHeight = kDefaultDropDownHeight;
    bool m_hasAddButton = false;
    bool m_hasClearButton = true;
    bool m_hasSearchButton = false;
    bool m_hasRefreshButton = true;
    std::shared_ptr<IConnection> m_connectionEx;
    TADOConnection* m_connection = nullptr; // not owned
    std::shared_ptr<IConnection> m_wrapped; // made from m_connection
    QString m_no = QStringLiteral("0");
    QString m_code;
    QString m_value;
    QPointer<TSuperEditDBFm> m_form; // child of this edit
};

} // namespace lnq
