#include "demo/RecordEdit_ui.h"

#include "data/DataSet.h"
#include "data/FieldTypes.h"
#include "data/Plat_adodatabasese.h"
#include "data/Plat_dataenvironment.h"
#include "filter/ViewList.h"
#include "forms/Ctrl_LNQSuperEdit.h"
#include "grid/core/Ctrl_LNQMaskEdit.h"
#include "util/Exceptions.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"
#include "util/Plat_enterfocus_ui.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace lnq {

namespace {

// Columns chosen from another table. NumberField, when set, is the column
// that takes the chosen row's number (the edit itself shows the name).
struct LookupSpec {
    const char* Field;
    const char* NumberField;
    const char* Sql;
    const char* NoField;
    const char* CodeField;
    const char* ValueField;
};

const LookupSpec kLookups[] = {
    {"vProvince", nullptr, "select vProvince, vArea, vAreaCode from dic_Province", "", "", "vProvince"},
    {"vGoodsName", "iGoodsNo",
     "select iCustomerNo, vCustomerName, vPYCode, vProvince from Cust_CustomersMain where bIsSupplier=1",
     "iCustomerNo", "vPYCode", "vCustomerName"},
};

const LookupSpec* lookupOf(const QString& field) {
    for (const LookupSpec& l : kLookups)
        if (field.compare(QLatin1String(l.Field), Qt::CaseInsensitive) == 0) return &l;
    return nullptr;
}

bool isIntegerType(TFieldType t) {
    return StorageKindOf(t) == TStorageKind::Integer;
}

bool isBinaryType(TFieldType t) {
    return StorageKindOf(t) == TStorageKind::Bytes;
}

QString captionOf(const QString& field) {
    TDataEnvironment* env = TDataEnvironment::Instance();
    return env ? env->GetTitleCaption(field) : field;
}

int decimalsOf(const TFieldDef& def) {
    if (def.DataType == TFieldType::ftCurrency) return 2;
    // A decimal column read without its scale shows cents, as amounts do.
    if (def.DataType == TFieldType::ftBCD || def.DataType == TFieldType::ftFMTBcd)
        return def.Scale > 0 ? def.Scale : 2;
    return def.DataType == TFieldType::ftFloat ? 2 : 0;
}

} // namespace

TDemoRecordEditfm::TDemoRecordEditfm(std::shared_ptr<IConnection> connection, const TDemoScreen& screen,
                                     const QString& key, QWidget* parent)
    : QDialog(parent), m_connection(std::move(connection)), m_screen(screen), m_key(key) {
    setObjectName(QStringLiteral("RecordEditfm"));
    setWindowTitle(m_screen.Caption + (IsInsert()
                                           ? QStringLiteral(" - 新增")
                                           : QStringLiteral(" - 修改（编号 ") + key + QStringLiteral("）")));
    bool numeric = false;
    m_key.toLongLong(&numeric);
    if (!IsInsert() && !numeric) throw EDatabaseError(QStringLiteral("记录编号无效：") + key);
    const QString sql = QStringLiteral("select * from ") + m_screen.EditTable + QStringLiteral(" where ") +
                        (IsInsert() ? QStringLiteral("1=0") : m_screen.KeyField + QLatin1Char('=') + m_key);
    m_data = m_connection->ExecuteWithQuery(sql);
    if (!IsInsert() && m_data->IsEmpty())
        throw EDatabaseError(QStringLiteral("记录不存在或已被删除：") + m_screen.Caption + QLatin1Char(' ') +
                             key);
    if (IsInsert()) {
        m_data->Append();
        for (const QString& pair : m_screen.InsertDefaults) {
            const qsizetype eq = pair.indexOf(QLatin1Char('='));
            if (TField* f = m_data->FindField(pair.left(eq))) f->SetAsString(pair.mid(eq + 1));
        }
    }
    buildEditors();
    loadValues();
    TEnterFocus::Install(*this);
}

TDemoRecordEditfm::~TDemoRecordEditfm() = default;

