#include "TsaleGatherFrm.h"

#include "HelpPages.h"
#include "gather/SalesGathering.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSpinBox>

namespace vantor {

TsaleGatherFrm::TsaleGatherFrm(download::AgentSource agent, db::TDM& dm, QWidget* parent)
    : ShopGatherWindow({"销售数据采集", "按信用排序", "按人气排序", false, "店铺全选 ", "取消店铺全选",
                        "开始采集", "已采集商品%1个", "，当前店铺%1个"},
                       std::move(agent), dm, parent) {
    widgets::giveHelp(this, widgets::HelpTopic::SalesGathering);
    fromData = new QSpinBox;
    fromData->setRange(1, gather::kMaxItemsPerShop);
    fromData->setValue(gather::kDefaultItemsPerShop);
    gatherOptions->addWidget(new QLabel("下载前"));
    gatherOptions->addWidget(fromData);
    gatherOptions->addWidget(new QLabel("名商品"));
}

std::unique_ptr<gather::GatherRun> TsaleGatherFrm::makeGathering(std::vector<TDianBaseInfo> shops,
                                                                 const db::Store& database,
                                                                 std::vector<download::SlotProgress*> gauges,
                                                                 gather::GatherObserver& observer,
                                                                 ProgressGauge* saveGauge) {
    auto gathering = std::make_unique<gather::SalesGathering>(
        database, std::move(shops), fromData->value(), agent(), std::move(gauges), observer, saveGauge);
    // In the window a failing shop is left out, to be continued later, and the others go on.
    gathering->goOnAfterFailures();
    return gathering;
}

std::optional<gather::UnfinishedRun> TsaleGatherFrm::unfinishedRun() {
    return gather::unfinishedSalesRun(dataModule().cn1(), dataModule().store().client);
}

std::unique_ptr<gather::GatherRun>
TsaleGatherFrm::makeResumedGathering(gather::UnfinishedRun run, const db::Store& database,
                                     std::vector<download::SlotProgress*> gauges,
                                     gather::GatherObserver& observer, ProgressGauge* saveGauge) {
    auto gathering = std::make_unique<gather::SalesGathering>(database, std::move(run), agent(),
                                                              std::move(gauges), observer, saveGauge);
    gathering->goOnAfterFailures();
    return gathering;
}

QString TsaleGatherFrm::shopText(int index, const QString& name) const {
    return QString("正在处理第%1家店铺：%2").arg(index + 1).arg(name);
}

} // namespace vantor
