#pragma once

#include "ShopSearch.h"
#include "StageRunner.h"
#include "download/THttpAgent.h"
#include "market/Records.h"

#include <atomic>
#include <memory>
#include <vector>

namespace vantor::gather {

// What a running shop search reports. Called on the transfer loop's thread: a window passes the calls
// on to its thread, the command line prints them.
class ShopSearchObserver {
public:
    virtual ~ShopSearchObserver() = default;
    // The marketplace's count of matching shops, from each result page.
    virtual void searchTotal(int total) = 0;
    // The shops of one result page, in page order.
    virtual void shopsFound(const std::vector<TDianBaseInfo>& shops) = 0;
    // The main window's status line after a failure.
    virtual void statusLine(const std::string& text) = 0;
    // Last call of every search: how it ended, how many shops it listed, and what failed.
    virtual void searchEnded(JobEnd end, int shopsListed, const std::string& error) = 0;
};

// What a search leaves for the user: the marketplace's total, how many of them were listed where
// that differs, or that it was stopped or failed.
std::string searchSummary(JobEnd end, int listed, int total);

// One shop search: the result pages 0..range div 81, several at a time, on the transfer loop.
class ShopSearchJob {
public:
    ShopSearchJob(const ShopSearchQuery& query, std::shared_ptr<const THttpAgent> agent,
                  std::vector<download::SlotProgress*> gauges, ShopSearchObserver& observer);
    ~ShopSearchJob(); // stops the search and waits for it
    ShopSearchJob(const ShopSearchJob&) = delete;
    ShopSearchJob& operator=(const ShopSearchJob&) = delete;

    void start();
    void stop() { runner_.stop(); }
    void wait();

private:
    TDownParamBean param_;
    StageRunner runner_;
    ShopSearchObserver& observer_;
    std::atomic<int> listed_ = 0;
    JobEndSignal ended_;
};

} // namespace vantor::gather
