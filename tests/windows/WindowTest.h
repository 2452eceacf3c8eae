#pragma once

#include "VantorApplication.h"
#include "db/TDM.h"
#include "support/TempDir.h"

#include <QtTest>
#include <QtWidgets>

#include <functional>
#include <memory>

class QWebEngineView;

namespace vantor::test {

// What every window test shares: a fresh folder per test, the messages the user would have seen,
// and answers to the modal dialogs the windows open. A suite sets up its windows in prepare() and
// drops them in finish(), before the folder goes.
class WindowTest : public QObject {
    Q_OBJECT

protected:
    std::unique_ptr<TempDir> dir;
    QStringList messages;
    // What a script gives back in the page the view shows; an invalid value when it does not answer.
    static QVariant evaluate(QWebEngineView* view, const QString& script);

    virtual void prepare() {}
    virtual void finish() {}

    QString target(const char* name) const { return QString::fromStdString((*dir / name).string()); }

    // Answers the next modal dialog once it shows; the flag tells that it came.
    std::shared_ptr<bool> answerNextDialog(std::function<void(QWidget*)> answer);
    void forgetAnswers(); // for dialogs that never came
    std::shared_ptr<bool> answerQuestion(QMessageBox::StandardButton button);
    // Types the file's name into the save dialog, opened in the file's folder, as a user would; an
    // empty name cancels. The name the dialog proposed goes to `proposed`.
    std::shared_ptr<bool> answerSaveDialog(QFileDialog* dialog, const QString& file,
                                           std::shared_ptr<QString> proposed = {});

    static std::int64_t count(db::TDM& dm, const std::string& sql) {
        db::Statement statement = dm.cn1().prepare(sql);
        statement.step();
        return statement.integer(0);
    }
    static QString cell(QAbstractItemView* grid, int row, int column) {
        return grid->model()->index(row, column).data().toString();
    }
    static void clickRow(QAbstractItemView* grid, int row, int column = 1) {
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, Qt::NoModifier,
                          grid->visualRect(grid->model()->index(row, column)).center());
    }
    // Replaces the text by typing, so the window sees the edits.
    static void type(QLineEdit* edit, const QString& text) {
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Backspace);
        QTest::keyClicks(edit, text);
    }

private slots:
    void init();
    void cleanup();
};

void prepareWindowTests();

template <class Test> int runWindowTest(int argc, char** argv) {
    prepareWindowTests();
    VantorApplication app(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

} // namespace vantor::test
