#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// The marketplace records the page parsers fill and the saves write. Text fields are UTF-8: the parser
// decodes the page's GBK once, when it makes the record. Every text starts empty and every number at 0.

namespace vantor::market {

// One shop.
struct TDianBaseInfo {
    std::string id; // database id, decimal text, set by the shop save
    std::string webaddr;
    std::string rateUrl;
    std::string addr;
    std::string dianming;
    std::string dianzhu; // the shop's natural key
    std::string userId;
    std::int32_t commodityNum = 0;
    std::string loc;           // main line of business
    std::string commodityKind; // never filled: the shop save always inserts it empty
    std::int32_t salerCredit = 0;
    std::int32_t buyerCredit = 0;
    std::int32_t favorite = 0;
    std::string createDate;
    // Bookkeeping of the gathering workflows.
    std::string firstPageUrl; // the shop's 首页 link, read from the shop page
    std::int32_t itemPageCount = 0;
    std::string lastGathered;
};

// One item as read from its own page.
struct TItemBaseInfo {
    std::string itemTitle;
    std::string itemId;
    std::string itemAutionUrl;
    double curPrice = 0;
    std::string updateDate;
    std::int32_t curSale = 0;
    std::int32_t monthSale = 0;
    std::int32_t favorite = 0;
    std::string addr;
    std::string saleFromDate;
};

// One row of an item list page.
struct TItemInfo {
    std::string itemTitle;
    std::string cell22;
    std::string place;
    std::string shipping;
    std::string itemUrl;
    std::string price;
    std::string reserved;
    std::string dianzhu;
    std::string cell23;

    bool operator==(const TItemInfo&) const = default;
};

// One sale of an item's buyer list.
struct TAutionInfo {
    std::string buyerName;
    std::string buyerId;
    std::string itemTitle;
    std::string tradeId;
    std::string buyerLink;  // the buyer's link tag, when the buyer is shown with one
    std::string itemLink;   // attributes of the item link of the row
    std::string buyerBadge; // the badge image tag beside the buyer
    double buyNum = 0;
    double amount = 0;
    std::string sj;
    std::string status;
};

// Header of one item's sales list: the sales workflow's paging state.
struct TAutionBaseInfo {
    std::string itemId;
    std::int32_t soldTotal = 0;
    std::int32_t pageCount = 0;
    std::int32_t curPage = 0;
};

// One rating left on a shop.
struct TRateInfo {
    std::string pj;
    std::string pjInfo;
    std::string pjjs;
    std::string pjsj;
    std::string pjName; // its decimal character references already read
    std::string itemId;
    std::string itemTitle;
    std::string tradeId;
    std::string raterLink; // attributes of the rater's link, not saved
    double jg = 0;
    bool counts = true; // false: shown "[不计分]", it adds nothing to the credit
};

// A shop's credit summary. Period 1 is the last week, 2 the last month, 3 the last half year, 4 before.
struct TRateBaseInfo {
    std::string dianId;         // the workflow's own
    std::int32_t rateCount = 0; // "共N条评价" of the summary page
    std::int32_t salerGood1 = 0, salerNotBad1 = 0, salerBad1 = 0;
    std::int32_t buyerGood1 = 0, buyerNotBad1 = 0, buyerBad1 = 0;
    std::int32_t salerGood2 = 0, salerNotBad2 = 0, salerBad2 = 0;
    std::int32_t buyerGood2 = 0, buyerNotBad2 = 0, buyerBad2 = 0;
    std::int32_t salerGood3 = 0, salerNotBad3 = 0, salerBad3 = 0;
    std::int32_t buyerGood3 = 0, buyerNotBad3 = 0, buyerBad3 = 0;
    std::int32_t salerGood4 = 0, salerNotBad4 = 0, salerBad4 = 0;
    std::int32_t buyerGood4 = 0, buyerNotBad4 = 0, buyerBad4 = 0;
    std::string itemGoal;    // up to 6 characters
    std::string serviceGoal; // up to 6 characters
    std::string consignGoal; // up to 6 characters
    double virtualGoal = 0;
    double realGoal = 0;
    double salerGoodRate = 0;
    double buyerGoodRate = 0;
    std::int32_t salerCredit = 0;
    std::int32_t buyerCredit = 0;
};

// An ordered list of records, each under a text: the decimal 0-based index for most lists, the rating
// time for rating lists (texts may repeat). The list owns its records; whoever holds the list owns both.
template <class T> class RecordList {
public:
    struct Entry {
        std::string text;
        T record;
    };

    void add(T record) { entries_.push_back({std::to_string(entries_.size()), std::move(record)}); }
    void add(std::string text, T record) { entries_.push_back({std::move(text), std::move(record)}); }

    std::size_t size() const { return entries_.size(); }
    bool empty() const { return entries_.empty(); }
    const std::string& text(std::size_t i) const { return entries_.at(i).text; }
    T& record(std::size_t i) { return entries_.at(i).record; }
    const T& record(std::size_t i) const { return entries_.at(i).record; }

    auto begin() { return entries_.begin(); }
    auto end() { return entries_.end(); }
    auto begin() const { return entries_.begin(); }
    auto end() const { return entries_.end(); }

    // Rows of the page left out because matching them went past the expression limits; the rows
    // around them are still in the list.
    std::size_t skippedRows() const { return skippedRows_; }
    void setSkippedRows(std::size_t count) { skippedRows_ = count; }

private:
    std::vector<Entry> entries_;
    std::size_t skippedRows_ = 0;
};

} // namespace vantor::market

// The records keep their names where the rest of the program meets them.
namespace vantor {
using market::RecordList;
using market::TAutionBaseInfo;
using market::TAutionInfo;
using market::TDianBaseInfo;
using market::TItemBaseInfo;
using market::TItemInfo;
using market::TRateBaseInfo;
using market::TRateInfo;
} // namespace vantor
