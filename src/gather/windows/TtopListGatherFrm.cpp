#include "TtopListGatherFrm.h"

#include "HelpPages.h"
#include "UserMessages.h"
#include "WindowActions.h"
#include "market/CategoryTable.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>

namespace vantor {

// Passes what the gathering reports on its threads to the window's thread.
class TtopListGatherFrm::Bridge : public gather::CategoryRankingObserver {
public:
    explicit Bridge(TtopListGatherFrm* window) : window_(window) {}
    void categoryStarted(int index, int count, const std::string& name) override {
        post(window_, [text = QString("正在采集第%1/%2个类目：%3")
                                  .arg(index + 1)
                                  .arg(count)
                                  .arg(QString::fromStdString(name).trimmed())](TtopListGatherFrm* w) {
            w->progressLabel->setText(text);
        });
        post(window_, [index](TtopListGatherFrm* w) { w->run->finished(index); });
    }
    void categorySaved(const std::string& name, const std::vector<TItemInfo>& rows) override {
        post(window_, [ranked = gather::rankedCategory(name, rows)](TtopListGatherFrm* w) {
            w->categorySaved(ranked);
        });
    }
    void statusLine(const std::string& text) override {
        post(window_,
             [text = QString::fromStdString(text)](TtopListGatherFrm* w) { emit w->statusLine(text); });
    }
    void message(const std::string& text) override {
        post(window_, [text = QString::fromStdString(text)](TtopListGatherFrm* w) {
            widgets::UserMessages::show(w, text);
        });
    }
    void rankingEnded(gather::JobEnd end, int categories, int items, const std::string& detail) override {
        post(window_, [end, categories,
                       summary = QString::fromStdString(gather::categoryRankingSummary(
                           end, categories, items, detail))](TtopListGatherFrm* w) {
            w->rankingEnded(categories, end == gather::JobEnd::Finished, summary);
            if (end == gather::JobEnd::Stopped) widgets::UserMessages::show(w, gather::kGatherStopped);
        });
    }

private:
    TtopListGatherFrm* window_;
};

TtopListGatherFrm::TtopListGatherFrm(download::AgentSource agent, db::TDM& dm, QWidget* parent)
    : RankingWindow("按类目采集热卖商品", "类目选择", "采集结果", gather::categoryRankingGridColumns(),
                    "categoryRankingGrid", parent),
      agent_(std::move(agent)),
      dm_(dm),
      bridge_(std::make_unique<Bridge>(this)) {
    categories = widgets::named(new QListWidget, "categories");
    for (const auto& category : market::categoryBrowseCategories()) {
        auto* entry = new QListWidgetItem(QString::fromStdString(category.name).trimmed(), categories);
        entry->setFlags(entry->flags() | Qt::ItemIsUserCheckable);
        entry->setCheckState(Qt::Unchecked);
    }
    depth = widgets::named(new QSpinBox, "depth");
    depth->setRange(gather::kMinRankingDepth, gather::kMaxRankingDepth);
    depth->setSingleStep(20);
    depth->setValue(gather::kDefaultRankingDepth);
    depth->setSuffix(" 个商品");
    selAll = widgets::named(new QPushButton("全选"), "selAll");
    cancelSel = widgets::named(new QPushButton("取消全选"), "cancelSel");
    start = widgets::named(new QPushButton("开始采集"), "start");
    stopButton->setText("停止采集");
    widgets::giveHelp(this, widgets::HelpTopic::CategoryRanking);

    form->addRow("类目：", categories);
    auto* marks = new QHBoxLayout;
    marks->addWidget(selAll);
    marks->addWidget(cancelSel);
    marks->addStretch();
    form->addRow("", marks);
    form->addRow("每个类目采集前：", depth);
    form->addRow("",
                 new QLabel("按销量排序读取类目页面，保存为本月排行；同月再次采集会替换该类目本月的排行。"));
    form->addRow("", start);

    connect(selAll, &QPushButton::clicked, this, [this] { markAll(true); });
    connect(cancelSel, &QPushButton::clicked, this, [this] { markAll(false); });
    connect(start, &QPushButton::clicked, this, &TtopListGatherFrm::startClick);
}

TtopListGatherFrm::~TtopListGatherFrm() {
    stopAndWait();
}

void TtopListGatherFrm::stopAndWait() {
    job_.reset();
    dropQueuedReports();
}

void TtopListGatherFrm::markAll(bool ticked) {
    for (int i = 0; i < categories->count(); ++i)
        categories->item(i)->setCheckState(ticked ? Qt::Checked : Qt::Unchecked);
}

void TtopListGatherFrm::startClick() {
    if (busy()) return;
    std::vector<int> chosen;
    for (int i = 0; i < categories->count(); ++i)
        if (categories->item(i)->checkState() == Qt::Checked) chosen.push_back(i);
    if (auto refused = gather::validateCategoryRanking(chosen, depth->value())) {
        widgets::UserMessages::show(this, *refused);
        return;
    }
    rows_.clear();
    savedCategories_ = 0;
    firstCategory_ = chosen.front();
    saved_ = DateTime::now();
    searchMemoLog->appendPlainText(
        QString::fromStdString(gather::categoryRankingLog(chosen, depth->value(), ++runs_, saved_)));
    const int parts = int(chosen.size());
    showRunning("正在连接", parts);
    dm_.open();
    const auto agent = agent_();
    job_ = std::make_unique<gather::CategoryRanking>(dm_.store(), std::move(chosen), depth->value(), agent,
                                                     slotGauges(*agent), *bridge_, saved_);
    job_->start();
}

void TtopListGatherFrm::stopClick() {
    if (job_) job_->stop();
}

std::string TtopListGatherFrm::rowLink(int row) const {
    return row >= 0 && row < int(rows_.size()) ? rows_[size_t(row)].item.itemUrl : std::string();
}

void TtopListGatherFrm::categorySaved(const std::vector<gather::RankedItem>& ranked) {
    ++savedCategories_;
    for (const gather::RankedItem& row : ranked) {
        rows_.push_back(row);
        appendRow(categoryRankingGridRow(row, saved_));
    }
}

void TtopListGatherFrm::rankingEnded(int categories, bool complete, const QString& summary) {
    job_.reset();
    showEnded(summary, complete);
    if (categories > 0) emit rankingsSaved(firstCategory_, saved_.month);
}

QString TtopListGatherFrm::stopLoss() const {
    return QString::fromStdString(gather::categoryStopLoss(savedCategories_));
}

} // namespace vantor
