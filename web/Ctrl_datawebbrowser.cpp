#include "web/Ctrl_datawebbrowser.h"

#include "data/DataSet.h"

#include <QDesktopServices>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QTextCursor>
#include <QUrl>

namespace lnq {

namespace {
TLNQDataWebBrowser::TAppNavigateFn& appNavigate() {
    static TLNQDataWebBrowser::TAppNavigateFn handler;
    return handler;
}
} // namespace

TLNQDataWebBrowser::TLNQDataWebBrowser(QWidget* parent) : QTextBrowser(parent) {
    // Every activation comes through Navigate: the widget follows nothing itself.
    setOpenLinks(false);
    setOpenExternalLinks(false);
    OnOpenExternal = [](const QUrl& url) { QDesktopServices::openUrl(url); };
    connect(this, &QTextBrowser::anchorClicked, this, [this](const QUrl& url) {
        // The raw text of the anchor activated; the parsed URL only when the
        // raw text could not be taken (it is then the best there is).
        const QString href = m_pressedHref.isEmpty() ? url.toString() : m_pressedHref;
        m_pressedHref.clear();
        Navigate(href);
    });
}

TLNQDataWebBrowser::~TLNQDataWebBrowser() = default;

void TLNQDataWebBrowser::SetAppNavigate(TAppNavigateFn handler) {
    appNavigate() = std::move(handler);
}

bool TLNQDataWebBrowser::HasAppNavigate() {
    return static_cast<bool>(appNavigate());
}

bool TLNQDataWebBrowser::Navigate(const QString& href) {
    if (href.left(6).toUpper() == QLatin1String("APP://")) {
        if (!appNavigate()) return false; // left alone: nothing in the page handles it
        appNavigate()(*this, href);
        return true;
    }
    if (OnOpenExternal) OnOpenExternal(QUrl(href));
    return false;
}

void TLNQDataWebBrowser::mousePressEvent(QMouseEvent* event) {
    m_pressedHref = anchorAt(event->position().toPoint());
    QTextBrowser::mousePressEvent(event);
}

void TLNQDataWebBrowser::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        // Keyboard activation: the anchor the focus frame is on is selected.
        const QTextCursor cursor = textCursor();
        m_pressedHref = cursor.hasSelection() ? cursor.charFormat().anchorHref() : QString();
    }
    QTextBrowser::keyPressEvent(event);
}

void TLNQDataWebBrowser::LoadHtml(const QString& html) {
    m_html = html;
    m_pagePending = true;
    if (isVisible()) EnsurePageLoaded();
}

void TLNQDataWebBrowser::EnsurePageLoaded() {
    if (!m_pagePending) return;
    m_pagePending = false;
    setHtml(m_html);
}

void TLNQDataWebBrowser::showEvent(QShowEvent* event) {
    EnsurePageLoaded();
    QTextBrowser::showEvent(event);
}

void TLNQDataWebBrowser::CommShowDataSet(const TDataSet& dataSet, const QString& layoutName) {
    if (layoutName.isEmpty())
        m_page.ClearFieldsCaptions();
    else
        m_page.InitFieldsCaptions(layoutName);
    if (!m_page.CollectRecord(dataSet)) return;
    OutPutDataWeb();
}

void TLNQDataWebBrowser::CommShowDataSet(const TDataSet& dataSet, const TCaptionMap& captions) {
    m_page.InitFieldsCaptions(captions);
    if (!m_page.CollectRecord(dataSet)) return;
    OutPutDataWeb();
}

void TLNQDataWebBrowser::OutPutDataWeb() {
    LoadHtml(m_page.RecordPage());
}

void TLNQDataWebBrowser::PropertyOutPutWebHtml(TDataSet& dataSet, const QString& params) {
    LoadHtml(m_page.PropertyPage(dataSet, params));
}

void TLNQDataWebBrowser::ShowDatasetPB(TDataSet& dataSet) {
    LoadHtml(m_page.ContactCardPage(dataSet));
}

void TLNQDataWebBrowser::ShowText(const QString& text) {
    QString body = text.toHtmlEscaped();
    body.replace(QStringLiteral("\r\n"), QStringLiteral("<BR>"));
    body.replace(QStringLiteral("\n"), QStringLiteral("<BR>"));
    LoadHtml(DataWebPageHeader() + body + QStringLiteral("</body></html>"));
}

} // namespace lnq
