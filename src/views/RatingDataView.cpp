#include "RatingDataView.h"

namespace vantor::views {
namespace {

void addContains(RowFilter& filter, const char* field, const std::string& text, std::string written) {
    if (!text.empty()) filter.add({field, FilterCondition::Op::Contains, text, std::move(written)});
}

// "yyyy-mm-dd" with every digit typed.
bool isWholeDate(const std::string& text) {
    if (text.size() != 10) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool dash = i == 4 || i == 7;
        if (dash ? text[i] != '-' : (text[i] < '0' || text[i] > '9')) return false;
    }
    return true;
}

} // namespace

const std::vector<std::string_view>& deleteShopRatingsStatements() {
    static const std::vector<std::string_view> statements = {
        "delete from pjinfo where dian_id=:dianId",
        "delete from pjNoEffect where dian_id=:dianId",
        "delete from dianbase where id=:dianId",
    };
    return statements;
}

RatingDataView::RatingDataView(const db::TDM& dm, QueryReader::Mode mode)
    : connection_(dm),
      shops_(Dataset::standing(dm, "dianBase_v", mode)),
      ratings_(Dataset::standing(dm, "rateInfo_q", mode)),
      shopGrid_({{"xh", "序号", 40},
                 {"dianzhu", "掌柜", 100},
                 {"dianming", "店铺名", 150},
                 {"salerCredit", "信用", 60},
                 {"salelevel", "信用级别", 60, sellerLevelCell},
                 {"salerGoodRate", "卖家好评率", 70},
                 {"rateNums", "评价记录数", 70},
                 {"salerWeekRate", "本周评价数", 70},
                 {"salerMonthRate", "本月评价数", 70},
                 {"salerYearRate", "近6月评价数", 70},
                 {"salerLastYearRate", "6月前评价数", 70},
                 {"webaddr", "网址", 200}},
                true),
      rateGrid_({{"pj", "评价", 50},
                 {"pjsj", "评价时间", 130},
                 money({"jg", "价格", 60}),
                 {"pjName", "评价人", 100},
                 {"itemTitle", "宝贝标题", 300}},
                false) {}

const std::vector<std::string>& RatingDataView::levelEntries() {
    static const std::vector<std::string> entries = [] {
        std::vector<std::string> list = {"不限"};
        for (const char* kind : {"红心", "钻石", "皇冠", "金皇冠"})
            for (const char* count : {"一", "二", "三", "四", "五"})
                list.push_back(std::string(count) + "颗" + kind);
        return list;
    }();
    return entries;
}

const std::vector<std::string>& RatingDataView::pjEntries() {
    static const std::vector<std::string> entries = {"不限", "好评", "中评", "差评"};
    return entries;
}

const std::vector<DetailField>& RatingDataView::detailFields() {
    static const std::vector<DetailField> fields = {
        {"webaddr", "网址"},         {"updateDate", "更新日期"},  {"loc", "主营项目"},
        {"itemGoal", "宝贝描述"},    {"serviceGoal", "服务态度"}, {"consignGoal", "发货速度"},
        {"virtualGoal", "虚拟交易"}, {"realGoal", "实物交易"},    {"addr", "地址"},
        {"favorite", "收藏人数"},    {"commodityNum", "宝贝数"},  {"createDate", "创建日期"},
    };
    return fields;
}

void RatingDataView::formCreate() {
    shops_.open();
}

std::string RatingDataView::findResultText() {
    return "共有" + std::to_string(shops_.recordCount()) + "店铺";
}

void RatingDataView::pageChange(int page) {
    if (page != kRatingPage) return;
    auto shop = shops_.currentInteger("id");
    ratings_.setParameter("id", shop ? db::Value(*shop) : db::Value());
    ratings_.open();
}

std::string RatingDataView::rateCountText() {
    return "当前共有" + std::to_string(ratings_.recordCount()) + "条评价";
}

