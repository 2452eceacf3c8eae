// Each writing command killed with SIGKILL at random moments of its run: the file must stay sound, hold
// only whole transactions, and the next run must end where an uninterrupted run ends.
#include "MarketFolders.h"
#include "support/PgServer.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <sstream>
#include <thread>

using namespace vantor;
using test::stateDifferences;
using test::StoreState;

namespace {

// Seeds of the kill moments: three for the suite, VANTOR_CRASH_SEEDS=N for seeds 1..N.
std::vector<unsigned> crashSeeds() {
    int count = 3;
    if (const char* asked = std::getenv("VANTOR_CRASH_SEEDS")) count = std::max(1, std::atoi(asked));
    std::vector<unsigned> seeds(size_t(count), 0);
    std::iota(seeds.begin(), seeds.end(), 1u);
    return seeds;
}

// What runs after a kill that left nothing to do: the data file must open and read.
const std::string kReadOnly = "export sales-shops";

// A write killed at random moments and what it must leave. Run 0 is the reference, seed s is run s.
struct KillPlan {
    std::string name;            // names the run's folders
    std::filesystem::path start; // the data folder every run begins with
    std::function<std::string(unsigned run)> command;
    // What a run's store holds; by default the folder's data file.
    std::function<StoreState(unsigned run, const std::filesystem::path& dir)> state{};
    // Checks what a killed run left against the store before and after a whole run.
    std::function<void(const StoreState& killed, const StoreState& before, const StoreState& after)> check;
    // The command that completes a killed run, or one that only reads when nothing is left to do.
    std::function<std::string(unsigned run, const StoreState& killed, const StoreState& after)> next;
};

class KilledWrites : public test::MarketFolders {
protected:
    // Runs the plan's command once to its end (the reference, taking T), then for each seed on a fresh
    // copy of the start folder kills it after a delay drawn from [0, T) and checks what is left.
    void killAtRandomMoments(const KillPlan& plan) {
        auto state = plan.state ? plan.state
                                : [](unsigned, const Path& dir) { return test::fileState(dataFile(dir)); };
        const bool hadFile = std::filesystem::exists(dataFile(plan.start));
        const Path reference = copyOf(plan.start, plan.name + "-reference");
        const StoreState before = state(0, reference);
        const auto started = std::chrono::steady_clock::now();
        const test::CliResult whole = run(reference, plan.command(0));
        const auto took =
            std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - started);
        ASSERT_EQ(whole.status, 0) << plan.command(0) << "\n" << whole.out;
        const StoreState after = state(0, reference);
        ASSERT_FALSE(after.count("orphans")) << after.at("orphans");
        const std::set<std::string> files = fileNames(reference);

        // The plan's name goes into the seed as well, so the kinds are not all killed at the same fractions.
        unsigned kind = 0;
        for (unsigned char c : plan.name)
            kind = kind * 31 + c;
        for (unsigned seed : crashSeeds()) {
            std::seed_seq seeds{seed, kind};
            std::mt19937 random(seeds);
            const auto delay = std::chrono::microseconds(
                std::uniform_int_distribution<std::int64_t>(0, took.count() - 1)(random));
            std::ostringstream trace;
            trace << "seed " << seed << ": killed after " << delay.count() / 1000.0
                  << " ms of the reference's " << took.count() / 1000.0 << " ms";
            SCOPED_TRACE(trace.str());
            const Path dir = copyOf(plan.start, plan.name + "-seed" + std::to_string(seed));
            const Path printed = root.path() / (plan.name + "-seed" + std::to_string(seed) + ".txt");
            const pid_t cli =
                test::startCli("--data-dir " + dir.string() + " " + plan.command(seed), printed);
            ASSERT_GT(cli, 0);
            std::this_thread::sleep_for(delay);
            kill(cli, SIGKILL);
            int status = 0;
            waitpid(cli, &status, 0);
            if (WIFEXITED(status)) {
                EXPECT_EQ(WEXITSTATUS(status), 0) << "ended before the kill\n" << test::readFile(printed);
            }
            if (hadFile) {
                EXPECT_TRUE(std::filesystem::exists(dataFile(dir))) << "the data file is gone";
            }
            if (std::filesystem::exists(dataFile(dir))) {
                EXPECT_EQ(test::integrityCheck(dataFile(dir)), "ok");
            }
            const StoreState killed = state(seed, dir);
            // Where the kills fell, for the long seed lists.
            std::cout << plan.name << " " << trace.str() << (WIFEXITED(status) ? " (had ended)" : "") << ": "
                      << killed.size() << " units kept, " << after.size() << " after a whole run, "
                      << (killed == before  ? "as before"
                          : killed == after ? "as after"
                                            : "in between")
                      << '\n';
            plan.check(killed, before, after);
            const std::string next = plan.next(seed, killed, after);
            const test::CliResult again = run(dir, next);
            EXPECT_EQ(again.status, 0) << next << "\n" << again.out;
            EXPECT_TRUE(test::sameState(state(seed, dir), after)) << "after " << next;
            EXPECT_EQ(fileNames(dir), files) << "after " << next << ", against the folder of a whole run";
        }
    }

