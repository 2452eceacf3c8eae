#include "RatingAnalysis.h"

#include "ChartDocument.h"
#include "Gallery.h"
#include "base/DateTime.h"
#include "db/SqlFunctions.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

namespace vantor::charts {
namespace {

// The range covers its last day whole: a rating at 23:59 of the end date is in it.
struct Bounds {
    std::string from, before;
};
Bounds boundsOf(const AnalysisRequest& request) {
    auto from = DateTime::parse(request.from), to = DateTime::parse(request.to);
    if (!from || !to) throw std::runtime_error("not a date: " + request.from + " / " + request.to);
    DateTime first{from->year, from->month, from->day}, last{to->year, to->month, to->day};
    return {first.toString(), last.addDays(1).toString()};
}

constexpr const char* kNoEffect =
    "exists(select 1 from pjNoEffect n where n.dian_id=p.dian_id and n.trade_id=p.trade_id)";

// The shop's ratings of the range in time order, through the (dian_id, pjsj) index. The credit
// needs time, grade and the "[不计分]" mark, which comes from one read of the shop's marks rather than
// a lookup per rating; the check needs rater, price and comment, and an item title only where the
// comment is a default one.
enum class Columns { Credit, Check };
std::vector<RatingRecord> readRatings(db::Database& db, std::int64_t shop, const Bounds& bounds,
                                      Columns columns) {
    std::unordered_set<std::string> noEffect;
    if (columns == Columns::Credit) {
        auto marks = db.prepare("select trade_id from pjNoEffect where dian_id=:id");
        marks.bind("id", shop);
        while (marks.step())
            noEffect.insert(marks.text(0));
    }
    // The credit's columns all stand in an index; the check's need the table.
    auto st = db.prepare(
        columns == Columns::Credit
            ? "select p.pjsj,p.pj,p.trade_id from pjinfo p where p.dian_id=:id and p.pjsj>=:sj1 and "
              "p.pjsj<:sj2 order by p.pjsj"
            : "select p.pjsj,p.pj,p.trade_id,p.pjName,p.jg,p.pjInfo,p.itemTitle from pjinfo p where "
              "p.dian_id=:id and p.pjsj>=:sj1 and p.pjsj<:sj2 order by p.pjsj");
    st.bind("id", shop).bind("sj1", bounds.from).bind("sj2", bounds.before);
    std::vector<RatingRecord> ratings;
    while (st.step()) {
        RatingRecord& r = ratings.emplace_back();
        r.time = st.textView(0);
        r.grade = st.textView(1);
        if (columns == Columns::Credit) {
            r.counts = noEffect.empty() || !noEffect.contains(std::string(st.textView(2)));
            continue;
        }
        r.rater = st.textView(3);
        r.price = st.real(4);
        r.comment = st.textView(5);
        if (isDefaultRating(r.comment)) r.itemTitle = st.textView(6);
    }
    return ratings;
}

long long creditBefore(db::Database& db, std::int64_t shop, const Bounds& bounds) {
    auto st =
        db.prepare(std::string("select coalesce(sum(case pj when '好评' then 1 when '差评' then -1 else 0 "
                               "end),0) from pjinfo p where p.dian_id=:id and p.pjsj<:sj1 and not ") +
                   kNoEffect);
    st.bind("id", shop).bind("sj1", bounds.from);
    return st.step() ? st.integer(0) : 0;
}

// Year, month and day of a time in the one text form, read where they stand.
struct Ymd {
    int year = 0, month = 0, day = 0;
};
std::optional<Ymd> ymdOf(std::string_view time) {
    auto digits = [&](size_t at, size_t count) {
        int value = 0;
        for (size_t i = at; i < at + count; ++i) {
            if (i >= time.size() || time[i] < '0' || time[i] > '9') return -1;
            value = value * 10 + (time[i] - '0');
        }
        return value;
    };
    const Ymd ymd{digits(0, 4), digits(5, 2), digits(8, 2)};
    if (ymd.year < 0 || ymd.month < 1 || ymd.month > 12 || ymd.day < 1 || ymd.day > 31) return std::nullopt;
    return ymd;
}

std::string percent(double value) {
    return fixedTwoDecimals(value) + "%";
}

double shareOf(int part, int whole) {
    return whole > 0 ? 100.0 * part / whole : 0;
}

int gradeIndex(const std::string& grade) {
    return grade == "好评" ? 0 : grade == "中评" ? 1 : grade == "差评" ? 2 : -1;
}

bool masked(const std::string& rater) {
    return rater.find("***") != std::string::npos;
}

void save(const Gallery& gallery, std::string_view file, const std::vector<std::string>& lines,
          AnalysisObserver& observer) {
    saveDocument(gallery.document(file), lines);
    observer.documentWritten(gallery.document(file));
}

void writeCreditChart(const Gallery& gallery, const AnalysisRequest& request,
                      const std::vector<CreditPeriod>& periods, std::string_view chartFile,
                      std::string_view title, std::string_view axis, std::string_view listFile,
                      AnalysisObserver& observer) {
    ChartDocument chart(request.from + "~" + request.to + std::string(title), request.shopName, axis);
    ListDocument list;
    const int step = labelStep(int(periods.size()));
    for (size_t i = 0; i < periods.size(); ++i) {
        const CreditPeriod& p = periods[i];
        const std::string good = std::to_string(p.good), neutral = std::to_string(p.neutral),
                          bad = std::to_string(p.bad), gained = std::to_string(p.gained),
                          total = std::to_string(p.cumulative), rate = percent(p.goodRate);
        chart.add(
            {p.name,
             p.label + ",好评：" + good + ",中评：" + neutral + ",差评：" + bad + ",累计信用：" + total +
                 ",好评率：" + rate + ",信用增加",
             gained,
             " good='" + good + "' neutral='" + neutral + "' bad='" + bad + "' cumulative='" + total + "'"},
            labelShown(int(i + 1), step));
        list.add({{"日期", p.label},
                  {"好评", good},
                  {"中评", neutral},
                  {"差评", bad},
                  {"信用增加", gained},
                  {"累计信用", total},
                  {"好评率", rate}});
    }
    save(gallery, chartFile, chart.lines(), observer);
    save(gallery, listFile, list.lines(), observer);
}

void writeCreditGrowth(db::Database& db, const Gallery& gallery, const AnalysisRequest& request,
                       AnalysisObserver& observer) {
    const Bounds bounds = boundsOf(request);
    const auto ratings = readRatings(db, request.shopId, bounds, Columns::Credit);
    const long long before = creditBefore(db, request.shopId, bounds);
    writeCreditChart(gallery, request, creditPeriods(ratings, Period::Week, before), "Line2d.xml",
                     "周信用走势图", "' xAxisName='年-周' yAxisName='信用' ", "rateTrendWeekList.xml",
                     observer);
    writeCreditChart(gallery, request, creditPeriods(ratings, Period::Month, before), "Line2dMonth.xml",
                     "月信用走势图", "' xAxisName='年-月' yAxisName='信用' ", "rateTrendMonthList.xml",
                     observer);
}

void writeRatingCheck(db::Database& db, const Gallery& gallery, const AnalysisRequest& request,
                      AnalysisObserver& observer) {
    const auto ratings = readRatings(db, request.shopId, boundsOf(request), Columns::Check);
    const RatingCheck check = checkRatings(ratings);
    const std::string range = request.from + "~" + request.to;

    ChartDocument bands(range + "评价价格分布", request.shopName,
                        "' xAxisName='价格区间' yAxisName='评价数' ");
    ListDocument bandList;
    for (size_t b = 0; b < check.bands.size(); ++b) {
        const std::string name(kPriceBandNames[b]), count = std::to_string(check.bands[b]),
                                                    share = percent(shareOf(check.bands[b], check.total));
        bands.add({name, name + "：" + count + "条，占" + share, count}, true);
        bandList.add({{"价格区间", name}, {"评价数", count}, {"占比", share}});
    }
    save(gallery, "Column2D.xml", bands.lines(), observer);

    ChartDocument days(range + "每日评价数", request.shopName, "' xAxisName='日期' yAxisName='评价数' ");
    ListDocument burstList;
    const int step = labelStep(int(check.days.size()));
    for (size_t i = 0; i < check.days.size(); ++i) {
        const RatingCheck::Day& d = check.days[i];
        const std::string count = std::to_string(d.ratings);
        days.add({d.date.substr(5), d.date + "：" + count + "条" + (d.burst ? "，突增" : ""), count,
                  d.burst ? " burst='1'" : ""},
                 labelShown(int(i + 1), step));
        if (d.burst)
            burstList.add({{"日期", d.date},
                           {"评价数", count},
                           {"日均", fixedTwoDecimals(check.dailyNorm)},
                           {"好评率", percent(shareOf(d.good, d.ratings))}});
    }
    save(gallery, "Column2D1.xml", days.lines(), observer);

    ChartDocument pie = ChartDocument::pie();
    int emptyComments = 0;
    for (const RatingRecord& r : check.defaults)
        emptyComments += r.comment.find_first_not_of(" \t") == std::string::npos;
    const int automatic = int(check.defaults.size()) - emptyComments;
    for (const auto& [name, count] : {std::pair<std::string, int>{"默认好评", automatic},
                                      {"空评语", emptyComments},
                                      {"其他评价", check.total - int(check.defaults.size())}})
        pie.add({name, name, std::to_string(count)}, true);
    save(gallery, "rateSys_Pie3D.xml", pie.lines(), observer);

    ListDocument card, repeats, defaults;
    for (const CheckLine& line : check.card)
        card.add({{"项目", line.item},
                  {"数值", line.figure},
                  {"阈值", line.threshold},
                  {"结论", line.pass ? "通过" : "警告"},
                  {"证据", line.marker}});
    for (const RatingCheck::Rater& r : check.repeatRaters)
        repeats.add({{"买家", r.name},
                     {"评价数", std::to_string(r.ratings)},
                     {"同日重复", std::to_string(r.sameDay)},
                     {"首次评价", r.first},
                     {"最近评价", r.last}});
    for (const RatingRecord& r : check.defaults)
        defaults.add({{"时间", r.time},
                      {"买家", r.rater},
                      {"商品", r.itemTitle},
                      {"评价", r.grade},
                      {"评语", r.comment}});
    save(gallery, "rateCheck.xml", card.lines(), observer);
    save(gallery, "rateRepeatList.xml", repeats.lines(), observer);
    save(gallery, "ratePriceList.xml", bandList.lines(), observer);
    save(gallery, "rateDefaultList.xml", defaults.lines(), observer);
    save(gallery, "rateBurstList.xml", burstList.lines(), observer);
    observer.reportCard(check.card);
}

} // namespace

std::vector<CreditPeriod> creditPeriods(const std::vector<RatingRecord>& ratings, Period period,
                                        long long creditBefore) {
    std::vector<CreditPeriod> periods;
    long long credit = creditBefore;
    int lastYear = 0, lastKey = 0;
    for (const RatingRecord& r : ratings) {
        const auto time = ymdOf(r.time);
        const int grade = gradeIndex(r.grade);
        if (!time) continue;
        const int key =
            period == Period::Week ? db::weekOfYear(time->year, time->month, time->day) : time->month;
        if (periods.empty() || time->year != lastYear || key != lastKey) {
            lastYear = time->year, lastKey = key;
            const std::string year = std::to_string(time->year), number = std::to_string(key);
            periods.push_back(period == Period::Week
                                  ? CreditPeriod{"第" + number + "周", year + "年第" + number + "周"}
                                  : CreditPeriod{number, year + "年" + number + "月"});
        }
        CreditPeriod& p = periods.back();
        if (grade == 0) ++p.good;
        if (grade == 1) ++p.neutral;
        if (grade == 2) ++p.bad;
        if (r.counts && (grade == 0 || grade == 2)) {
            const int change = grade == 0 ? 1 : -1;
            p.gained += change;
            credit += change;
        }
        p.cumulative = credit;
    }
    for (CreditPeriod& p : periods)
        p.goodRate = shareOf(p.good, p.good + p.neutral + p.bad);
    return periods;
}

const std::vector<CheckThreshold>& ratingCheckThresholds() {
    static const std::vector<CheckThreshold> thresholds = {
        {"重复评价买家", 10, "%", "sale://rateRepeat_/"},
        {"同日重复评价", 2, "%", "sale://rateRepeat_/"},
        {"低价商品评价", 30, "%", "sale://ratePrice_/"},
        {"默认好评与空评语", 50, "%", "sale://rateDefault_/"},
        {"评价突增日", 1, "天", "sale://rateBurst_/"},
    };
    return thresholds;
}

bool isDefaultRating(const std::string& comment) {
    return comment.find("默认好评") != std::string::npos ||
           comment.find_first_not_of(" \t") == std::string::npos;
}

double poissonTail(double lambda, int k) {
    if (k <= 0) return 1;
    if (lambda <= 0) return 0;
    // Summed upward from k in logarithms, so a large mean neither underflows nor loses the tail.
    double term = std::exp(-lambda + k * std::log(lambda) - std::lgamma(k + 1.0));
    double sum = 0;
    for (int i = k; term > sum * 1e-15 && i < k + 100000; ++i) {
        sum += term;
        term *= lambda / (i + 1);
    }
    return std::min(1.0, sum);
}

RatingCheck checkRatings(const std::vector<RatingRecord>& ratings) {
    RatingCheck check;
    check.total = int(ratings.size());
    // Keys point into the ratings, which outlive the maps: no copy of a name per rating.
    struct Seen {
        int ratings = 0, sameDay = 0;
        size_t first = 0, last = 0;
    };
    std::unordered_map<std::string_view, Seen> raters;
    raters.reserve(ratings.size());
    std::vector<RatingCheck::Day> ratedDays; // in time order, as the ratings come
    int cheap = 0;
    for (size_t i = 0; i < ratings.size(); ++i) {
        const RatingRecord& r = ratings[i];
        const std::string_view day = std::string_view(r.time).substr(0, 10);
        if (!masked(r.rater) && !r.rater.empty()) {
            Seen& seen = raters[r.rater];
            if (seen.ratings++ == 0)
                seen.first = i;
            else if (std::string_view(ratings[seen.last].time).substr(0, 10) == day)
                ++seen.sameDay;
            seen.last = i;
        }
        const auto band = std::upper_bound(kPriceBandLimits.begin(), kPriceBandLimits.end(), r.price);
        ++check.bands[size_t(band - kPriceBandLimits.begin())];
        cheap += r.price < kCheapItemPrice;
        if (isDefaultRating(r.comment)) check.defaults.push_back(r);
        if (ratedDays.empty() || ratedDays.back().date != day) ratedDays.push_back({std::string(day)});
        ++ratedDays.back().ratings;
        ratedDays.back().good += r.grade == "好评";
    }

    int repeatRatings = 0, sameDay = 0;
    for (const auto& [name, seen] : raters)
        if (seen.ratings > 1) {
            repeatRatings += seen.ratings;
            sameDay += seen.sameDay;
            check.repeatRaters.push_back({std::string(name), seen.ratings, seen.sameDay,
                                          ratings[seen.first].time, ratings[seen.last].time});
        }
    // The most ratings first, then the earliest first rating: the same order on every run.
    std::sort(check.repeatRaters.begin(), check.repeatRaters.end(), [](const auto& a, const auto& b) {
        return a.ratings != b.ratings ? a.ratings > b.ratings : a.first < b.first;
    });

    // Every day between the first rating and the last, the quiet ones too, so the norm is per day.
    if (!ratedDays.empty()) {
        auto next = ratedDays.begin();
        const DateTime last = *DateTime::parse(ratedDays.back().date);
        for (DateTime d = *DateTime::parse(ratedDays.front().date); !(last < d); d = d.addDays(1)) {
            const std::string date = d.toDateString();
            if (next != ratedDays.end() && next->date == date)
                check.days.push_back(*next++);
            else
                check.days.push_back({date});
        }
        check.dailyNorm = double(check.total) / double(check.days.size());
    }
    int burstDays = 0, burstRatings = 0, burstGood = 0;
    for (RatingCheck::Day& day : check.days) {
        day.burst = day.ratings >= kBurstMinimum && poissonTail(check.dailyNorm, day.ratings) < kBurstTail;
        if (!day.burst) continue;
        ++burstDays, burstRatings += day.ratings, burstGood += day.good;
    }
    int allGood = 0;
    for (const RatingCheck::Day& day : check.days)
        allGood += day.good;

    const auto& t = ratingCheckThresholds();
    const std::vector<std::pair<double, std::string>> figures = {
        {shareOf(repeatRatings, check.total), std::to_string(check.repeatRaters.size()) + "位买家，" +
                                                  std::to_string(repeatRatings) + "条评价，占" +
                                                  percent(shareOf(repeatRatings, check.total))},
        {shareOf(sameDay, check.total),
         std::to_string(sameDay) + "条，占" + percent(shareOf(sameDay, check.total))},
        {shareOf(cheap, check.total),
         std::to_string(cheap) + "条，占" + percent(shareOf(cheap, check.total))},
        {shareOf(int(check.defaults.size()), check.total),
         std::to_string(check.defaults.size()) + "条，占" +
             percent(shareOf(int(check.defaults.size()), check.total))},
        {double(burstDays), std::to_string(burstDays) + "天（突增日好评率" +
                                percent(shareOf(burstGood, burstRatings)) + "，其余" +
                                percent(shareOf(allGood - burstGood, check.total - burstRatings)) + "）"},
    };
    for (size_t i = 0; i < t.size(); ++i) {
        const bool percentUnit = t[i].unit == "%";
        check.card.push_back(
            {std::string(t[i].item), figures[i].second,
             "不超过" + (percentUnit ? fixedTwoDecimals(t[i].limit) : std::to_string(int(t[i].limit))) +
                 std::string(t[i].unit),
             figures[i].first <= t[i].limit, std::string(t[i].marker)});
    }
    return check;
}

const Analysis& creditGrowth() {
    static const Analysis analysis{"rating-trend",
                                   "信用成长分析",
                                   "Line2D.html",
                                   {},
                                   {{"sale://rateTrendWeek_/", "rateTrendWeekList.xml"},
                                    {"sale://rateTrendMonth_/", "rateTrendMonthList.xml"}},
                                   kRatedShopListSql,
                                   writeCreditGrowth};
    return analysis;
}

const Analysis& ratingCheck() {
    static const Analysis analysis{"rating-check",
                                   "评价真实度分析",
                                   "Column2D.html",
                                   {},
                                   {{"sale://rateCheck_/", "rateCheck.xml"},
                                    {"sale://rateRepeat_/", "rateRepeatList.xml"},
                                    {"sale://ratePrice_/", "ratePriceList.xml"},
                                    {"sale://rateDefault_/", "rateDefaultList.xml"},
                                    {"sale://rateBurst_/", "rateBurstList.xml"}},
                                   kRatedShopListSql,
                                   writeRatingCheck};
    return analysis;
}

} // namespace vantor::charts
