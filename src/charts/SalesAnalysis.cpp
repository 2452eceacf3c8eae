#include "SalesAnalysis.h"

#include "SalesPass.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace vantor::charts {

namespace {

std::string textOf(const ResultRow& row, std::string_view column) {
    return db::valueToText(row.value(column));
}

// A missing value counts as zero, as the desktop database reads it.
double numberOf(const ResultRow& row, std::string_view column) {
    const db::Value value = row.value(column);
    if (auto* i = std::get_if<std::int64_t>(&value)) return double(*i);
    if (auto* d = std::get_if<double>(&value)) return *d;
    if (auto* t = std::get_if<std::string>(&value)) return std::strtod(t->c_str(), nullptr);
    return 0;
}

std::string integerOf(const ResultRow& row, std::string_view column) {
    return std::to_string(std::llround(numberOf(row, column)));
}

std::string moneyOf(const ResultRow& row, std::string_view column) {
    return fixedTwoDecimals(numberOf(row, column));
}

std::string withoutAmpersands(std::string text) {
    std::erase(text, '&');
    return text;
}

// Sales ranking: a point per item and price, labelled by its rank.

ChartPoint rankedPoint(const ResultRow& row, int rank, std::string_view valueColumn) {
    std::string label = "(";
    label.append(std::to_string(rank)).append(")");
    return {label, textOf(row, "itemTitle"), integerOf(row, valueColumn)};
}

ChartPoint countPoint(const ResultRow& row, int rank) {
    return rankedPoint(row, rank, "num");
}

ChartPoint amountPoint(const ResultRow& row, int rank) {
    return rankedPoint(row, rank, "totalAmount");
}

std::vector<ListField> rankingRow(const ResultRow& row, int rank) {
    return {{"排名", std::to_string(rank)},
            {"商品", withoutAmpersands(textOf(row, "itemTitle"))},
            {"销售量", textOf(row, "num")},
            {"销售额", moneyOf(row, "totalAmount")},
            {"单价", moneyOf(row, "amount")}};
}

// Sales time distribution: sale records counted per hour, weekday or month, carried in hour1.

ChartPoint countedPoint(const ResultRow& row, std::string_view before, std::string_view after) {
    std::string name = std::string(before) + textOf(row, "hour1") + std::string(after);
    return {name, name, integerOf(row, "num")};
}

ChartPoint hourPoint(const ResultRow& row, int) {
    return countedPoint(row, "", "点");
}

ChartPoint weekdayPoint(const ResultRow& row, int) {
    return countedPoint(row, "星期", "");
}

ChartPoint monthPoint(const ResultRow& row, int) {
    return countedPoint(row, "", "月");
}

// Sales trend: quantity, turnover and mean price per day, week or month.

ChartPoint trendPoint(const ResultRow& row, std::string name, const std::string& period) {
    std::string hover =
        period + ",金额：" + moneyOf(row, "totalAmount") + ",均价：" + moneyOf(row, "avgAmount") + ",销售量";
    return {std::move(name), std::move(hover), moneyOf(row, "num")};
}

std::string dayText(const ResultRow& row) {
    return textOf(row, "year1") + "-" + textOf(row, "month1") + "-" + textOf(row, "day1");
}

std::string weekText(const ResultRow& row) {
    return textOf(row, "year1") + "年第" + textOf(row, "week1") + "周";
}

std::string monthText(const ResultRow& row) {
    return textOf(row, "year1") + "年" + textOf(row, "month1") + "月";
}

ChartPoint dayPoint(const ResultRow& row, int) {
    return trendPoint(row, textOf(row, "month1") + "-" + textOf(row, "day1"), dayText(row));
}

ChartPoint weekPoint(const ResultRow& row, int) {
    return trendPoint(row, "第" + textOf(row, "week1") + "周", weekText(row));
}

ChartPoint trendMonthPoint(const ResultRow& row, int) {
    return trendPoint(row, textOf(row, "month1"), monthText(row));
}

std::vector<ListField> trendRow(const ResultRow& row, const std::string& period) {
    return {{"日期", period},
            {"销售量", textOf(row, "num")},
            {"销售额", moneyOf(row, "totalAmount")},
            {"均价", moneyOf(row, "avgAmount")}};
}

std::vector<ListField> dayRow(const ResultRow& row, int) {
    return trendRow(row, dayText(row));
}

std::vector<ListField> weekRow(const ResultRow& row, int) {
    return trendRow(row, weekText(row));
}

std::vector<ListField> monthRow(const ResultRow& row, int) {
    return trendRow(row, monthText(row));
}

} // namespace

