#include "ParseError.h"
#include "parse/THTMLTools.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

using namespace vantor;
using fixtures::gbk;

TEST(DecodeEntities, TableEntriesPassOrderAndTheLastNonWordPass) {
    const struct {
        std::string in, out;
    } cases[] = {
        {"&lt;&gt;&amp;&quot;", "<>&\""},
        {"&reg;&copy;&trade;", gbk("注册版权商标")},
        {"a&ensp;b&emsp;c&nbsp;d", "a b c d"},
        {"caf&eacute;", gbk("café")},
        // Lower-cased first, so upper-case entities decode too.
        {"<A HREF=\"X\">&NBSP;&Amp;</A>", "<a href=\"x\"> &</a>"},
        {gbk("關門&LT;"), gbk("關門<")},
        // "&amp;" is decoded third: what it leaves is decoded by the later passes only.
        {"&amp;quot;", "\""},
        {"&amp;nbsp;", " "},
        {"&amp;lt;&amp;gt;", "&lt;&gt;"},
        {"&amp;amp;", "&amp;"},
        // The last pass replaces non-word runs with "\*", which PCRE2 takes literally.
        {"a&#;b", "a\\*b"},
        {"a&&;b", "a\\*b"},
        {gbk("a&啊;b"), "a\\*b"},
        // Named entities outside the table and numeric references survive.
        {"&hellip;&#21152;&#x52a0;&;", "&hellip;&#21152;&#x52a0;&;"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(THTMLTools::decodeEntities(c.in), c.out) << c.in;
}

TEST(CleanPage, WhitespaceRunsAndSelfClosedBreaksGoBeforeEntitiesAreDecoded) {
    const struct {
        std::string in, out;
    } cases[] = {
        {"a&nbsp;&nbsp;b", "a  b"}, // entities make new blanks after the runs are gone
        {"a  b", "ab"},
        {"a b", "a b"},
        {"a\nb", "a\nb"},
        {"a\r\n\t b", "ab"},
        {"<TD>\n      <A>", "<td><a>"},
        {"a<BR/>b<br />c<br\t/>d", "abcd"},
        {"a<br>b", "a<br>b"},
        {"a&lt;br/&gt;b", "a<br/>b"}, // an encoded break stays as markup
        {gbk("關門馬 嘯匽乗億"), gbk("關門馬 嘯匽乗億")},
    };
    for (const auto& c : cases)
        EXPECT_EQ(THTMLTools::cleanPage(c.in), c.out) << c.in;
}

TEST(ReplaceAll, TheLowerCaseFlagLowersSubjectAndPattern) {
    EXPECT_EQ(THTMLTools::replaceAll("<EM\\sCLASS=\"H\">", "A<em class=\"h\">B<EM class=\"H\">C", true, ""),
              "abc");
    EXPECT_EQ(THTMLTools::replaceAll("\\W+", "A,,B", true, "-"), "a-b"); // \W stays \W
    EXPECT_EQ(THTMLTools::replaceAll("B", "aBcb", false, "x"), "axcb");
    EXPECT_EQ(THTMLTools::replaceAll("b", gbk("關b"), true, "x"), gbk("關x"));
}

TEST(MatchInt, TakesGroupTwoOfTheCleanedPageOrZeroAndRaisesOnANonInteger) {
    const std::string pattern = gbk("<DIV[^>]+>(找到相关宝贝)<EM>(\\d+)</EM>");
    EXPECT_EQ(
        THTMLTools::matchInt(gbk("<P>\n  <DIV class=\"count\">找到相关宝贝<EM>1234</EM>件</DIV>"), pattern),
        1234);
    EXPECT_EQ(THTMLTools::matchInt(gbk("<DIV class=\"count\">没有找到</DIV>"), pattern), 0);
    EXPECT_EQ(test::parseError([&] {
                  THTMLTools::matchInt(gbk("<div a>x<em>1,234</em>"), "<div[^>]+>(x)<em>([^<]+)</em>");
              }),
              "“1,234”不是有效的整数！");
    // A pattern with one group has no group 2 to read.
    EXPECT_THROW(THTMLTools::matchInt("<b>7</b>", "<b>(\\d+)</b>"), TParseException);
}
