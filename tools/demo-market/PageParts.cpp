#include "PageParts.h"

namespace vantor::demo {

std::string imageLink(const std::string& href, const std::string& image, const std::string& text) {
    const std::string src = image.rfind("http://", 0) == 0 ? image : "http://pics.taobao.com/" + image;
    return "<a href=\"" + href + "\" target=\"_blank\"><img src=\"" + src + "\" alt=\"\" />" + text + "</a>";
}

std::string rankImage(int level) {
    static const char* kinds[] = {"red", "blue", "cap", "crown"};
    const int kind = level <= 0 ? 0 : (level - 1) / 5;
    return "http://pics.taobao.com/newrank/s_" + std::string(kinds[kind < 4 ? kind : 3]) + "_" +
           std::to_string(level <= 0 ? 0 : (level - 1) % 5 + 1) + ".gif";
}

std::string itemImage(const Item& item) {
    return "http://img.taobao.com/bao/uploaded/" + item.id + "_80x80.jpg";
}

std::string pager(const std::string& prefix, int offset, int pageSize, size_t total) {
    const int pages =
        static_cast<int>((total + static_cast<size_t>(pageSize) - 1) / static_cast<size_t>(pageSize));
    const int current = offset / pageSize;
    std::string out = "<div class=\"page-nav\">";
    if (current > 0)
        out += "<a href=\"" + prefix + std::to_string((current - 1) * pageSize) +
               "\" class=\"page-prev\">上一页</a>";
    for (int p = 0; p < pages && p < 100; ++p)
        out += p == current ? "<span class=\"page-cur\">" + std::to_string(p + 1) + "</span>"
                            : "<a href=\"" + prefix + std::to_string(p * pageSize) + "\">" +
                                  std::to_string(p + 1) + "</a>";
    if (current + 1 < pages)
        out += "<a href=\"" + prefix + std::to_string((current + 1) * pageSize) +
               "\" class=\"page-next\">下一页</a>";
    return out + "</div>\n";
}

} // namespace vantor::demo
