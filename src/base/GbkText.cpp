#include "GbkText.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iconv.h>
#include <stdexcept>
#include <tuple>
#include <vector>

namespace vantor::base {
namespace {

char lowerAsciiLetter(char c) {
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
}

enum class Source { Utf8, Gb18030, Utf32 };

// How many source bytes to pass over after a character that cannot be converted.
size_t characterLength(Source source, const char* at, size_t left) {
    const auto lead = static_cast<unsigned char>(*at);
    size_t length = 1;
    switch (source) {
    case Source::Utf8:
        length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
        break;
    case Source::Gb18030:
        length = lead >= 0x81 ? 2 : 1;
        break;
    case Source::Utf32:
        length = 4;
        break;
    }
    return std::min(length, left);
}

// One conversion with iconv. A character the target cannot hold, or a broken sequence in the source,
// becomes '?' and the conversion goes on after it.
// Opening a converter costs far more than converting a name, and the saves convert millions of fields:
// each thread keeps the converters it has opened.
iconv_t converter(const char* to, const char* from) {
    struct Cache {
        std::vector<std::tuple<const char*, const char*, iconv_t>> open;
        ~Cache() {
            for (auto& entry : open)
                iconv_close(std::get<2>(entry));
        }
    };
    thread_local Cache cache;
    for (auto& [t, f, cd] : cache.open)
        if (std::strcmp(t, to) == 0 && std::strcmp(f, from) == 0) {
            iconv(cd, nullptr, nullptr, nullptr, nullptr); // back to the initial state
            return cd;
        }
    iconv_t cd = iconv_open(to, from);
    if (cd == iconv_t(-1))
        throw std::runtime_error(std::string("iconv cannot convert from ") + from + " to " + to);
    cache.open.emplace_back(to, from, cd);
    return cd;
}

std::string convert(const char* to, const char* from, Source source, std::string_view text) {
    // UTF-8, GBK and GB18030 agree on ASCII: pure ASCII text is its own conversion.
    if (source != Source::Utf32 &&
        std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; }))
        return std::string(text);
    iconv_t cd = converter(to, from);
    std::string out;
    out.reserve(text.size() * 2);
    char buffer[512];
    char* in = const_cast<char*>(text.data());
    size_t inLeft = text.size();
    while (inLeft > 0) {
        char* outPtr = buffer;
        size_t outLeft = sizeof buffer;
        const size_t rc = iconv(cd, &in, &inLeft, &outPtr, &outLeft);
        out.append(buffer, outPtr);
        if (rc == size_t(-1) && errno != E2BIG) {
            const size_t skip = characterLength(source, in, inLeft);
            out.push_back('?');
            in += skip;
            inLeft -= skip;
        }
    }
    return out;
}

// The GBK bytes of each character of the Basic Multilingual Plane, asked of iconv once per process:
// a large document goes through a table lookup per character rather than iconv's own loop, which is
// many times slower. One byte below 0x100, two above, 0 where GBK has no such character.
const std::vector<std::uint16_t>& gbkOfBmp() {
    static const std::vector<std::uint16_t> table = [] {
        std::vector<std::uint16_t> gbk(0x10000, 0);
        iconv_t cd = iconv_open("GBK", "UTF-8");
        if (cd == iconv_t(-1)) throw std::runtime_error("iconv cannot convert from UTF-8 to GBK");
        for (char32_t c = 0x80; c < 0x10000; ++c) {
            if (c >= 0xD800 && c <= 0xDFFF) continue;
            char utf8[3], bytes[4];
            size_t length = 0;
            if (c < 0x800) {
                utf8[length++] = char(0xC0 | (c >> 6));
            } else {
                utf8[length++] = char(0xE0 | (c >> 12));
                utf8[length++] = char(0x80 | ((c >> 6) & 0x3F));
            }
            utf8[length++] = char(0x80 | (c & 0x3F));
            char *in = utf8, *out = bytes;
            size_t inLeft = length, outLeft = sizeof bytes;
            iconv(cd, nullptr, nullptr, nullptr, nullptr);
            if (iconv(cd, &in, &inLeft, &out, &outLeft) == size_t(-1)) continue;
            const auto first = static_cast<unsigned char>(bytes[0]),
                       second = static_cast<unsigned char>(bytes[1]);
            if (out - bytes == 1) gbk[c] = first;
            if (out - bytes == 2 && first >= 0x81) gbk[c] = std::uint16_t(first << 8 | second);
        }
        iconv_close(cd);
        return gbk;
    }();
    return table;
}

bool continuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

