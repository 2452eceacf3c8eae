#include "TextNumbers.h"

#include <charconv>
#include <limits>
#include <strings.h>

namespace vantor::base {

bool sameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string_view trimSpace(std::string_view text) {
    auto space = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && space(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && space(text.back()))
        text.remove_suffix(1);
    return text;
}

std::optional<bool> parseBool(std::string_view text) {
    auto equalsNoCase = [&](std::string_view word) {
        if (text.size() != word.size()) return false;
        for (size_t i = 0; i < text.size(); ++i) {
            char c = text[i];
            if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
            if (c != word[i]) return false;
        }
        return true;
    };
    if (equalsNoCase("true") || text == "-1") return true;
    if (equalsNoCase("false") || text == "0") return false;
    return std::nullopt;
}

std::optional<std::int64_t> parseInt64(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (text.empty() || text.front() == '-') return std::nullopt;
    }
    std::int64_t value = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<std::int32_t> parseInt32(std::string_view text) {
    auto wide = parseInt64(text);
    if (!wide || *wide < std::numeric_limits<std::int32_t>::min() ||
        *wide > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    return std::int32_t(*wide);
}

} // namespace vantor::base
