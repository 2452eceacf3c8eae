#pragma once

#include <QWidget>

class QLabel;
class QProgressBar;

namespace vantor {

// Shown while the program starts; its gauge follows the start-up steps and its state line says what
// is going on, the version check beside it included.
class SplashWindow : public QWidget {
    Q_OBJECT
public:
    explicit SplashWindow(QWidget* parent = nullptr);

    void setGauge(int value);
    int gauge() const;
    void setState(const QString& text);

    QLabel* stateLabel;
    QLabel* versionLabel;

private:
    QProgressBar* progress_;
};

} // namespace vantor
