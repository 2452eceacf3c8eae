#include "Markup.h"

#include "Gbk.h"

#include <cstdio>

namespace vantor::demo {
namespace {

bool startsWith(std::string_view s, size_t at, std::string_view prefix) {
    return s.substr(at, prefix.size()) == prefix;
}

bool isLower(char c) {
    return c >= 'a' && c <= 'z';
}

char upper(char c) {
    return isLower(c) ? static_cast<char>(c - 'a' + 'A') : c;
}

// Length of the UTF-8 character that starts with byte c.
size_t charLength(unsigned char c) {
    return c < 0x80 ? 1 : c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : 2;
}

unsigned codePoint(std::string_view s, size_t at, size_t len) {
    const auto b = [&](size_t i) { return static_cast<unsigned char>(s[at + i]); };
    switch (len) {
    case 1:
        return b(0);
    case 2:
        return (b(0) & 0x1Fu) << 6 | (b(1) & 0x3Fu);
    case 3:
        return (b(0) & 0x0Fu) << 12 | (b(1) & 0x3Fu) << 6 | (b(2) & 0x3Fu);
    default:
        return (b(0) & 0x07u) << 18 | (b(1) & 0x3Fu) << 12 | (b(2) & 0x3Fu) << 6 | (b(3) & 0x3Fu);
    }
}

struct EntityWord {
    std::string_view plain;
    std::string_view entity;
};
// Words the program's entity table produces from an entity.
constexpr EntityWord kEntityWords[] = {{"注册", "&reg;"}, {"版权", "&copy;"}, {"商标", "&trade;"}};
constexpr std::string_view kBlankEntities[] = {"&nbsp;", "&ensp;", "&emsp;"};

} // namespace

std::string Markup::text(std::string_view plain) {
    std::string out;
    bool afterBlank = false;
    for (size_t i = 0; i < plain.size();) {
        const char c = plain[i];
        if (c == ' ') {
            out += afterBlank || rng_.chance(0.3) ? kBlankEntities[rng_.below(3)] : " ";
            afterBlank = true;
            ++i;
            continue;
        }
        afterBlank = false;
        if (c == '&') {
            out += "&amp;";
            ++i;
            continue;
        }
        if (startsWith(plain, i, "é")) {
            out += "&eacute;";
            i += std::string_view("é").size();
            continue;
        }
        bool replaced = false;
        for (const EntityWord& w : kEntityWords) {
            if (startsWith(plain, i, w.plain) && rng_.chance(0.5)) {
                out += w.entity;
                i += w.plain.size();
                replaced = true;
                break;
            }
        }
        if (replaced) continue;
        const size_t len = charLength(static_cast<unsigned char>(c));
        out.append(plain.substr(i, len));
        i += len;
    }
    return out;
}

std::string Markup::highlighted(std::string_view plain, std::string_view word, std::string_view open,
                                std::string_view close) {
    if (word.empty()) return text(plain);
    std::string out;
    size_t from = 0;
    for (size_t at = plain.find(word); at != std::string_view::npos; at = plain.find(word, from)) {
        out += text(plain.substr(from, at - from));
        out.append(open).append(text(word)).append(close);
        from = at + word.size();
    }
    return out + text(plain.substr(from));
}

std::string Markup::comment(std::string_view plain) {
    std::string out;
    const std::string_view comma = "，";
    size_t from = 0;
    for (size_t at = plain.find(comma); at != std::string_view::npos; at = plain.find(comma, from)) {
        out += text(plain.substr(from, at + comma.size() - from));
        if (rng_.chance(0.5)) out += rng_.chance(0.5) ? "<br/>" : "<BR />";
        from = at + comma.size();
    }
    return out + text(plain.substr(from));
}

std::string Markup::roughen(std::string_view html) {
    std::string out;
    out.reserve(html.size() + html.size() / 8);
    for (size_t i = 0; i < html.size();) {
        const char c = html[i];
        const bool tagStart = c == '<' && i + 1 < html.size() && (isLower(html[i + 1]) || html[i + 1] == '/');
        if (!tagStart) {
            out += c;
            // Between two tags: a line break and indentation, a run the program's clean-up deletes.
            if (c == '>' && i + 1 < html.size() && html[i + 1] == '<' && rng_.chance(0.3)) {
                out += rng_.chance(0.5) ? "\r\n" : "\n";
                out.append(static_cast<size_t>(rng_.range(1, 6)), rng_.chance(0.5) ? '\t' : ' ');
            }
            ++i;
            continue;
        }
        // A tag: its name and its attribute names, each sometimes in upper case.
        const bool upperName = rng_.chance(0.2);
        out += c;
        ++i;
        if (html[i] == '/') out += html[i++];
        while (i < html.size() && isLower(html[i]))
            out += upperName ? upper(html[i++]) : html[i++];
        char quote = 0;
        while (i < html.size() && (quote || html[i] != '>')) {
            const char d = html[i];
            if (quote) {
                if (d == quote) quote = 0;
                out += html[i++];
            } else if (d == '"' || d == '\'') {
                quote = d;
                out += html[i++];
            } else if (d == ' ' && i + 1 < html.size() && isLower(html[i + 1])) {
                out += html[i++];
                const bool upperAttr = rng_.chance(0.15);
                while (i < html.size() && (isLower(html[i]) || html[i] == ':' || html[i] == '-'))
                    out += upperAttr ? upper(html[i++]) : html[i++];
            } else {
                out += html[i++];
            }
        }
    }
    return out;
}

std::string Markup::page(std::string_view title, std::string_view body) {
    std::string html;
    html += "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0 Transitional//EN\" "
            "\"http://www.w3.org/TR/xhtml1/DTD/xhtml1-transitional.dtd\">\n";
    html += "<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=gbk\" />";
    html += "<title>" + text(title) + " - 淘宝网</title></head>\n";
    html += "<body><div id=\"page\"><div id=\"site-nav\"><p class=\"login-info\">亲，欢迎来淘宝！"
            "<a href=\"http://login.taobao.com/\">请登录</a></p><ul class=\"quick-menu\">"
            "<li><a href=\"http://www.taobao.com/\">淘宝网首页</a></li><li><a "
            "href=\"http://i.taobao.com/\">我的淘宝"
            "</a></li></ul></div>\n";
    html.append(body);
    html += "\n<div id=\"footer\"><p>&copy; 2003-2011 taobao.com 版权所有</p></div></div></body></html>\n";
    return utf8ToGbk(roughen(html));
}

std::string Markup::fragment(std::string_view body) {
    return utf8ToGbk(roughen(body));
}

std::string decimalRefs(std::string_view plain) {
    std::string out;
    for (size_t i = 0; i < plain.size();) {
        const size_t len = charLength(static_cast<unsigned char>(plain[i]));
        if (len == 1)
            out += plain[i];
        else
            out += "&#" + std::to_string(codePoint(plain, i, len)) + ";";
        i += len;
    }
    return out;
}

std::string money(double value) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f", value);
    return buf;
}

std::string attrUrl(std::string_view url) {
    std::string out;
    for (char c : url)
        out += c == '&' ? std::string("&amp;") : std::string(1, c);
    return out;
}

} // namespace vantor::demo
