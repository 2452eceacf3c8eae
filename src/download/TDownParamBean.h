#pragma once

#include "download/THttpAgent.h"

#include <cstdint>
#include <memory>
#include <string>

namespace vantor {

// One gathering job: the run of numbered pages a gathering window asks for. The window fills it in
// before it starts the driver; while the driver runs, only the driver touches it (it advances curPage).
struct TDownParamBean {
    std::int32_t endPage = 0;  // last page, inclusive
    std::int32_t curPage = 0;  // next page to start
    std::string urlPrefix;     // address in front of the page number
    std::string urlSuffix;     // behind the page number; empty: every page fetches urlPrefix alone
    std::int32_t pageKind = 0; // handed back unchanged to the handlers
    std::shared_ptr<const THttpAgent> httpAgent; // the settings current when the job was built
    std::int32_t extra = 0;                      // the windows' own number; the engine never reads it
};

} // namespace vantor
