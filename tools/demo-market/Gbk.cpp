#include "Gbk.h"

#include <iconv.h>

#include <cerrno>
#include <stdexcept>

namespace vantor::demo {
namespace {

// Converts the whole input or reports failure; iconv descriptors are cheap to open per call.
std::optional<std::string> convert(const char* to, const char* from, std::string_view in) {
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1))
        throw std::runtime_error(std::string("iconv cannot convert from ") + from + " to " + to);
    std::string out(in.size() * 2 + 16, '\0');
    char* inPtr = const_cast<char*>(in.data());
    size_t inLeft = in.size();
    char* outPtr = out.data();
    size_t outLeft = out.size();
    bool ok = true;
    while (inLeft > 0) {
        if (iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft) != static_cast<size_t>(-1)) continue;
        if (errno != E2BIG) {
            ok = false;
            break;
        }
        const size_t used = static_cast<size_t>(outPtr - out.data());
        out.resize(out.size() * 2);
        outPtr = out.data() + used;
        outLeft = out.size() - used;
    }
    iconv_close(cd);
    if (!ok) return std::nullopt;
    out.resize(static_cast<size_t>(outPtr - out.data()));
    return out;
}

} // namespace

std::string utf8ToGbk(std::string_view utf8) {
    auto out = convert("GBK", "UTF-8", utf8);
    if (!out)
        throw std::runtime_error("demo market text does not fit GBK: " + std::string(utf8.substr(0, 80)));
    return *out;
}

std::string lowerAscii(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

std::optional<std::string> gbkToUtf8(std::string_view gbk) {
    return convert("UTF-8", "GB18030", gbk);
}

} // namespace vantor::demo
