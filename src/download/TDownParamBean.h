#pragma once

#include "download/THttpAgent.h"

#include <cstdint>
#include <memory>
#include <string>

namespace vantor::download {

// What a job's pages are, handed back to its handlers as they stand.
enum class PageKind : std::int32_t {
    SearchResult = 0,
    ShopPage = 1,
    RateSummary = 2,
    List = 3,
    Item = 4,
    BuyerList = 5
};

// One gathering job: the run of numbered pages a gathering window asks for. The window fills it in
// before it starts the driver; while the driver runs, only the driver touches it (it advances curPage).
struct TDownParamBean {
    std::int32_t endPage = 0; // last page, inclusive
    std::int32_t curPage = 0; // next page to start
    std::string urlPrefix;    // address in front of the page number
    std::string urlSuffix;    // behind the page number; empty: every page fetches urlPrefix alone
    PageKind pageKind = PageKind::SearchResult;
    std::shared_ptr<const THttpAgent> httpAgent; // the settings current when the job was built
};

} // namespace vantor::download

// The record keeps its name where the rest of the program meets it.
namespace vantor {
using download::TDownParamBean;
} // namespace vantor
