#pragma once

#include <string_view>

namespace vantor::fuzz {

void shopList(std::string_view page);
void itemLists(std::string_view page);
void itemPage(std::string_view page);
void rateList(std::string_view page);
void shopPage(std::string_view page);
void rateSummary(std::string_view page);
void saleList(std::string_view page);
void textTools(std::string_view text);

} // namespace vantor::fuzz
