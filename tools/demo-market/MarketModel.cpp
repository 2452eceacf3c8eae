#include "MarketModel.h"

#include "Gbk.h"
#include "Rng.h"
#include "market/CategoryTable.h"
#include "market/MarketHosts.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace vantor::demo {
namespace {

const std::vector<std::string> kLocations = {"浙江 杭州", "浙江 义乌", "广东 广州", "广东 深圳", "上海",
                                             "北京",      "江苏 苏州", "福建 泉州", "四川 成都", "湖北 武汉"};
const std::vector<std::string> kStreets = {"文三路", "解放路", "中山路", "人民路",
                                           "建设路", "延安路", "长江路"};
const std::vector<std::string> kShopHeads = {"小雨", "金牌", "品质", "快乐", "优品", "蓝色",
                                             "糖果", "木木", "天天", "诚信", "星星", "米兰",
                                             "老街", "阳光", "缤纷", "唯美", "乐活"};
const std::vector<std::string> kShopTails = {"旗舰店", "专卖店", "小铺", "精品屋",
                                             "的店",   "工作室", "坊",   "商城"};
// A few names carry what the pages write as entities (&amp;, &eacute;, the registered sign), and one
// traditional characters whose second GBK byte looks like ASCII ('|', 'T', 'I').
const std::vector<std::string> kOddShopNames = {"潮流&时尚", "café时光", "注册商标专营", "東區會員專營"};
const std::vector<std::string> kNickWords = {"xiaoyu", "tianmi", "lanlan", "mumu", "dudu", "kele", "小雨点",
                                             "甜心",   "阿飞",   "月亮",   "大熊", "tb",   "糖糖", "晴天"};
const std::vector<std::string> kTitleHeads = {"2011新款", "韩版", "正品", "秋冬", "时尚", "经典",
                                              "原创",     "热卖", "日系", "欧美", "特价", "清仓"};
const std::vector<std::string> kTitleMiddles = {"修身", "百搭", "加厚", "简约",
                                                "复古", "精致", "超值", "大码"};
const std::vector<std::string> kTitleTails = {"包邮",     "特价",        "正品保证",     "假一赔十",
                                              "送运费险", "限时折扣",    "注册商标正品", "café风格",
                                              "买二送一", "港版電腦禮盒"};
const std::vector<double> kShippingFees = {0, 0, 5, 8, 10, 12, 15, 20};
const std::vector<std::string> kColours = {"红色", "黑色", "白色", "蓝色", "灰色", "粉色"};
const std::vector<std::string> kRaterWords = {"快乐的小猪", "雨后彩虹", "冰淇淋",    "小小鱼",
                                              "风中的叶子", "大白兔",   "开心果",    "星空下",
                                              "lily",       "coco",     "運動機器貓"};
// The rater accounts of a shop that buys credit.
const std::vector<std::string> kHiredRaters = {"好评小能手88", "cici的小店铺", "阿杰8866", "快乐的小猪520"};
const std::string kDefaultComment = "评价方未及时做出评价,系统默认好评!";
const std::vector<std::string> kGoodComments = {"宝贝收到了，质量很好，和描述的一样",
                                                "物流很快，包装也不错",
                                                "性价比高 推荐购买",
                                                "卖家态度很好&服务周到",
                                                "好评！",
                                                "第二次购买了，一如既往的好",
                                                "有点小贵，不过质量没得说",
                                                "客服很耐心，解答很详细"};
const std::vector<std::string> kNeutralComments = {"颜色有点色差，总体还行", "发货慢了点",
                                                   "尺码偏小，建议买大一号"};
const std::vector<std::string> kBadComments = {"质量太差", "与描述不符，很失望"};
const std::vector<std::string> kExplanations = {"感谢亲的支持，欢迎再次光临！",
                                                "亲，色差是因为拍摄光线的原因哦", "已经为您补发，请注意查收"};

// Weights of sales and ratings by month (January first), weekday (Sunday first) and hour, each
// scaled so that the largest is 1: busy evenings and weekends, the November and December peak.
constexpr double kMonthWeight[12] = {0.5, 0.3, 0.5, 0.5, 0.55, 0.55, 0.5, 0.5, 0.55, 0.65, 0.9, 1.0};
constexpr double kWeekdayWeight[7] = {1.0, 0.75, 0.75, 0.8, 0.8, 0.85, 0.95};
constexpr int kHourWeight[24] = {3, 2, 1,  1,  1, 1, 2, 3,  5,  8,  10, 10,
                                 9, 9, 10, 10, 9, 8, 8, 10, 12, 13, 11, 7};

// Credit points where the marketplace's levels 1 to 20 begin.
constexpr int kLevelStarts[20] = {4,      11,     41,      91,      151,     251,     501,
                                  1001,   2001,   5001,    10001,   20001,   50001,   100001,
                                  200001, 500001, 1000001, 2000001, 5000001, 10000001};

constexpr int kBigShopRatings = 2250; // in any window, so always more than 100 pages
constexpr int kBigShopItems = 170;
constexpr std::int64_t kBlockDays = 32;

std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)));
}

std::int64_t floorMod(std::int64_t a, std::int64_t b) {
    return a - floorDiv(a, b) * b;
}

double dayWeight(std::int64_t day) {
    return kMonthWeight[civilFromDays(day).month - 1] * kWeekdayWeight[weekdayOfDays(day)];
}

