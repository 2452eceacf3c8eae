#include "ParseError.h"
#include "base/GbkText.h"
#include "parse/RefCodecs.h"
#include "parse/Regex.h"
#include "parse/THTMLTools.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <iconv.h>
#include <iterator>
#include <random>
#include <utility>

using namespace vantor;
using namespace vantor::parse;
using fixtures::gbk;

TEST(GbkText, LowerCasingTouchesAsciiLettersOnlyAtEveryPosition) {
    // Every ASCII byte at every offset, then a double-byte character whose second byte is 'P' (關)
    // straddling the eight-byte blocks the lowering works in.
    std::string ascii;
    for (int shift = 0; shift < 8; ++shift)
        for (int c = 0; c < 0x80; ++c)
            ascii += char((c + shift) % 0x80);
    std::string expected = ascii;
    for (char& c : expected)
        if (c >= 'A' && c <= 'Z') c = char(c + 32);
    EXPECT_EQ(lowerAscii(ascii), expected);
    for (size_t at = 0; at < 16; ++at) {
        std::string text = "ABCDEFGHIJKLMNOPQRSTUVWX";
        text.insert(at, "\xEA\x50");
        std::string lowered = "abcdefghijklmnopqrstuvwx";
        lowered.insert(at, "\xEA\x50");
        EXPECT_EQ(lowerAscii(text), lowered) << at;
        lowerAsciiInPlace(text);
        EXPECT_EQ(text, lowered) << at;
    }
    // 關 門 馬 end in 'P' 'T' 'R', 嘯 in '[', 匽 in ']', 乗 in '\\', 億 in '|'.
    EXPECT_EQ(lowerAscii(gbk("<DIV>關門馬嘯匽乗億XyZ")), gbk("<div>關門馬嘯匽乗億xyz"));
    // A lead byte at the very end has no second byte to protect.
    EXPECT_EQ(lowerAscii(std::string("A\xEA")), std::string("a\xEA"));
}

TEST(GbkText, PatternLettersAreLoweredButEscapesKeepTheirMeaning) {
    EXPECT_EQ(lowerPattern(R"(<DIV\sCLASS="X">\W+\S\D\B\p{Lu}\P{Ll}[A-Z])"),
              R"(<div\sclass="x">\W+\S\D\B\p{Lu}\P{Ll}[a-z])");
    EXPECT_EQ(lowerPattern(R"(\\A)"), R"(\\a)"); // an escaped backslash, then a literal letter
    EXPECT_EQ(lowerPattern(gbk("<B>關</B>")), gbk("<b>關</b>"));
}

TEST(GbkText, ExpressionsEscapeEveryDoubleByteCharacter) {
    EXPECT_EQ(gbkExpression("<A>啊嘯"), "<A>\\xb0\\xa1\\x87\\x5b");
    // Raw, the second byte of 嘯 opens a character class that never closes.
    EXPECT_EQ(test::parseError([] { Regex raw(gbk("嘯")); }).rfind("正则表达式编译出错：", 0), 0u);
    // Over bytes a quantifier binds to the last byte only, so a repeated character needs a group.
    const Regex escaped(gbkExpression("(?:嘯)+億"));
    const std::string subject = gbk("x嘯嘯億y"); // the match points into it
    const auto match = escaped.firstMatch(subject);
    ASSERT_TRUE(match);
    EXPECT_EQ(match->group(0), gbk("嘯嘯億"));
}

TEST(GbkText, ConversionsMarkWhatTheTargetCannotHold) {
    EXPECT_EQ(toGbk("店铺 A"), gbk("店铺 A"));
    EXPECT_EQ(gbkToUtf8(gbk("店铺關")), "店铺關");
    EXPECT_EQ(toGbk("a😀b"), "a?b");                   // one mark for the whole character
    EXPECT_EQ(gbkToUtf8(std::string("a\x81")), "a?"); // a lead byte cut off at the end
    EXPECT_EQ(codePointToGbk(21152), gbk("加"));
    EXPECT_EQ(codePointToGbk(65), "A");
    EXPECT_EQ(codePointToGbk(0x1F600), "?");
    EXPECT_EQ(codePointToGbk(0xD800), "?"); // a surrogate is no character
}

