#pragma once

#include <QWidget>

class QProgressBar;

namespace vantor {

// Shown while the program starts; its gauge follows the start-up steps.
class SplashWindow : public QWidget {
    Q_OBJECT
public:
    explicit SplashWindow(QWidget* parent = nullptr);

    void setGauge(int value);
    int gauge() const;

private:
    QProgressBar* progress_;
};

} // namespace vantor
