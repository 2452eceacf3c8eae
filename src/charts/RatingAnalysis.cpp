#include "RatingAnalysis.h"

#include "ChartDocument.h"
#include "Gallery.h"
#include "base/DateTime.h"
#include "db/SqlFunctions.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <future>
#include <optional>
#include <stdexcept>
#include <unordered_set>
#include <utility>

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

// A statement over the shop's ratings of the range: :id, :sj1 and :sj2 bound.
db::Statement overRange(db::Database& db, const char* sql, std::int64_t shop, const Bounds& bounds) {
    auto st = db.prepare(sql);
    st.bind("id", shop).bind("sj1", bounds.from).bind("sj2", bounds.before);
    return st;
}

// The shop's ratings of the range in time order, from the index that holds their time, grade and
// trade; the "[不计分]" marks come from one read of the shop's marks rather than a lookup per rating.
std::vector<RatingRecord> creditRatings(db::Database& db, std::int64_t shop, const Bounds& bounds) {
    std::unordered_set<std::string> noEffect;
    auto marks = db.prepare("select trade_id from pjNoEffect where dian_id=:id");
    marks.bind("id", shop);
    while (marks.step())
        noEffect.insert(marks.text(0));
    auto st = overRange(db,
                        "select pjsj,pj,trade_id from pjinfo where dian_id=:id and pjsj>=:sj1 and pjsj<:sj2 "
                        "order by pjsj,id",
                        shop, bounds);
    std::vector<RatingRecord> ratings;
    while (st.step()) {
        RatingRecord& r = ratings.emplace_back();
        r.time = st.textView(0);
        r.grade = st.textView(1);
        r.counts = noEffect.empty() || !noEffect.contains(std::string(st.textView(2)));
    }
    return ratings;
}

// The shop's ratings of the range with an automatic or empty comment, in time order.
std::vector<RatingRecord> defaultRatings(db::Database& db, std::int64_t shop, const Bounds& bounds) {
    auto st = overRange(db, kDefaultRatingsSql, shop, bounds);
    std::vector<RatingRecord> ratings;
    while (st.step()) {
        RatingRecord& r = ratings.emplace_back();
        r.time = st.textView(0);
        r.grade = st.textView(1);
        r.rater = st.textView(2);
        r.comment = st.textView(3);
        r.itemTitle = st.textView(4);
    }
    return ratings;
}

