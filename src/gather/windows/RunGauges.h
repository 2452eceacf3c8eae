#pragma once

#include "QtProgress.h"
#include "SlotBars.h"
#include "gather/RunProgress.h"

#include <QObject>
#include <QTimer>

#include <memory>
#include <vector>

class QLabel;
class QProgressBar;
class QWidget;

namespace vantor {

// The bars of a running gathering or ranking: one per download slot, named, and the run's whole bar
// with the time it still needs. The window lays the widgets out; this keeps them moving.
class RunGauges : public QObject {
    Q_OBJECT
public:
    explicit RunGauges(QObject* parent);

    QProgressBar* total;
    QLabel* remaining;
    QWidget* slotPanel; // the slot bars, one under the other

private:
    SlotBars bars_; // before slotBars, which names its bars

public:
    const std::vector<QProgressBar*>& slotBars;

    // As many bars as the run has slots (the network settings' "下载通道数"), made anew when the count
    // changed; the progress objects for the run's jobs. Only between runs.
    std::vector<download::SlotProgress*> slotProgress(int slotCount);
    // A run of `parts` shops or categories begins: everything from zero.
    void start(int parts);
    void step(int index, int done, int expected);
    void finished(int done);
    // The run ended: its bar full when it finished, the estimate gone.
    void end(bool complete);

private:
    void show();

    gather::RunProgress progress_;
    QTimer tick_;
};

} // namespace vantor