// The mean weight of a day over four years, to turn "so many in two years" into a rate.
double meanDayWeight() {
    static const double mean = [] {
        double sum = 0;
        for (std::int64_t day = 0; day < 1461; ++day)
            sum += dayWeight(day);
        return sum / 1461;
    }();
    return mean;
}

// Events a day, before the day's weight, for so many in the calendar's days.
double ratePerDay(double inCalendar) {
    return inCalendar / (MarketCalendar::kDays * meanDayWeight());
}

// A stream of its own for each number (a block, a day), without mixSeed's label.
std::uint64_t subSeed(std::uint64_t seed, std::uint64_t n) {
    Rng rng(seed ^ (n * 0xD6E8FEB86659FD93ull));
    return rng.next();
}

} // namespace

// Events are drawn in blocks of 32 days fixed in time (the first begins on 1970-01-01), not by a model's
// first day, so a block's events are the same in every model that shows part of it. This holds the
// running sums of the day weights of each block the calendar touches.
class MarketModel::DayWeights {
public:
    using Block = std::array<double, kBlockDays>;

    DayWeights(std::int64_t firstDay, std::int64_t lastDay) : firstBlock_(floorDiv(firstDay, kBlockDays)) {
        for (std::int64_t b = firstBlock_; b <= floorDiv(lastDay, kBlockDays); ++b) {
            Block running{};
            double sum = 0;
            for (std::int64_t i = 0; i < kBlockDays; ++i)
                running[static_cast<size_t>(i)] = sum += dayWeight(b * kBlockDays + i);
            blocks_.push_back(running);
        }
    }

    const Block& running(std::int64_t block) const {
        return blocks_.at(static_cast<size_t>(block - firstBlock_));
    }

private:
    std::int64_t firstBlock_;
    std::vector<Block> blocks_;
};

