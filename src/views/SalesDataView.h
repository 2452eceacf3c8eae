#pragma once

#include "CsvExport.h"
#include "Dataset.h"
#include "DeleteRoutine.h"
#include "GridTitles.h"
#include "base/DateTime.h"
#include "db/TDM.h"
#include "market/Records.h"

#include <optional>
#include <string>
#include <string_view>

namespace vantor::views {

inline constexpr const char* kDeleteShopQuestion = "是否真的要删除此店铺的所有数据?";
inline constexpr const char* kDeleteItemQuestion = "是否真的要删除此商品的销售数据?";

// The summary labels of the sale records page; every one starts as "0".
struct ItemSummary {
    std::string avgSaleCount = "0";
    std::string saleCount = "0";
    std::string totalAmount = "0";
    std::string buyerNums = "0";
    std::string buyCount = "0";
    std::string avgAmount = "0";
    std::string everySaleNum = "0";
};

// What the sales gathering stored, as the sales data view shows it: the shops that have items, the
// items of the current shop and the sales of the current item, with their summary, filters, deletes,
// exports and the shop handed back for a fresh download.
class SalesDataView {
public:
    static constexpr int kSalePage = 1; // "销售明细"

    SalesDataView(const db::TDM& dm, QueryReader::Mode mode);
    SalesDataView(const SalesDataView&) = delete;
    SalesDataView& operator=(const SalesDataView&) = delete;

    Dataset& shops() { return shops_; }
    Dataset& items() { return items_; }
    Dataset& sales() { return sales_; }
    GridTitles& shopGrid() { return shopGrid_; }
    GridTitles& itemGrid() { return itemGrid_; }
    GridTitles& saleGrid() { return saleGrid_; }

    // Opens the shops, then the items of the current shop. Moving to another shop re-reads the items.
    void formCreate();
    // Reads every grid again after other windows changed the data; the current shop and item stay
    // where they still exist.
    void reload();
    // A page switch: on the sale records page, with items shown, re-reads the current item's sales
    // and updates the summary. The buyer count is not guarded: an item without sales divides by zero,
    // which raises std::domain_error after the labels before it have their new texts.
    void pageChange(int page, ItemSummary& summary);

    void filterShops(std::string_view keyword) { filterByKeyword(shops_, "dianming", keyword); }
    void filterItems(std::string_view keyword) { filterByKeyword(items_, "itemTitle", keyword); }

    // The current shop with its sales, items and row; the current item with its sales. The grids are
    // read again after a delete that took effect.
    DeleteResult deleteShop();
    DeleteResult deleteItem();

    ExportJob shopExport(const DateTime& today);
    ExportJob itemExport(const DateTime& today);
    ExportJob saleExport(const DateTime& today);

    std::string shopAddress() const; // what a double click opens
    std::string itemAddress() const;
    // The current shop as a search result row for the sales gathering .
    std::optional<TDianBaseInfo> shopForDownload() const;

private:
    ViewConnection connection_;
    Dataset shops_;
    Dataset items_;
    Dataset sales_;
    GridTitles shopGrid_;
    GridTitles itemGrid_;
    GridTitles saleGrid_;
};

// The statements of the delete buttons, in their order (parameter "dianId" or "item_id").
const std::vector<std::string_view>& deleteShopSalesStatements();
const std::vector<std::string_view>& deleteItemStatements();

} // namespace vantor::views
