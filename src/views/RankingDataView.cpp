#include "RankingDataView.h"

#include "market/CategoryTable.h"

#include <algorithm>
#include <cstdio>

namespace vantor::views {
namespace {

// The export keeps the ranking's own columns; the movement is for the screen.
constexpr int kExportedColumns = 11;

constexpr const char* kMonthSelection = "typeid=:typeId and datePart('m',updateDate)=:date1 and "
                                        "datePart('yyyy',updateDate)=:year";
constexpr const char* kYearSelection = "typeid=:typeId and datePart('yyyy',updateDate)=:year";

const char* rankingSelection(const RankingChoice& choice) {
    return choice.month > 0 ? kMonthSelection : kYearSelection;
}

int chosenYear(const RankingChoice& choice, const DateTime& now) {
    return choice.year > 0 ? choice.year : now.year;
}

// Pieces sold in 30 days times the price, in money's two decimals.
std::string salesAmount(const Dataset& rows, std::size_t row) {
    const int soldField = rows.fieldIndex("monthSale"), priceField = rows.fieldIndex("amount");
    if (soldField < 0 || priceField < 0) return {};
    auto sold = rows.value(row, soldField);
    auto price = rows.value(row, priceField);
    auto number = [](const db::Value& v) -> std::optional<double> {
        if (auto* i = std::get_if<std::int64_t>(&v)) return double(*i);
        if (auto* d = std::get_if<double>(&v)) return *d;
        return std::nullopt;
    };
    auto a = number(sold), b = number(price);
    if (!a || !b) return {};
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", *a * *b);
    return text;
}

Parameters selection(const RankingChoice& choice, const DateTime& now) {
    Parameters parameters = {{"typeId", market::categoryBrowseCategories().at(size_t(choice.category)).id},
                             {"year", std::int64_t(chosenYear(choice, now))}};
    if (choice.month > 0) parameters.push_back({"date1", std::int64_t(choice.month)});
    return parameters;
}

// "yyyy-MM-01 00:00:00" of a month counted from year 0, so the month before January is December.
std::string monthStart(int months) {
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02d-01 00:00:00", months / 12, months % 12 + 1);
    return text;
}

// A row's rank is its place in its snapshot, saved best seller first; the movement is the rank in the
// previous month's snapshot of the category minus today's, null for an item new to the list.
constexpr const char* kRankMove =
    "(select (select count(*) from itemTop c where c.typeId=p.typeId and c.updateDate>=:prevFrom and "
    "c.updateDate<:monthFrom and c.id<=p.id) - (select count(*) from itemTop c where c.typeId=t.typeId and "
    "c.updateDate>=:monthFrom and c.updateDate<:monthTo and c.id<=t.id) from itemTop p where "
    "p.typeId=t.typeId and p.itemUrl=t.itemUrl and p.updateDate>=:prevFrom and p.updateDate<:monthFrom "
    "order by p.id limit 1) as rankMove";

// The same for a whole year, where each row is compared with the month before its own: months are
// counted as year × 12 + month, so December comes before January here too.
const std::string& rankMoveEachMonth() {
    static const std::string sql = [] {
        auto month = [](const char* date) {
            return std::string("(datePart('yyyy',") + date + ")*12+datePart('m'," + date + "))";
        };
        return "(select (select count(*) from itemTop c where c.typeId=p.typeId and " +
               month("c.updateDate") + "=" + month("p.updateDate") +
               " and c.id<=p.id) - (select count(*) from itemTop c where c.typeId=t.typeId and " +
               month("c.updateDate") + "=" + month("t.updateDate") +
               " and c.id<=t.id) from itemTop p where p.typeId=t.typeId and p.itemUrl=t.itemUrl and " +
               month("p.updateDate") + "=" + month("t.updateDate") + "-1 order by p.id limit 1) as rankMove";
    }();
    return sql;
}

std::string rankMove(const Dataset& rows, std::size_t row) {
    const auto move = rows.integer(row, "rankMove");
    if (!move) return "新上榜";
    if (*move == 0) return "–";
    return (*move > 0 ? "↑" : "↓") + std::to_string(*move > 0 ? *move : -*move);
}

} // namespace

RankingDataView::RankingDataView(const db::TDM& dm, QueryReader::Mode mode)
    : connection_(dm),
      ranking_([&dm] { return dm.openConnection(); }, std::string(), true, mode),
      grid_({{"xh", "序号", 40},
             {"updateDate", "更新日期", 130},
             {"dianzhu", "卖家", 100},
             {"itemTitle", "商品名", 250},
             money({"amount", "价格", 60}),
             money({"shipping", "运费", 50}),
             {"monthSale", "30天售出", 60},
             money({"", "销售额", 80, salesAmount}),
             {"favorite", "收藏人数", 60},
             {"place", "地点", 80},
             {"itemUrl", "链接", 200},
             {"rankMove", "排名变化", 70, rankMove}},
            true) {}

const std::vector<std::string>& RankingDataView::monthEntries() {
    static const std::vector<std::string> entries = {"全年", "一月",   "二月",  "三月", "四月",
                                                     "五月", "六月",   "七月",  "八月", "九月",
                                                     "十月", "十一月", "十二月"};
    return entries;
}

const std::vector<std::string>& RankingDataView::sortEntries() {
    static const std::vector<std::string> entries = {"销售数量", "销售金额", "销售单价", "收藏人数"};
    return entries;
}

std::string RankingDataView::sortKey(int sortName, bool descending) {
    const char* key = sortName == 0   ? "monthSale"
                      : sortName == 1 ? "monthSale*amount"
                      : sortName == 2 ? "amount"
                                      : "favorite";
    return std::string(key) + (descending ? " desc" : "");
}

std::vector<int> RankingDataView::savedYears(int currentYear) {
    std::vector<int> years{currentYear};
    auto statement = connection_.get().prepare(
        "select distinct datePart('yyyy',updateDate) as y from itemTop where updateDate is not null");
    while (statement.step()) {
        const db::Value value = statement.value(0);
        if (auto* year = std::get_if<std::int64_t>(&value)) years.push_back(int(*year));
    }
    std::sort(years.begin(), years.end(), std::greater<>());
    years.erase(std::unique(years.begin(), years.end()), years.end());
    return years;
}

std::optional<RankingChoice> RankingDataView::newestSaved() {
    auto statement = connection_.get().prepare(
        "select typeId, datePart('m',updateDate), datePart('yyyy',updateDate) from itemTop "
        "where updateDate is not null order by updateDate desc, id desc limit 1");
    if (!statement.step()) return std::nullopt;
    const std::string typeId = db::valueToText(statement.value(0));
    const auto& categories = market::categoryBrowseCategories();
    const auto category =
        std::find_if(categories.begin(), categories.end(),
                     [&](const market::CategoryEntry& entry) { return entry.id == typeId; });
    const db::Value monthValue = statement.value(1), yearValue = statement.value(2);
    auto* m = std::get_if<std::int64_t>(&monthValue);
    auto* y = std::get_if<std::int64_t>(&yearValue);
    if (category == categories.end() || !m || !y) return std::nullopt;
    RankingChoice choice;
    choice.category = int(category - categories.begin());
    choice.month = int(*m);
    choice.year = int(*y);
    return choice;
}

const char* RankingDataView::deleteQuestion(const RankingChoice& choice) {
    return choice.month > 0 ? kDeleteRankingQuestion : kDeleteYearRankingQuestion;
}

void RankingDataView::query(const RankingChoice& choice, const DateTime& now) {
    Parameters parameters = selection(choice, now);
    std::string move;
    if (choice.month > 0) {
        const int month = chosenYear(choice, now) * 12 + choice.month - 1;
        parameters.push_back({"prevFrom", monthStart(month - 1)});
        parameters.push_back({"monthFrom", monthStart(month)});
        parameters.push_back({"monthTo", monthStart(month + 1)});
        move = kRankMove;
    } else {
        move = rankMoveEachMonth();
    }
    ranking_.setSql("select t.*," + move + " from itemTop t where " + rankingSelection(choice) +
                        " order by typeId," + sortKey(choice.sortName, choice.descending) + ",updateDate",
                    std::move(parameters));
    ranking_.open();
}

DeleteResult RankingDataView::deleteRanking(const RankingChoice& choice, const DateTime& now) {
    const std::string statement = std::string("delete from itemTop where ") + rankingSelection(choice);
    DeleteResult result = deleteInTransaction(connection_.get(), {statement}, selection(choice, now));
    if (result.done) query(choice, now);
    return result;
}

ExportJob RankingDataView::exportJob() {
    return {&ranking_, "序号,更新日期,卖家,商品名,价格,运费,30天售出,销售额,收藏人数,地点,链接",
            "商品排行数据.csv", gridCells(ranking_, grid_, kExportedColumns), &grid_};
}

std::string RankingDataView::itemLink() const {
    return ranking_.currentText("itemUrl");
}

} // namespace vantor::views