    static std::set<std::string> fileNames(const Path& dir) {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(dir))
            names.insert(entry.path().filename().string());
        return names;
    }

    // Every unit the killed store holds is whole, and they are the first of the run's units in order.
    static void expectWholeUnitsInOrder(const StoreState& killed, const StoreState& after,
                                        const std::vector<std::string>& order) {
        for (const auto& [unit, rows] : killed)
            EXPECT_TRUE(unit == "sales run" || after.count(unit)) << "not of the run: " << unit << "\n"
                                                                  << rows;
        size_t kept = 0;
        for (const std::string& unit : order) {
            auto held = killed.find(unit);
            if (held == killed.end()) continue;
            EXPECT_EQ(kept++, size_t(&unit - order.data()))
                << unit << " is kept after one of the run missing";
            EXPECT_TRUE(test::sameState({*held}, {{unit, after.at(unit)}})) << "half a unit kept";
        }
    }
    static void expectBeforeOrAfter(const StoreState& killed, const StoreState& before,
                                    const StoreState& after) {
        EXPECT_TRUE(killed == before || killed == after)
            << "neither the store before nor after the run.\nAgainst before:\n"
            << stateDifferences(killed, before) << "Against after:\n"
            << stateDifferences(killed, after);
    }

    // A store of a few gathered shops, one of them (its nick in bigShop) with tens of thousands of sales,
    // so that a delete, a compaction or a copy of it writes long enough to be killed in the middle.
    Path bigStore(std::string* bigShop = nullptr) {
        const Path dir = folder("big");
        const auto shops = steadyShops(3, 0, 60);
        prepare(dir, "gather-sales --items 6" + shopOptions(shops));
        prepare(dir, "gather-ratings --to 60" + shopOptions(shops));
        db::Database db(dataFile(dir), db::Database::Mode::OpenExisting);
        auto copies = db.prepare(
            "with recursive copy(n) as (select 1 union all select n+1 from copy where n<200) "
            "insert into "
            "saleInfo(itemId,trade_id,itemTitle,amount,buyerName,buyerId,sj,buyNum,getNum,status) "
            "select "
            "s.itemId,s.trade_id||'-'||copy.n,s.itemTitle,s.amount,s.buyerName,s.buyerId,s.sj,s.buyNum,"
            "s.getNum,s.status from saleInfo s join itemInfo i on i.itemId=s.itemId join dianbase d on "
            "d.id=i.dian_id, copy where d.dianzhu=:nick");
        copies.bind("nick", shops[1]->nick).execute();
        if (bigShop) *bigShop = shops[1]->nick;
        return dir;
    }
};

} // namespace

TEST_F(KilledWrites, ASalesRunKeepsWholeShopsInItsOrderAndResumesToTheFileOfAWholeRun) {
    market.faults().add(demo::parseFaultRule("kind=delay&ms=20")); // about a second for the run
    const auto shops = steadyShops(4);
    std::vector<std::string> order;
    for (const demo::Shop* shop : shops)
        order.push_back("shop " + shop->nick);
    const std::string command = "gather-sales --items 4" + shopOptions(shops);
    killAtRandomMoments({
        .name = "sales",
        .start = folder("start"),
        .command = [&](unsigned) { return command; },
        .check =
            [&](const StoreState& killed, const StoreState&, const StoreState& after) {
                expectWholeUnitsInOrder(killed, after, order);
                // The record marks a shop done in the shop's own transaction.
                if (!killed.count("sales run")) return;
                const std::string& record = killed.at("sales run");
                size_t done = 0;
                for (size_t at = 0; (at = record.find("|done=1|", at)) != std::string::npos; ++at)
                    ++done;
                size_t kept = 0;
                for (const std::string& unit : order)
                    kept += killed.count(unit);
                EXPECT_EQ(done, kept) << record;
            },
        .next =
            [&](unsigned, const StoreState& killed, const StoreState&) {
                return killed.count("sales run") ? "gather-sales --resume" : command;
            },
    });
}

TEST_F(KilledWrites, ARatingRunKeepsAllOfItOrNothing) {
    market.faults().add(demo::parseFaultRule("kind=delay&ms=20"));
    const auto shops = steadyShops(3, 0, 200);
    // Two of the shops were gathered before: their rows must come through a killed run unchanged.
    const Path start = folder("start");
    prepare(start, "gather-sales --items 2" + shopOptions({shops[0], shops[1]}));
    const std::string command = "gather-ratings --from 1 --to 200" + shopOptions(shops);
    killAtRandomMoments({
        .name = "ratings",
        .start = start,
        .command = [&](unsigned) { return command; },
        .check = expectBeforeOrAfter,
        .next = [&](unsigned, const StoreState&, const StoreState&) { return command; },
    });
}

