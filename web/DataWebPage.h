#pragma once
// The pages of the record viewer, built without a widget: the current record
// of a dataset or a property list as caption/value pairs, ColumnCount pairs to
// a table row, values turned into links where their caption says they are web
// addresses, mail addresses or mobile numbers. TLNQDataWebBrowser
// (web/Ctrl_datawebbrowser.h) shows them; the lnq tool prints them.
//
// The page texts are kept byte for byte as the stored pages and the hosts'
// style sheets expect them, the unbalanced braces of the header included.

#include <QList>
#include <QPair>
#include <QString>
#include <functional>
#include <vector>

namespace lnq {

class TDataSet;

// The header every page starts with.
QString DataWebPageHeader();

// Percent widths are rounded to the nearest integer, ties to even
// (7.5 -> 8, 17.5 -> 18, 22.5 -> 22).
int RoundHalfEven(double value);

// The link a value becomes, chosen by its caption: "网址" opens in a new
// window; "邮箱"/"EMAIL" and "移动电话"/"手机" become app:// links carrying the
// value as Phone (also for mail addresses) followed by extra; any other
// caption leaves the value as it is.
QString GetHrefStr(const QString& value, const QString& caption, const QString& extra);

// A field name -> caption list used instead of the field dictionary.
using TCaptionMap = QList<QPair<QString, QString>>;

// Where captions of a layout come from: the layout files of the data grid
// register a reader here (name of the layout -> its field captions). Without
// a reader a layout name yields no captions.
using TLayoutCaptionsFn = std::function<TCaptionMap(const QString& layoutName)>;
void SetLayoutCaptionsReader(TLayoutCaptionsFn reader);
bool HasLayoutCaptionsReader();
TCaptionMap LayoutCaptions(const QString& layoutName);

struct TWebItem {
    QString Caption;
    QString Value;
    bool operator==(const TWebItem&) const = default;
};

// The item list and the caption map of one viewer.
class TDataWebPage {
public:
    int ColumnCount() const { return m_columnCount; }
    // Values below 1 are taken as 1.
    void SetColumnCount(int count);

    // Adds the pair; a caption that upper-cases to "NOTVISIBLE" is dropped and
    // the sort marks "↑" / "↓" are removed from the caption.
    void AddItem(const QString& caption, const QString& value);
    void Clear() { m_items.clear(); }
    const std::vector<TWebItem>& Items() const { return m_items; }

    void InitFieldsCaptions(const TCaptionMap& captions) { m_captions = captions; }
    void InitFieldsCaptions(const QString& layoutName) { m_captions = LayoutCaptions(layoutName); }
    void ClearFieldsCaptions() { m_captions.clear(); }
    const TCaptionMap& FieldsCaptions() const { return m_captions; }

    // Collects the current record of dataSet (items cleared first): the
    // caption map's caption, else the field dictionary's for a dataset read
    // from the database, else the field name; a "NotVisible" caption skips
    // the field; null gives "", booleans "是"/"否", links by GetHrefStr.
    // Returns false and collects nothing for a closed or empty dataset.
    bool CollectRecord(const TDataSet& dataSet);

    // The record page of the items.
    QString RecordPage() const;

    // The property page of a dataset with vSubType, vPropertyName,
    // vPropertyValue and vAppLinkFormat (without that column no value is a
    // link); params is "name=value;name=value"
    // for the "[name]" markers of the link formats.
    QString PropertyPage(TDataSet& dataSet, const QString& params) const;

    // The contact cards of a contact dataset (iCustomerNo, iContactNo,
    // vContact, vPhoneZone, vPhoneNumber, vPhoneKind; vTitle, vMobile and
    // vEmail when present), one card per record in order: the name as a link
    // to the contact's screen, the title, the phone line (zone, number and
    // kind joined by " - ", empty parts left out), mobile and mail as links,
    // and a link "编辑联系人" to the contact editor.
    QString ContactCardPage(TDataSet& dataSet) const;

private:
    QString CaptionOf(const TDataSet& dataSet, int field) const;

    int m_columnCount = 2;
    std::vector<TWebItem> m_items;
    TCaptionMap m_captions;
};

} // namespace lnq
