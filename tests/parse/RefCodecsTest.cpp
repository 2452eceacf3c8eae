#include "parse/RefCodecs.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

using namespace vantor;
using fixtures::gbk;

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
