#include "MarketModel.h"

#include "Gbk.h"
#include "Rng.h"
#include "market/CategoryTable.h"
#include "market/MarketHosts.h"

#include <algorithm>
#include <cmath>
#include <set>

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

constexpr int kBigShopRatings = 2150;
constexpr int kBigShopItems = 170;

std::int64_t dayOf(MarketTime t) {
    return t / kSecondsPerDay;
}

// A time on a day in [fromDay, toDay], more likely where the weights are high; never after now.
MarketTime drawTime(Rng& rng, std::int64_t fromDay, std::int64_t toDay, MarketTime now) {
    std::int64_t day = fromDay;
    for (int attempt = 0; attempt < 32; ++attempt) {
        day = rng.range(fromDay, toDay);
        const CivilDate date = civilFromDays(day);
        if (rng.unit() < kMonthWeight[date.month - 1] * kWeekdayWeight[weekdayOfDays(day)]) break;
    }
    int hourTotal = 0;
    for (int w : kHourWeight)
        hourTotal += w;
    int roll = static_cast<int>(rng.below(static_cast<std::uint64_t>(hourTotal)));
    int hour = 0;
    while (roll >= kHourWeight[hour])
        roll -= kHourWeight[hour++];
    MarketTime t = day * kSecondsPerDay + hour * 3600 + rng.range(0, 59) * 60 + rng.range(0, 59);
    while (t > now)
        t -= kSecondsPerDay;
    return t;
}

// Newest first; equal times keep their drawing order.
template <typename T, typename TimeOf> void sortNewestFirst(std::vector<T>& v, TimeOf timeOf) {
    std::stable_sort(v.begin(), v.end(), [&](const T& a, const T& b) { return timeOf(a) > timeOf(b); });
}

// An item's trades in the last 30 days and before, each from a stream of its own, so the recent
// ones (which the item page counts) can be drawn without the rest.
std::vector<MarketTime> recentSaleTimes(const Item& item, const MarketCalendar& calendar) {
    Rng rng(mixSeed(item.seed, "recent-sales"));
    std::vector<MarketTime> times;
    const std::int64_t today = dayOf(calendar.now);
    for (int i = 0; i < item.monthSale; ++i)
        times.push_back(drawTime(rng, today - 29, today, calendar.now));
    return times;
}

std::vector<MarketTime> saleTimes(const Item& item, const MarketCalendar& calendar) {
    std::vector<MarketTime> times = recentSaleTimes(item, calendar);
    Rng rng(mixSeed(item.seed, "older-sales"));
    const std::int64_t today = dayOf(calendar.now);
    for (int i = item.monthSale; i < item.saleCount; ++i)
        times.push_back(drawTime(rng, dayOf(calendar.start), today - 30, calendar.now));
    sortNewestFirst(times, [](MarketTime t) { return t; });
    return times;
}

struct RatingCore {
    MarketTime time;
    Grade grade;
    bool bought = false; // one of a burst of bought good ratings
};

Grade drawGrade(Rng& rng) {
    const double u = rng.unit();
    return u < 0.95 ? Grade::Good : u < 0.98 ? Grade::Neutral : Grade::Bad;
}