namespace {
// iconv over the whole text, each failure a '?' and a pass over as many bytes as the lead byte says.
std::string gbkThroughIconv(std::string text) {
    iconv_t cd = iconv_open("GBK", "UTF-8");
    std::string out;
    char* in = text.data();
    size_t inLeft = text.size();
    while (inLeft > 0) {
        char buffer[256];
        char* outAt = buffer;
        size_t outLeft = sizeof buffer;
        const size_t rc = iconv(cd, &in, &inLeft, &outAt, &outLeft);
        out.append(buffer, outAt);
        if (rc == size_t(-1) && errno != E2BIG) {
            const auto lead = static_cast<unsigned char>(*in);
            const size_t skip = std::min<size_t>(lead >= 0xF0   ? 4
                                                 : lead >= 0xE0 ? 3
                                                 : lead >= 0xC0 ? 2
                                                                : 1,
                                                 inLeft);
            out += '?';
            in += skip;
            inLeft -= skip;
        }
    }
    iconv_close(cd);
    return out;
}
} // namespace

TEST(GbkText, ConversionToGbkIsIconvsOnEveryCharacterAndOnBrokenText) {
    std::string every;
    for (char32_t c = 1; c < 0x10000; ++c) {
        if (c >= 0xD800 && c <= 0xDFFF) continue;
        if (c < 0x80)
            every += char(c);
        else if (c < 0x800)
            every += {char(0xC0 | (c >> 6)), char(0x80 | (c & 0x3F))};
        else
            every += {char(0xE0 | (c >> 12)), char(0x80 | ((c >> 6) & 0x3F)), char(0x80 | (c & 0x3F))};
    }
    EXPECT_EQ(toGbk(every), gbkThroughIconv(every));

    // Texts of valid characters, those GBK lacks, and broken pieces: a lone continuation byte, a cut
    // sequence, an overlong form, a surrogate, a four-byte character and bytes no UTF-8 has.
    const std::vector<std::string> pieces = {"a",        "<时间>",   "店铺",         "€",
                                             "\xC3\xA9", "😀",        "\x80",         "\xBF",
                                             "\xE4\xB8", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80",
                                             "\xF5",     "\xFF",     "\xE4",         "\xEF\xBF\xBE",
                                             "\xC2\x80"};
    std::mt19937 random(7);
    for (int i = 0; i < 3000; ++i) {
        std::string text;
        for (int n = int(random() % 12); n > 0; --n)
            text += pieces[random() % pieces.size()];
        ASSERT_EQ(toGbk(text), gbkThroughIconv(text)) << text;
    }
}

TEST(GbkText, FirstCharsCountsDoubleByteCharactersOnce) {
    EXPECT_EQ(firstChars(gbk("4.8分以上"), 5), gbk("4.8分以"));
    EXPECT_EQ(firstChars(gbk("4.8分以上"), 6), gbk("4.8分以上"));
    EXPECT_EQ(firstChars("4.83333", 6), "4.8333");
    EXPECT_EQ(firstChars("", 6), "");
    EXPECT_EQ(firstChars(std::string("ab\xB0"), 6), std::string("ab\xB0"));
}

TEST(ToHexRefs, WritesEachDoubleByteCharacterAsAReference) {
    EXPECT_EQ(toHexRefs(gbk("a啊b")), "a&#xB0A1;b");
    EXPECT_EQ(toHexRefs(gbk("關")), "&#xEA50;");
    EXPECT_EQ(toHexRefs("plain & <ascii>"), "plain & <ascii>");
    EXPECT_EQ(toHexRefs(std::string("\x80x")), std::string("\x80x")); // 0x80 is below the lead range
    EXPECT_EQ(toHexRefs(std::string("a\xB0")), std::string("a\xB0")); // a lead byte with nothing after it
    EXPECT_EQ(toHexRefs(""), "");
}

TEST(FromHexRefs, DecodesTheBytesTheDigitsSpell) {
    EXPECT_EQ(fromHexRefs("&#xB0A1;"), "\xB0\xA1");
    EXPECT_EQ(fromHexRefs("x&#xb0a1;y"), "x\xB0\xA1y");
    const std::string text = gbk("關門馬 嘯匽, tea");
    EXPECT_EQ(fromHexRefs(toHexRefs(text)), text);
}

TEST(FromHexRefs, ADroppedAmpersandRepeatsThePieceBeforeIt) {
    EXPECT_EQ(fromHexRefs("xy&z"), "xyyz");
    EXPECT_EQ(fromHexRefs("&abc"), "abc");                     // nothing before the first position
    EXPECT_EQ(fromHexRefs("&#xB0A1;&q"), "\xB0\xA1\xB0\xA1q"); // the previous piece is a decoded reference
    EXPECT_EQ(fromHexRefs("a&&b"), "aaab");
    EXPECT_EQ(fromHexRefs("a&#xB0A;b"), "aa#xB0A;b"); // ';' is not the eighth byte
    EXPECT_EQ(fromHexRefs("a&#xB0A1"), "aa#xB0A1");   // too short to be a reference
    EXPECT_EQ(fromHexRefs("a&#XB0A1;"), "aa#XB0A1;"); // the x is lower case
    EXPECT_EQ(fromHexRefs("a&#xZZ01;"), "aa#xZZ01;"); // not hexadecimal
    EXPECT_EQ(fromHexRefs(""), "");
}

