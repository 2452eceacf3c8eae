// Several programs writing one data file at once, while another reads it: none may fail for a lock the
// others hold, and each must keep what it keeps when it runs alone.
#include "MarketFolders.h"
#include "base/DateTime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sys/wait.h>

using namespace vantor;
using test::StoreState;

namespace {

using SharedFile = test::MarketFolders;

struct Job {
    std::string name;
    std::string command;
    std::filesystem::path folder{};
    std::filesystem::path printed{};
    pid_t pid = -1;
    int status = -1;

    bool ended() { return status != -1 || (waitpid(pid, &status, WNOHANG) == pid); }
    std::string ending() const {
        if (WIFEXITED(status)) return "status " + std::to_string(WEXITSTATUS(status));
        return "signal " + std::to_string(WTERMSIG(status));
    }
};

} // namespace

TEST_F(SharedFile, SalesRatingsAndARankingAtOnceEachKeepWhatTheyKeepAloneWhileExportsRead) {
    // The rating run is the longest by far: the others begin, write and end while it gathers.
    market.faults().add(demo::parseFaultRule("kind=delay&ms=500&match=currentPage"));
    market.faults().add(demo::parseFaultRule("kind=delay&ms=20"));
    const auto shops = steadyShops(6, 0, 400);
    ASSERT_EQ(shops.size(), 6u);
    const std::vector<int> categories = fullCategories(2, 200);
    ASSERT_EQ(categories.size(), 2u);
    const std::vector<Job> kinds = {
        {"sales", "gather-sales --items 3" + shopOptions({shops[0], shops[1], shops[2]})},
        {"ratings", "gather-ratings --from 1 --to 400" + shopOptions({shops[3], shops[4], shops[5]})},
        {"ranking", "rank-category --depth 200 --category " + std::to_string(categories[0]) + " --category " +
                        std::to_string(categories[1])},
    };
    // Each job alone in a folder of its own, and the three together on one more, all at the same time.
    const Path shared = folder("shared");
    std::vector<Job> alone = kinds, together = kinds;
    for (Job& job : alone) {
        job.folder = folder(job.name);
        job.printed = root.path() / (job.name + "-alone.txt");
    }
    for (Job& job : together) {
        job.folder = shared;
        job.printed = root.path() / (job.name + "-together.txt");
    }
    for (auto* jobs : {&alone, &together})
        for (Job& job : *jobs)
            job.pid = test::startCli("--data-dir " + job.folder.string() + " " + job.command, job.printed);

    // The data views read the shared file until its writers end.
    const std::string month = std::to_string(DateTime::now().month);
    const std::vector<std::string> exports = {"export sales-shops", "export rating-shops",
                                              "export ranking --category " + std::to_string(categories[0]) +
                                                  " --month " + month};
    int exported = 0;
    std::vector<std::string> failedExports;
    do {
        const std::string& command = exports[size_t(exported++) % exports.size()];
        const test::CliResult r = run(shared, command);
        if (r.status != 0)
            failedExports.push_back(command + ": status " + std::to_string(r.status) + "\n" + r.out);
    } while (!std::all_of(together.begin(), together.end(), [](Job& job) { return job.ended(); }));
    for (Job& job : alone)
        waitpid(job.pid, &job.status, 0);

    StoreState expected;
    for (const Job& job : alone) {
        ASSERT_EQ(job.ending(), "status 0") << job.name << " alone\n" << test::readFile(job.printed);
        for (auto& [unit, rows] : test::fileState(dataFile(job.folder)))
            ASSERT_TRUE(expected.emplace(unit, rows).second) << unit << " is kept by two jobs";
    }
    for (const Job& job : together)
        EXPECT_EQ(job.ending(), "status 0")
            << "the " << job.name << " job, writing the data file beside the others, failed; a writer must "
            << "wait for the others' transactions, not give up on their lock:\n"
            << test::readFile(job.printed);
    EXPECT_TRUE(failedExports.empty()) << failedExports.size() << " of " << exported
                                       << " exports failed; the first: " << failedExports.front();
    EXPECT_EQ(test::integrityCheck(dataFile(shared)), "ok");
    EXPECT_TRUE(test::sameState(test::fileState(dataFile(shared)), expected))
        << "the shared file against the three files of the jobs run alone";
}
