#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Byte-level helpers for GBK text. A byte from 0x81 to 0xFE leads a two-byte character whose second
// byte may look like ASCII ('A', '[', '\\'), so byte walks always step over both bytes together.

namespace vantor::base {

inline bool isGbkLead(unsigned char byte) {
    return byte >= 0x81 && byte <= 0xFE;
}

// Lower-cases ASCII letters only and leaves both bytes of every double-byte character as they are.
void lowerAsciiInPlace(std::string& text);
std::string lowerAscii(std::string_view text);

// Lower-cases the literal letters of an expression for a lower-cased page. The letter of an escape
// keeps its case (\W is not \w, \S is not \s), as does a \p{..} property name.
std::string lowerPattern(std::string_view pattern);

// An expression written in UTF-8 turned into a pattern for GBK page text: every non-ASCII character
// becomes its GBK bytes, each written as a \xHH escape so that no second byte can act as a
// metacharacter ('[', '\\', '|').
std::string gbkExpression(std::string_view utf8);

// iconv conversions. A character the target cannot hold becomes '?'.
std::string toGbk(std::string_view utf8);
std::string gbkToUtf8(std::string_view gbk);
std::string codePointToGbk(char32_t codePoint);

// The first `count` characters of GBK text (a double-byte character counts once and is never split).
std::string firstChars(std::string_view gbk, std::size_t count);

} // namespace vantor::base

// Every layer speaks this vocabulary: it is named in vantor as it stands.
namespace vantor {
using namespace base;
} // namespace vantor