TEST_F(KilledWrites, ACategoryRankingKeepsWholeMonthlySnapshotsInItsOrder) {
    // Pages of 80 items: four a category, a slow answer each.
    market.faults().add(demo::parseFaultRule("kind=delay&ms=150&match=sale-desc"));
    const int depth = 300;
    const std::vector<int> categories = fullCategories(3, depth);
    ASSERT_EQ(categories.size(), 3u);
    std::string command = "rank-category --depth " + std::to_string(depth);
    for (int position : categories)
        command += " --category " + std::to_string(position);
    std::vector<std::string> order;
    killAtRandomMoments({
        .name = "ranking",
        .start = folder("start"),
        .command = [&](unsigned) { return command; },
        .state =
            [&](unsigned run, const Path& dir) {
                StoreState state = test::fileState(dataFile(dir));
                // The snapshots in the run's order, of the month the reference saved them in.
                if (run == 0 && order.empty())
                    for (int position : categories)
                        for (const auto& [unit, rows] : state)
                            if (unit.starts_with("ranking " +
                                                 market::categoryBrowseCategories()[size_t(position)].id +
                                                 " "))
                                order.push_back(unit);
                return state;
            },
        .check =
            [&](const StoreState& killed, const StoreState&, const StoreState& after) {
                ASSERT_EQ(order.size(), categories.size()) << "one snapshot a category";
                expectWholeUnitsInOrder(killed, after, order);
            },
        .next = [&](unsigned, const StoreState&, const StoreState&) { return command; },
    });
}

TEST_F(KilledWrites, AShopDeleteTakesTheWholeShopOrNothing) {
    std::string nick;
    const Path start = bigStore(&nick);
    db::Database db(dataFile(start), db::Database::Mode::OpenExisting);
    auto id = db.prepare("select id from dianbase where dianzhu=:nick");
    ASSERT_TRUE(id.bind("nick", nick).step());
    const std::string command = "delete shop " + id.text(0);
    killAtRandomMoments({
        .name = "delete",
        .start = start,
        .command = [&](unsigned) { return command; },
        .check = expectBeforeOrAfter,
        .next = [&](unsigned, const StoreState& killed,
                    const StoreState& after) { return killed == after ? kReadOnly : command; },
    });
}

TEST_F(KilledWrites, ACompactionLeavesTheSameDataInAFileThatIsAlwaysThere) {
    const Path start = bigStore();
    // Rows deleted leave free pages, which the compaction gives back.
    prepare(start, "delete shop 1");
    killAtRandomMoments({
        .name = "compact",
        .start = start,
        .command = [](unsigned) { return std::string("compact"); },
        .check = [](const StoreState& killed, const StoreState& before,
                    const StoreState&) { EXPECT_TRUE(test::sameState(killed, before)); },
        .next = [](unsigned, const StoreState&, const StoreState&) { return std::string("compact"); },
    });
    EXPECT_LT(std::filesystem::file_size(dataFile(root.path() / "compact-reference")),
              std::filesystem::file_size(dataFile(start)))
        << "the compaction gave nothing back";
}

TEST_F(KilledWrites, ACopyBetweenTheFileAndAServerArrivesWholeOrNotAtAll) {
    const Path source = bigStore();
    test::PgServer server;
    std::map<std::string, std::string> urls;
    auto database = [&](const char* direction, unsigned run) {
        const std::string name = direction + std::to_string(run);
        if (!urls.count(name)) urls[name] = server.url(name);
        return urls[name];
    };
    // The file into a new, empty server database for each run.
    killAtRandomMoments({
        .name = "to-server",
        .start = source,
        .command = [&](unsigned run) { return "db copy --to " + database("to", run); },
        .state = [&](unsigned run, const Path&) { return test::serverState(database("to", run)); },
        .check = expectBeforeOrAfter,
        .next =
            [&](unsigned run, const StoreState& killed, const StoreState& after) {
                return killed == after ? kReadOnly : "db copy --to " + database("to", run);
            },
    });
    ASSERT_TRUE(test::sameState(test::serverState(database("to", 0)), test::fileState(dataFile(source))))
        << "the server holds what the file holds";

    // And that server database back into an empty data folder.
    const std::string from = "db copy --from " + database("to", 0);
    killAtRandomMoments({
        .name = "from-server",
        .start = folder("empty"),
        .command = [&](unsigned) { return from; },
        .check = expectBeforeOrAfter,
        .next = [&](unsigned, const StoreState& killed,
                    const StoreState& after) { return killed == after ? kReadOnly : from; },
    });
}
