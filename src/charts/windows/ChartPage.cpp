#include "ChartPage.h"

#include <QTimer>
#include <QWebEngineProfile>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>
#include <QWebEngineUrlSchemeHandler>

namespace vantor::charts {

namespace {

constexpr const char* kSaleScheme = "sale";

// Navigation to a list link is cancelled before it gets here; a request that still comes (a link
// the page fetches as a resource) has nothing to load.
class SaleSchemeHandler : public QWebEngineUrlSchemeHandler {
public:
    using QWebEngineUrlSchemeHandler::QWebEngineUrlSchemeHandler;
    void requestStarted(QWebEngineUrlRequestJob* job) override {
        job->fail(QWebEngineUrlRequestJob::RequestDenied);
    }
};

} // namespace

QString emptyStatePage(const std::string& text) {
    return QString("<!DOCTYPE html><html lang=\"zh-CN\"><head><meta charset=\"utf-8\"><style>"
                   "html,body{height:100%;margin:0}"
                   "body{display:flex;align-items:center;justify-content:center;background:#fff;"
                   "font-family:'Noto Sans CJK SC','Microsoft YaHei','SimSun',sans-serif}"
                   "p{color:#777;font-size:15px;max-width:32em;text-align:center;line-height:1.6}"
                   "</style></head><body><p id=\"empty\">%1</p></body></html>")
        .arg(QString::fromStdString(text).toHtmlEscaped());
}

void registerSaleScheme() {
    QWebEngineUrlScheme scheme(kSaleScheme);
    scheme.setSyntax(QWebEngineUrlScheme::Syntax::Host);
    scheme.setFlags(QWebEngineUrlScheme::LocalScheme | QWebEngineUrlScheme::LocalAccessAllowed);
    QWebEngineUrlScheme::registerScheme(scheme);
}

ChartPage::ChartPage(const Analysis& analysis, std::function<void(const ListLink&)> exportList,
                     QObject* parent)
    : QWebEnginePage(parent), analysis_(analysis), exportList_(std::move(exportList)) {
    QWebEngineProfile* profile = this->profile();
    if (!profile->urlSchemeHandler(kSaleScheme))
        profile->installUrlSchemeHandler(kSaleScheme, new SaleSchemeHandler(profile));
}

bool ChartPage::acceptNavigationRequest(const QUrl& url, NavigationType, bool) {
    const ListLink* link = analysis_.linkFor(url.toString().toStdString());
    if (!link) return true;
    // The save dialog is modal: open it once the browser has its answer, not inside its callback.
    QTimer::singleShot(0, this, [this, link] { exportList_(*link); });
    return false;
}

} // namespace vantor::charts