std::vector<RatingCore> ratingCores(const Shop& shop, const MarketCalendar& calendar) {
    Rng rng(mixSeed(shop.seed, "rating-cores"));
    std::vector<RatingCore> cores;
    const int drawn = shop.ratingCount - shop.newRatings;
    cores.reserve(static_cast<size_t>(shop.ratingCount));
    for (int i = 0; i < drawn; ++i) {
        const MarketTime t = drawTime(rng, dayOf(calendar.start), dayOf(calendar.now), calendar.now);
        cores.push_back({t, drawGrade(rng)});
    }
    // Bought credit arrives in bursts: an eighth of the ratings on three days of the last half year.
    if (shop.boughtCredit)
        for (int burst = 0; burst < 3; ++burst) {
            const std::int64_t day = rng.range(dayOf(calendar.now) - 180, dayOf(calendar.now) - 1);
            for (int i = burst; i < drawn; i += 24)
                cores[static_cast<size_t>(i)] = {day * kSecondsPerDay + rng.range(9 * 3600, 23 * 3600),
                                                 Grade::Good, true};
        }
    sortNewestFirst(cores, [](const RatingCore& c) { return c.time; });
    // The newer ratings of a revised view, on top: the last two seconds of the market's history.
    for (int i = 0; i < shop.newRatings; ++i)
        cores.insert(cores.begin(), RatingCore{calendar.now - (shop.newRatings - 1 - i), Grade::Good});
    return cores;
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

MarketModel::MarketModel(std::uint64_t seed, CivilDate today)
    : seed_(seed), calendar_(MarketCalendar::endingOn(today)) {
    const auto& categories = marketCategories();
    std::set<std::string> nicks;
    const std::int64_t todayDay = dayOf(calendar_.now);
    const std::int64_t monthStart = daysFromCivil({today.year, today.month, 1});

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
        shop.ratingCount =
            i == kBigRatingShop ? kBigShopRatings : static_cast<int>(1500 * std::pow(rng.unit(), 3));
        if (shop.boughtCredit) shop.ratingCount = std::max(shop.ratingCount, 600);

        for (const RatingCore& core : ratingCores(shop, calendar_))
            countRating(shop.sellerRates, core.grade, todayDay - dayOf(core.time));
        const int buyerRatings = static_cast<int>(150 * std::pow(rng.unit(), 2));
        for (int b = 0; b < buyerRatings; ++b)
            countRating(shop.buyerRates, drawGrade(rng), rng.range(0, todayDay - dayOf(calendar_.start)));
        shop.sellerCredit = creditOf(shop.sellerRates);
        shop.buyerCredit = creditOf(shop.buyerRates);
        shop.sellerGoodRate = goodRate(shop.sellerRates);
        shop.buyerGoodRate = goodRate(shop.buyerRates);
        for (std::string& score : shop.scores) {
            const auto tenths = rng.range(44, 50);
            score = std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
        }
        shop.virtualShare = roundCents(rng.unit() * 30);
        shop.realShare = roundCents(100 - shop.virtualShare);

        const bool manyItems = i == kBigRatingShop || rng.chance(0.1);
        const int itemCount = i == kBigRatingShop ? kBigShopItems
                              : manyItems         ? static_cast<int>(rng.range(81, 180))
                                                  : 3 + static_cast<int>(50 * std::pow(rng.unit(), 2));
        for (int k = 0; k < itemCount; ++k) {
            Item item;
            item.index = static_cast<int>(items_.size());
            item.shopIndex = i;
            item.seed = mixSeed(seed, "item", static_cast<std::uint64_t>(item.index));
            Rng itemRng(item.seed);
            item.id = std::to_string(10000000000LL + item.index * 7919LL +
                                     static_cast<long long>(itemRng.below(7919)));
            item.title = itemTitle(itemRng, category);
            item.location = shop.location;
            item.price = std::round(std::pow(10.0, 3 + 2.3 * itemRng.unit()) / 10) / 10;
            if (k % 4 == 3) item.secondPrice = roundCents(item.price * 1.5);
            item.shipping = itemRng.pick(kShippingFees);
            item.favorite = static_cast<int>(3000 * std::pow(itemRng.unit(), 3));
            item.saleCount = manyItems && k == 0 ? static_cast<int>(itemRng.range(600, 900))
                                                 : static_cast<int>(260 * std::pow(itemRng.unit(), 2.5));
            item.monthSale = static_cast<int>(std::lround(item.saleCount * (0.02 + 0.25 * itemRng.unit())));
            for (MarketTime t : recentSaleTimes(item, calendar_))
                item.curSale += dayOf(t) >= monthStart ? 1 : 0;
            // A few categories hold many items, so a deep ranking spans several pages; the month's
            // sales vary around the 30-day figure from month to month, so rankings move.
            item.browseCategory = static_cast<int>(std::pow(itemRng.unit(), 2) *
                                                   static_cast<double>(categoryBrowseCategories().size()));
            Rng monthRng(
                mixSeed(item.seed, "month", static_cast<std::uint64_t>(today.year * 12 + today.month)));
            item.categorySale = static_cast<int>(std::lround(item.monthSale * (0.5 + monthRng.unit())));
            if (i == kOddItemsShop) {
                item.hasBuyerList = k != 0;
                item.hasItemId = k != 1;
                item.showsMonthSale = k != 2;
            }
            shop.items.push_back(item.index);
            itemById_[item.id] = item.index;
            items_.push_back(std::move(item));
        }
        shopByNo_[shop.shopNo] = i;
        shopByUserId_[shop.userId] = i;
        shops_.push_back(std::move(shop));
    }
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
    const std::vector<MarketTime> times = saleTimes(item, calendar_);
    Rng rng(mixSeed(item.seed, "sale-details"));
    std::vector<Sale> sales;
    sales.reserve(times.size());
    for (size_t pos = 0; pos < times.size(); ++pos) {
        Sale sale;
        const std::string name = rng.pick(kRaterWords);
        // The buyer list masks nicknames except for their first and last letters.
        sale.buyerName = rng.chance(0.7)
                             ? name.substr(0, name[0] & 0x80 ? 3 : 1) + "**" + std::to_string(rng.range(0, 9))
                             : name + std::to_string(rng.range(10, 99));
        if (rng.chance(0.9)) sale.buyerId = std::to_string(rng.range(10000000, 999999999));
        sale.itemTitle = item.title;
        if (item.secondPrice > 0) sale.itemTitle += " 颜色分类：" + rng.pick(kColours);
        sale.tradeId = std::to_string(100000000000000LL + item.index * 100000LL +
                                      static_cast<long long>(times.size() - 1 - pos));
        sale.time = formatDateTime(times[pos]);
        sale.status = rng.chance(0.96) ? "成交" : "已退款";
        sale.quantity = rng.chance(0.8) ? 1 : static_cast<int>(rng.range(2, 5));
        sale.price = item.secondPrice > 0 && rng.chance(0.5) ? item.secondPrice : item.price;
        sales.push_back(std::move(sale));
    }
    return sales;
}

