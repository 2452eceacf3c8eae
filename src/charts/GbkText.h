#pragma once

#include <string>
#include <string_view>

namespace vantor::charts {

// UTF-8 (the database's text) to GBK (the documents' code page). A character GBK cannot hold
// becomes '?', so one odd character never costs the user a whole document.
std::string toGbk(std::string_view utf8);

} // namespace vantor::charts
