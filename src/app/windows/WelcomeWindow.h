#pragma once

#include <QWidget>

namespace vantor {

class BrowserPane;

// The welcome window: the vendor's pages, and the program's own help pages.
class WelcomeWindow : public QWidget {
    Q_OBJECT
public:
    explicit WelcomeWindow(QWidget* parent = nullptr);

    void openVendorPage(const QString& path);
    BrowserPane* browser() const { return browser_; }

private:
    BrowserPane* browser_;
};

} // namespace vantor
