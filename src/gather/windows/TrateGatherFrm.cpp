#include "TrateGatherFrm.h"

#include "HelpPages.h"
#include "UserMessages.h"
#include "gather/GatherTexts.h"
#include "gather/RatingGathering.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSpinBox>

namespace vantor {

TrateGatherFrm::TrateGatherFrm(download::AgentSource agent, db::TDM& dm, QWidget* parent)
    : ShopGatherWindow({"评价数据采集", "按信用排序", "按人气排序", true, "全选 ", "取消全选", "开始采集",
                        "已采集评价%1条", nullptr},
                       std::move(agent), dm, parent) {
    widgets::giveHelp(this, widgets::HelpTopic::RatingGathering);
    fromData = new QSpinBox;
    fromData->setRange(gather::kMinRatingRange, gather::kMaxRatingFrom);
    fromData->setValue(gather::kDefaultRatingFrom);
    toData = new QSpinBox;
    toData->setRange(gather::kMinRatingRange, gather::kMaxRatingTo);
    toData->setValue(gather::kDefaultRatingTo);
    gatherOptions->addWidget(new QLabel("下载数据范围：从"));
    gatherOptions->addWidget(fromData);
    gatherOptions->addWidget(new QLabel("到"));
    gatherOptions->addWidget(toData);
    gatherOptions->addWidget(new QLabel(gather::kRatingRunRestarts));
}

bool TrateGatherFrm::formAccepted() {
    if (auto refused = gather::validateRatingRange(fromData->value(), toData->value())) {
        widgets::UserMessages::show(this, *refused);
        return false;
    }
    return true;
}

std::unique_ptr<gather::GatherRun> TrateGatherFrm::makeGathering(std::vector<TDianBaseInfo> shops,
                                                                 const db::Store& database,
                                                                 std::vector<download::SlotProgress*> gauges,
                                                                 gather::GatherObserver& observer,
                                                                 ProgressGauge* saveGauge) {
    return std::make_unique<gather::RatingGathering>(database, std::move(shops), fromData->value(),
                                                     toData->value(), agent(), std::move(gauges), observer,
                                                     saveGauge);
}

QString TrateGatherFrm::shopText(int, const QString& name) const {
    return "正在连接掌柜：" + name;
}

QString TrateGatherFrm::stopLoss() const {
    return gathering() ? QString::fromStdString(gather::ratingStopLoss(shopsDone(), shopsCount()))
                       : QString();
}

} // namespace vantor
