#include "SalesDataView.h"

#include <cstdio>
#include <stdexcept>

namespace vantor::views {
namespace {

constexpr const char* kSummarySql =
    "select sum(getNum) as getNums,format$(avg(getNum),'Standard') as avgNum,format$(sum(getNum*amount),"
    "'Standard') as totalAmount,format$(avg(amount),'Standard') as avgAmount  from saleInfo where "
    "itemId=:item_Id group by itemId";
constexpr const char* kBuyerCountSql =
    "select count(*) as buyerNums from (select  distinct itemid,buyername  from saleInfo where "
    "itemid=:item_Id )";

} // namespace

const std::vector<std::string_view>& deleteShopSalesStatements() {
    static const std::vector<std::string_view> statements = {
        "delete from saleInfo  where itemid in (select itemid from itemInfo where dian_id=:dianId)",
        "delete from itemInfo  where  dian_id=:dianId",
        "delete from dianbase where id=:dianId",
    };
    return statements;
}

const std::vector<std::string_view>& deleteItemStatements() {
    static const std::vector<std::string_view> statements = {
        "delete from saleInfo  where itemid=:item_id",
        "delete from itemInfo  where  itemId=:item_id",
    };
    return statements;
}

SalesDataView::SalesDataView(const db::TDM& dm, QueryReader::Mode mode)
    : connection_(dm),
      shops_(Dataset::standing(dm, "saleShopList", mode)),
      items_(Dataset::standing(dm, "itemInfo_v", mode)),
      sales_(Dataset::standing(dm, "itemAution_q", mode)),
      shopGrid_({{"xh", "序号", 40},
                 {"dianming", "店铺", 150},
                 {"dianzhu", "掌柜", 100},
                 {"salerCredit", "信用", 60},
                 {"saleLevel", "信用级别", 60, sellerLevelCell},
                 {"salerGoodRate", "卖家好评率", 70},
                 {"createDate", "创建日期", 130},
                 {"dianupdateDate", "更新日期", 130},
                 {"webaddr", "网址", 200}},
                true),
      itemGrid_({{"xh", "排名", 40},
                 {"itemTitle", "商品", 250},
                 money({"curPrice", "价格", 60}),
                 {"totalNums", "累计售出", 60},
                 money({"totalAmount", "销售额", 80}),
                 {"saleBeginDateV.beginDate", "开始日期", 130},
                 {"updateDate", "截止日期", 130},
                 {"favorite", "收藏人数", 60},
                 {"itemAutionUrl", "网址", 200}},
                true),
      saleGrid_({{"itemTitle", "商品标题", 250},
                 money({"amount", "价格", 60}),
                 {"buyerName", "买家", 100},
                 {"sj", "购买时间", 130},
                 {"buyNum", "购买数量", 60},
                 {"getNum", "成交数量", 60},
                 {"status", "成交状态", 80}},
                false) {
    // The items always follow the current shop; at the end of the list nothing happens.
    shops_.setAfterScroll([this] {
        items_.setParameter("dianid", shops_.currentInteger("dian_id").value_or(0));
        items_.open();
    });
}

void SalesDataView::formCreate() {
    shops_.open();
    auto shop = shops_.currentInteger("dian_id");
    items_.setParameter("dianId", shop ? db::Value(*shop) : db::Value());
    items_.open();
}

void SalesDataView::reload() {
    const std::string item = items_.currentText("itemid");
    shops_.reopenKeeping("dian_id");
    if (shops_.current() < 0) {
        items_.setParameter("dianId", db::Value());
        items_.open();
    }
    if (!item.empty()) items_.moveTo("itemid", item);
}

void SalesDataView::pageChange(int page, ItemSummary& summary) {
    if (page != kSalePage || !items_.isOpen() || items_.rowCount() == 0) return;
    const std::string itemId = items_.currentText("itemid");
    sales_.setParameter("item_Id", itemId);
    sales_.open();
    summary.buyCount = std::to_string(sales_.recordCount());

    db::Statement totals = connection_.get().prepare(kSummarySql);
    totals.bind("item_Id", itemId);
    double getNums = 0;
    std::string getNumsText, avgNum, totalAmount, avgAmount;
    if (totals.step()) {
        getNums = totals.real(0); // NULL reads as 0
        getNumsText = db::valueToText(totals.value("getNums"));
        avgNum = db::valueToText(totals.value("avgNum"));
        totalAmount = db::valueToText(totals.value("totalAmount"));
        avgAmount = db::valueToText(totals.value("avgAmount"));
    }
    totals.reset();
    summary.avgSaleCount = avgNum + "件";
    summary.saleCount = getNumsText + "件";
    summary.totalAmount = totalAmount + "元";
    summary.avgAmount = avgAmount + "元";

    db::Statement buyers = connection_.get().prepare(kBuyerCountSql);
    buyers.bind("item_Id", itemId);
    std::int64_t buyerNums = buyers.step() ? buyers.integer(0) : 0;
    buyers.reset();
    summary.buyerNums = std::to_string(buyerNums) + "人";
    if (buyerNums == 0) throw std::domain_error("浮点数除以零");
    char everySale[64];
    std::snprintf(everySale, sizeof everySale, "%.2f", getNums / double(buyerNums));
    summary.everySaleNum = std::string(everySale) + "件";
}

DeleteResult SalesDataView::deleteShop() {
    auto shop = shops_.currentInteger("dian_id");
    DeleteResult result = deleteInTransaction(connection_.get(), deleteShopSalesStatements(),
                                              {{"dianId", shop ? db::Value(*shop) : db::Value()}});
    if (result.done) {
        shops_.open();
        items_.open();
        sales_.open();
    }
    return result;
}

DeleteResult SalesDataView::deleteItem() {
    DeleteResult result = deleteInTransaction(connection_.get(), deleteItemStatements(),
                                              {{"item_id", items_.currentText("itemId")}});
    if (result.done) {
        items_.open();
        sales_.open();
    }
    return result;
}

ExportJob SalesDataView::shopExport(const DateTime& today) {
    return {&shops_, "序号,店铺名,卖家,卖家信用,信用级别,好评率,创店日期,更新日期,网址",
            safeFileName("导出销售掌柜数据" + fileDate(today) + ".csv"), gridCells(shops_, shopGrid_),
            &shopGrid_};
}

ExportJob SalesDataView::itemExport(const DateTime& today) {
    return {&items_, "序号,商品,当前价格,累积销售,销售总额,开始日期,更新日期,收藏人数,商品链接",
            safeFileName("导出" + shops_.currentText("dianzhu") + "掌柜商品销售数据--" + fileDate(today) +
                         ".csv"),
            gridCells(items_, itemGrid_), &itemGrid_};
}

ExportJob SalesDataView::saleExport(const DateTime& today) {
    return {
        &sales_, "商品,当前价格,买家,购买日期,购买数量,成交数量,成交状态",
        safeFileName("导出" + items_.currentText("itemTitle") + "商品销售明细--" + fileDate(today) + ".csv"),
        gridCells(sales_, saleGrid_), &saleGrid_};
}

std::string SalesDataView::shopAddress() const {
    return shops_.currentText("webaddr");
}

std::string SalesDataView::itemAddress() const {
    return items_.currentText("itemAutionUrl");
}

std::optional<TDianBaseInfo> SalesDataView::shopForDownload() const {
    if (shops_.current() < 0) return std::nullopt;
    const size_t row = size_t(shops_.current());
    TDianBaseInfo shop;
    shop.dianzhu = shops_.displayText(row, "dianzhu");
    shop.dianming = shops_.displayText(row, "dianming");
    shop.webaddr = shops_.displayText(row, "webaddr");
    shop.salerCredit = std::int32_t(shops_.integer(row, "salerCredit").value_or(0));
    shop.addr = shops_.displayText(row, "addr");
    shop.loc = shops_.displayText(row, "loc");
    shop.commodityNum = std::int32_t(shops_.integer(row, "commodityNum").value_or(0));
    return shop;
}

} // namespace vantor::views
