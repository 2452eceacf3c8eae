#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vantor::demo {

// The market writes its pages in UTF-8 and sends them in GBK, the marketplace's encoding. Throws
// std::runtime_error for a character GBK cannot hold: the market's own texts must all fit.
std::string utf8ToGbk(std::string_view utf8);

// ASCII letters in lower case, every other byte as it is (so GBK's second bytes stay untouched
// only where the text is UTF-8: callers lower-case UTF-8 texts, addresses and header names).
std::string lowerAscii(std::string text);

// Query texts arrive as GBK bytes (GB18030, its superset, decodes them all); empty when the bytes
// are no valid GB18030 text.
std::optional<std::string> gbkToUtf8(std::string_view gbk);

} // namespace vantor::demo
