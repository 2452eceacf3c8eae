#include "GbkText.h"

#include <cerrno>
#include <iconv.h>
#include <stdexcept>

namespace vantor::charts {

namespace {

// The bytes of the one character iconv could not take: its lead byte and the continuation bytes
// that belong to it. A stray byte is one character of its own.
size_t characterLength(const char* text, size_t left) {
    auto lead = static_cast<unsigned char>(text[0]);
    size_t expected = lead >= 0xF0 && lead < 0xF8   ? 4
                      : lead >= 0xE0 && lead < 0xF0 ? 3
                      : lead >= 0xC0 && lead < 0xE0 ? 2
                                                    : 1;
    size_t length = 1;
    while (length < expected && length < left && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
        ++length;
    return length;
}

class Converter {
public:
    Converter() : cd_(iconv_open("GBK", "UTF-8")) {
        if (cd_ == iconv_t(-1)) throw std::runtime_error("iconv: GBK is not available");
    }
    ~Converter() { iconv_close(cd_); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    std::string convert(std::string_view utf8) {
        iconv(cd_, nullptr, nullptr, nullptr, nullptr);
        std::string out;
        out.reserve(utf8.size());
        char* in = const_cast<char*>(utf8.data());
        size_t inLeft = utf8.size();
        char buffer[4096];
        while (inLeft > 0) {
            char* to = buffer;
            size_t toLeft = sizeof buffer;
            size_t rc = iconv(cd_, &in, &inLeft, &to, &toLeft);
            out.append(buffer, size_t(to - buffer));
            if (rc != size_t(-1)) continue;
            if (errno == E2BIG) continue;
            // EILSEQ (no GBK form, or broken UTF-8) or EINVAL (cut off at the end): skip one character.
            size_t skip = characterLength(in, inLeft);
            in += skip;
            inLeft -= skip;
            out += '?';
        }
        return out;
    }

private:
    iconv_t cd_;
};

} // namespace

std::string toGbk(std::string_view utf8) {
    thread_local Converter converter;
    return converter.convert(utf8);
}

} // namespace vantor::charts
