#include "RateSummaryParser.h"

#include "ParseSupport.h"
#include "base/GbkText.h"

#include <cstdint>

namespace vantor::parse {
namespace {

using Counter = std::int32_t TRateBaseInfo::*;
using T = TRateBaseInfo;

// [table: seller, buyer][class: good, neutral, bad][period 1..4]
constexpr Counter kCounters[2][3][4] = {
    {{&T::salerGood1, &T::salerGood2, &T::salerGood3, &T::salerGood4},
     {&T::salerNotBad1, &T::salerNotBad2, &T::salerNotBad3, &T::salerNotBad4},
     {&T::salerBad1, &T::salerBad2, &T::salerBad3, &T::salerBad4}},
    {{&T::buyerGood1, &T::buyerGood2, &T::buyerGood3, &T::buyerGood4},
     {&T::buyerNotBad1, &T::buyerNotBad2, &T::buyerNotBad3, &T::buyerNotBad4},
     {&T::buyerBad1, &T::buyerBad2, &T::buyerBad3, &T::buyerBad4}},
};

constexpr Expression kRatingRows[3] = {Expression::GoodRatingRow, Expression::NeutralRatingRow,
                                       Expression::BadRatingRow};

constexpr std::size_t kScoreLength = 6;

// The first `count` matches of an expression, in page order.
template <class Visit> void firstMatches(std::string_view text, Expression which, int count, Visit visit) {
    int seen = 0;
    detail::compiled(which)->forEachMatch(text, [&](const Match& match) {
        if (seen < count) visit(seen, match);
        ++seen;
    });
}

} // namespace

TRateBaseInfo parseRateSummary(std::string_view page) {
    const std::string text = detail::standardCleanup(page);
    TRateBaseInfo info;

    for (int kind = 0; kind < 3; ++kind)
        firstMatches(text, kRatingRows[kind], 2, [&](int table, const Match& row) {
            for (int period = 0; period < 4; ++period)
                info.*kCounters[table][kind][period] = detail::intField(row.group(period + 1));
        });

    if (const auto count = detail::firstMatch(text, Expression::RatingCount))
        info.rateCount = detail::intField(count->group(1));

    if (const auto credit = detail::firstMatch(text, Expression::CumulativeCredit)) {
        info.salerCredit = detail::intField(credit->group(1));
        info.virtualGoal = detail::numberField(credit->group(3));
        info.realGoal = detail::numberField(credit->group(4));
        info.buyerCredit = detail::intField(credit->group(5));
    }

    std::string TRateBaseInfo::*const scores[3] = {&T::itemGoal, &T::serviceGoal, &T::consignGoal};
    firstMatches(text, Expression::DynamicScore, 3, [&](int which, const Match& score) {
        info.*scores[which] = firstChars(score.group(1), kScoreLength);
    });

    double TRateBaseInfo::*const rates[2] = {&T::salerGoodRate, &T::buyerGoodRate};
    firstMatches(text, Expression::GoodRatingRate, 2, [&](int which, const Match& rate) {
        info.*rates[which] = detail::numberField(rate.group(1));
    });

    if (const auto seller = detail::firstMatch(text, Expression::SellerCreditSecondForm)) {
        info.salerCredit = detail::intField(seller->group(1));
        info.salerGoodRate = detail::numberField(seller->group(2));
    }
    if (const auto buyer = detail::firstMatch(text, Expression::BuyerCreditSecondForm)) {
        info.buyerCredit = detail::intField(buyer->group(1));
        info.buyerGoodRate = detail::numberField(buyer->group(2));
    }
    detail::decodeText(info);
    return info;
}

} // namespace vantor::parse