void checkEveryRating(db::Database& db, std::int64_t shop, const Bounds& bounds, RatingCheckPass& pass) {
    auto st = overRange(db, kCheckedRatingsSql, shop, bounds);
    while (st.step())
        pass.add(st.textView(0), st.textView(1), st.textView(2), st.real(3));
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

int gradeIndex(std::string_view grade) {
    return grade == "好评" ? 0 : grade == "中评" ? 1 : grade == "差评" ? 2 : -1;
}

bool masked(std::string_view rater) {
    return rater.find("***") != std::string::npos;
}

void save(const Gallery& gallery, std::string_view file, const std::vector<std::string>& lines,
          AnalysisObserver& observer) {
    saveDocument(gallery.document(file), lines);
    observer.documentWritten(gallery.document(file));
}

void save(const Gallery& gallery, std::string_view file, const ListDocument& list,
          AnalysisObserver& observer) {
    saveDocument(gallery.document(file), list.text());
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
    save(gallery, listFile, list, observer);
}

void writeCreditGrowth(db::Database& db, const Gallery& gallery, const AnalysisRequest& request,
                       AnalysisObserver& observer) {
    const Bounds bounds = boundsOf(request);
    const auto ratings = creditRatings(db, request.shopId, bounds);
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
    const Bounds bounds = boundsOf(request);
    std::vector<RatingRecord> defaults = defaultRatings(db, request.shopId, bounds);
    // Their list is often the largest document by far: it is written while the others are read.
    const std::filesystem::path defaultsFile = gallery.document("rateDefaultList.xml");
    auto defaultsWritten = std::async(std::launch::async, [&defaults, &defaultsFile] {
        ListDocument list;
        for (const RatingRecord& r : defaults)
            list.add({{"时间", r.time},
                      {"买家", r.rater},
                      {"商品", r.itemTitle},
                      {"评价", r.grade},
                      {"评语", r.comment}});
        saveDocument(defaultsFile, list.text());
    });
    RatingCheckPass pass;
    checkEveryRating(db, request.shopId, bounds, pass);
    defaultsWritten.get();
    pass.addDefaults(std::move(defaults));
    const RatingCheck check = pass.finish();
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

    ListDocument card, repeats;
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
    save(gallery, "rateCheck.xml", card, observer);
    save(gallery, "rateRepeatList.xml", repeats, observer);
    save(gallery, "ratePriceList.xml", bandList, observer);
    observer.documentWritten(defaultsFile);
    save(gallery, "rateBurstList.xml", burstList, observer);
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

std::string_view RatingCheckPass::timeOf(std::uint32_t rating) const {
    const std::uint32_t begin = rating == 0 ? 0 : timeEnds_[rating - 1];
    return std::string_view(times_).substr(begin, timeEnds_[rating] - begin);
}

std::string_view RatingCheckPass::nameOf(std::uint32_t rater) const {
    const std::uint32_t begin = rater == 0 ? 0 : raters_[rater - 1].nameEnd;
    return std::string_view(names_).substr(begin, raters_[rater].nameEnd - begin);
}

// A slot's place comes from the top bits of the hash, which the slot keeps: growing the table hashes
// no name again.
constexpr std::uint64_t kHashTag = ~0xFFFFFFFFull;
constexpr size_t kBatch = 32;

size_t RatingCheckPass::placeOf(std::uint64_t hash) const {
    return size_t(hash >> (64 - std::countr_zero(slots_.size())));
}

RatingCheckPass::Seen& RatingCheckPass::seenOf(std::string_view rater, std::uint64_t hash) {
    const std::uint64_t tag = hash & kHashTag;
    size_t at = placeOf(tag);
    for (; slots_[at] != 0; at = (at + 1) & (slots_.size() - 1)) {
        const std::uint32_t number = std::uint32_t(slots_[at]) - 1;
        if ((slots_[at] & kHashTag) == tag && nameOf(number) == rater) return raters_[number].seen;
    }
    names_ += rater;
    raters_.push_back({std::uint32_t(names_.size()), {}});
    slots_[at] = tag | raters_.size();
    return raters_.back().seen;
}

void RatingCheckPass::settle() {
    if (2 * (raters_.size() + pending_.size()) > slots_.size()) {
        size_t size = std::max<size_t>(1024, slots_.size());
        while (2 * (raters_.size() + pending_.size()) > size)
            size *= 2;
        std::vector<std::uint64_t> old = std::exchange(slots_, std::vector<std::uint64_t>(size));
        for (std::uint64_t slot : old) {
            if (slot == 0) continue;
            size_t at = placeOf(slot & kHashTag);
            while (slots_[at] != 0)
                at = (at + 1) & (slots_.size() - 1);
            slots_[at] = slot;
        }
    }
    for (const Pending& p : pending_)
        __builtin_prefetch(&slots_[placeOf(p.hash & kHashTag)]);
    std::uint32_t nameBegin = 0;
    for (const Pending& p : pending_) {
        const std::string_view name =
            std::string_view(pendingNames_).substr(nameBegin, p.nameEnd - nameBegin);
        nameBegin = p.nameEnd;
        Seen& seen = seenOf(name, p.hash);
        if (seen.ratings++ == 0)
            seen.first = p.rating;
        else if (timeOf(seen.last).substr(0, 10) == timeOf(p.rating).substr(0, 10))
            ++seen.sameDay;
        seen.last = p.rating;
    }
    pending_.clear();
    pendingNames_.clear();
}

void RatingCheckPass::add(std::string_view time, std::string_view grade, std::string_view rater,
                          double price) {
    const auto number = std::uint32_t(timeEnds_.size());
    times_ += time;
    timeEnds_.push_back(std::uint32_t(times_.size()));
    if (!masked(rater) && !rater.empty()) {
        pendingNames_ += rater;
        pending_.push_back(
            {number, std::uint32_t(pendingNames_.size()), std::hash<std::string_view>()(rater)});
        if (pending_.size() == kBatch) settle();
    }
    const auto band = std::upper_bound(kPriceBandLimits.begin(), kPriceBandLimits.end(), price);
    ++bands_[size_t(band - kPriceBandLimits.begin())];
    cheap_ += price < kCheapItemPrice;
    const std::string_view day = time.substr(0, 10);
    if (ratedDays_.empty() || ratedDays_.back().date != day) ratedDays_.push_back({std::string(day)});
    ++ratedDays_.back().ratings;
    ratedDays_.back().good += grade == "好评";
}

RatingCheck checkRatings(const std::vector<RatingRecord>& ratings) {
    RatingCheckPass pass;
    std::vector<RatingRecord> defaults;
    for (const RatingRecord& r : ratings) {
        pass.add(r.time, r.grade, r.rater, r.price);
        if (isDefaultRating(r.comment)) defaults.push_back(r);
    }
    pass.addDefaults(std::move(defaults));
    return pass.finish();
}

RatingCheck RatingCheckPass::finish() {
    settle();
    RatingCheck check;
    check.total = int(timeEnds_.size());
    check.bands = bands_;
    check.defaults = std::move(defaults_);
    int repeatRatings = 0, sameDay = 0;
    std::vector<std::uint32_t> repeaters;
    for (std::uint32_t i = 0; i < raters_.size(); ++i)
        if (const Seen& seen = raters_[i].seen; seen.ratings > 1) {
            repeatRatings += seen.ratings;
            sameDay += seen.sameDay;
            repeaters.push_back(i);
        }
    // The most ratings first, then the earliest first rating: the same order on every run.
    std::sort(repeaters.begin(), repeaters.end(), [this](std::uint32_t a, std::uint32_t b) {
        const Seen &x = raters_[a].seen, &y = raters_[b].seen;
        return x.ratings != y.ratings ? x.ratings > y.ratings : x.first < y.first;
    });
    for (std::uint32_t i : repeaters) {
        const Seen& seen = raters_[i].seen;
        check.repeatRaters.push_back({std::string(nameOf(i)), seen.ratings, seen.sameDay,
                                      std::string(timeOf(seen.first)), std::string(timeOf(seen.last))});
    }

    // Every day between the first rating and the last, the quiet ones too, so the norm is per day. A
    // time that is no date (kept as it came) is a day of its own, with no quiet days around it.
    std::optional<DateTime> previous;
    for (RatingCheck::Day& rated : ratedDays_) {
        const auto day = DateTime::parse(rated.date);
        if (day && previous)
            for (DateTime quiet = previous->addDays(1); quiet < *day; quiet = quiet.addDays(1))
                check.days.push_back({quiet.toDateString()});
        if (day) previous = day;
        check.days.push_back(std::move(rated));
    }
    if (!check.days.empty()) check.dailyNorm = double(check.total) / double(check.days.size());
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
        {shareOf(cheap_, check.total),
         std::to_string(cheap_) + "条，占" + percent(shareOf(cheap_, check.total))},
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
