#pragma once

#include "app/Config.h"
#include "app/NetworkSettings.h"

#include <QDialog>

#include <memory>
#include <thread>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QTabWidget;

namespace vantor {

namespace app {
class THttpTest;
}
using app::THttpTest;

// The settings window "系统选项": network settings with the connection test, the compaction schedule and
// the analysis page. Every rule lives in the core's network settings; this window only shows them.
class TconfigFrm : public QDialog {
    Q_OBJECT
public:
    TconfigFrm(TConfig& config, app::ConfigFile file, QWidget* parent = nullptr);
    ~TconfigFrm() override;

    // The page the connection test fetches; a fixed public page unless a test names another.
    void setTestAddress(const QString& url) { testAddress_ = url; }

    app::NetworkForm form() const;
    QLineEdit* field(app::NetworkField which) const;

    // Controls, by their names.
    QComboBox* netType;
    QLineEdit *server, *port, *user, *password, *domain, *connectTimeOut, *readTimeOut, *connectTime,
        *minInterval;
    QSpinBox* slotCount; // "下载通道数"
    QLabel* testState;
    QPushButton *testBtn, *stopBtn, *okbtn, *cancel, *useBtn;
    QComboBox* optimizeComb;
    QPushButton *okBtn1, *cancel1, *useBtn1;
    // Page "数据库".
    QComboBox* dbType;
    QLineEdit* dbUrl;
    QLabel* dbState;
    QPushButton *dbTestBtn, *okBtn2, *cancel2, *useBtn2;
    // Page "店铺监控": which changes of a round are alerts.
    QDoubleSpinBox *pricePercent, *salesFactor;
    QCheckBox *badRating, *newItem;
    QPushButton *okBtn3, *cancel3, *useBtn3;
    QTabWidget* pages;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void fill();
    void showForm(const app::NetworkForm& form);
    app::NetworkSaveResult saveNetwork();
    bool saveSchedule();
    bool saveDatabase();
    bool saveAlertRules();
    void dbTestClick();
    void testClick();
    void stopClick();
    void testEnded(const QString& state);
    void setTesting(bool testing);

    TConfig& config_;
    app::ConfigFile file_;
    QString testAddress_;
    QWidget* proxyPanel_;
    std::unique_ptr<THttpTest> test_;
    std::jthread dbTest_; // last: joined before the controls it reports to go
};

} // namespace vantor
