#pragma once

// The marketplace's hosts. Every address the program builds starts with one of these; addresses of
// shop and item pages come from the pages themselves. The demo marketplace serves all of them.
namespace vantor::market {

inline constexpr const char* kShopSearchHost = "http://shopsearch.taobao.com";
inline constexpr const char* kListHost = "http://list.taobao.com";
inline constexpr const char* kItemSearchHost = "http://s.taobao.com";
inline constexpr const char* kRateHost = "http://rate.taobao.com";
// From rating page 100 on, the first 11 characters of a rating address ("http://rate") give way to
// this prefix, which names the rating-history host.
inline constexpr const char* kRateHistoryPrefix = "http://ratehis";
inline constexpr const char* kRateHistoryHost = "http://ratehis.taobao.com";
inline constexpr const char* kItemHost = "http://item.taobao.com";
inline constexpr const char* kShopHostSuffix = ".taobao.com"; // shop pages: http://shop<id>.taobao.com
inline constexpr const char* kBuyerListPath = "/json/show_buyer_list.htm";

} // namespace vantor::market