TEST(FromDecimalRefs, DecodesFiveDigitCodePointsToGbk) {
    EXPECT_EQ(fromDecimalRefs("&#21152;&#27833;buyer"), gbk("加油buyer"));
    EXPECT_EQ(fromDecimalRefs("&#00065;"), "A");
    EXPECT_EQ(fromDecimalRefs("&#99999;"), "?"); // no such character in GBK
    EXPECT_EQ(fromDecimalRefs("x&#2115;y"), "xx#2115;y");
    EXPECT_EQ(fromDecimalRefs("x&#x52A0;"), "xx#x52A0;");
    EXPECT_EQ(fromDecimalRefs("&q"), "q");
    EXPECT_EQ(fromDecimalRefs(gbk("關&")), gbk("關") + "\x50"); // the piece before is the second byte
}

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

TEST(DecodeEntities, GivesWhatTheTwelveSubstitutionsGiveInOrder) {
    // The passes as expressions, the way THTMLTools documents them.
    const std::pair<std::string, std::string> passes[] = {
        {"&lt;", "<"},          {"&gt;", ">"},           {"&amp;", "&"},           {"&quot;", "\""},
        {"&reg;", gbk("注册")}, {"&copy;", gbk("版权")}, {"&trade;", gbk("商标")}, {"&ensp;", " "},
        {"&emsp;", " "},        {"&eacute;", gbk("é")},  {"&nbsp;", " "},          {"&\\W+;", "\\*"},
    };
    const auto bySubstitution = [&](const std::string& text) {
        std::string out = lowerAscii(text);
        for (const auto& [pattern, replacement] : passes)
            out = THTMLTools::replaceAll(pattern, out, false, replacement);
        return out;
    };
    const std::string pieces[] = {"&",    ";",   "amp",   "AMP",  "lt",     "gt",      "quot", "nbsp",
                                  "copy", "reg", "trade", "ensp", "emsp",   "eacute",  "#",    "x",
                                  " ",    "<",   "&amp;", "&lt;", "&nbsp;", gbk("關"), "\x81", "\xA1&"};
    std::mt19937 random(11);
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        const size_t length = random() % 16;
        for (size_t i = 0; i < length; ++i)
            text += pieces[random() % std::size(pieces)];
        ASSERT_EQ(THTMLTools::decodeEntities(text), bySubstitution(text)) << text;
    }
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

// The clean-up deletes whitespace runs without the expression; here the expression is the reference.
// Text without '&', so that no entity pass touches it.
namespace {
std::string cleanedByExpressions(const std::string& page) {
    return THTMLTools::replaceAll("\\s{2,}", THTMLTools::replaceAll("<br\\s*/>", page, true, ""), false, "");
}
} // namespace

TEST(CleanPage, DeletesWhitespaceRunsExactlyAsTheExpressionDoes) {
    // Every pair of bytes at the start, doubled and between blanks in the middle, and at the end.
    for (int a = 0; a < 256; ++a) {
        for (int b = 0; b < 256; ++b) {
            if (a == '&' || b == '&') continue;
            const char x = char(a), y = char(b);
            const std::string page = std::string{x, y, 'q', y, x, x, ' ', y, '\t', x, y, y, 'Z', x, y};
            ASSERT_EQ(THTMLTools::cleanPage(page), cleanedByExpressions(page)) << a << ' ' << b;
        }
    }
    // Longer texts of mostly blanks, with double-byte characters, breaks and markup in between.
    const std::string pieces[] = {" ",    "  ", "\t",     "\n",      "\r\n", "\v",      "\f",   "\x01",
                                  "\x1f", "x",  "<BR />", "<br\t/>", "<br>", gbk("關"), "\x81", "\xA1\x20"};
    std::mt19937 random(7);
    for (int round = 0; round < 20000; ++round) {
        std::string page;
        const size_t length = random() % 40;
        for (size_t i = 0; i < length; ++i)
            page += pieces[random() % std::size(pieces)];
        ASSERT_EQ(THTMLTools::cleanPage(page), cleanedByExpressions(page)) << page;
    }
    // A page-sized text, so that the eight-byte steps run long.
    std::string page;
    for (int i = 0; i < 4000; ++i)
        page += pieces[random() % std::size(pieces)] + "abcdefgh"[i % 8];
    EXPECT_EQ(THTMLTools::cleanPage(page), cleanedByExpressions(page));
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
