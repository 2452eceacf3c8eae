#pragma once

#include "CsvExport.h"
#include "Dataset.h"
#include "DeleteRoutine.h"
#include "GridTitles.h"
#include "base/DateTime.h"
#include "db/TDM.h"

#include <string>
#include <vector>

namespace vantor::views {

inline constexpr const char* kDeleteShopkeeperQuestion = "是否真的要删除此掌柜的数据?";
// The text of an untouched date box: the mask "yyyy-mm-dd" with every digit left blank.
inline constexpr const char* kEmptyDate = "    -  -  ";

// The shop search boxes: a box left empty adds no condition, level 0 ("不限") none either.
struct ShopSearch {
    std::string nick;
    std::string shop;
    std::string loc;
    std::string tag;
    int level = 0;
};

// The rating filter boxes: empty texts, index 0, prices of 0 and untouched dates add no condition.
struct RatingFilterInput {
    std::string pjName;
    std::string item;
    int pj = 0;
    int jg1 = 0;
    int jg2 = 0;
    std::string sj1 = kEmptyDate;
    std::string sj2 = kEmptyDate;
};

// A read-only detail field beside the shop grid.
struct DetailField {
    const char* field;
    const char* label;
};

// What the rating gathering stored, as the rating data view shows it: the shops with their credit and
// rating counts, found by several criteria, and the ratings of the current shop, filtered; a shop is
// deleted with its ratings; both lists are exported.
class RatingDataView {
public:
    static constexpr int kRatingPage = 1; // "评价资料"

    RatingDataView(const db::TDM& dm, QueryReader::Mode mode);
    RatingDataView(const RatingDataView&) = delete;
    RatingDataView& operator=(const RatingDataView&) = delete;

    Dataset& shops() { return shops_; }
    Dataset& ratings() { return ratings_; }
    GridTitles& shopGrid() { return shopGrid_; }
    GridTitles& rateGrid() { return rateGrid_; }

    static const std::vector<std::string>& levelEntries(); // "不限", "一颗红心" … "五颗金皇冠"
    static const std::vector<std::string>& pjEntries();    // "不限", "好评", "中评", "差评"
    static const std::vector<DetailField>& detailFields();

    void formCreate();
    // Reads the shops again after other windows changed the data; the current shop stays where it
    // still exists.
    void reload() { shops_.reopenKeeping("id"); }
    std::string findResultText(); // "共有" + shops + "店铺"
    void pageChange(int page);
    std::string rateCountText(); // "当前共有" + ratings + "条评价"

    // The shops with flag 0 that meet every filled box, newest update first. What the user typed is
    // bound as a parameter, so a quote or a percent sign is looked for like any other character.
    void searchShops(const ShopSearch& search);
    void filterRatings(const RatingFilterInput& input);
    static RowFilter ratingFilter(const RatingFilterInput& input);

    DeleteResult deleteShop();

    ExportJob shopExport(const DateTime& today);
    ExportJob ratingExport(const DateTime& today);

    std::string shopAddress() const;

private:
    ViewConnection connection_;
    Dataset shops_;
    Dataset ratings_;
    GridTitles shopGrid_;
    GridTitles rateGrid_;
};

// The statements of "删除掌柜", in their order (parameter "dianId").
const std::vector<std::string_view>& deleteShopRatingsStatements();

} // namespace vantor::views
