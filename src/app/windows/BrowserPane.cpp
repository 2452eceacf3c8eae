#include "BrowserPane.h"

#include <QFile>
#include <QVBoxLayout>
#include <QWebEngineLoadingInfo>
#include <QWebEnginePage>
#include <QWebEngineView>

#include <cstdlib>

#ifndef VANTOR_VENDOR_SITE
#define VANTOR_VENDOR_SITE "http://www.vantor.cn"
#endif
#ifndef VANTOR_VENDOR_MAIL
#define VANTOR_VENDOR_MAIL "support@vantor.cn"
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

QString vendorMail() {
    const char* mail = std::getenv("VANTOR_VENDOR_MAIL");
    return QString::fromUtf8(mail && *mail ? mail : VANTOR_VENDOR_MAIL);
}

BrowserPane::BrowserPane(QString fallbackTitle, QString fallbackPage, QWidget* parent)
    : QWidget(parent),
      view_(new QWebEngineView(this)),
      fallbackTitle_(std::move(fallbackTitle)),
      fallbackPage_(std::move(fallbackPage)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view_);
    connect(view_->page(), &QWebEnginePage::loadingChanged, this, [this](const QWebEngineLoadingInfo& load) {
        if (load.status() == QWebEngineLoadingInfo::LoadSucceededStatus) loaded(true);
        // A page left for another one ends too; only the failure of the page asked for last counts.
        if (load.status() == QWebEngineLoadingInfo::LoadFailedStatus &&
            (fallback_ ||
             load.url().adjusted(QUrl::RemoveFragment) == requested_.adjusted(QUrl::RemoveFragment)))
            loaded(false);
    });
}

void BrowserPane::open(const QUrl& url) {
    requested_ = url;
    fallback_ = false;
    // Going to another part of the page shown would load nothing and report nothing: the page loads
    // whole, and then goes to its part.
    view_->load(url.adjusted(QUrl::RemoveFragment));
}

void BrowserPane::openFilled(const QString& resource, const QList<std::pair<QString, QString>>& fields) {
    QFile page(resource);
    page.open(QIODevice::ReadOnly);
    QString html = QString::fromUtf8(page.readAll());
    for (const auto& [name, value] : fields)
        html.replace("{{" + name + "}}", value.toHtmlEscaped());
    requested_ = QUrl("qrc" + resource);
    fallback_ = false;
    // The page's own folder as its base, so its style sheet and links resolve.
    view_->setHtml(html, requested_.adjusted(QUrl::RemoveFilename));
}

void BrowserPane::loaded(bool ok) {
    if (fallback_) {
        emit pageReady(true);
        return;
    }
    if (ok) {
        if (requested_.hasFragment())
            view_->page()->runJavaScript(
                QString("location.hash = '%1';").arg(requested_.fragment(QUrl::FullyEncoded)));
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