const Analysis& salesRanking() {
    static const Analysis analysis{
        "ranking",
        "销售排行分析",
        "saleAnalyse.html",
        {{"select sum(getNum) as num,amount,a.itemTitle,sum(getNum*amount) as totalamount from itemInfoV as "
          "a "
          "left join saleInfo as b on a.itemId=b.itemId where dian_id=:id and sj>=:sj1 and sj<=:sj2 group by "
          "a.itemId,a.itemTitle,amount order by sum(getNum) desc,sum(getNum*amount) desc,amount desc",
          "saleLine2d.xml", "销售量排行", "' xAxisName='商品' yAxisName='销售数' ", countPoint,
          "saleCount.xml", rankingRow},
         {"select sum(amount*getNum) as totalAmount,sum(getNum) as num,amount,a.itemTitle from itemInfoV as "
          "a "
          "left join saleInfo as b on a.itemId=b.itemId where dian_id=:id and sj>=:sj1 and sj<=:sj2 group by "
          "a.itemId,a.itemTitle,amount order by sum(amount*getNum) desc,sum(getNum) desc,amount desc",
          "saleAmountLine2d.xml", "销售额排行", "' xAxisName='商品' yAxisName='销售额' ", amountPoint,
          "saleAmount.xml", rankingRow}},
        {{"sale://saleCount_/", "saleCount.xml"}, {"sale://saleAmount_/", "saleAmount.xml"}},
        kShopListSql,
        nullptr,
        salesRankingRows};
    return analysis;
}

const Analysis& salesTimeDistribution() {
    static const Analysis analysis{
        "time",
        "销售时间分布分析",
        "saleTimeArea.html",
        {{"select count(*) as num,hour(sj) as hour1 from itemInfoV as a left join saleInfo as b on "
          "a.itemId=b.itemId where dian_id=:id and sj>=:sj1 and sj<=:sj2 group by hour(sj) order by hour(sj) "
          "desc",
          "saleTimeAreaHour.xml", "销售小时分布图", "' xAxisName='小时' yAxisName='销售数' ", hourPoint, "",
          nullptr},
         {"select count(*) as num,weekday(sj) as hour1 from itemInfoV as a left join saleInfo as b on "
          "a.itemId=b.itemId where dian_id=:id and sj>=:sj1 and sj<=:sj2 group by weekday(sj) order by "
          "weekday(sj) desc",
          "saleTimeAreaWeek.xml", "销售星期分布图", "' xAxisName='星期' yAxisName='销售数' ", weekdayPoint,
          "", nullptr},
         {"select count(*) as num,month(sj) as hour1 from itemInfoV as a left join saleInfo as b on "
          "a.itemId=b.itemId where dian_id=:id and sj>=:sj1 and sj<=:sj2 group by month(sj) order by "
          "month(sj) "
          "desc",
          "saleTimeAreaMonth.xml", "销售月分布图", "' xAxisName='月份' yAxisName='销售数' ", monthPoint, "",
          nullptr}},
        {},
        kShopListSql,
        nullptr,
        salesTimeRows};
    return analysis;
}

const Analysis& salesTrend() {
    static const Analysis analysis{
        "trend",
        "销售趋势分析",
        "saleCarrent.html",
        {{"select sum(getNum) as num,sum(getNum*amount) as totalAmount,avg(amount) as avgAmount,year(sj) as "
          "year1,month(sj) as month1,day(sj) as day1 from itemInfoV as a left join saleInfo as b on "
          "a.itemId=b.itemId where dian_id=:id and sj>=:sj1 and sj<=:sj2 group by year(sj),month(sj),day(sj) "
          "order by year(sj),month(sj),day(sj) ",
          "saleCarrentDay.xml", "日销售走势图", "' xAxisName='日期' yAxisName='销售数' ", dayPoint,
          "saleCarrentDayList.xml", dayRow},
         {"select sum(getNum) as num,sum(getNum*amount) as totalAmount,avg(amount) as avgAmount,year(sj) as "
          "year1,datepart('ww',sj) as week1 from itemInfoV as a left join saleInfo as b on a.itemId=b.itemId "
          "where dian_id=:id and sj>=:sj1 and sj<=:sj2 group by year(sj),datepart('ww',sj) order by "
          "year(sj),datepart('ww',sj)",
          "saleCarrentWeek.xml", "周销售走势图", "' xAxisName='年-周' yAxisName='销售数' ", weekPoint,
          "saleCarrentWeekList.xml", weekRow},
         {"select sum(getNum) as num,sum(getNum*amount) as totalAmount,avg(amount) as avgAmount,year(sj) as "
          "year1,month(sj) as month1 from itemInfoV as a left join saleInfo as b on a.itemId=b.itemId where "
          "dian_id=:id and sj>=:sj1 and sj<=:sj2 group by year(sj),month(sj) order by year(sj),month(sj)",
          "saleCarrentMonth.xml", "月销售走势图", "' xAxisName='年-月' yAxisName='销售数' ", trendMonthPoint,
          "saleCarrentMonthList.xml", monthRow}},
        {{"sale://saleCarrentDay_/", "saleCarrentDayList.xml"},
         {"sale://saleCarrentWeek_/", "saleCarrentWeekList.xml"},
         {"sale://saleCarrentMonth_/", "saleCarrentMonthList.xml"}},
        kShopListSql,
        nullptr,
        salesTrendRows};
    return analysis;
}

const std::vector<const Analysis*>& salesAnalyses() {
    static const std::vector<const Analysis*> all = {&salesRanking(), &salesTimeDistribution(),
                                                     &salesTrend()};
    return all;
}

} // namespace vantor::charts
