#pragma once
// TDemoRecordEditfm: the demo client's record editor, opened by the list
// screens' add and edit links. It shows one row of a screen's table as
// caption/editor pairs (captions from the field dictionary): masked edits
// typed after the column (text, number with its decimals, date), check boxes
// for flags and lookup edits for columns chosen from another table (province,
// supplier). "保存" posts the row through the dataset, which writes it back
// to the table; a failure is reported and the dialog keeps what was typed.
// Enter moves between the editors.

#include "demo/DemoScreens.h"

#include <QDialog>
#include <QMap>
#include <memory>

class QCheckBox;
class QPushButton;

namespace lnq {

class IConnection;
class TADODataSet;
class TLNQMaskEdit;
class TLNQSuperEdit;
class TField;

class TDemoRecordEditfm : public QDialog {
    Q_OBJECT
public:
    // key empty: a new row (the screen's insert defaults preset).
    TDemoRecordEditfm(std::shared_ptr<IConnection> connection, const TDemoScreen& screen, const QString& key,
                      QWidget* parent = nullptr);
    ~TDemoRecordEditfm() override;

    bool IsInsert() const { return m_key.isEmpty(); }
    // The key of the row after a successful save ("" before).
    QString SavedKey() const { return m_savedKey; }
    // The editor of a column (a TLNQMaskEdit, TLNQSuperEdit or QCheckBox),
    // nullptr when the column is not editable here.
    QWidget* EditorOf(const QString& fieldName) const;
    // Writes the editors into the row and posts it; false (after telling the
    // user) when a value does not convert or the database refuses the row.
    bool Save();

    void accept() override;

Q_SIGNALS:
    void saved(const QString& key);

private:
    struct Binding {
        QString Field;
        QWidget* Editor = nullptr;
        QString NumberField; // a lookup's companion column that takes its number
    };
    void buildEditors();
    void loadValues();
    QString valueText(const TField& field) const;
    bool storeValue(const Binding& b);

    std::shared_ptr<IConnection> m_connection;
    TDemoScreen m_screen;
    QString m_key;
    QString m_savedKey;
    std::unique_ptr<TADODataSet> m_data;
    QList<Binding> m_bindings;
    QPushButton* m_saveButton = nullptr;
};

} // namespace lnq
