#pragma once

#include <string>
#include <vector>

namespace vantor::market {

// One entry of a category drop-down: the text shown and the marketplace's category id.
struct CategoryEntry {
    std::string name; // UTF-8
    std::string id;
};

// The shop search's categories (the sales and rating gathering windows): position 0 is "所有类目"
// with no id.
const std::vector<CategoryEntry>& shopSearchCategories();

// The category browse's categories (the category ranking list and the ranking data view).
const std::vector<CategoryEntry>& categoryBrowseCategories();

} // namespace vantor::market
