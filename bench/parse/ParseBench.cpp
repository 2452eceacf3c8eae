// Parse speed of the marketplace pages: time per page and throughput with the expression cache, and the
// same parse compiling every expression on every call (what a parser without the cache does), as a ratio.

#include "parse/ExpressionCache.h"
#include "parse/Expressions.h"
#include "parse/ItemSearchParser.h"
#include "parse/RateSummaryParser.h"
#include "parse/TParseHtml.h"
#include "parse/fixtures/PageFixtures.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

using namespace vantor;
using Clock = std::chrono::steady_clock;

namespace {

struct Case {
    std::string name;
    std::string page;
    std::function<size_t(const std::string&)> parse; // returns the rows found, to print and keep
};

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

// Milliseconds per parse of one batch of about 50 ms.
double batch(const Case& c) {
    int runs = 0;
    const auto start = Clock::now();
    do {
        c.parse(c.page);
        ++runs;
    } while (Clock::now() - start < std::chrono::milliseconds(50));
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count() / runs;
}

struct Timing {
    double cached = 0;
    double compiledEveryCall = 0;
};

// Median time per parse with the cache and without it, in alternating batches, so that the machine's
// other load weighs on both alike.
Timing measure(const Case& c, double seconds) {
    c.parse(c.page); // compile into the cache, warm up
    std::vector<double> cached;
    std::vector<double> uncached;
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    while (Clock::now() < end || cached.size() < 3) {
        parse::ExpressionCache::setCaching(true);
        cached.push_back(batch(c));
        parse::ExpressionCache::setCaching(false);
        uncached.push_back(batch(c));
    }
    parse::ExpressionCache::setCaching(true);
    return {median(cached), median(uncached)};
}

std::vector<Case> cases() {
    using namespace fixtures;
    std::vector<Case> list;
    list.push_back({"shop search, 80 rows", shopSearchPage(sampleRows(sampleShopRow, 80)),
                    [](const std::string& page) { return TParseHtml::parseShopList(page).size(); }});
    list.push_back({"item list, 80 rows", itemSearchPage(sampleRows(sampleItemSearchRow, 80)),
                    [](const std::string& page) { return parse::parseItemSearchList(page).size(); }});
    ItemPage item;
    item.buyerButton = defaultBuyerButton();
    list.push_back({"item page, 4 operations", itemPage(item), [](const std::string& page) {
                        const TItemBaseInfo info = TParseHtml::parseItemPage(page);
                        const std::string url = TParseHtml::buyerListUrl(page);
                        const int sold = TParseHtml::parseSoldTotal(page);
                        const std::string shop = TParseHtml::parseShopEntry(page);
                        return size_t(!info.itemId.empty() + !url.empty() + (sold > 0) + !shop.empty());
                    }});
    list.push_back(
        {"rating list, 20 rows", ratePage(sampleRows(sampleRateRow, 20)), [](const std::string& page) {
             return TParseHtml::parseRateList(page, parse::expression(parse::Expression::RatingRow)).size();
         }});
    list.push_back({"rating summary page", rateSummaryPage(RateSummary{}), [](const std::string& page) {
                        return size_t(parse::parseRateSummary(page).salerGood1 > 0);
                    }});
    // Every row almost fits: a long main business and the wrong rank title, the worst the nested
    // quantifier can meet.
    std::vector<ShopRow> nearMisses = sampleRows(sampleShopRow, 90);
    for (ShopRow& row : nearMisses) {
        row.business = "women clothing, bags, shoes and more of it";
        row.rankTitle = "卖家信用";
    }
    list.push_back({"shop search, 90 near-miss rows", shopSearchPage(nearMisses),
                    [](const std::string& page) { return TParseHtml::parseShopList(page).skippedRows(); }});
    return list;
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 1.0;
    std::printf(
        "PCRE2 JIT: %s\n\n",
        parse::ExpressionCache::get(parse::expression(parse::Expression::ShopSearchRow))->jitCompiled()
            ? "yes"
            : "no (interpreter)");
    std::printf("%-32s %8s %5s %12s %9s %18s %7s\n", "page", "bytes", "rows", "ms/page", "MB/s",
                "compile/call ms", "ratio");
    for (const Case& c : cases()) {
        const size_t found = c.parse(c.page);
        const Timing t = measure(c, seconds);
        const double megabytesPerSecond = double(c.page.size()) / (1024.0 * 1024.0) / (t.cached / 1000.0);
        std::printf("%-32s %8zu %5zu %12.3f %9.1f %18.3f %6.1fx\n", c.name.c_str(), c.page.size(), found,
                    t.cached, megabytesPerSecond, t.compiledEveryCall, t.compiledEveryCall / t.cached);
    }
    std::printf("\nrows: records found (near-miss case: rows skipped at the match limit).\n"
                "ratio: time with every expression compiled on every call / time with the cache.\n");
    return 0;
}
