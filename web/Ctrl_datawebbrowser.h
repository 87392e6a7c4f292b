#pragma once
// TLNQDataWebBrowser: the record viewer. Shows the current record of a dataset,
// or a property list, as an HTML page of caption/value pairs (web/DataWebPage.h
// builds the pages). Links of the form app://... are never followed: they go
// to the one handler the host registered with SetAppNavigate, whatever the
// case of the scheme; without a handler they are left alone. Other links open
// as the desktop opens them.
//
// Links are handed on with their raw href text: a parsed URL lower-cases the
// host part, and app:// links name the host's screens in mixed case.

#include "web/DataWebPage.h"

#include <QTextBrowser>
#include <functional>

namespace lnq {

class TDataSet;

class TLNQDataWebBrowser : public QTextBrowser {
    Q_OBJECT
    Q_PROPERTY(int ColumnCount READ ColumnCount WRITE SetColumnCount)
public:
    explicit TLNQDataWebBrowser(QWidget* parent = nullptr);
    ~TLNQDataWebBrowser() override;

    // The class-level handler of app:// links (sender, the whole link).
    using TAppNavigateFn = std::function<void(TLNQDataWebBrowser& sender, const QString& url)>;
    static void SetAppNavigate(TAppNavigateFn handler);
    static bool HasAppNavigate();

    int ColumnCount() const { return m_page.ColumnCount(); }
    void SetColumnCount(int count) { m_page.SetColumnCount(count); }

    void AddItem(const QString& caption, const QString& value) { m_page.AddItem(caption, value); }
    void Clear() { m_page.Clear(); }
    const TDataWebPage& Page() const { return m_page; }

    // Caption map from a grid's column titles (field name -> title; a data
    // grid gives it with GridFieldsCaptions, grid/data/Ctrl_LNQDBGrid.h) or
    // from a layout file (through the reader registered in web/DataWebPage.h,
    // which every data grid installs: InstallLayoutCaptionsReader).
    void InitFieldsCaptions(const TCaptionMap& captions) { m_page.InitFieldsCaptions(captions); }
    void InitFieldsCaptions(const QString& layoutName) { m_page.InitFieldsCaptions(layoutName); }

    // Collects the current record (the caption map from layoutName when it is
    // given, else none) and shows its page; a closed or empty dataset leaves
    // the page unchanged.
    void CommShowDataSet(const TDataSet& dataSet, const QString& layoutName = QString());
    // The same with a caption map given (a grid's titles): fields the map
    // does not name show under their field names, unless mapped to
    // "NotVisible".
    void CommShowDataSet(const TDataSet& dataSet, const TCaptionMap& captions);
    // Shows the record page of the items collected so far.
    void OutPutDataWeb();
    // Shows the property page of a property dataset.
    void PropertyOutPutWebHtml(TDataSet& dataSet, const QString& params);
    // Shows the contact cards of a contact dataset.
    void ShowDatasetPB(TDataSet& dataSet);
    // Shows a plain text (a view's description) in the page's style.
    void ShowText(const QString& text);

    // The HTML last loaded, exactly as built.
    const QString& PageHtml() const { return m_html; }
    // The page is laid out for the width it is shown at: while the viewer is
    // hidden (a collapsed side panel, a form being built) the newest page
    // waits and is laid out once when the viewer appears, not at every record
    // change and every resize before that. This lays out a waiting page now.
    void EnsurePageLoaded();

    // How links other than app:// open; the desktop's handler unless replaced.
    std::function<void(const QUrl& url)> OnOpenExternal;

    // The navigation step itself: true when the link went to the app handler.
    bool Navigate(const QString& href);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void LoadHtml(const QString& html);

    TDataWebPage m_page;
    QString m_html;
    bool m_pagePending = false;
    QString m_pressedHref; // raw href under the last mouse press / keyboard focus
};

} // namespace lnq
