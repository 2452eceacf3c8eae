#include "ParseError.h"
#include "parse/THTMLTools.h"
#include "parse/TParseException.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

using namespace vantor;
using fixtures::gbk;

TEST(DecodeEntities, EachTableEntryHasItsReplacement) {
    EXPECT_EQ(THTMLTools::decodeEntities("&lt;&gt;&amp;&quot;"), "<>&\"");
    EXPECT_EQ(THTMLTools::decodeEntities("&reg;&copy;&trade;"), gbk("注册版权商标"));
    EXPECT_EQ(THTMLTools::decodeEntities("a&ensp;b&emsp;c&nbsp;d"), "a b c d");
    EXPECT_EQ(THTMLTools::decodeEntities("caf&eacute;"), "caf\xA8\xA6");
    EXPECT_EQ(gbk("é"), "\xA8\xA6");
}

TEST(DecodeEntities, LowerCasesFirstSoUpperCaseEntitiesDecode) {
    EXPECT_EQ(THTMLTools::decodeEntities("<A HREF=\"X\">&NBSP;&Amp;</A>"), "<a href=\"x\"> &</a>");
    EXPECT_EQ(THTMLTools::decodeEntities(gbk("關門&LT;")), gbk("關門<"));
}

TEST(DecodeEntities, PassOrderDecidesWhatADoubleEncodingBecomes) {
    // "&amp;" is decoded third: what it leaves is decoded by the later passes only.
    EXPECT_EQ(THTMLTools::decodeEntities("&amp;quot;"), "\"");
    EXPECT_EQ(THTMLTools::decodeEntities("&amp;nbsp;"), " ");
    EXPECT_EQ(THTMLTools::decodeEntities("&amp;lt;&amp;gt;"), "&lt;&gt;");
    EXPECT_EQ(THTMLTools::decodeEntities("&amp;amp;"), "&amp;");
}

TEST(DecodeEntities, TheLastPassTakesOnlyNonWordRuns) {
    // The replacement text "\*" goes to PCRE2's substitution as it stands, where a backslash is literal.
    EXPECT_EQ(THTMLTools::decodeEntities("a&#;b"), "a\\*b");
    EXPECT_EQ(THTMLTools::decodeEntities("a&&;b"), "a\\*b");
    EXPECT_EQ(THTMLTools::decodeEntities(gbk("a&啊;b")), "a\\*b");
    // Named entities outside the table and numeric references survive.
    EXPECT_EQ(THTMLTools::decodeEntities("&hellip;&#21152;&#x52a0;&;"), "&hellip;&#21152;&#x52a0;&;");
    EXPECT_EQ(THTMLTools::decodeEntities("no entity at all"), "no entity at all");
}

TEST(CleanPage, WhitespaceRunsGoEntirelyBeforeEntitiesMakeNewSpaces) {
    EXPECT_EQ(THTMLTools::cleanPage("a&nbsp;&nbsp;b"), "a  b");
    EXPECT_EQ(THTMLTools::cleanPage("a  b"), "ab");
    EXPECT_EQ(THTMLTools::cleanPage("a b"), "a b");
    EXPECT_EQ(THTMLTools::cleanPage("a\nb"), "a\nb");
    EXPECT_EQ(THTMLTools::cleanPage("a\r\n\t b"), "ab");
    EXPECT_EQ(THTMLTools::cleanPage("<TD>\n      <A>"), "<td><a>");
}

TEST(CleanPage, SelfClosedLineBreaksGoAndOthersStay) {
    EXPECT_EQ(THTMLTools::cleanPage("a<BR/>b<br />c<br\t/>d"), "abcd");
    EXPECT_EQ(THTMLTools::cleanPage("a<br>b"), "a<br>b");
    // Entities are decoded after the breaks are gone, so an encoded break stays as markup.
    EXPECT_EQ(THTMLTools::cleanPage("a&lt;br/&gt;b"), "a<br/>b");
}

TEST(CleanPage, DoubleByteCharactersComeThroughUnchanged) {
    const std::string text = "關門馬 嘯匽乗億";
    EXPECT_EQ(THTMLTools::cleanPage(gbk(text)), gbk(text));
}

TEST(ReplaceAll, TheLowerCaseFlagLowersSubjectAndPattern) {
    EXPECT_EQ(THTMLTools::replaceAll("<EM\\sCLASS=\"H\">", "A<em class=\"h\">B<EM class=\"H\">C", true, ""),
              "abc");
    EXPECT_EQ(THTMLTools::replaceAll("\\W+", "A,,B", true, "-"), "a-b"); // \W stays \W
    EXPECT_EQ(THTMLTools::replaceAll("B", "aBcb", false, "x"), "axcb");
    EXPECT_EQ(THTMLTools::replaceAll("b", gbk("關b"), true, "x"), gbk("關x"));
}

TEST(MatchInt, TakesGroupTwoOfTheCleanedPageOrZero) {
    const std::string pattern = "<DIV[^>]+>(找到相关宝贝)<EM>(\\d+)</EM>";
    EXPECT_EQ(THTMLTools::matchInt(gbk("<P>\n  <DIV class=\"count\">找到相关宝贝<EM>1234</EM>件</DIV>"),
                                   gbk(pattern)),
              1234);
    EXPECT_EQ(THTMLTools::matchInt(gbk("<DIV class=\"count\">没有找到</DIV>"), gbk(pattern)), 0);
    EXPECT_EQ(THTMLTools::matchInt("", gbk(pattern)), 0);
}

TEST(MatchInt, AGroupTwoThatIsNoIntegerRaises) {
    EXPECT_EQ(test::parseError([&] {
                  THTMLTools::matchInt(gbk("<div a>x<em>1,234</em>"), "<div[^>]+>(x)<em>([^<]+)</em>");
              }),
              "“1,234”不是有效的整数！");
    // A pattern with one group has no group 2 to read.
    EXPECT_THROW(THTMLTools::matchInt("<b>7</b>", "<b>(\\d+)</b>"), TParseException);
}