// The character of a well-formed two or three byte sequence at `at`, and its length; 0 otherwise.
std::pair<char32_t, size_t> bmpCharacter(std::string_view text, size_t at) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[at + i]); };
    const auto lead = byte(0);
    const size_t left = text.size() - at;
    if (lead >= 0xC2 && lead <= 0xDF && left >= 2 && continuation(byte(1)))
        return {char32_t((lead & 0x1F) << 6 | (byte(1) & 0x3F)), 2};
    if (lead >= 0xE0 && lead <= 0xEF && left >= 3 && continuation(byte(1)) && continuation(byte(2))) {
        const auto c = char32_t((lead & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F));
        if (c >= 0x800 && (c < 0xD800 || c > 0xDFFF)) return {c, 3};
    }
    return {0, 0};
}

} // namespace

void lowerAsciiInPlace(std::string& text) {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    char* bytes = text.data();
    const size_t n = text.size();
    size_t i = 0;
    while (i < n) {
        // Pages are mostly ASCII markup: eight bytes without a high bit are lowered at once. Each byte
        // is below 0x80, so adding to it never carries into its neighbour.
        if (i + 8 <= n) {
            std::uint64_t word;
            std::memcpy(&word, bytes + i, 8);
            if ((word & kHighBits) == 0) {
                const std::uint64_t atLeastA = word + (0x80 - 'A') * kOnes;
                const std::uint64_t pastZ = word + (0x80 - 'Z' - 1) * kOnes;
                word |= (atLeastA & ~pastZ & kHighBits) >> 2;
                std::memcpy(bytes + i, &word, 8);
                i += 8;
                continue;
            }
        }
        if (isGbkLead(static_cast<unsigned char>(bytes[i]))) {
            i += 2;
        } else {
            bytes[i] = lowerAsciiLetter(bytes[i]);
            ++i;
        }
    }
}

std::string lowerAscii(std::string_view text) {
    std::string out(text);
    lowerAsciiInPlace(out);
    return out;
}

std::string lowerPattern(std::string_view pattern) {
    std::string out;
    out.reserve(pattern.size());
    for (size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        if (c == '\\' && i + 1 < pattern.size()) {
            const char escape = pattern[++i];
            out += c;
            out += escape;
            if ((escape == 'p' || escape == 'P') && i + 1 < pattern.size() && pattern[i + 1] == '{') {
                const size_t close = pattern.find('}', i);
                const size_t stop = close == std::string_view::npos ? pattern.size() - 1 : close;
                out.append(pattern.substr(i + 1, stop - i));
                i = stop;
            }
        } else if (isGbkLead(static_cast<unsigned char>(c)) && i + 1 < pattern.size()) {
            out += c;
            out += pattern[++i];
        } else {
            out += lowerAsciiLetter(c);
        }
    }
    return out;
}

std::string gbkExpression(std::string_view utf8) {
    static const char hex[] = "0123456789abcdef";
    const auto escape = [](std::string& out, unsigned char byte) {
        out += "\\x";
        out += hex[byte >> 4];
        out += hex[byte & 15];
    };
    const std::string bytes = toGbk(utf8);
    std::string out;
    out.reserve(bytes.size() * 2);
    for (size_t i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (isGbkLead(byte) && i + 1 < bytes.size()) {
            escape(out, byte);
            escape(out, static_cast<unsigned char>(bytes[++i]));
        } else if (byte >= 0x80) {
            escape(out, byte);
        } else {
            out += char(byte);
        }
    }
    return out;
}

std::string toGbk(std::string_view utf8) {
    const std::vector<std::uint16_t>& table = gbkOfBmp();
    std::string out;
    out.reserve(utf8.size());
    for (size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        if (lead < 0x80) {
            out.push_back(char(lead));
            ++i;
            continue;
        }
        const auto [c, length] = bmpCharacter(utf8, i);
        const std::uint16_t gbk = length ? table[c] : 0;
        if (gbk == 0) {
            // A broken sequence, a character beyond the plane or one GBK lacks, as iconv fails on them.
            out.push_back('?');
            i += characterLength(Source::Utf8, utf8.data() + i, utf8.size() - i);
            continue;
        }
        if (gbk >= 0x100) out.push_back(char(gbk >> 8));
        out.push_back(char(gbk & 0xFF));
        i += length;
    }
    return out;
}

// GB18030 is a superset of GBK, so every page byte sequence that GBK allows decodes.
std::string gbkToUtf8(std::string_view gbk) {
    return convert("UTF-8", "GB18030", Source::Gb18030, gbk);
}

std::string codePointToGbk(char32_t codePoint) {
    const char bytes[4] = {char(codePoint & 0xFF), char((codePoint >> 8) & 0xFF),
                           char((codePoint >> 16) & 0xFF), char((codePoint >> 24) & 0xFF)};
    return convert("GBK", "UTF-32LE", Source::Utf32, std::string_view(bytes, 4));
}

std::string firstChars(std::string_view gbk, std::size_t count) {
    size_t end = 0;
    for (size_t chars = 0; chars < count && end < gbk.size(); ++chars)
        end += isGbkLead(static_cast<unsigned char>(gbk[end])) && end + 1 < gbk.size() ? 2 : 1;
    return std::string(gbk.substr(0, end));
}

} // namespace vantor::base
