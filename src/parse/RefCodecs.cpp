#include "RefCodecs.h"

#include "base/GbkText.h"

#include <optional>

namespace vantor::parse {
namespace {

constexpr size_t kRefLength = 8;

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The walk both decoders share. `decode` sees the eight bytes from an ampersand and returns the
// decoded piece, or nothing when they are not a complete reference.
template <class Decode> std::string decodeRefs(std::string_view text, Decode decode) {
    std::string out;
    out.reserve(text.size());
    std::string previous; // the piece produced for the position before
    for (size_t i = 0; i < text.size();) {
        if (text[i] != '&') {
            previous.assign(1, text[i]);
            out += text[i++];
            continue;
        }
        if (i + kRefLength <= text.size()) {
            if (const std::optional<std::string> piece = decode(text.substr(i, kRefLength))) {
                previous = *piece;
                out += previous;
                i += kRefLength;
                continue;
            }
        }
        out += previous;
        ++i;
    }
    return out;
}

} // namespace

std::string toHexRefs(std::string_view text) {
    static const char hex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size() * 4);
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x81 || i + 1 == text.size()) {
            out += char(byte);
            continue;
        }
        const auto second = static_cast<unsigned char>(text[++i]);
        out += "&#x";
        out += hex[byte >> 4];
        out += hex[byte & 15];
        out += hex[second >> 4];
        out += hex[second & 15];
        out += ';';
    }
    return out;
}

std::string fromHexRefs(std::string_view text) {
    return decodeRefs(text, [](std::string_view ref) -> std::optional<std::string> {
        if (ref[1] != '#' || ref[2] != 'x' || ref[7] != ';') return std::nullopt;
        int digits[4];
        for (int k = 0; k < 4; ++k)
            if ((digits[k] = hexValue(ref[3 + k])) < 0) return std::nullopt;
        return std::string{char(digits[0] * 16 + digits[1]), char(digits[2] * 16 + digits[3])};
    });
}

std::string fromDecimalRefs(std::string_view text) {
    return decodeRefs(text, [](std::string_view ref) -> std::optional<std::string> {
        if (ref[1] != '#' || ref[7] != ';') return std::nullopt;
        char32_t codePoint = 0;
        for (int k = 2; k < 7; ++k) {
            if (ref[k] < '0' || ref[k] > '9') return std::nullopt;
            codePoint = codePoint * 10 + char32_t(ref[k] - '0');
        }
        return codePointToGbk(codePoint);
    });
}

} // namespace vantor::parse
