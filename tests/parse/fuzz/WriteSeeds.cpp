// Writes the seed pages of every fuzz target: <folder>/<target>/<name>.html, in GBK.

#include "parse/fixtures/PageFixtures.h"

#include <filesystem>
#include <fstream>
#include <iostream>

using namespace vantor::fixtures;

namespace {

void write(const std::filesystem::path& folder, const std::string& target, const std::string& name,
           const std::string& page) {
    std::filesystem::create_directories(folder / target);
    std::ofstream(folder / target / (name + ".html"), std::ios::binary) << page;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " FOLDER\n";
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    write(folder, "shop_list", "search", shopSearchPage(sampleRows(sampleShopRow, 3)));
    write(folder, "item_lists", "search", itemSearchPage(sampleRows(sampleItemSearchRow, 2)));
    write(folder, "item_lists", "shop", shopItemListPage(sampleRows(sampleShopItemRow, 2)));
    write(folder, "item_lists", "full", fullRowListPage(sampleRows(sampleFullRow, 2)));
    ItemPage item;
    item.buyerButton = defaultBuyerButton();
    write(folder, "item_page", "item", itemPage(item));
    write(folder, "rate_list", "ratings", ratePage(sampleRows(sampleRateRow, 3)));
    ShopPage shop;
    write(folder, "shop_page", "first", shopPage(shop));
    shop.secondForm = true;
    shop.scriptUserId = "889900";
    write(folder, "shop_page", "second", shopPage(shop));
    RateSummary summary;
    write(folder, "rate_summary", "first", rateSummaryPage(summary));
    summary.secondForm = true;
    write(folder, "rate_summary", "second", rateSummaryPage(summary));
    write(folder, "sale_list", "sales", salePage(sampleRows(sampleSaleRow, 3)));
    write(folder, "text_tools", "entities",
          gbk("a&amp;quot;&#;b&nbsp;&nbsp;&#21152;&#xB0A1;關 <BR/>  &eacute;"));
    write(folder, "text_tools", "dates", "2010-01-12 10:11:122010/1/2 3:04");
    return 0;
}
