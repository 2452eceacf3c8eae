#pragma once

#include "ShopGatherWindow.h"

namespace vantor {

// The rating gathering window "评价数据采集": every ticked shop's profile, credit and the ratings of
// the range, the whole run in one transaction.
class TrateGatherFrm : public ShopGatherWindow {
    Q_OBJECT
public:
    TrateGatherFrm(download::AgentSource agent, db::TDM& dm, QWidget* parent = nullptr);

    QSpinBox *fromData, *toData; // "下载数据范围：从" … "到"
    QString stopLoss() const override;

protected:
    bool formAccepted() override;
    bool askBeforeStop() const override { return true; }
    std::unique_ptr<gather::GatherRun> makeGathering(std::vector<TDianBaseInfo> shops,
                                                     const db::Store& database,
                                                     std::vector<download::SlotProgress*> gauges,
                                                     gather::GatherObserver& observer,
                                                     ProgressGauge* saveGauge) override;
    QString shopText(int index, const QString& name) const override;
};

} // namespace vantor
