#include "SlotBars.h"

#include "download/THttpAgent.h"

#include <QBoxLayout>
#include <QProgressBar>

#include <algorithm>

namespace vantor {

std::vector<download::SlotProgress*> SlotBars::forRun(int count) {
    count = std::clamp(count, download::kMinSlots, download::kMaxSlots);
    if (int(bars_.size()) != count) {
        progress_.clear();
        for (QProgressBar* bar : bars_)
            delete bar;
        bars_.clear();
        for (int i = 0; i < count; ++i) {
            auto* bar = new QProgressBar;
            bar->setObjectName(QString("slotGauge%1").arg(i + 1));
            if (style_ == Style::Named) {
                progress_.push_back(std::make_unique<QtProgress>(bar, QString("下载通道%1").arg(i + 1)));
            } else {
                bar->setTextVisible(false);
                bar->setMaximumHeight(8);
                progress_.push_back(std::make_unique<QtProgress>(bar));
            }
            bars_.push_back(bar);
            into_->addWidget(bar);
        }
    }
    std::vector<download::SlotProgress*> list;
    for (auto& slot : progress_)
        list.push_back(slot.get());
    return list;
}

} // namespace vantor
