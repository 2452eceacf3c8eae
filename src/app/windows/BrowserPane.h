#pragma once

#include <QList>
#include <QUrl>
#include <QWidget>

#include <utility>

class QWebEngineView;

namespace vantor {

// The vendor's web site: the build's setting, or VANTOR_VENDOR_SITE when set (tests, intranet mirrors).
QUrl vendorSite();
QUrl vendorPage(const QString& path);
// The vendor's mail address for suggestions: the build's setting, or VANTOR_VENDOR_MAIL when set.
QString vendorMail();

// An embedded browser for the vendor's pages. When a page cannot be reached it shows the page
// bundled with the program instead of the browser's error page.
class BrowserPane : public QWidget {
    Q_OBJECT
public:
    // fallbackPage names a page of the bundle; its {{title}} is replaced by fallbackTitle.
    BrowserPane(QString fallbackTitle, QString fallbackPage, QWidget* parent = nullptr);

    void open(const QUrl& url);
    // A page of the resources whose {{name}} fields are replaced by the values, HTML-escaped; it
    // counts as the requested page, not as a fallback.
    void openFilled(const QString& resource, const QList<std::pair<QString, QString>>& fields);
    QUrl requestedUrl() const { return requested_; }
    bool showingFallback() const { return fallback_; }
    QWebEngineView* view() const { return view_; }

signals:
    // The requested page, or the bundled one in its place, has finished loading.
    void pageReady(bool fallback);

private:
    void loaded(bool ok);
    QWebEngineView* view_;
    QString fallbackTitle_;
    QString fallbackPage_;
    QUrl requested_;
    bool fallback_ = false;
};

} // namespace vantor
