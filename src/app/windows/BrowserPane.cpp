#include "BrowserPane.h"

#include <QFile>
#include <QVBoxLayout>
#include <QWebEngineView>

#include <cstdlib>

#ifndef VANTOR_VENDOR_SITE
#define VANTOR_VENDOR_SITE "http://www.vantor.cn"
#endif

namespace vantor {

QUrl vendorSite() {
    const char* site = std::getenv("VANTOR_VENDOR_SITE");
    return QUrl(QString::fromUtf8(site && *site ? site : VANTOR_VENDOR_SITE));
}

QUrl vendorPage(const QString& path) {
    QUrl url = vendorSite();
    QString base = url.path();
    if (base.endsWith('/')) base.chop(1);
    url.setPath(base + path);
    return url;
}

BrowserPane::BrowserPane(QString fallbackTitle, QString fallbackPage, QWidget* parent)
    : QWidget(parent),
      view_(new QWebEngineView(this)),
      fallbackTitle_(std::move(fallbackTitle)),
      fallbackPage_(std::move(fallbackPage)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view_);
    connect(view_, &QWebEngineView::loadFinished, this, &BrowserPane::loaded);
}

void BrowserPane::open(const QUrl& url) {
    requested_ = url;
    fallback_ = false;
    view_->load(url);
}

void BrowserPane::loaded(bool ok) {
    if (fallback_) {
        emit pageReady(true);
        return;
    }
    if (ok) {
        emit pageReady(false);
        return;
    }
    fallback_ = true;
    QFile page(":/pages/" + fallbackPage_);
    page.open(QIODevice::ReadOnly);
    QString html = QString::fromUtf8(page.readAll())
                       .replace("{{title}}", fallbackTitle_.toHtmlEscaped())
                       .replace("{{site}}", vendorSite().toString().toHtmlEscaped());
    view_->setHtml(html, QUrl("qrc:/pages/"));
}

} // namespace vantor
