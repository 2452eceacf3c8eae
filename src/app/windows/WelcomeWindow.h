#pragma once

#include <QWidget>

namespace vantor {

class BrowserPane;

// The welcome window: the vendor's pages, including the help page of each section.
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
