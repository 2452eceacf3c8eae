#pragma once

#include <string>

namespace vantor::parse {

// Every fixed expression the parsers apply to marketplace pages. They are written as the pages demand
// and handed out as byte patterns for GBK text, lower-cased like the cleaned pages they run on.
enum class Expression {
    // clean-up
    LineBreak,
    LineBreakNoSlash,
    WhitespaceRun,
    HighlightOpen,
    HighlightClose,
    SpanOpen,
    SpanClose,
    // shop search result page
    ShopSearchRow,
    BracketCount,
    // item page
    ItemId,
    ItemTitle,
    ItemCurSale,
    ItemMonthSale,
    ItemFavorite,
    ItemAddr,
    ItemPrice,
    BuyerListButton,
    BuyerListParams,
    SoldTotal,
    ShopEntry,
    // shop page
    RateLinkFirstForm,
    RateLinkSecondForm,
    ShopkeeperFirstForm,
    ShopkeeperSecondForm,
    SellerCredit,
    BuyerCredit,
    ShopFavorite,
    ShopCreateDate,
    ShopName,
    ShopItemCount,
    ShopLocation,
    ShopAddress,
    CategoryTrail,
    ItemListPageCount,
    ItemListTotal,
    FirstPageFirstForm,
    FirstPageSecondForm,
    ItemListFormAction,
    UserIdFromRateUrl,
    UserIdFromScript,
    // rating summary page
    GoodRatingRow,
    NeutralRatingRow,
    BadRatingRow,
    RatingCount,
    CumulativeCredit,
    DynamicScore,
    GoodRatingRate,
    SellerCreditSecondForm,
    BuyerCreditSecondForm,
    // lists
    ShopItemRow,
    SaleRow,
    TradeId,
    RatingRow,
    ItemSearchTotal,
    CategoryItemRow,
    ItemSearchRow,
};

const std::string& expression(Expression which);

} // namespace vantor::parse