void TDemoRecordEditfm::buildEditors() {
    auto* outer = new QVBoxLayout(this);
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* page = new QWidget(scroll);
    auto* grid = new QGridLayout(page);
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(3, 1);
    int slot = 0;
    auto place = [&](const QString& caption, QWidget* editor) {
        const int row = slot / 2;
        const int col = (slot % 2) * 2;
        auto* label = new QLabel(caption + QStringLiteral("："), page);
        label->setBuddy(editor);
        grid->addWidget(label, row, col, Qt::AlignRight);
        grid->addWidget(editor, row, col + 1);
        ++slot;
    };
    QStringList companions;
    for (const LookupSpec& l : kLookups)
        if (l.NumberField) companions << QString::fromLatin1(l.NumberField);

    for (int i = 0; i < m_data->FieldCount(); ++i) {
        const TField& field = m_data->Fields(i);
        const TFieldDef& def = field.Def();
        const QString name = field.FieldName();
        if (name.compare(m_screen.KeyField, Qt::CaseInsensitive) == 0) {
            auto* keyEdit = new TLNQMaskEdit(page);
            keyEdit->setObjectName(name);
            keyEdit->SetReadOnly(true);
            keyEdit->setText(IsInsert() ? QStringLiteral("（自动）") : m_key);
            place(captionOf(name), keyEdit);
            continue;
        }
        const QString caption = captionOf(name);
        if (IsSharingField(name) || caption == QLatin1String("NotVisible") || isBinaryType(def.DataType) ||
            companions.contains(name, Qt::CaseInsensitive) || def.ReadOnly)
            continue;
        Binding b;
        b.Field = name;
        if (IsBooleanTypeGroup(def.DataType)) {
            auto* box = new QCheckBox(page);
            b.Editor = box;
        } else if (const LookupSpec* l = lookupOf(name)) {
            auto* lookup = new TLNQSuperEdit(page);
            lookup->SetConnectionEx(m_connection);
            lookup->SetSQLs(QString::fromUtf8(l->Sql));
            lookup->SetNoField(QString::fromLatin1(l->NoField));
            lookup->SetCodeField(QString::fromLatin1(l->CodeField));
            lookup->SetValueField(QString::fromLatin1(l->ValueField));
            if (l->NumberField) b.NumberField = QString::fromLatin1(l->NumberField);
            b.Editor = lookup;
        } else {
            auto* edit = new TLNQMaskEdit(page);
            if (IsNumberTypeGroup(def.DataType)) {
                // Decimal typing for every number: the edit then refuses letters.
                edit->SetDataTypePro(dpDecimal);
                edit->SetDataDec(isIntegerType(def.DataType) ? 0 : decimalsOf(def));
                edit->setAlignment(Qt::AlignRight);
            } else if (def.DataType == TFieldType::ftDate) {
                edit->SetEditMask(QStringLiteral("0000-00-00;1;_"));
            } else if (IsDateTypeGroup(def.DataType)) {
                edit->SetEditMask(QStringLiteral("0000-00-00 00:00:00;1;_"));
            } else if (def.Size > 0) {
                edit->SetMaxLength(def.Size);
            }
            b.Editor = edit;
        }
        b.Editor->setObjectName(name);
        place(caption, b.Editor);
        m_bindings << b;
    }
    grid->setRowStretch(slot / 2 + 1, 1);
    scroll->setWidget(page);
    outer->addWidget(scroll, 1);

    auto* buttons = new QDialogButtonBox(this);
    m_saveButton = buttons->addButton(QStringLiteral("保存"), QDialogButtonBox::AcceptRole);
    m_saveButton->setObjectName(QStringLiteral("SaveButton"));
    buttons->addButton(QStringLiteral("取消"), QDialogButtonBox::RejectRole)
        ->setObjectName(QStringLiteral("CancelButton"));
    connect(buttons, &QDialogButtonBox::accepted, this, &TDemoRecordEditfm::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &TDemoRecordEditfm::reject);
    outer->addWidget(buttons);
    resize(720, std::min(640, 120 + (slot / 2 + 1) * 34));
}

QString TDemoRecordEditfm::valueText(const TField& field) const {
    if (field.IsNull()) return QString();
    const TFieldType t = field.DataType();
    if (t == TFieldType::ftDate) return field.AsDateTime().toString(QStringLiteral("yyyy-MM-dd"));
    if (IsDateTypeGroup(t)) return field.AsDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (IsNumberTypeGroup(t) && !isIntegerType(t))
        return QString::number(field.AsFloat(), 'f', decimalsOf(field.Def()));
    return field.AsString();
}

