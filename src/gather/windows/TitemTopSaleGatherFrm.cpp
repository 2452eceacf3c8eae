#include "TitemTopSaleGatherFrm.h"

#include "HelpPages.h"
#include "UserMessages.h"
#include "WindowActions.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSlider>

namespace vantor {

// Passes what the search reports on its threads to the window's thread.
class TitemTopSaleGatherFrm::Bridge : public gather::ItemRankingObserver {
public:
    explicit Bridge(TitemTopSaleGatherFrm* window) : window_(window) {}
    void rankingTotal(int total) override {
        post(window_, [total](TitemTopSaleGatherFrm* w) { w->expected_ = std::min(w->expected_, total); });
    }
    void itemsRead(int count) override {
        post(window_, [count](TitemTopSaleGatherFrm* w) {
            w->progressLabel->setText(QString("正在采集：%1个商品").arg(count));
            w->run->step(0, count, w->expected_);
        });
    }
    void statusLine(const std::string& text) override {
        post(window_,
             [text = QString::fromStdString(text)](TitemTopSaleGatherFrm* w) { emit w->statusLine(text); });
    }
    void rankingEnded(gather::JobEnd end, const std::vector<TItemInfo>& rows, int total) override {
        post(window_, [end, rows, total](TitemTopSaleGatherFrm* w) { w->rankingEnded(end, rows, total); });
    }

private:
    TitemTopSaleGatherFrm* window_;
};

TitemTopSaleGatherFrm::TitemTopSaleGatherFrm(download::AgentSource agent, QWidget* parent)
    : RankingWindow("指定商品销售排行", "高级搜索", "分析结果", gather::itemRankingColumns(),
                    "itemRankingGrid", parent),
      agent_(std::move(agent)),
      bridge_(std::make_unique<Bridge>(this)) {
    q = widgets::named(new QLineEdit, "q");
    loc = widgets::named(new QLineEdit, "loc");
    jg1 = widgets::named(new QLineEdit, "jg1");
    jg2 = widgets::named(new QLineEdit, "jg2");
    searchPageSel = widgets::named(new QSlider(Qt::Horizontal), "searchPageSel");
    searchPageSel->setRange(gather::kMinRankingRange, gather::kMaxRankingRange);
    searchPageSel->setValue(gather::kDefaultRankingRange);
    searchRange = widgets::named(new QLabel(QString::number(gather::kDefaultRankingRange)), "searchRange");
    search = widgets::named(new QPushButton("搜索"), "search");
    stopButton->setText("取消");
    widgets::giveHelp(this, widgets::HelpTopic::ItemRanking);

    form->addRow("商品名：", q);
    form->addRow("所在地：", loc);
    auto* prices = new QHBoxLayout;
    prices->addWidget(jg1);
    prices->addWidget(new QLabel("－"));
    prices->addWidget(jg2);
    form->addRow("价格区间：", prices);
    auto* range = new QHBoxLayout;
    range->addWidget(searchPageSel, 1);
    range->addWidget(searchRange);
    form->addRow("排名范围：", range);
    form->addRow("", search);

    connect(searchPageSel, &QSlider::valueChanged, this,
            [this](int value) { searchRange->setText(QString::number(value)); });
    connect(search, &QPushButton::clicked, this, &TitemTopSaleGatherFrm::searchClick);
    widgets::clickOnEnter({q, loc, jg1, jg2}, search);
}

TitemTopSaleGatherFrm::~TitemTopSaleGatherFrm() {
    stopAndWait();
}

void TitemTopSaleGatherFrm::stopAndWait() {
    job_.reset();
    dropQueuedReports();
}

void TitemTopSaleGatherFrm::searchClick() {
    if (busy()) return;
    gather::ItemRankingQuery query{q->text().toStdString(), jg1->text().trimmed().toStdString(),
                                   jg2->text().trimmed().toStdString(), loc->text().toStdString(),
                                   searchPageSel->value()};
    if (auto refused = gather::validateItemRanking(query)) {
        widgets::UserMessages::show(this, *refused);
        return;
    }
    searchMemoLog->appendPlainText(
        QString::fromStdString(gather::itemRankingLog(query, ++searches_, DateTime::now())));
    rows_.clear();
    expected_ = query.range;
    showRunning("正在采集：0个商品", 1);
    const auto agent = agent_();
    job_ = std::make_unique<gather::ItemRankingJob>(query, agent, slotGauges(*agent), *bridge_);
    job_->start();
}

void TitemTopSaleGatherFrm::stopClick() {
    if (job_) job_->stop();
}

std::string TitemTopSaleGatherFrm::rowLink(int row) const {
    return row >= 0 && row < int(rows_.size()) ? rows_[size_t(row)].itemUrl : std::string();
}

void TitemTopSaleGatherFrm::rankingEnded(gather::JobEnd end, std::vector<TItemInfo> rows, int total) {
    job_.reset();
    rows_ = std::move(rows);
    for (size_t i = 0; i < rows_.size(); ++i)
        appendRow(gather::itemRankingRow(int(i) + 1, rows_[i]));
    showEnded(QString::fromStdString(itemRankingSummary(end, total)), end == gather::JobEnd::Finished);
    if (end == gather::JobEnd::Stopped) widgets::UserMessages::show(this, gather::kSearchStopped);
}

QString TitemTopSaleGatherFrm::stopLoss() const {
    return QString(gather::kItemRankingStopLoss);
}

} // namespace vantor
