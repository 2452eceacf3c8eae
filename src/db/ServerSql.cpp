#include "ServerSql.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <strings.h>

namespace vantor::db {
namespace {

// A table made by a subquery in FROM must have a name on this server; SQLite's statements may leave it
// out. Each unnamed one is given one.
std::string namedDerivedTables(std::string sql) {
    auto lower = [](char c) { return char(std::tolower((unsigned char)c)); };
    auto wordAt = [&](size_t at, std::string_view word) {
        if (at + word.size() > sql.size()) return false;
        for (size_t k = 0; k < word.size(); ++k)
            if (lower(sql[at + k]) != word[k]) return false;
        return at + word.size() == sql.size() || !std::isalnum((unsigned char)sql[at + word.size()]);
    };
    static constexpr std::string_view kFollowers[] = {"where", "group", "order", "limit",  "union", "join",
                                                      "left",  "inner", "cross", "having", "offset"};
    int named = 0;
    for (size_t i = 0; i < sql.size(); ++i) {
        if (sql[i] == '\'' || sql[i] == '"') {
            const size_t end = sql.find(sql[i], i + 1);
            if (end == std::string::npos) break;
            i = end;
            continue;
        }
        if (!wordAt(i, "from") || (i > 0 && (std::isalnum((unsigned char)sql[i - 1]) || sql[i - 1] == '_')))
            continue;
        size_t open = i + 4;
        while (open < sql.size() && std::isspace((unsigned char)sql[open]))
            ++open;
        if (open >= sql.size() || sql[open] != '(') continue;
        size_t inner = open + 1; // a subquery, not a parenthesized expression as in extract(year from (…))
        while (inner < sql.size() && std::isspace((unsigned char)sql[inner]))
            ++inner;
        if (!wordAt(inner, "select") && !wordAt(inner, "values")) continue;
        size_t close = open;
        for (int depth = 0; close < sql.size(); ++close) {
            if (sql[close] == '\'' || sql[close] == '"')
                close = std::min(sql.find(sql[close], close + 1), sql.size() - 1);
            else if (sql[close] == '(')
                ++depth;
            else if (sql[close] == ')' && --depth == 0)
                break;
        }
        if (close >= sql.size()) break;
        size_t next = close + 1;
        while (next < sql.size() && std::isspace((unsigned char)sql[next]))
            ++next;
        const bool unnamed = next == sql.size() || !std::isalpha((unsigned char)sql[next]) ||
                             std::any_of(std::begin(kFollowers), std::end(kFollowers),
                                         [&](std::string_view w) { return wordAt(next, w); });
        if (unnamed) sql.insert(close + 1, " as vantor_derived" + std::to_string(++named));
    }
    return sql;
}

// ":name" parameters as "$n", the same name the same number; names kept in lower case. Quoted texts and
// "::" casts are left alone. SQLite's "insert or ignore" becomes "on conflict do nothing".
std::string numberedParameters(std::string_view sql, std::vector<std::string>& names) {
    std::string out;
    bool ignoreConflicts = false;
    std::string_view head = sql.substr(0, 20);
    if (head.size() >= 16 && strncasecmp(head.data(), "insert or ignore", 16) == 0) {
        sql.remove_prefix(16);
        out = "insert";
        ignoreConflicts = true;
    }
    for (size_t i = 0; i < sql.size(); ++i) {
        char c = sql[i];
        if (c == '\'' || c == '"') {
            size_t end = sql.find(c, i + 1);
            if (end == std::string_view::npos) end = sql.size() - 1;
            out.append(sql.substr(i, end - i + 1));
            i = end;
        } else if (c == ':' && i + 1 < sql.size() &&
                   (std::isalpha((unsigned char)sql[i + 1]) || sql[i + 1] == '_') &&
                   (i == 0 || sql[i - 1] != ':')) {
            size_t end = i + 1;
            while (end < sql.size() && (std::isalnum((unsigned char)sql[end]) || sql[end] == '_'))
                ++end;
            std::string name(sql.substr(i + 1, end - i - 1));
            for (char& ch : name)
                ch = char(std::tolower((unsigned char)ch));
            size_t index = 0;
            while (index < names.size() && names[index] != name)
                ++index;
            if (index == names.size()) names.push_back(name);
            out += '$';
            out += std::to_string(index + 1);
            i = end - 1;
        } else {
            out += c;
        }
    }
    if (ignoreConflicts) out += " on conflict do nothing";
    return out;
}

} // namespace

std::string serverStatement(std::string_view sql, std::vector<std::string>& names) {
    return numberedParameters(namedDerivedTables(std::string(sql)), names);
}

} // namespace vantor::db
