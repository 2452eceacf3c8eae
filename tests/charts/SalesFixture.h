#pragma once

#include "db/Database.h"

#include <filesystem>
#include <string>
#include <vector>

namespace vantor::test {

// Shops, items and sales for the analyses, in a real data file:
//  1 爱丽丝小店: a title with a quote, double quotes and "&"; an item sold at two prices; sales on the
//    last day at midnight (in the range) and one second later (out); an item sold only before 2011.
//  2 鲍勃: sales in 2011 that must never show up in shop 1's documents.
//  3 跨年小铺: sales from February 2010 to January 2011, weeks 9, 10 and 53 of 2010 and 1 and 2 of 2011.
//  4 全天候: one sale in every hour of 2011-05-01.
//  5 空店: no items at all.
void fillSalesFixture(db::Database& db);

// GBK file content as UTF-8, converted by iconv here so the check does not trust the writer.
std::string gbkFileAsUtf8(const std::filesystem::path& file);

// Lines joined with the CR LF every document line ends with.
std::string crlfLines(const std::vector<std::string>& lines);

// A list document: the declaration, then one <sale> block per row with the tags in the given order.
std::string listDocument(const std::vector<std::string>& tags,
                         const std::vector<std::vector<std::string>>& rows);

} // namespace vantor::test
