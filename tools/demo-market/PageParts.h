#pragma once

#include "MarketModel.h"

#include <string>

namespace vantor::demo {

// Markup pieces several page kinds share.

// "<a href=HREF target=_blank><img src=IMG />TEXT</a>"
std::string imageLink(const std::string& href, const std::string& image, const std::string& text = "");
// The credit level's icon.
std::string rankImage(int level);
std::string itemImage(const Item& item);
// Page links of an offset-paged list: "上一页", numbers, "下一页"; prefix ends where the offset goes.
std::string pager(const std::string& prefix, int offset, int pageSize, size_t total);

} // namespace vantor::demo
