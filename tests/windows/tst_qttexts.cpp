#include "WindowActions.h"
#include "windows/WindowTest.h"

using namespace vantor;

// Qt's own dialogs speak Chinese offscreen too: the catalogue is found and loaded, the texts it lacks
// (the file type column) come from the program, and the save dialog's dates follow the program's locale.
class QtTextsTest : public test::WindowTest {
    Q_OBJECT

private slots:
    void theDialogsTextsAreChinese() {
        QCOMPARE(QCoreApplication::translate("QFileDialog", "Folder"), QString("文件夹"));
        QCOMPARE(QCoreApplication::translate("QFileDialog", "&Save"), QString("保存(&S)"));
        QCOMPARE(QCoreApplication::translate("QAbstractFileIconProvider", "Folder", "All other platforms"),
                 QString("文件夹"));
        QCOMPARE(QCoreApplication::translate("QPlatformTheme", "Cancel"), QString("取消"));
        // A text nobody translates stays as it is.
        QCOMPARE(QCoreApplication::translate("QAbstractFileIconProvider", "Nothing like this"),
                 QString("Nothing like this"));
    }

    void theSaveDialogsListShowsAFoldersTypeAndItsDateInChinese() {
        std::filesystem::create_directory(*dir / "子目录");
        std::unique_ptr<QFileDialog> dialog(widgets::makeSaveDialog(nullptr));
        dialog->setViewMode(QFileDialog::Detail);
        dialog->setDirectory(target("").chopped(1));
        dialog->show();
        auto* list = dialog->findChild<QTreeView*>("treeView");
        QVERIFY(list);
        QAbstractItemModel* shown = list->model();
        QTRY_COMPARE(shown->rowCount(list->rootIndex()), 1);
        const QModelIndex folder = shown->index(0, 0, list->rootIndex());
        QCOMPARE(folder.data().toString(), QString("子目录"));
        QCOMPARE(folder.siblingAtColumn(2).data().toString(), QString("文件夹"));
        QCOMPARE(shown->headerData(2, Qt::Horizontal).toString(), QString("类型"));
        // Year first, as the Chinese short format writes it ("2026/11/26 02:21"), not "26 Nov 2026".
        const QDateTime modified = QFileInfo(target("子目录")).lastModified();
        const QString date = folder.siblingAtColumn(3).data().toString();
        QCOMPARE(date, modified.toString("yyyy/M/d HH:mm"));
        dialog->reject();
    }
};

int main(int argc, char** argv) {
    return test::runWindowTest<QtTextsTest>(argc, argv);
}

#include "tst_qttexts.moc"
