#pragma once

#include "base/ProgressGauge.h"
#include "download/SlotProgress.h"

#include <QPointer>
#include <QProgressBar>

namespace vantor {

// A window's progress bar as the core's download slot or save gauge: the calls arrive on worker threads
// and are passed on to the bar's thread.
class QtProgress : public download::SlotProgress, public ProgressGauge {
public:
    explicit QtProgress(QProgressBar* bar) : bar_(bar) {}
    // A download slot's bar that says which slot it is and whether it is idle.
    QtProgress(QProgressBar* bar, const QString& slotName);

    void waiting() override;
    void begin(std::int64_t announcedLength) override;
    void advance(std::int64_t received) override;
    void end() override;
    void setMaximum(int maximum) override;
    void setPosition(int position) override;

private:
    template <class Change> void post(Change change);
    QPointer<QProgressBar> bar_;
    QString busyFormat_, idleFormat_, waitingFormat_;
};

} // namespace vantor