std::vector<Rating> MarketModel::ratings(const Shop& shop) const {
    const std::vector<RatingCore> cores = ratingCores(shop, calendar_);
    std::vector<Rating> ratings;
    ratings.reserve(cores.size());
    for (size_t pos = 0; pos < cores.size(); ++pos) {
        // Counted from the oldest, so that newer ratings on top leave the older ones as they were.
        const auto number = static_cast<std::uint64_t>(cores.size() - 1 - pos);
        Rng rng(mixSeed(shop.seed, "rating-details", number));
        Rating r;
        r.grade = cores[pos].grade;
        r.time = formatDateTime(cores[pos].time);
        r.counts = !rng.chance(0.05);
        r.comment = rng.pick(r.grade == Grade::Good      ? kGoodComments
                             : r.grade == Grade::Neutral ? kNeutralComments
                                                         : kBadComments);
        if (r.grade == Grade::Good && rng.chance(shop.boughtCredit ? 0.6 : 0.04)) r.comment = kDefaultComment;
        if (r.grade != Grade::Good || rng.chance(0.1)) r.explanation = rng.pick(kExplanations);
        const bool older = number < static_cast<std::uint64_t>(shop.ratingCount - shop.newRatings);
        if (shop.newRatings > 0 && older && number % 7 == 0) r.explanation = "感谢您的再次评价，欢迎常来";
        r.raterName = rng.pick(kRaterWords) + std::to_string(rng.range(1, 99999));
        if (rng.chance(0.85)) r.raterId = std::to_string(rng.range(10000000, 999999999));
        const Item& item = itemOf(shop, static_cast<int>(rng.below(shop.items.size())));
        r.itemId = item.id;
        r.itemTitle = item.title;
        r.price = item.secondPrice > 0 && rng.chance(0.5) ? item.secondPrice : item.price;
        if (cores[pos].bought) {
            r.raterName = rng.pick(kHiredRaters);
            r.price = static_cast<double>(rng.range(10, 99)) / 10; // a trade of one to ten yuan
        }
        r.tradeId =
            std::to_string(200000000000000LL + shop.index * 100000LL + static_cast<long long>(number));
        ratings.push_back(std::move(r));
    }
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
    const auto& table = categoryBrowseCategories();
    std::vector<const Item*> found;
    for (const Item& item : items_)
        if (table[static_cast<size_t>(item.browseCategory)].id == browseId) found.push_back(&item);
    std::stable_sort(found.begin(), found.end(),
                     [](const Item* a, const Item* b) { return a->categorySale > b->categorySale; });
    return found;
}

} // namespace vantor::demo
