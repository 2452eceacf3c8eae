#include "windows/WindowTest.h"

#include "ChartPage.h"
#include "UserMessages.h"
#include "WindowSettings.h"

#include <QWebEnginePage>
#include <QWebEngineView>

namespace vantor::test {

void WindowTest::init() {
    dir = std::make_unique<TempDir>();
    messages.clear();
    widgets::UserMessages::redirect([this](QWidget*, const QString& text) { messages.append(text); });
    static_cast<VantorApplication*>(qApp)->setErrorLog(*dir / "vantor.log");
    prepare();
}

void WindowTest::cleanup() {
    finish();
    forgetAnswers();
    widgets::UserMessages::redirect({});
    widgets::WindowSettings::useFile({}); // a main window names its folder's settings file
    dir.reset();
}

std::shared_ptr<bool> WindowTest::answerNextDialog(std::function<void(QWidget*)> answer) {
    auto came = std::make_shared<bool>(false);
    auto* poll = new QTimer(this);
    connect(poll, &QTimer::timeout, poll, [poll, came, answer] {
        QWidget* dialog = QApplication::activeModalWidget();
        if (!dialog) return;
        poll->deleteLater();
        poll->stop();
        *came = true;
        answer(dialog);
    });
    poll->start(20);
    return came;
}

void WindowTest::forgetAnswers() {
    qDeleteAll(findChildren<QTimer*>());
}

std::shared_ptr<bool> WindowTest::answerQuestion(QMessageBox::StandardButton button) {
    return answerNextDialog([button](QWidget* dialog) {
        auto* box = qobject_cast<QMessageBox*>(dialog);
        QVERIFY(box);
        box->button(button)->click();
    });
}

std::shared_ptr<bool> WindowTest::answerSaveDialog(QFileDialog* saveDialog, const QString& file,
                                                   std::shared_ptr<QString> proposed) {
    if (!file.isEmpty()) saveDialog->setDirectory(QFileInfo(file).absolutePath());
    return answerNextDialog([saveDialog, file, proposed](QWidget* dialog) {
        QCOMPARE(dialog, saveDialog);
        // Typed into the name field: selectFile leaves a focused field alone.
        auto* name = saveDialog->findChild<QLineEdit*>("fileNameEdit");
        if (proposed) *proposed = name->text();
        if (file.isEmpty()) return saveDialog->reject();
        name->setText(QFileInfo(file).fileName());
        saveDialog->QDialog::accept(); // QFileDialog::accept would open a folder of that name
    });
}

void prepareWindowTests() {
    prepareQtEnvironment();
    charts::registerSaleScheme();
}

QVariant WindowTest::evaluate(QWebEngineView* view, const QString& script) {
    QVariant result;
    bool done = false;
    view->page()->runJavaScript(script, [&](const QVariant& value) {
        result = value;
        done = true;
    });
    return QTest::qWaitFor([&] { return done; }, 10000) ? result : QVariant();
}

} // namespace vantor::test