void RatingDataView::searchShops(const ShopSearch& search) {
    // The statement the view opens with, narrowed: a found shop keeps its rating counts, and a shop
    // without ratings is not listed by the search either.
    std::string sql(db::TDM::standingQuery("dianBase_v").sql);
    sql += "\n where a.flag=0 ";
    Parameters parameters;
    auto like = [&](const char* column, const char* name, const std::string& text) {
        if (text.empty()) return;
        sql += std::string("\n and a.") + column + " like :" + name;
        parameters.push_back({name, "%" + text + "%"});
    };
    like("dianzhu", "nick", search.nick);
    like("dianming", "shop", search.shop);
    like("addr", "loc", search.loc);
    like("loc", "tag", search.tag);
    if (search.level > 0) sql += "\n and a.saleLevel>=" + std::to_string(search.level);
    sql += "\n order by a.updateDate desc";
    shops_.setSql(std::move(sql), std::move(parameters));
    shops_.open();
}

RowFilter RatingDataView::ratingFilter(const RatingFilterInput& input) {
    using Op = FilterCondition::Op;
    RowFilter filter;
    addContains(filter, "pjname", input.pjName, " pjname like '%" + input.pjName + "%'");
    addContains(filter, "itemTitle", input.item, "itemTitle like '%" + input.item + "%'");
    if (input.pj > 0) {
        const std::string& entry = pjEntries().at(size_t(input.pj));
        filter.add({"pj", Op::Equal, entry, "pj='" + entry + "'"});
    }
    if (input.jg1 != 0)
        filter.add({"jg", Op::AtLeast, std::to_string(input.jg1), "jg>=" + std::to_string(input.jg1)});
    if (input.jg2 != 0)
        filter.add({"jg", Op::AtMost, std::to_string(input.jg2), "jg<=" + std::to_string(input.jg2)});
    // A date is passed as typed, a half-filled one too.
    if (input.sj1 != kEmptyDate) filter.add({"pjsj", Op::AtLeast, input.sj1, "pjsj>='" + input.sj1 + "'"});
    if (input.sj2 != kEmptyDate) {
        // A whole end date takes in its day up to the last second: the ratings are stored with their
        // time, and "to the 15th" means the 15th too.
        const std::string bound = isWholeDate(input.sj2) ? input.sj2 + " 23:59:59" : input.sj2;
        filter.add({"pjsj", Op::AtMost, bound, "pjsj<='" + bound + "'"});
    }
    return filter;
}

void RatingDataView::filterRatings(const RatingFilterInput& input) {
    ratings_.setFilter(ratingFilter(input));
    ratings_.setFiltered(true);
}

DeleteResult RatingDataView::deleteShop() {
    auto shop = shops_.currentInteger("id");
    DeleteResult result = deleteInTransaction(connection_.get(), deleteShopRatingsStatements(),
                                              {{"dianId", shop ? db::Value(*shop) : db::Value()}});
    if (result.done) {
        shops_.open();
        // The ratings shown are those of the shop that is current now, not the deleted one's.
        if (ratings_.isOpen()) pageChange(kRatingPage);
    }
    return result;
}

ExportJob RatingDataView::shopExport(const DateTime& today) {
    return {
        &shops_,
        "序号,卖家,店铺名,卖家信用,信用级别,好评率,评价数,近一周评价数,近一月评价数,近6月评价数,6月前评价数",
        safeFileName("导出" + fileDate(today) + "掌柜数据.csv"), allFields(shops_), &shopGrid_};
}

ExportJob RatingDataView::ratingExport(const DateTime& today) {
    // A running number, every field, then the comment and the explanation once more, the last one
    // without a separator behind it.
    auto line = [this, fields = allFields(ratings_, {"jg"}), comment = ratings_.fieldIndex("pjInfo"),
                 explanation = ratings_.fieldIndex("pjjs"),
                 cell = std::string()](std::string& out, std::size_t row) mutable {
        appendNumberText(out, std::int64_t(row + 1));
        out += ',';
        fields(out, row);
        cell.clear();
        if (comment >= 0) ratings_.appendDisplayText(cell, row, comment);
        appendCsvSafe(out, cell);
        out += ',';
        cell.clear();
        if (explanation >= 0) ratings_.appendDisplayText(cell, row, explanation);
        appendCsvSafe(out, cell);
    };
    return {&ratings_, "序号,评价,评价时间,价格,评价人,商品,评语,解释",
            safeFileName("导出" + shops_.currentText("dianzhu") + "--" + fileDate(today) + "数据.csv"), line,
            &rateGrid_};
}

std::string RatingDataView::shopAddress() const {
    return shops_.currentText("webaddr");
}

} // namespace vantor::views
