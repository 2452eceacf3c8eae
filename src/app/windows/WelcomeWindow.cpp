#include "WelcomeWindow.h"

#include "BrowserPane.h"

#include <QVBoxLayout>

namespace vantor {

WelcomeWindow::WelcomeWindow(QWidget* parent)
    : QWidget(parent), browser_(new BrowserPane("欢迎", "offline.html", this)) {
    setWindowTitle("欢迎");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(browser_);
    openVendorPage("/welcome.jsp");
}

void WelcomeWindow::openVendorPage(const QString& path) {
    browser_->open(vendorPage(path));
}

} // namespace vantor
