#include "RankingWindow.h"

#include "WindowActions.h"

#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>

namespace vantor {

namespace {
enum Panel { FormPanel = 0, ProgressPanel = 1 };
} // namespace

RankingWindow::RankingWindow(const char* caption, const char* formTab, const char* resultTab,
                             const std::vector<std::string>& columns, const char* gridName, QWidget* parent)
    : QWidget(parent) {
    setWindowTitle(caption);
    auto* formPage = new QWidget;
    form = new QFormLayout(formPage);

    auto* running = new QWidget;
    auto* runningLayout = new QVBoxLayout(running);
    progressLabel = widgets::named(new QLabel, "progressLabel");
    runningLayout->addWidget(progressLabel);
    run = new RunGauges(this);
    runningLayout->addWidget(run->total);
    runningLayout->addWidget(run->remaining);
    runningLayout->addWidget(run->slotPanel);
    stopButton = widgets::named(new QPushButton("停止"), "stopButton");
    runningLayout->addWidget(stopButton, 0, Qt::AlignLeft);
    runningLayout->addStretch();

    panels = new QStackedWidget;
    panels->addWidget(formPage);
    panels->addWidget(running);
    auto* logBox = new QGroupBox("搜索日志");
    auto* logLayout = new QVBoxLayout(logBox);
    searchMemoLog = widgets::named(new QPlainTextEdit, "searchMemoLog");
    searchMemoLog->setReadOnly(true);
    logLayout->addWidget(searchMemoLog);
    auto* searchPage = new QWidget;
    auto* searchLayout = new QHBoxLayout(searchPage);
    searchLayout->addWidget(panels, 3);
    searchLayout->addWidget(logBox, 2);

    std::vector<int> widths;
    for (const std::string& column : columns)
        // A date and its time ("2026-11-26 03:50:50") need more than a number.
        widths.push_back(column == "商品名"                         ? 260
                         : column == "序号"                         ? 50
                         : column.find("日期") != std::string::npos ? 140
                                                                    : 100);
    resultGrid = widgets::makeResultGrid(columns, gridName, widths);
    exportButton = widgets::named(new QPushButton("导出列表"), "exportButton");
    saveProgress = widgets::makeSaveGauge(this);
    saveDialog = widgets::makeSaveDialog(this);
    auto* resultPage = new QWidget;
    auto* resultLayout = new QVBoxLayout(resultPage);
    resultLayout->addWidget(resultGrid, 1);
    auto* actions = new QHBoxLayout;
    actions->addWidget(saveProgress, 1);
    actions->addStretch();
    actions->addWidget(exportButton);
    resultLayout->addLayout(actions);

    pages = new QTabWidget;
    pages->addTab(searchPage, formTab);
    pages->addTab(resultPage, resultTab);
    resultLabel = widgets::makeOutcomeLabel();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(resultLabel);
    layout->addWidget(pages, 1);

    connect(stopButton, &QPushButton::clicked, this, [this] { stopClick(); });
    connect(exportButton, &QPushButton::clicked, this,
            [this] { widgets::exportRows(this, *saveDialog, *saveProgress, *resultGrid, exportJob()); });
    // A double-click opens the item in the browser.
    connect(resultGrid, &QTableWidget::cellDoubleClicked, this,
            [this](int row, int) { widgets::openAddress(rowLink(row)); });
}

std::vector<download::SlotProgress*> RankingWindow::slotGauges(const THttpAgent& agent) {
    return run->slotProgress(agent.Slots);
}

void RankingWindow::showRunning(const QString& progress, int parts) {
    run->start(parts);
    resultLabel->hide();
    resultGrid->setRowCount(0);
    progressLabel->setText(progress);
    pages->setCurrentIndex(0);
    panels->setCurrentIndex(ProgressPanel);
}

void RankingWindow::showEnded(const QString& outcome, bool complete) {
    run->end(complete);
    panels->setCurrentIndex(FormPanel);
    searchMemoLog->appendPlainText(outcome);
    resultLabel->setText(outcome);
    resultLabel->show();
    if (resultGrid->rowCount() > 0) pages->setCurrentIndex(1);
}

void RankingWindow::appendRow(const std::vector<std::string>& cells) {
    const int row = resultGrid->rowCount();
    resultGrid->insertRow(row);
    widgets::fillRow(resultGrid, row, cells);
}

} // namespace vantor