namespace {

using DayWeights = MarketModel::DayWeights;
using GradeCounts = std::array<int, 3>;

// A time on the day, more likely in the busy hours.
MarketTime timeOnDay(Rng& rng, std::int64_t day) {
    int hourTotal = 0;
    for (int w : kHourWeight)
        hourTotal += w;
    int roll = static_cast<int>(rng.below(static_cast<std::uint64_t>(hourTotal)));
    int hour = 0;
    while (roll >= kHourWeight[hour])
        roll -= kHourWeight[hour++];
    return day * kSecondsPerDay + hour * 3600 + rng.range(0, 59) * 60 + rng.range(0, 59);
}

// A time on the day from 08:00 to 20:15, so a model of that day shows it.
MarketTime daytimeOn(Rng& rng, std::int64_t day) {
    return day * kSecondsPerDay + rng.range(8 * 3600, 20 * 3600 + 15 * 60);
}

// A time on a day in [fromDay, toDay], more likely where the weights are high; never after now.
MarketTime drawTime(Rng& rng, std::int64_t fromDay, std::int64_t toDay, MarketTime now) {
    std::int64_t day = fromDay;
    for (int attempt = 0; attempt < 32; ++attempt) {
        day = rng.range(fromDay, toDay);
        if (rng.unit() < dayWeight(day)) break;
    }
    MarketTime t = timeOnDay(rng, day);
    while (t > now)
        t -= kSecondsPerDay;
    return t;
}

// One sale or rating.
struct Event {
    MarketTime time = 0;
    std::uint64_t key = 0; // seeds the event's details; the same in every model
    Grade grade = Grade::Good;
    bool bought = false; // one of a burst of bought good ratings
};

// Oldest first; equal times in the order of their keys.
void sortOldestFirst(std::vector<Event>& events) {
    std::sort(events.begin(), events.end(), [](const Event& a, const Event& b) {
        return a.time != b.time ? a.time < b.time : a.key < b.key;
    });
}

// Events that come at random, block by block: a block's count first (so whole blocks are counted
// without drawing their events), then each event's day and time.
struct Stream {
    std::uint64_t seed = 0;
    double rate = 0;             // events a day, before the day's weight
    double swing = 0;            // each block's rate is scaled by a factor within 1 +- swing
    double neutral = 0, bad = 0; // shares of the grades
};

struct BlockHead {
    int count = 0, neutral = 0, bad = 0;
};

BlockHead blockHead(const Stream& s, const DayWeights::Block& running, Rng& rng) {
    BlockHead h;
    const double scale = 1 + s.swing * (2 * rng.unit() - 1);
    h.count = static_cast<int>(s.rate * scale * running.back() + rng.unit());
    h.neutral = std::min(h.count, static_cast<int>(h.count * s.neutral + rng.unit()));
    h.bad = std::min(h.count - h.neutral, static_cast<int>(h.count * s.bad + rng.unit()));
    return h;
}

// The block's events on days from..to, not after now.
void blockEvents(const Stream& s, const DayWeights& weights, std::int64_t block, std::int64_t from,
                 std::int64_t to, MarketTime now, std::vector<Event>& out) {
    Rng rng(subSeed(s.seed, static_cast<std::uint64_t>(block)));
    const DayWeights::Block& running = weights.running(block);
    const BlockHead h = blockHead(s, running, rng);
    for (int k = 0; k < h.count; ++k) {
        const double at = rng.unit() * running.back();
        const auto offset = std::min<std::int64_t>(
            std::upper_bound(running.begin(), running.end(), at) - running.begin(), kBlockDays - 1);
        Event e;
        e.time = timeOnDay(rng, block * kBlockDays + offset);
        e.key = rng.next();
        e.grade = k < h.neutral ? Grade::Neutral : k < h.neutral + h.bad ? Grade::Bad : Grade::Good;
        const std::int64_t day = block * kBlockDays + offset;
        if (day >= from && day <= to && e.time <= now) out.push_back(e);
    }
}

void streamEvents(const Stream& s, const DayWeights& weights, std::int64_t from, std::int64_t to,
                  MarketTime now, std::vector<Event>& out) {
    if (from > to) return;
    for (std::int64_t b = floorDiv(from, kBlockDays); b <= floorDiv(to, kBlockDays); ++b)
        blockEvents(s, weights, b, from, to, now, out);
}

// What streamEvents gives, counted by grade: whole blocks before now by their heads alone.
GradeCounts countStream(const Stream& s, const DayWeights& weights, std::int64_t from, std::int64_t to,
                        MarketTime now) {
    GradeCounts n{};
    if (from > to) return n;
    std::vector<Event> events;
    for (std::int64_t b = floorDiv(from, kBlockDays); b <= floorDiv(to, kBlockDays); ++b) {
        const std::int64_t first = b * kBlockDays, last = first + kBlockDays - 1;
        if (first >= from && last <= to && last < dayOf(now)) {
            Rng rng(subSeed(s.seed, static_cast<std::uint64_t>(b)));
            const BlockHead h = blockHead(s, weights.running(b), rng);
            n[0] += h.count - h.neutral - h.bad;
            n[1] += h.neutral;
            n[2] += h.bad;
            continue;
        }
        events.clear();
        blockEvents(s, weights, b, from, to, now, events);
        for (const Event& e : events)
            ++n[static_cast<size_t>(e.grade)];
    }
    return n;
}

// The first day from `from` on with day % period == phase.
std::int64_t firstDayOfCycle(std::int64_t from, std::int64_t period, std::int64_t phase) {
    return from + floorMod(phase - from, period);
}

// Counts of the four cumulative periods of a rating summary (see PeriodCounts), from a count of the
// ratings dated in a range of days.
template <typename CountIn>
void countPeriods(std::array<PeriodCounts, 3>& counts, const MarketCalendar& calendar, CountIn countIn) {
    const std::int64_t today = calendar.today();
    const GradeCounts older = countIn(calendar.firstDay(), today - 183);
    const GradeCounts halfYear = countIn(today - 182, today - 30);
    const GradeCounts month = countIn(today - 29, today - 7);
    const GradeCounts week = countIn(today - 6, today);
    for (size_t g = 0; g < 3; ++g) {
        PeriodCounts& c = counts[g];
        c.period = {week[g], week[g] + month[g], week[g] + month[g] + halfYear[g], older[g]};
        c.total = c.period[2] + c.period[3];
    }
}

// A place of a shop's catalogue: the items that hold it one after the other.
struct PlacePlan {
    std::uint64_t seed = 0;
    std::int64_t period = 0; // days from one item's listing to the next's; 0: one item for good
    std::int64_t phase = 0;  // the days d with d % period == phase list a new item
    bool gapless = false;    // the next item is listed on the day the last is withdrawn
};

PlacePlan placePlan(const Shop& shop, int place) {
    PlacePlan plan;
    plan.seed = mixSeed(shop.seed, "place", static_cast<std::uint64_t>(place));
    if (place < MarketModel::kSteadyItems || place == shop.places - 1) return plan;
    Rng rng(plan.seed);
    if (shop.lively && place == MarketModel::kSteadyItems) {
        plan.period = MarketModel::kLivelyDays;
        plan.gapless = true;
    } else {
        plan.period = rng.range(60, 900);
        // The big shop's list keeps its three pages.
        plan.gapless = shop.index == MarketModel::kBigRatingShop;
    }
    plan.phase = static_cast<std::int64_t>(rng.below(static_cast<std::uint64_t>(plan.period)));
    return plan;
}

std::int64_t generationOn(const PlacePlan& plan, std::int64_t day) {
    return plan.period == 0 ? 0 : floorDiv(day - plan.phase, plan.period);
}

// The days an item of the place is listed: [first, end).
std::pair<std::int64_t, std::int64_t> listedDays(const PlacePlan& plan, std::int64_t generation) {
    if (plan.period == 0) return {Item::kAlwaysListed, Item::kNeverWithdrawn};
    const std::int64_t first = plan.phase + generation * plan.period;
    if (plan.gapless) return {first, first + plan.period};
    Rng rng(mixSeed(plan.seed, "gap", static_cast<std::uint64_t>(generation)));
    return {first, first + plan.period - rng.range(1, std::min<std::int64_t>(30, plan.period / 5))};
}

const Category& categoryOf(const Shop& shop) {
    for (const Category& category : marketCategories())
        if (category.id == shop.categoryId) return category;
    return marketCategories().front();
}

// An item's sales: those that come at random, and for the last item of a shop one every day.
Stream saleStream(const Item& item) {
    return {mixSeed(item.seed, "sales"), item.saleRate, item.saleSwing, 0, 0};
}

// The days of the calendar in [from, to] the item is listed on.
std::pair<std::int64_t, std::int64_t> saleDays(const Item& item, std::int64_t from, std::int64_t to) {
    return {std::max(from, item.listedDay), std::min(to, item.withdrawnDay - 1)};
}

void saleEvents(const Item& item, const DayWeights& weights, std::int64_t from, std::int64_t to,
                MarketTime now, std::vector<Event>& out) {
    std::tie(from, to) = saleDays(item, from, to);
    streamEvents(saleStream(item), weights, from, to, now, out);
    if (!item.dailySale) return;
    const std::uint64_t daily = mixSeed(item.seed, "daily-sale");
    for (std::int64_t day = from; day <= to; ++day) {
        Rng rng(subSeed(daily, static_cast<std::uint64_t>(day)));
        Event e;
        e.time = daytimeOn(rng, day);
        e.key = rng.next();
        out.push_back(e);
    }
}

int countSales(const Item& item, const DayWeights& weights, std::int64_t from, std::int64_t to,
               MarketTime now) {
    std::tie(from, to) = saleDays(item, from, to);
    if (from > to) return 0;
    int n = countStream(saleStream(item), weights, from, to, now)[0];
    if (item.dailySale) n += static_cast<int>(to - from + 1); // all before 20:15
    return n;
}

// A shop's ratings as seller: those that come at random; a lively shop's 中评 or 差评 every week; a
// bought-credit shop's bursts.
constexpr std::int64_t kBurstPeriod = 61;

Stream ratingStream(const Shop& shop) {
    return {mixSeed(shop.seed, "ratings"), shop.ratingRate,
            shop.index == MarketModel::kBigRatingShop ? 0.05 : 0.3, 0.03, 0.02};
}

Stream buyerRatingStream(const Shop& shop) {
    return {mixSeed(shop.seed, "buyer-ratings"), shop.buyerRatingRate, 0.3, 0.03, 0.02};
}

std::int64_t cyclePhase(const Shop& shop, const char* label, std::int64_t period) {
    return static_cast<std::int64_t>(mixSeed(shop.seed, label) % static_cast<std::uint64_t>(period));
}

// The weekly 中评 and 差评 take turns.
Grade weeklyGrade(std::int64_t day) {
    return floorMod(floorDiv(day, MarketModel::kLivelyDays), 2) == 0 ? Grade::Neutral : Grade::Bad;
}

void burstEvents(const Shop& shop, std::int64_t day, std::vector<Event>& out) {
    Rng rng(subSeed(mixSeed(shop.seed, "burst"), static_cast<std::uint64_t>(day)));
    const int size = static_cast<int>(rng.range(10, 24));
    for (int i = 0; i < size; ++i) {
        Event e;
        e.time = day * kSecondsPerDay + rng.range(9 * 3600, 23 * 3600);
        e.key = rng.next();
        e.bought = true;
        out.push_back(e);
    }
}

void ratingEvents(const Shop& shop, const DayWeights& weights, std::int64_t from, std::int64_t to,
                  MarketTime now, std::vector<Event>& out) {
    streamEvents(ratingStream(shop), weights, from, to, now, out);
    if (from > to) return;
    if (shop.lively) {
        const std::uint64_t weekly = mixSeed(shop.seed, "weekly-rating");
        const std::int64_t phase = cyclePhase(shop, "weekly-rating-day", MarketModel::kLivelyDays);
        for (std::int64_t day = firstDayOfCycle(from, MarketModel::kLivelyDays, phase); day <= to;
             day += MarketModel::kLivelyDays) {
            Rng rng(subSeed(weekly, static_cast<std::uint64_t>(day)));
            Event e;
            e.time = daytimeOn(rng, day);
            e.key = rng.next();
            e.grade = weeklyGrade(day);
            out.push_back(e);
        }
    }
    if (shop.boughtCredit) {
        std::vector<Event> burst;
        for (std::int64_t day =
                 firstDayOfCycle(from, kBurstPeriod, cyclePhase(shop, "burst-day", kBurstPeriod));
             day <= to; day += kBurstPeriod) {
            burst.clear();
            burstEvents(shop, day, burst);
            for (const Event& e : burst)
                if (e.time <= now) out.push_back(e);
        }
    }
}

// What ratingEvents gives, counted by grade.
GradeCounts countRatings(const Shop& shop, const DayWeights& weights, std::int64_t from, std::int64_t to,
                         MarketTime now) {
    GradeCounts n = countStream(ratingStream(shop), weights, from, to, now);
    if (from > to) return n;
    std::vector<Event> extra;
    if (shop.lively) {
        const std::int64_t phase = cyclePhase(shop, "weekly-rating-day", MarketModel::kLivelyDays);
        for (std::int64_t day = firstDayOfCycle(from, MarketModel::kLivelyDays, phase); day <= to;
             day += MarketModel::kLivelyDays)
            ++n[static_cast<size_t>(weeklyGrade(day))];
    }
    if (shop.boughtCredit)
        for (std::int64_t day =
                 firstDayOfCycle(from, kBurstPeriod, cyclePhase(shop, "burst-day", kBurstPeriod));
             day <= to; day += kBurstPeriod) {
            extra.clear();
            burstEvents(shop, day, extra);
            for (const Event& e : extra)
                n[static_cast<size_t>(Grade::Good)] += e.time <= now;
        }
    return n;
}

// Which cumulative periods a rating of that age falls in: week, month, half year, or before.
void countRating(std::array<PeriodCounts, 3>& counts, Grade grade, std::int64_t ageDays) {
    PeriodCounts& c = counts[static_cast<int>(grade)];
    if (ageDays < 7) ++c.period[0];
    if (ageDays < 30) ++c.period[1];
    if (ageDays < 183)
        ++c.period[2];
    else
        ++c.period[3];
    ++c.total;
}

double goodRate(const std::array<PeriodCounts, 3>& counts) {
    const int all = counts[0].total + counts[1].total + counts[2].total;
    return all == 0 ? 100.0 : std::round(10000.0 * counts[0].total / all) / 100.0;
}

int creditOf(const std::array<PeriodCounts, 3>& counts) {
    return std::max(0,
                    counts[static_cast<int>(Grade::Good)].total - counts[static_cast<int>(Grade::Bad)].total);
}

double roundCents(double v) {
    return std::round(v * 100.0) / 100.0;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string uniqueNick(Rng& rng, std::set<std::string>& used) {
    std::string nick = rng.pick(kNickWords) + rng.pick(kNickWords);
    if (rng.chance(0.6)) nick += std::to_string(rng.range(1, 2011));
    while (!used.insert(nick).second)
        nick += std::to_string(rng.range(0, 9));
    return nick;
}

std::string itemTitle(Rng& rng, const Category& category) {
    std::string title = rng.pick(kTitleHeads) + rng.pick(kTitleMiddles) + rng.pick(category.nouns);
    if (rng.chance(0.7)) title += " " + rng.pick(kTitleTails);
    return title;
}

} // namespace

const char* gradeText(Grade grade) {
    switch (grade) {
    case Grade::Good:
        return "好评";
    case Grade::Neutral:
        return "中评";
    case Grade::Bad:
        return "差评";
    }
    return "";
}

const std::vector<Category>& marketCategories() {
    static const std::vector<Category> categories = {
        {"16", "女装/女士精品", "女装", {"连衣裙", "针织衫", "毛呢外套", "雪纺衫", "半身裙", "打底裤"}},
        {"30", "男装", "男装", {"夹克", "衬衫", "休闲裤", "羽绒服", "t恤", "西服"}},
        {"50006843", "女鞋", "鞋业", {"高跟鞋", "雪地靴", "单鞋", "凉鞋", "短靴"}},
        // The program sends this id with a trailing double quote.
        {"50011699", "运动服/运动包/颈环配件", "运动", {"运动套装", "双肩包", "运动t恤", "护腕"}},
        {"1512", "手机", "数码", {"智能手机", "老人手机", "手机电池", "蓝牙耳机"}},
        {"50008090", "3c数码配件市场", "数码", {"移动电源", "数据线", "耳机", "读卡器", "鼠标垫"}},
        {"1801", "美容护肤/美体/精油", "美妆", {"面膜", "保湿霜", "洁面乳", "精油", "爽肤水"}},
        {"50002766", "食品/茶叶/零食/特产", "食品", {"铁观音", "普洱茶", "牛肉干", "坚果礼盒", "红枣"}},
        {"35", "奶粉/尿片/母婴用品", "母婴", {"纸尿裤", "奶瓶", "婴儿推车", "围嘴"}},
        {"33", "书籍/杂志/报纸", "书店", {"小说", "绘本", "杂志", "词典"}},
        {"2203", "户外/登山/野营/涉水", "户外", {"帐篷", "登山鞋", "睡袋", "冲锋衣"}},
        {"1705", "饰品/流行首饰/时尚饰品", "饰品", {"项链", "耳钉", "手链", "发夹"}},
    };
    return categories;
}

int Shop::level() const {
    int level = 0;
    while (level < 20 && sellerCredit >= kLevelStarts[level])
        ++level;
    return level;
}

std::string Shop::webAddress() const {
    return std::string("http://shop") + shopNo + market::kShopHostSuffix;
}

std::string Shop::rateAddress() const {
    return std::string(market::kRateHost) + "/user-rate-" + userId + ".htm";
}

std::string Item::address() const {
    return std::string(market::kItemHost) + "/item.htm?id=" + id;
}

double Item::priceOn(std::int64_t day) const {
    const std::int64_t period = floorDiv(day - pricePhase, pricePeriod);
    double factor = 1;
    if (priceCycle > 0) {
        factor = 0.9 + 0.02 * static_cast<double>(floorMod(period, priceCycle));
    } else {
        // Even and odd periods take their prices from sets without a common value, so each change
        // is to another price.
        static const std::vector<double> even = {0.88, 0.96, 1.0, 1.08}, odd = {0.85, 0.92, 1.04, 1.12};
        Rng rng(subSeed(seed, static_cast<std::uint64_t>(period)));
        factor = rng.pick(floorMod(period, 2) == 0 ? even : odd);
    }
    return std::max(0.1, std::round(basePrice * factor * 10) / 10);
}

double Item::secondPriceOn(std::int64_t day) const {
    return priceRange ? roundCents(priceOn(day) * 1.5) : 0;
}

MarketModel::MarketModel(std::uint64_t seed, CivilDate today)
    : seed_(seed),
      calendar_(MarketCalendar::endingOn(today)),
      weights_(std::make_shared<DayWeights>(calendar_.firstDay(), calendar_.today())) {
    const auto& categories = marketCategories();
    std::set<std::string> nicks;
    const std::int64_t todayDay = calendar_.today();
    const std::int64_t monthStart = daysFromCivil({today.year, today.month, 1});
    const MarketTime now = calendar_.now;

    for (int i = 0; i < kShopCount; ++i) {
        Shop shop;
        shop.index = i;
        shop.seed = mixSeed(seed, "shop", static_cast<std::uint64_t>(i));
        Rng rng(shop.seed);
        const Category& category = categories[rng.below(categories.size())];
        shop.shopNo = std::to_string(33000000 + i * 1237 + static_cast<int>(rng.below(1237)));
        shop.userId = std::to_string(100000000 + i * 99991 + static_cast<int>(rng.below(99991)));
        shop.nick = uniqueNick(rng, nicks);
        shop.name = i % 50 == 7 ? kOddShopNames[static_cast<size_t>(i / 50) % kOddShopNames.size()]
                                : rng.pick(kShopHeads) + category.shopWord + rng.pick(kShopTails);
        shop.mainBusiness = category.name;
        shop.categoryId = category.id;
        shop.location = rng.pick(kLocations);
        shop.street = rng.pick(kStreets) + std::to_string(rng.range(1, 999)) + "号";
        shop.createDate = formatDate(
            drawTime(rng, daysFromCivil({2003, 5, 10}), daysFromCivil({2009, 12, 31}), calendar_.now));
        shop.favorite = static_cast<int>(20000 * std::pow(rng.unit(), 3));
        shop.hasRatingLink = i != kNoRatingLinkShop;
        shop.ratingsChange = i % kChangingRatingsEvery == 3;
        shop.boughtCredit = i % kBoughtCreditEvery == 6;
        shop.lively = i % kLivelyEvery == kLivelyRemainder;
        const double ratings =
            i == kBigRatingShop ? kBigShopRatings
                                : std::max(shop.boughtCredit ? 600.0 : 0.0, 1500 * std::pow(rng.unit(), 3));
        shop.ratingRate = ratePerDay(ratings);
        shop.buyerRatingRate = ratePerDay(150 * std::pow(rng.unit(), 2));
        for (std::string& score : shop.scores) {
            const auto tenths = rng.range(44, 50);
            score = std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
        }
        shop.virtualShare = roundCents(rng.unit() * 30);
        shop.realShare = roundCents(100 - shop.virtualShare);
        const bool manyItems = i == kBigRatingShop || rng.chance(0.1);
        shop.places = i == kBigRatingShop ? kBigShopItems
                      : manyItems         ? static_cast<int>(rng.range(81, 180))
                                          : 3 + static_cast<int>(50 * std::pow(rng.unit(), 2));
        // A lively shop is a busy one; its last item, which sells every day, comes after the first few
        // items that a gathering takes first.
        if (shop.lively) shop.places = std::max(shop.places, kLivelyPlaces);

        countPeriods(shop.sellerRates, calendar_, [&](std::int64_t from, std::int64_t to) {
            return countRatings(shop, *weights_, from, to, now);
        });
        countPeriods(shop.buyerRates, calendar_, [&](std::int64_t from, std::int64_t to) {
            return countStream(buyerRatingStream(shop), *weights_, from, to, now);
        });
        shop.ratingCount = 0;
        for (const PeriodCounts& c : shop.sellerRates)
            shop.ratingCount += c.total;
        shop.sellerCredit = creditOf(shop.sellerRates);
        shop.buyerCredit = creditOf(shop.buyerRates);
        shop.sellerGoodRate = goodRate(shop.sellerRates);
        shop.buyerGoodRate = goodRate(shop.buyerRates);

        for (int place = 0; place < shop.places; ++place) {
            const PlacePlan plan = placePlan(shop, place);
            const std::int64_t generation = generationOn(plan, todayDay);
            if (listedDays(plan, generation).second <= todayDay) continue; // between two items
            Item item = makeItem(shop, place, generation);
            item.index = static_cast<int>(items_.size());
            item.price = item.priceOn(todayDay);
            item.secondPrice = item.secondPriceOn(todayDay);
            item.saleCount = countSales(item, *weights_, calendar_.firstDay(), todayDay, now);
            item.monthSale = countSales(item, *weights_, todayDay - 29, todayDay, now);
            item.curSale = countSales(item, *weights_, monthStart, todayDay, now);
            // The month's sales vary around the 30-day figure from month to month, so rankings move.
            Rng monthRng(
                mixSeed(item.seed, "month", static_cast<std::uint64_t>(today.year * 12 + today.month)));
            item.categorySale = static_cast<int>(std::lround(item.monthSale * (0.5 + monthRng.unit())));
            shop.items.push_back(item.index);
            itemById_[item.id] = item.index;
            items_.push_back(std::move(item));
        }
        shopByNo_[shop.shopNo] = i;
        shopByUserId_[shop.userId] = i;
        shops_.push_back(std::move(shop));
    }
}

Item MarketModel::makeItem(const Shop& shop, int place, std::int64_t generation) const {
    const PlacePlan plan = placePlan(shop, place);
    Item item;
    item.shopIndex = shop.index;
    item.place = place;
    item.generation = static_cast<int>(generation);
    std::tie(item.listedDay, item.withdrawnDay) = listedDays(plan, generation);
    item.seed = mixSeed(plan.seed, "item", static_cast<std::uint64_t>(generation));
    Rng rng(item.seed);
    // Unique while shops, places and generations stay below 1000, 1000 and 10000.
    item.id = std::to_string(10000000000LL + shop.index * 10000000LL + place * 10000LL +
                             floorMod(generation, 10000));
    item.title = itemTitle(rng, categoryOf(shop));
    item.location = shop.location;
    item.basePrice = std::round(std::pow(10.0, 3 + 2.3 * rng.unit()) / 10) / 10;
    item.priceRange = place % 4 == 3;
    item.shipping = rng.pick(kShippingFees);
    item.favorite = static_cast<int>(3000 * std::pow(rng.unit(), 3));
    const bool manyItems = shop.places > kListPageSize;
    item.saleRate = ratePerDay(manyItems && place == 0 ? static_cast<double>(rng.range(600, 900))
                                                       : 260 * std::pow(rng.unit(), 2.5));
    item.saleSwing = 0.6;
    // The last place: a shop sells every day, though mostly beyond the few items a gathering takes
    // first.
    item.dailySale = place == shop.places - 1;
    // A few categories hold many items, so a deep ranking spans several pages.
    item.browseCategory = static_cast<int>(std::pow(rng.unit(), 2) *
                                           static_cast<double>(market::categoryBrowseCategories().size()));
    if (shop.lively && place == 1) {
        item.pricePeriod = kLivelyDays;
        item.pricePhase = static_cast<int>(cyclePhase(shop, "price-day", kLivelyDays));
        item.priceCycle = 10;
    } else {
        item.pricePeriod = static_cast<int>(rng.range(30, 400));
        item.pricePhase = static_cast<int>(rng.below(static_cast<std::uint64_t>(item.pricePeriod)));
    }
    if (shop.index == kOddItemsShop) {
        item.hasBuyerList = place != 0;
        item.hasItemId = place != 1;
        item.showsMonthSale = place != 2;
    }
    return item;
}

const Shop* MarketModel::shopByNo(const std::string& shopNo) const {
    auto it = shopByNo_.find(shopNo);
    return it == shopByNo_.end() ? nullptr : &shops_[it->second];
}

const Shop* MarketModel::shopByUserId(const std::string& userId) const {
    auto it = shopByUserId_.find(userId);
    return it == shopByUserId_.end() ? nullptr : &shops_[it->second];
}

const Item* MarketModel::itemById(const std::string& id) const {
    auto it = itemById_.find(id);
    return it == itemById_.end() ? nullptr : &items_[it->second];
}

std::vector<Sale> MarketModel::sales(const Item& item) const {
    std::vector<Event> events;
    saleEvents(item, *weights_, calendar_.firstDay(), calendar_.today(), calendar_.now, events);
    sortOldestFirst(events);
    std::vector<Sale> sales;
    sales.reserve(events.size());
    int numberInDay = 0;
    for (size_t pos = 0; pos < events.size(); ++pos) {
        const Event& e = events[pos];
        const std::int64_t day = dayOf(e.time);
        numberInDay = pos > 0 && dayOf(events[pos - 1].time) == day ? numberInDay + 1 : 0;
        Rng rng(e.key);
        Sale sale;
        const std::string name = rng.pick(kRaterWords);
        // The buyer list masks nicknames except for their first and last letters.
        sale.buyerName = rng.chance(0.7)
                             ? name.substr(0, name[0] & 0x80 ? 3 : 1) + "**" + std::to_string(rng.range(0, 9))
                             : name + std::to_string(rng.range(10, 99));
        if (rng.chance(0.9)) sale.buyerId = std::to_string(rng.range(10000000, 999999999));
        sale.itemTitle = item.title;
        if (item.priceRange) sale.itemTitle += " 颜色分类：" + rng.pick(kColours);
        // The day, the shop, the place and the trade's number in the day: the same in every model.
        sale.tradeId = std::to_string(100000000000000LL + day * 1000000000LL + item.shopIndex * 1000000LL +
                                      item.place * 1000LL + numberInDay);
        sale.time = formatDateTime(e.time);
        sale.status = rng.chance(0.96) ? "成交" : "已退款";
        sale.quantity = rng.chance(0.8) ? 1 : static_cast<int>(rng.range(2, 5));
        sale.price = item.priceRange && rng.chance(0.5) ? item.secondPriceOn(day) : item.priceOn(day);
        sales.push_back(std::move(sale));
    }
    std::reverse(sales.begin(), sales.end());
    return sales;
}

std::vector<Rating> MarketModel::ratings(const Shop& shop) const {
    std::vector<Event> events;
    ratingEvents(shop, *weights_, calendar_.firstDay(), calendar_.today(), calendar_.now, events);
    sortOldestFirst(events);
    // The newer ratings of a revised view, on top: the last two seconds of the calendar.
    for (int i = 0; i < shop.newRatings; ++i) {
        Event e;
        e.time = calendar_.now - (shop.newRatings - 1 - i);
        e.key = mixSeed(shop.seed, "revised", static_cast<std::uint64_t>(calendar_.today() * 16 + i));
        events.push_back(e);
    }
    // Ratings name the item that held a place of the catalogue on their day; many name the same.
    std::map<std::pair<int, std::int64_t>, Item> rated;
    const auto ratedItem = [&](int place, std::int64_t day) -> const Item& {
        const PlacePlan plan = placePlan(shop, place);
        const auto key = std::pair(place, generationOn(plan, day));
        auto it = rated.find(key);
        if (it == rated.end()) it = rated.emplace(key, makeItem(shop, place, key.second)).first;
        return it->second;
    };
    std::vector<Rating> ratings;
    ratings.reserve(events.size());
    int numberInDay = 0;
    for (size_t pos = 0; pos < events.size(); ++pos) {
        const Event& e = events[pos];
        const std::int64_t day = dayOf(e.time);
        numberInDay = pos > 0 && dayOf(events[pos - 1].time) == day ? numberInDay + 1 : 0;
        const bool newer = pos + static_cast<size_t>(shop.newRatings) >= events.size();
        Rng rng(e.key);
        Rating r;
        r.grade = e.grade;
        r.time = formatDateTime(e.time);
        r.counts = !rng.chance(0.05);
        r.comment = rng.pick(r.grade == Grade::Good      ? kGoodComments
                             : r.grade == Grade::Neutral ? kNeutralComments
                                                         : kBadComments);
        if (r.grade == Grade::Good && rng.chance(shop.boughtCredit ? 0.6 : 0.04)) r.comment = kDefaultComment;
        if (r.grade != Grade::Good || rng.chance(0.1)) r.explanation = rng.pick(kExplanations);
        if (shop.newRatings > 0 && !newer && e.key % 7 == 0) r.explanation = "感谢您的再次评价，欢迎常来";
        r.raterName = rng.pick(kRaterWords) + std::to_string(rng.range(1, 99999));
        if (rng.chance(0.85)) r.raterId = std::to_string(rng.range(10000000, 999999999));
        const Item& item =
            ratedItem(static_cast<int>(rng.below(static_cast<std::uint64_t>(shop.places))), day);
        r.itemId = item.id;
        r.itemTitle = item.title;
        r.price = item.priceRange && rng.chance(0.5) ? item.secondPriceOn(day) : item.priceOn(day);
        if (e.bought) {
            r.raterName = rng.pick(kHiredRaters);
            r.price = static_cast<double>(rng.range(10, 99)) / 10; // a trade of one to ten yuan
        }
        // The day, the shop and the rating's number in the day; a revised view's own from 9000 on.
        const long long number =
            newer ? 9000 + static_cast<long long>(pos + static_cast<size_t>(shop.newRatings) - events.size())
                  : numberInDay;
        r.tradeId = std::to_string(2000000000000LL + day * 10000000LL + shop.index * 10000LL + number);
        ratings.push_back(std::move(r));
    }
    std::reverse(ratings.begin(), ratings.end());
    return ratings;
}

Shop MarketModel::revised(const Shop& shop) const {
    Shop view = shop;
    if (!shop.ratingsChange) return view;
    view.newRatings = 2;
    view.ratingCount += view.newRatings;
    for (int i = 0; i < view.newRatings; ++i)
        countRating(view.sellerRates, Grade::Good, 0);
    view.sellerGoodRate = goodRate(view.sellerRates);
    return view;
}

int MarketModel::ratingPageCount(const Shop& shop) const {
    return (shop.ratingCount + kRatingsPerPage - 1) / kRatingsPerPage;
}

std::vector<const Shop*> MarketModel::findShops(const ShopQuery& query) const {
    const std::string keyword = lowerAscii(query.keyword);
    const bool anyField = !query.inName && !query.inNick && !query.inBusiness;
    std::vector<const Shop*> found;
    for (const Shop& shop : shops_) {
        if (!query.categoryId.empty() && shop.categoryId != query.categoryId) continue;
        if (!query.location.empty() && !contains(shop.location, query.location)) continue;
        if (!keyword.empty() && !((anyField || query.inName) && contains(shop.name, keyword)) &&
            !((anyField || query.inNick) && contains(shop.nick, keyword)) &&
            !((anyField || query.inBusiness) && contains(shop.mainBusiness, keyword)))
            continue;
        if (!query.levels.empty() &&
            std::find(query.levels.begin(), query.levels.end(), shop.level()) == query.levels.end())
            continue;
        found.push_back(&shop);
    }
    std::stable_sort(found.begin(), found.end(), [&](const Shop* a, const Shop* b) {
        return query.byCredit ? a->sellerCredit > b->sellerCredit : a->favorite > b->favorite;
    });
    return found;
}

std::vector<const Item*> MarketModel::findItems(const ItemQuery& query) const {
    std::vector<std::string> words;
    const std::string all = lowerAscii(query.words);
    size_t start = 0;
    while (start < all.size()) {
        size_t end = all.find(' ', start);
        if (end == std::string::npos) end = all.size();
        if (end > start) words.push_back(all.substr(start, end - start));
        start = end + 1;
    }
    std::vector<const Item*> found;
    for (const Item& item : items_) {
        if (query.low && item.price < *query.low) continue;
        if (query.high && item.price > *query.high) continue;
        if (!query.location.empty() && !contains(item.location, query.location)) continue;
        if (!std::all_of(words.begin(), words.end(),
                         [&](const std::string& w) { return contains(item.title, w); }))
            continue;
        found.push_back(&item);
    }
    std::stable_sort(found.begin(), found.end(), [](const Item* a, const Item* b) {
        return a->monthSale != b->monthSale ? a->monthSale > b->monthSale : a->saleCount > b->saleCount;
    });
    return found;
}

std::vector<const Item*> MarketModel::categoryItems(const std::string& browseId) const {
    const auto& table = market::categoryBrowseCategories();
    std::vector<const Item*> found;
    for (const Item& item : items_)
        if (table[static_cast<size_t>(item.browseCategory)].id == browseId) found.push_back(&item);
    std::stable_sort(found.begin(), found.end(),
                     [](const Item* a, const Item* b) { return a->categorySale > b->categorySale; });
    return found;
}

} // namespace vantor::demo