void TDemoRecordEditfm::loadValues() {
    for (const Binding& b : m_bindings) {
        const TField& field = m_data->FieldByName(b.Field);
        if (auto* box = qobject_cast<QCheckBox*>(b.Editor)) {
            box->setChecked(!field.IsNull() && field.AsBoolean());
        } else if (auto* lookup = qobject_cast<TLNQSuperEdit*>(b.Editor)) {
            if (!b.NumberField.isEmpty()) lookup->SetNo(m_data->FieldByName(b.NumberField).AsString());
            lookup->SetValue(field.AsString());
            lookup->setText(field.AsString());
        } else if (auto* edit = qobject_cast<TLNQMaskEdit*>(b.Editor)) {
            edit->setText(valueText(field));
        }
    }
}

QWidget* TDemoRecordEditfm::EditorOf(const QString& fieldName) const {
    for (const Binding& b : m_bindings)
        if (b.Field.compare(fieldName, Qt::CaseInsensitive) == 0) return b.Editor;
    return nullptr;
}

bool TDemoRecordEditfm::storeValue(const Binding& b) {
    TField& field = m_data->FieldByName(b.Field);
    const QString caption = captionOf(b.Field);
    auto refuse = [&](const QString& why) {
        TClientUtils::MsgBox(QStringLiteral("“") + caption + QStringLiteral("”") + why,
                             QStringLiteral("提示"), mb::Ok);
        b.Editor->setFocus();
        return false;
    };
    if (auto* box = qobject_cast<QCheckBox*>(b.Editor)) {
        field.SetAsBoolean(box->isChecked());
        return true;
    }
    if (auto* lookup = qobject_cast<TLNQSuperEdit*>(b.Editor)) {
        const QString text = lookup->text().trimmed();
        if (!b.NumberField.isEmpty()) {
            TField& number = m_data->FieldByName(b.NumberField);
            if (text.isEmpty()) {
                number.Clear();
            } else if (text == lookup->Value() && lookup->No() != QLatin1String("0")) {
                number.SetAsString(lookup->No());
            } else {
                return refuse(QStringLiteral("请从下拉列表中选择"));
            }
        }
        if (text.isEmpty())
            field.Clear();
        else
            field.SetAsString(text);
        return true;
    }
    auto* edit = qobject_cast<TLNQMaskEdit*>(b.Editor);
    if (!edit) return true;
    const TFieldDef& def = field.Def();
    QString text = edit->Text().trimmed();
    const bool blank = IsDateTypeGroup(def.DataType)
                           ? std::none_of(text.begin(), text.end(), [](QChar c) { return c.isDigit(); })
                           : text.isEmpty();
    if (blank) {
        if (def.Required) return refuse(QStringLiteral("不能为空"));
        field.Clear();
        return true;
    }
    if (IsNumberTypeGroup(def.DataType)) {
        bool ok = false;
        const double v = QLocale::c().toDouble(text.remove(QLatin1Char(',')), &ok);
        if (!ok) return refuse(QStringLiteral("不是有效的数字"));
        if (isIntegerType(def.DataType))
            field.SetAsLargeInt(static_cast<qint64>(v));
        else
            field.SetAsFloat(v);
        return true;
    }
    if (IsDateTypeGroup(def.DataType)) {
        const QDate date = QDate::fromString(text.left(10), QStringLiteral("yyyy-MM-dd"));
        QTime time(0, 0);
        if (text.size() > 10) time = QTime::fromString(text.mid(11, 8), QStringLiteral("HH:mm:ss"));
        if (!date.isValid() || !time.isValid()) return refuse(QStringLiteral("不是有效的日期"));
        field.SetAsDateTime(QDateTime(date, time));
        return true;
    }
    field.SetAsString(text);
    return true;
}

bool TDemoRecordEditfm::Save() {
    try {
        if (m_data->State() == TDataSetState::dsBrowse) m_data->Edit();
        for (const Binding& b : m_bindings)
            if (!storeValue(b)) return false;
        m_data->Post();
        m_savedKey = m_data->FieldByName(m_screen.KeyField).AsString();
    } catch (const Exception& e) {
        TClientUtils::MsgBox(QStringLiteral("保存失败：") + e.Message(), QStringLiteral("错误提示"),
                             mb::Ok | mb::IconHand);
        return false;
    }
    Q_EMIT saved(m_savedKey);
    return true;
}

void TDemoRecordEditfm::accept() {
    if (Save()) QDialog::accept();
}

} // namespace lnq
