#include "ParseSupport.h"

#include "RefCodecs.h"

#include "ExpressionCache.h"
#include "TParseException.h"
#include "base/GbkText.h"
#include "base/TextNumbers.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>

namespace vantor::parse::detail {
namespace {

struct EntityPass {
    const char* entity;
    const char* replacement; // UTF-8; converted to GBK once
};

// Order matters: "&amp;" is decoded after "&lt;" and "&gt;" but before the others, so "&amp;quot;"
// ends as a quote while "&amp;lt;" stays the text "&lt;".
constexpr EntityPass kEntityPasses[] = {
    {"&lt;", "<"},     {"&gt;", ">"},      {"&amp;", "&"},      {"&quot;", "\""},
    {"&reg;", "注册"}, {"&copy;", "版权"}, {"&trade;", "商标"}, {"&ensp;", " "},
    {"&emsp;", " "},   {"&eacute;", "é"},  {"&nbsp;", " "},
};
// The last pass, after the named ones: what is left of a non-word run between '&' and ';'.
constexpr const char* kLeftoverEntity = "&\\W+;";
constexpr const char* kLeftoverReplacement = "\\*"; // taken literally by the substitution

// Every occurrence of `entity`, left to right, replaced: what substituting the entity as an expression
// does, since it has no metacharacter. A pass that finds nothing does not copy the text.
void replaceEntity(std::string& text, std::string_view entity, std::string_view replacement) {
    size_t at = text.find(entity);
    if (at == std::string::npos) return;
    std::string out;
    out.reserve(text.size());
    size_t copied = 0;
    for (; at != std::string::npos; at = text.find(entity, copied)) {
        out.append(text, copied, at - copied);
        out += replacement;
        copied = at + entity.size();
    }
    out.append(text, copied);
    text = std::move(out);
}

std::string_view trimBlanks(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

// PCRE2's \s without UTF or UCP: space, \t, \n, \v, \f and \r. No byte of a double-byte character is one.
bool isPatternSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The bytes of a word below '!', each marked by its high bit; every \s byte is one of them. Exact per
// byte: each byte is cut to seven bits before the addition, so no carry reaches its neighbour.
std::uint64_t lowBytes(std::uint64_t word) {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    const std::uint64_t atLeastBang = (word & ~kHighBits) + (0x80 - '!') * kOnes;
    return ~(atLeastBang | word) & kHighBits;
}

// Eight bytes of text with byte k in bits 8k to 8k + 7, whatever the machine's byte order.
std::uint64_t loadWord(const char* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, 8);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    return word;
}

// Where the next two blanks in a row begin, at or after `from`; the end of the text when there are
// none. Single blanks, which markup is full of, are passed over eight bytes at a time: only two low
// bytes side by side stop the scan. Words overlap by a byte so that no pair is split between two.
size_t nextRun(std::string_view text, size_t from) {
    size_t at = from;
    while (at + 8 <= text.size()) {
        const std::uint64_t low = lowBytes(loadWord(text.data() + at));
        const std::uint64_t pairs = low & (low >> 8);
        if (pairs == 0) {
            at += 7;
            continue;
        }
        const size_t first = at + size_t(std::countr_zero(pairs)) / 8;
        if (isPatternSpace(text[first]) && isPatternSpace(text[first + 1])) return first;
        at = first + 1; // two control bytes that are not both blanks
    }
    for (; at + 1 < text.size(); ++at)
        if (isPatternSpace(text[at]) && isPatternSpace(text[at + 1])) return at;
    return text.size();
}

// What deleting every match of WhitespaceRun (\s{2,}) leaves. A page has a run at nearly every line
// break, and a match call per run costs more than the rest of the clean-up together.
void eraseWhitespaceRuns(std::string& text) {
    const size_t size = text.size();
    size_t kept = 0;  // text[0, kept) is final
    size_t moved = 0; // text[moved, run) is still to be moved down to kept
    for (size_t run = nextRun(text, 0); run < size; run = nextRun(text, moved)) {
        size_t end = run + 2;
        while (end < size && isPatternSpace(text[end]))
            ++end;
        std::memmove(text.data() + kept, text.data() + moved, run - moved);
        kept += run - moved;
        moved = end;
    }
    std::memmove(text.data() + kept, text.data() + moved, size - moved);
    text.resize(kept + size - moved);
}

} // namespace

std::shared_ptr<const Regex> compiled(Expression which) {
    return ExpressionCache::get(expression(which));
}

std::shared_ptr<const Regex> compiled(std::string_view pattern) {
    return ExpressionCache::get(pattern);
}

void decodeEntityPasses(std::string& text) {
    static const auto replacements = [] {
        std::vector<std::string> gbk;
        for (const EntityPass& pass : kEntityPasses)
            gbk.push_back(toGbk(pass.replacement));
        return gbk;
    }();
    // Every entity starts with '&': a page without one is left as it is.
    if (text.find('&') == std::string::npos) return;
    // The named entities are plain text, and a text search for their rare '&' is several times faster
    // than the expression engine's scan of the page.
    for (size_t i = 0; i < std::size(kEntityPasses); ++i)
        replaceEntity(text, kEntityPasses[i].entity, replacements[i]);
    compiled(kLeftoverEntity)->replaceAllIn(text, kLeftoverReplacement);
}

std::string cleanPage(std::string_view page, std::initializer_list<Expression> erased, bool decodeEntities) {
    std::string text = lowerAscii(page);
    for (Expression which : erased) {
        // The scan deletes the bytes the expression matches, without a match call per run.
        if (which == Expression::WhitespaceRun)
            eraseWhitespaceRuns(text);
        else
            compiled(which)->replaceAllIn(text, "");
    }
    if (decodeEntities) decodeEntityPasses(text);
    return text;
}

std::string standardCleanup(std::string_view page) {
    return cleanPage(page, {Expression::LineBreak, Expression::WhitespaceRun}, true);
}

std::optional<Match> firstMatch(std::string_view subject, Expression which) {
    return compiled(which)->firstMatch(subject);
}

std::string firstGroup(std::string_view subject, Expression which, int group) {
    const auto match = firstMatch(subject, which);
    return match ? match->text(group) : std::string();
}

std::int32_t intField(std::string_view text) {
    if (const auto value = parseInt32(trimBlanks(text))) return *value;
    throw TParseException("“" + gbkToUtf8(text) + "”不是有效的整数！");
}

double numberField(std::string_view text) {
    std::string_view digits = trimBlanks(text);
    if (!digits.empty() && digits.front() == '+') digits.remove_prefix(1);
    // from_chars would also take "inf" and "nan", which no page means as a number.
    const bool plain =
        !digits.empty() && digits.find_first_not_of("0123456789.-eE") == std::string_view::npos;
    double value = 0;
    if (plain) {
        const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        if (ec == std::errc() && end == digits.data() + digits.size()) return value;
    }
    throw TParseException("“" + gbkToUtf8(text) + "”不是有效的数字！");
}

namespace {

// ASCII text is the same in GBK and UTF-8. Most fields are addresses, numbers or empty, and are left as
// they are instead of being copied through the converter.
void decodeField(std::string& field) {
    if (std::any_of(field.begin(), field.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }))
        field = gbkToUtf8(field);
}

template <class Record, class... Fields> void decodeFields(Record& record, Fields Record::*... fields) {
    (decodeField(record.*fields), ...);
}

} // namespace

