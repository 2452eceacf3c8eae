#include "parse/Regex.h"
#include "ParseError.h"
#include "parse/ExpressionCache.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace vantor;
using namespace vantor::parse;

namespace {

std::vector<std::string> allGroupOne(const Regex& regex, std::string_view subject,
                                     size_t* skipped = nullptr) {
    std::vector<std::string> found;
    const size_t count = regex.forEachMatch(subject, [&](const Match& m) { found.push_back(m.text(1)); });
    if (skipped) *skipped = count;
    return found;
}

// A cell whose text is long enough that `([^<]+)*` cannot be decided within the limits when the
// closing tag is wrong: every split of the text is tried again.
std::string nearMissCell() {
    return "<td>" + std::string(40, 'x') + "</tx>";
}

} // namespace

TEST(Regex, GroupsAreViewsIntoTheSubjectAndEmptyWhenUnset) {
    const Regex regex(R"re(<a href="([^"]+)">(x)?([^<]*)</a>)re");
    const std::string subject = R"(..<a href="u1">text</a>..)";
    const auto match = regex.firstMatch(subject);
    ASSERT_TRUE(match);
    EXPECT_EQ(regex.captureCount(), 3);
    EXPECT_EQ(match->group(0), R"(<a href="u1">text</a>)");
    EXPECT_EQ(match->start(), 2u);
    EXPECT_EQ(match->end(), subject.size() - 2);
    EXPECT_EQ(match->group(1), "u1");
    EXPECT_EQ(match->group(2), ""); // took no part
    EXPECT_EQ(match->text(3), "text");
    EXPECT_EQ(match->group(4), ""); // beyond the last group
    EXPECT_EQ(match->group(-1), "");
    EXPECT_FALSE(regex.firstMatch("<a>"));
    EXPECT_FALSE(regex.firstMatch(""));
}

TEST(Regex, ScansNonOverlappingMatchesLeftToRight) {
    const Regex regex("<b>([^<]*)</b>");
    EXPECT_EQ(allGroupOne(regex, "<b>1</b><b>2</b>x<b></b><b>3</b>"),
              (std::vector<std::string>{"1", "2", "", "3"}));
    EXPECT_TRUE(allGroupOne(regex, "nothing here").empty());
    // An expression that can match empty text still moves on, and may match empty again right after a
    // non-empty match, as in Perl.
    const Regex optional("(a?)");
    size_t skipped = 99;
    EXPECT_EQ(allGroupOne(optional, "bab", &skipped), (std::vector<std::string>{"", "a", "", ""}));
    EXPECT_EQ(skipped, 0u);
}

TEST(Regex, SingleMatchPastTheLimitRaisesTheMessage) {
    const Regex regex("<td>([^<]+)*</td>");
    EXPECT_EQ(test::parseError([&] { regex.firstMatch(nearMissCell() + "<td>ok</td>"); }),
              "页面解析超出匹配次数限制！");
    // The same text with short cells is decided easily: the limit is not a cap on page size.
    EXPECT_EQ(regex.firstMatch("<td>xx</tx><td>ok</td>")->group(1), "ok");
}

TEST(Regex, ScanSkipsTheRowPastTheLimitAndKeepsTheRowsBehindIt) {
    const Regex regex("<td>([^<]+)*</td>");
    const std::string subject = "<td>a</td>" + nearMissCell() + "<td>b</td>" + nearMissCell() +
                                nearMissCell() + "<tr><td>c</td></tr>";
    size_t skipped = 0;
    EXPECT_EQ(allGroupOne(regex, subject, &skipped), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(skipped, 3u);
}

TEST(Regex, ScanFindsTheFailedRowWhateverLetterCaseItStartsWith) {
    // The first byte of a caseless expression is known in one case only; the row that fails starts
    // with the other one and must still be the row that is skipped, not the good row after it.
    const Regex caseless("(?i)td:([^<]+)*;");
    size_t skipped = 0;
    EXPECT_EQ(allGroupOne(caseless, "TD:" + std::string(40, 'x') + "<td:ok;", &skipped),
              (std::vector<std::string>{"ok"}));
    EXPECT_EQ(skipped, 1u);
    // No single first byte, only a set of them.
    const Regex either("(?:x|y)([^<]+)*;");
    EXPECT_EQ(allGroupOne(either, "x" + std::string(40, 'a') + "<yb;", &skipped),
              (std::vector<std::string>{"b"}));
    EXPECT_EQ(skipped, 1u);
    // No first byte at all.
    const Regex anywhere("(?m)^([^<]+)*;");
    EXPECT_EQ(allGroupOne(anywhere, std::string(40, 'a') + "<\nb;", &skipped),
              (std::vector<std::string>{"b"}));
    EXPECT_EQ(skipped, 1u);
}

TEST(Regex, DeepBacktrackingRaisesTheDepthMessage) {
    // A tempered dot keeps one backtracking frame per byte; a line of 4 MB outgrows every allowance.
    const Regex regex("<p>((?!</p>).)+</q>");
    const std::string subject = "<p>" + std::string(4 * 1024 * 1024, 'x') + "</q>";
    EXPECT_EQ(test::parseError([&] { regex.firstMatch(subject); }), "页面解析超出匹配深度限制！");
}

TEST(Regex, ReplaceAllUsesPcreSubstitutionAndRaisesPastTheLimit) {
    EXPECT_EQ(Regex("a(b)").replaceAll("xabyab", "[$1]"), "x[b]y[b]");
    EXPECT_EQ(Regex("&\\W+;").replaceAll("a&#;b", "\\*"), "a\\*b"); // a backslash is no escape
    EXPECT_EQ(Regex("\\s{2,}").replaceAll("a  b\n\t c d", ""), "abc d");
    EXPECT_EQ(Regex("z").replaceAll("abc", "y"), "abc");
    // Output longer than the subject.
    EXPECT_EQ(Regex("a").replaceAll("aaaa", "0123456789"), "0123456789012345678901234567890123456789");
    EXPECT_THROW(Regex("<td>([^<]+)*</td>").replaceAll(nearMissCell(), ""), TParseException);
}

TEST(Regex, ReplaceAllInChangesTheCallersTextLikeReplaceAll) {
    const Regex regex("a(b)");
    std::string text = "xabyab";
    regex.replaceAllIn(text, "[$1]");
    EXPECT_EQ(text, regex.replaceAll("xabyab", "[$1]"));
    EXPECT_EQ(text, "x[b]y[b]");
    // Without a match the text keeps its bytes and its buffer.
    std::string unmatched = "no match here";
    const char* const buffer = unmatched.data();
    regex.replaceAllIn(unmatched, "[$1]");
    EXPECT_EQ(unmatched, "no match here");
    EXPECT_EQ(unmatched.data(), buffer);
    std::string nearMiss = nearMissCell();
    EXPECT_THROW(Regex("<td>([^<]+)*</td>").replaceAllIn(nearMiss, ""), TParseException);
    EXPECT_EQ(nearMiss, nearMissCell());
}

TEST(ExpressionCache, CompilesEachPatternOnceUnlessCachingIsOff) {
    const auto first = ExpressionCache::get("<p>([^<]*)</p>");
    EXPECT_EQ(ExpressionCache::get("<p>([^<]*)</p>"), first);
    EXPECT_NE(ExpressionCache::get("<p>([^<]+)</p>"), first);
    ASSERT_TRUE(ExpressionCache::caching());
    ExpressionCache::setCaching(false);
    const auto fresh = ExpressionCache::get("<p>([^<]*)</p>");
    ExpressionCache::setCaching(true);
    EXPECT_NE(fresh, first);
    EXPECT_EQ(fresh->pattern(), first->pattern());
    EXPECT_EQ(ExpressionCache::get("<p>([^<]*)</p>"), first);
    // A bad pattern raises every time: it is not kept.
    EXPECT_THROW(ExpressionCache::get("(unclosed"), TParseException);
    EXPECT_THROW(ExpressionCache::get("(unclosed"), TParseException);
}
