#include "WireAddress.h"

#include "base/GbkText.h"

#include <algorithm>

namespace vantor::download {

std::string wireAddress(std::string_view address) {
    static const char* hex = "0123456789ABCDEF";
    std::string out;
    out.reserve(address.size());
    const bool ascii = std::all_of(address.begin(), address.end(), [](char c) { return (c & 0x80) == 0; });
    for (unsigned char c : ascii ? std::string(address) : toGbk(address)) {
        if (c <= 0x20 || c >= 0x7F || c == '"' || c == '<' || c == '>' || c == '\\' || c == '^' || c == '`' ||
            c == '{' || c == '|' || c == '}') {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        } else {
            out += char(c);
        }
    }
    return out;
}

} // namespace vantor::download