void decodeText(TDianBaseInfo& shop) {
    using T = TDianBaseInfo;
    decodeFields(shop, &T::id, &T::webaddr, &T::rateUrl, &T::addr, &T::dianming, &T::dianzhu, &T::userId,
                 &T::loc, &T::commodityKind, &T::createDate, &T::firstPageUrl, &T::lastGathered);
}

void decodeText(TItemBaseInfo& item) {
    using T = TItemBaseInfo;
    decodeFields(item, &T::itemTitle, &T::itemId, &T::itemAutionUrl, &T::updateDate, &T::addr,
                 &T::saleFromDate);
}

void decodeText(TItemInfo& row) {
    using T = TItemInfo;
    decodeFields(row, &T::itemTitle, &T::cell22, &T::place, &T::shipping, &T::itemUrl, &T::price,
                 &T::reserved, &T::dianzhu, &T::cell23);
}

void decodeText(TAutionInfo& sale) {
    using T = TAutionInfo;
    decodeFields(sale, &T::buyerName, &T::buyerId, &T::itemTitle, &T::tradeId, &T::buyerLink, &T::itemLink,
                 &T::buyerBadge, &T::sj, &T::status);
}

void decodeText(TRateInfo& rating) {
    using T = TRateInfo;
    // The references spell GBK characters (or '?'), so they are read before the text is decoded.
    rating.pjName = fromDecimalRefs(rating.pjName);
    decodeFields(rating, &T::pj, &T::pjInfo, &T::pjjs, &T::pjsj, &T::pjName, &T::itemId, &T::itemTitle,
                 &T::tradeId, &T::raterLink);
}

void decodeText(TRateBaseInfo& summary) {
    using T = TRateBaseInfo;
    decodeFields(summary, &T::dianId, &T::itemGoal, &T::serviceGoal, &T::consignGoal);
}

RecordList<TItemInfo> readItemRows(std::string_view cleanedPage, const Regex& row,
                                   const ItemRowGroups& groups) {
    const auto spanOpen = compiled(Expression::SpanOpen);
    const auto spanClose = compiled(Expression::SpanClose);
    return collectRows<TItemInfo>(row, cleanedPage, [&](const Match& match, RecordList<TItemInfo>& list) {
        const auto field = [&](int group) { return group > 0 ? match.text(group) : std::string(); };
        TItemInfo item;
        item.itemUrl = field(groups.itemUrl);
        item.itemTitle = spanClose->replaceAll(spanOpen->replaceAll(field(groups.itemTitle), ""), "");
        item.place = field(groups.place);
        item.shipping = field(groups.shipping);
        item.price = field(groups.price);
        item.dianzhu = field(groups.dianzhu);
        item.cell22 = field(groups.cell22);
        item.cell23 = field(groups.cell23);
        // An empty cell means nothing to pay, and the lists show it as 0.
        if (item.shipping.empty()) item.shipping.push_back('0');
        if (item.price.empty()) item.price.push_back('0');
        decodeText(item);
        list.add(std::move(item));
    });
}

} // namespace vantor::parse::detail
