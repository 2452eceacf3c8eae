#include "WireAddress.h"

namespace vantor {

std::string wireAddress(std::string_view address) {
    static const char* hex = "0123456789ABCDEF";
    std::string out;
    out.reserve(address.size());
    for (unsigned char c : address) {
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

} // namespace vantor
