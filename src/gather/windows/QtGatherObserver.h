#pragma once

#include "gather/ShopStages.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>

namespace vantor {

// A gathering's reports as a window's handlers: the calls arrive on the job's threads and run on the
// receiver's thread, queued, or not at all once the receiver is gone. Handlers left empty ignore theirs.
class QtGatherObserver : public gather::GatherObserver {
public:
    struct Handlers {
        std::function<void(int index, int count, const QString& shop)> shopStarted;
        std::function<void(const QString&)> stageText;
        std::function<void(int count)> gathered; // items or ratings of the shop so far
        std::function<void(int done, int count)> shopFinished;
        std::function<void(const QString&)> statusLine;
        std::function<void(const QString&)> message;
        std::function<void(gather::JobEnd end, const QString& detail, const gather::GatherTally& saved)>
            ended;
    };
    QtGatherObserver(QObject* receiver, Handlers handlers)
        : receiver_(receiver), handlers_(std::move(handlers)) {}

    void shopStarted(int index, int count, const TDianBaseInfo& shop) override;
    void stageText(const std::string& text) override;
    void itemsGathered(int count) override;
    void ratingsGathered(int count) override;
    void shopFinished(int done, int count) override;
    void statusLine(const std::string& text) override;
    void message(const std::string& text) override;
    void gatherEnded(gather::JobEnd end, const std::string& detail,
                     const gather::GatherTally& saved) override;

private:
    template <class Call> void post(Call call);
    QPointer<QObject> receiver_;
    Handlers handlers_;
};

} // namespace vantor
