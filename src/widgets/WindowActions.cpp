#include "WindowActions.h"

#include "UserMessages.h"
#include "WindowSettings.h"

#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QFileDialog>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QHeaderView>
#include <QIdentityProxyModel>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QTableWidget>
#include <QUrl>

namespace vantor::widgets {
namespace {

// The gauge repaints only when its percentage changes: a repaint for each of a million lines would
// cost more than the export.
class BarGauge : public ProgressGauge {
public:
    explicit BarGauge(QProgressBar& bar) : bar_(bar) {}
    void setMaximum(int maximum) override {
        bar_.setMaximum(qMax(1, maximum));
        maximum_ = qMax(1, maximum);
    }
    void setPosition(int position) override {
        int percent = int(qint64(position) * 100 / maximum_);
        bar_.setValue(position);
        if (percent != shown_) {
            shown_ = percent;
            bar_.repaint();
        }
    }

private:
    QProgressBar& bar_;
    int maximum_ = 1;
    int shown_ = -1;
};

// The program's own format first, in GBK or in UTF-8 behind a byte-order mark; then the standard CSV
// that spreadsheet programs open as it is.
const QString kGbkFilter = "Vantor 导出格式（GBK）(*.csv)";
const QString kUtf8Filter = "Vantor 导出格式（UTF-8 带 BOM）(*.csv)";
const QString kStandardFilter = "标准 CSV（UTF-8，Excel/WPS 可直接打开）(*.csv)";

const QString kSavingText = "已保存";

QString fromUtf8(const std::string& text) {
    return QString::fromStdString(text);
}

// The wait cursor and the disabled grid last as long as the export, however it ends.
class ExportScope {
public:
    explicit ExportScope(QWidget& grid) : grid_(grid) { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~ExportScope() {
        grid_.setEnabled(true);
        QApplication::restoreOverrideCursor();
    }
    ExportScope(const ExportScope&) = delete;
    ExportScope& operator=(const ExportScope&) = delete;

private:
    QWidget& grid_;
};

// Qt's file list writes dates in the system locale, read from the environment before the program
// could choose its language; the list shows them in the program's locale instead.
class ProgramDates : public QIdentityProxyModel {
public:
    using QIdentityProxyModel::QIdentityProxyModel;
    QVariant data(const QModelIndex& index, int role) const override {
        auto* files = qobject_cast<QFileSystemModel*>(sourceModel());
        if (files && index.column() == kDateColumn && role == Qt::DisplayRole)
            return QLocale().toString(files->lastModified(mapToSource(index)), QLocale::ShortFormat);
        return QIdentityProxyModel::data(index, role);
    }

private:
    static constexpr int kDateColumn = 3; // name, size, type, date modified
};

} // namespace

void showProgramDates(QFileDialog* dialog) {
    dialog->setProxyModel(new ProgramDates(dialog));
}

QProgressBar* makeSaveGauge(QWidget* parent) {
    auto* gauge = new QProgressBar(parent);
    gauge->setObjectName("saveProgress");
    gauge->setFormat(kSavingText);
    gauge->setTextVisible(true);
    gauge->setValue(0);
    gauge->hide();
    return gauge;
}

QTableWidget* makeResultGrid(const std::vector<std::string>& titles, const char* name,
                             const std::vector<int>& widths) {
    auto* grid = new QTableWidget(0, int(titles.size()));
    grid->setObjectName(name);
    QStringList headers;
    for (const auto& title : titles)
        headers << fromUtf8(title);
    grid->setHorizontalHeaderLabels(headers);
    for (int c = 0; c < int(widths.size()); ++c)
        if (widths[size_t(c)] > 0) grid->setColumnWidth(c, widths[size_t(c)]);
    grid->verticalHeader()->hide();
    grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    grid->setAlternatingRowColors(true);
    // A cell broken over lines shows an address as "http://…": one line, cut at its end, reads better.
    grid->setWordWrap(false);
    grid->horizontalHeader()->setSectionsMovable(true);
    grid->horizontalHeader()->setStretchLastSection(true);
    WindowSettings::keepColumns(grid->horizontalHeader(), name);
    return grid;
}

void fillRow(QTableWidget* grid, int row, const std::vector<std::string>& cells) {
    for (int c = 0; c < int(cells.size()); ++c)
        grid->setItem(row, c, new QTableWidgetItem(QString::fromStdString(cells[size_t(c)])));
}

QLabel* makeOutcomeLabel() {
    auto* label = new QLabel;
    label->setObjectName("resultLabel");
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setStyleSheet("QLabel { padding: 4px; font-weight: bold; }");
    label->hide();
    return label;
}

QFileDialog* makeSaveDialog(QWidget* parent) {
    auto* dialog = new QFileDialog(parent, "导出");
    dialog->setObjectName("saveDialog");
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setNameFilters({kGbkFilter, kUtf8Filter, kStandardFilter});
    dialog->setDefaultSuffix("csv");
    // The export's own check decides about an existing file.
    dialog->setOption(QFileDialog::DontConfirmOverwrite);
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    showProgramDates(dialog);
    return dialog;
}

void exportRows(QWidget* parent, QFileDialog& dialog, QProgressBar& gauge, QWidget& grid, const CsvJob& job) {
    guarded([&] {
        if (job.rowCount() == 0) return;
        ExportScope scope(grid);
        dialog.selectFile(fromUtf8(job.fileName));
        dialog.selectNameFilter(WindowSettings::exportFormat() == "standard" ? kStandardFilter
                                : WindowSettings::exportEncoding() == "utf8" ? kUtf8Filter
                                                                             : kGbkFilter);
        if (dialog.exec() != QDialog::Accepted) return;
        const QString filter = dialog.selectedNameFilter();
        const ExportFormat format =
            filter == kStandardFilter ? ExportFormat::Standard : ExportFormat::Program;
        WindowSettings::setExportFormat(exportFormatName(format));
        // The standard format has one encoding; the program's last one is kept for the next time.
        ExportEncoding encoding = *exportEncodingNamed(WindowSettings::exportEncoding());
        if (format == ExportFormat::Program) {
            encoding = filter == kUtf8Filter ? ExportEncoding::Utf8Bom : ExportEncoding::Gbk;
            WindowSettings::setExportEncoding(exportEncodingName(encoding));
        }
        QString chosen = dialog.selectedFiles().value(0);
        if (chosen.isEmpty() || QFileInfo(chosen).fileName().isEmpty()) chosen = fromUtf8(job.fileName);
        const std::filesystem::path file = chosen.toStdString();
        if (isLocked(file)) {
            UserMessages::show(parent, lockedWarning(file));
            return;
        }
        grid.setEnabled(false);
        gauge.setFormat(kSavingText);
        gauge.setValue(0);
        gauge.show();
        BarGauge progress(gauge);
        const ExportOutcome outcome = exportToFile(job, file, &progress, encoding, format);
        if (outcome == ExportOutcome::Locked) UserMessages::show(parent, lockedWarning(file));
        if (outcome != ExportOutcome::Written) {
            gauge.hide();
            gauge.setValue(0);
            return;
        }
        // The full bar stays as the line that says where the file went, until the next export.
        const QString where = "已导出到 " + QFileInfo(chosen).absoluteFilePath();
        gauge.setMaximum(1);
        gauge.setValue(1);
        gauge.setFormat(where);
        gauge.setToolTip(where);
    });
}

void clickOnEnter(std::initializer_list<QLineEdit*> boxes, QPushButton* button) {
    for (QLineEdit* box : boxes)
        QObject::connect(box, &QLineEdit::returnPressed, button, &QPushButton::click);
}

void openAddress(const std::string& address) {
    if (!address.empty()) QDesktopServices::openUrl(QUrl(fromUtf8(address)));
}

void passToErrorHandler(std::exception_ptr error) {
    // Raised again from an event of its own, the error reaches the application's notify(), which
    // writes the error log, without unwinding through the toolkit's code in between.
    QMetaObject::invokeMethod(
        qApp, [error] { std::rethrow_exception(error); }, Qt::QueuedConnection);
}

void guarded(const std::function<void()>& handler) {
    try {
        handler();
    } catch (...) {
        passToErrorHandler(std::current_exception());
    }
}

QAction* addWatchAction(QAbstractItemView* grid, const std::function<void()>& handler) {
    auto* action = new QAction("加入监控", grid);
    action->setObjectName("watchShop");
    grid->setContextMenuPolicy(Qt::ActionsContextMenu);
    grid->addAction(action);
    QObject::connect(action, &QAction::triggered, grid, [handler] { guarded(handler); });
    return action;
}

} // namespace vantor::widgets
