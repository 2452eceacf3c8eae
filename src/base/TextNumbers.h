#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vantor::base {

// Settings texts are converted strictly: a value the program cannot read back exactly is an error,
// never a silent zero.

// The text without the blanks, tabs and line ends around it.
std::string_view trimSpace(std::string_view text);

// The same text but for the letter case of ASCII letters (names of keys, columns, headers).
bool sameName(std::string_view a, std::string_view b);

// "true"/"false" (any letter case), "-1" and "0"; nothing else.
std::optional<bool> parseBool(std::string_view text);

// Decimal integer: optional leading blanks, optional sign, digits, nothing after them.
std::optional<std::int32_t> parseInt32(std::string_view text);
std::optional<std::int64_t> parseInt64(std::string_view text);

} // namespace vantor::base

// Every layer speaks this vocabulary: it is named in vantor as it stands.
namespace vantor {
using namespace base;
} // namespace vantor
