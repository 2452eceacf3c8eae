#pragma once

#include "ShopGatherWindow.h"

namespace vantor {

// The sales gathering window "销售数据采集": every ticked shop's profile, credit and the sales of its
// first items, each shop committed on its own.
class TsaleGatherFrm : public ShopGatherWindow {
    Q_OBJECT
public:
    TsaleGatherFrm(download::AgentSource agent, db::TDM& dm, QWidget* parent = nullptr);

    QSpinBox* fromData; // "下载前 N 名商品"

protected:
    std::unique_ptr<gather::GatherRun> makeGathering(std::vector<TDianBaseInfo> shops,
                                                     const db::Store& database,
                                                     std::vector<download::SlotProgress*> gauges,
                                                     gather::GatherObserver& observer,
                                                     ProgressGauge* saveGauge) override;
    QString shopText(int index, const QString& name) const override;
    std::optional<gather::UnfinishedRun> unfinishedRun() override;
    std::unique_ptr<gather::GatherRun> makeResumedGathering(gather::UnfinishedRun run,
                                                            const db::Store& database,
                                                            std::vector<download::SlotProgress*> gauges,
                                                            gather::GatherObserver& observer,
                                                            ProgressGauge* saveGauge) override;
};

} // namespace vantor
