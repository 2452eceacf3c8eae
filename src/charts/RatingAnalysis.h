#pragma once

#include "Analysis.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace vantor::charts {

// The shops with gathered ratings, the most recently rated first, then the higher seller credit. A
// shop gathered by its address alone has no name yet: its shopkeeper's stands in.
inline constexpr const char* kRatedShopListSql =
    "select d.id,coalesce(nullif(d.dianming,''),d.dianzhu) from dianbase d where exists (select 1 from "
    "pjinfo p "
    "where p.dian_id=d.id) order by d.pjupdate1 desc,d.salerCredit desc";

// One rating as the analyses read it.
struct RatingRecord {
    std::string time;   // yyyy-MM-dd HH:mm:ss
    std::string grade;  // 好评, 中评 or 差评
    bool counts = true; // false: shown "[不计分]"
    std::string rater;
    double price = 0;
    std::string comment;
    std::string itemTitle;
};

// Credit growth: the ratings of a week or a month and what they added to the credit.
enum class Period { Week, Month };
struct CreditPeriod {
    std::string name;  // the point's name: "第5周", "3"
    std::string label; // "2011年第5周", "2011年3月"
    int good = 0, neutral = 0, bad = 0;
    int gained = 0;           // counted good ratings less counted bad ones
    long long cumulative = 0; // the credit of every counted rating held, up to the period's end
    double goodRate = 0;      // percent of the period's ratings
};
// Ratings in time order; creditBefore is the credit of the counted ratings before the first of them.
// Weeks are the sales analyses' weeks: they start on Sunday and week 1 holds 1 January.
std::vector<CreditPeriod> creditPeriods(const std::vector<RatingRecord>& ratings, Period period,
                                        long long creditBefore);

// The report card's thresholds, one line each, in the card's order: a figure above its limit warns.
struct CheckThreshold {
    std::string_view item;
    double limit;
    std::string_view unit; // "%" of the range's ratings, or "天"
    std::string_view marker;
};
const std::vector<CheckThreshold>& ratingCheckThresholds();
inline constexpr double kCheapItemPrice = 10; // yuan: below it an item is "very cheap"
inline constexpr double kBurstTail = 0.001;   // a day whose count a Poisson day reaches less often bursts
inline constexpr int kBurstMinimum = 5;       // ratings a burst day has at least

// The price bands of the card, in yuan: under 10, 10-50, 50-100, 100-500, 500 and more.
inline constexpr std::array<double, 4> kPriceBandLimits = {10, 50, 100, 500};
inline constexpr std::array<std::string_view, 5> kPriceBandNames = {"10元以下", "10-50元", "50-100元",
                                                                    "100-500元", "500元以上"};

// The marketplace's automatic good rating, or no comment at all.
bool isDefaultRating(const std::string& comment);
// P(X >= k) for a Poisson count of mean lambda.
double poissonTail(double lambda, int k);

struct RatingCheck {
    struct Rater {
        std::string name;
        int ratings = 0;
        int sameDay = 0; // ratings beyond the first of one day
        std::string first, last;
    };
    struct Day {
        std::string date; // yyyy-MM-dd
        int ratings = 0;
        int good = 0;
        bool burst = false;
    };
    std::vector<CheckLine> card;
    std::vector<Rater> repeatRaters; // more than one rating, the most first
    std::array<int, 5> bands{};
    std::vector<RatingRecord> defaults;
    std::vector<Day> days; // every day from the first rating's to the last's
    double dailyNorm = 0;  // ratings a day over those days
    int total = 0;
};
// Ratings in time order. Raters shown masked ("a***1") are many buyers and never repeat raters.
RatingCheck checkRatings(const std::vector<RatingRecord>& ratings);

// Credit growth (信用成长分析) and rating authenticity (评价真实度分析).
const Analysis& creditGrowth();
const Analysis& ratingCheck();

} // namespace vantor::charts
