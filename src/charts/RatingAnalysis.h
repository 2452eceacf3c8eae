#pragma once

#include "Analysis.h"

#include <array>
#include <cstdint>
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
// The check fed one rating at a time, in time order, so a million ratings need not be held: it keeps
// a count per rater and per day, the automatic and empty ones in full. Raters shown masked ("a***1")
// are many buyers and never repeat raters.
class RatingCheckPass {
public:
    void add(std::string_view time, std::string_view grade, std::string_view rater, double price);
    // Those of the ratings given to add() whose comment isDefaultRating(), in the same order.
    void addDefaults(std::vector<RatingRecord> ratings) { defaults_ = std::move(ratings); }
    RatingCheck finish();

private:
    struct Seen {
        int ratings = 0, sameDay = 0;
        std::uint32_t first = 0, last = 0; // ratings' numbers
    };
    struct Rater {
        std::uint32_t nameEnd = 0; // in names_, where the previous rater's name ends it begins
        Seen seen;
    };
    // A rating of a named rater, waiting in a batch.
    struct Pending {
        std::uint32_t rating = 0, nameEnd = 0; // in pendingNames_
        std::uint64_t hash = 0;
    };
    std::string_view timeOf(std::uint32_t rating) const;
    std::string_view nameOf(std::uint32_t rater) const;
    size_t placeOf(std::uint64_t hash) const;
    Seen& seenOf(std::string_view rater, std::uint64_t hash);
    void settle();

    // Every rating's time back to back, and where each ends: one buffer rather than a string apiece.
    std::string times_;
    std::vector<std::uint32_t> timeEnds_;
    // The raters the same way, found through an open table at most half full whose slots hold a
    // rater's number (+1, 0 free) below the top half of its hash, so a probe reads a name only where
    // the hash agrees: a million names cost two buffers rather than a million nodes.
    std::string names_;
    std::vector<Rater> raters_;
    std::vector<std::uint64_t> slots_;
    // Named ratings go to the table in batches whose slots are fetched ahead: the table is far larger
    // than the caches, and a probe costs its wait for memory, not its work.
    std::string pendingNames_;
    std::vector<Pending> pending_;
    std::vector<RatingCheck::Day> ratedDays_;
    std::array<int, 5> bands_{};
    int cheap_ = 0;
    std::vector<RatingRecord> defaults_;
};
// The check of ratings held in memory, in time order.
RatingCheck checkRatings(const std::vector<RatingRecord>& ratings);

// What the rating check reads of a shop's ratings in a range (:id, :sj1 inclusive, :sj2 exclusive),
// in time order: time, grade, rater and price of every rating from one index, and time, grade, rater,
// comment and item of those with an automatic or empty comment from a partial index holding just
// them. The comment's condition is written as the index's, which is how the planner knows it may.
inline constexpr const char* kCheckedRatingsSql =
    "select pjsj,pj,pjName,jg from pjinfo where dian_id=:id and pjsj>=:sj1 and pjsj<:sj2 order by pjsj,id";
inline constexpr const char* kDefaultRatingsSql =
    "select pjsj,pj,pjName,pjInfo,itemTitle from pjinfo where dian_id=:id and pjsj>=:sj1 and pjsj<:sj2 and "
    "(pjInfo LIKE '%默认好评%' OR trim(replace(coalesce(pjInfo,''),'\t',''))='') order by pjsj,id";

// Credit growth (信用成长分析) and rating authenticity (评价真实度分析).
const Analysis& creditGrowth();
const Analysis& ratingCheck();

} // namespace vantor::charts
