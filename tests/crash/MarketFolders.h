#pragma once

#include "StoreState.h"
#include "cli/RunCli.h"
#include "demo-market/DemoMarket.h"
#include "market/CategoryTable.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace vantor::test {

// Data folders under one temporary folder, each with a settings file that leads the command line to
// the test's own demo market.
class MarketFolders : public ::testing::Test {
protected:
    using Path = std::filesystem::path;

    Path folder(const std::string& name) {
        const Path made = root.path() / name;
        std::filesystem::create_directories(made);
        writeFile(made / "config.ini",
                  "[Net]\nAgentType=-1\nServer=127.0.0.1\nPort=" + std::to_string(market.port()) +
                      "\nConnectTime=2\nConnectTimeOut=-55000\nReadTimeOut=-25000\n");
        return made;
    }
    Path copyOf(const Path& from, const std::string& name) {
        const Path made = root.path() / name;
        std::filesystem::copy(from, made, std::filesystem::copy_options::recursive);
        return made;
    }
    static CliResult run(const Path& dir, const std::string& arguments) {
        return runCli("--data-dir " + dir.string() + " " + arguments);
    }
    // Runs a command that prepares a folder; it must succeed.
    static void prepare(const Path& dir, const std::string& arguments) {
        const CliResult r = run(dir, arguments);
        ASSERT_EQ(r.status, 0) << arguments << "\n" << r.out;
    }
    static Path dataFile(const Path& dir) { return dir / "lmd_pin.db"; }

    // Shops whose pages read the same at every visit (two runs can be compared), with at least so many
    // ratings, the first skipped ones left out.
    std::vector<const demo::Shop*> steadyShops(size_t count, size_t skip = 0, int ratings = 0) const {
        std::vector<const demo::Shop*> found;
        for (const demo::Shop& shop : market.model().shops())
            if (shop.index >= 20 && !shop.ratingsChange && shop.ratingCount >= ratings)
                found.push_back(&shop);
        found.erase(found.begin(), found.begin() + std::ptrdiff_t(std::min(skip, found.size())));
        found.resize(std::min(count, found.size()));
        return found;
    }
    static std::string shopOptions(const std::vector<const demo::Shop*>& shops) {
        std::string options;
        for (const demo::Shop* shop : shops)
            options += " --shop " + shop->webAddress();
        return options;
    }
    // Positions of the category-browse table whose pages hold at least depth items.
    std::vector<int> fullCategories(size_t count, int depth) const {
        std::vector<int> found;
        const auto& table = market::categoryBrowseCategories();
        for (size_t i = 0; i < table.size() && found.size() < count; ++i)
            if (!table[i].id.empty() && int(market.model().categoryItems(table[i].id).size()) >= depth)
                found.push_back(int(i));
        return found;
    }

    demo::DemoMarket market;
    TempDir root;
};

} // namespace vantor::test
