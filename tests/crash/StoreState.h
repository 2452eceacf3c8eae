#pragma once

#include "db/Database.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace vantor::test {

// What a store holds, by the units its writers keep whole: "shop <nick>" (the shop's row, its items,
// their sales, its ratings), "ranking <category> <yyyy-MM>" (a category's snapshot of a month), "sales
// run" (the resume record) and "orphans" (rows whose shop or item is missing, never in a sound store).
// Row ids and the moments of saves are left out: two stores that gathered the same compare equal, on
// either engine.
using StoreState = std::map<std::string, std::string>;

namespace detail {

// Each row of the query as "column=value|…" without the columns named (lower case, as a server names
// them), handed over with the statement so the caller can read its keys.
inline void eachRow(db::Database& db, const std::string& sql, const std::set<std::string>& without,
                    const std::function<void(db::Statement&, const std::string&)>& take) {
    auto rows = db.prepare(sql);
    while (rows.step()) {
        std::string text;
        for (int c = 0; c < rows.columnCount(); ++c) {
            std::string name = rows.columnName(c);
            std::transform(name.begin(), name.end(), name.begin(),
                           [](unsigned char ch) { return std::tolower(ch); });
            if (without.count(name)) continue;
            text += name + "=" + (rows.isNull(c) ? std::string("<null>") : rows.text(c)) + "|";
        }
        take(rows, text);
    }
}

inline std::string column(db::Statement& row, const char* name) {
    return row.text(*row.columnIndex(name));
}

inline bool hasTables(db::Database& db) {
    try {
        db.prepare("select count(*) from dianbase").step();
        return true;
    } catch (const db::DbError&) {
        return false; // a store the program never opened
    }
}

} // namespace detail

inline StoreState storeState(db::Database& db) {
    using detail::column;
    StoreState state;
    if (!detail::hasTables(db)) return state;
    std::map<std::string, std::vector<std::string>> units;
    std::map<std::string, std::string> unitOfShopId, unitOfItem;
    auto owner = [](const std::map<std::string, std::string>& units, const std::string& key) {
        auto at = units.find(key);
        return at == units.end() ? std::string("orphans") : at->second;
    };
    detail::eachRow(db, "select * from dianbase", {"id", "updatedate"}, [&](db::Statement& row, auto& text) {
        const std::string unit = "shop " + column(row, "dianzhu");
        unitOfShopId[column(row, "id")] = unit;
        units[unit].push_back("dianbase " + text);
    });
    detail::eachRow(db, "select * from itemInfo", {"id", "dian_id", "updatedate"},
                    [&](db::Statement& row, auto& text) {
                        const std::string unit = owner(unitOfShopId, column(row, "dian_id"));
                        unitOfItem[column(row, "itemId")] = unit;
                        units[unit].push_back("itemInfo " + text);
                    });
    detail::eachRow(db, "select * from saleInfo", {"id"}, [&](db::Statement& row, auto& text) {
        units[owner(unitOfItem, column(row, "itemId"))].push_back("saleInfo " + text);
    });
    detail::eachRow(db, "select * from pjinfo", {"id", "dian_id"}, [&](db::Statement& row, auto& text) {
        units[owner(unitOfShopId, column(row, "dian_id"))].push_back("pjinfo " + text);
    });
    detail::eachRow(db, "select * from pjNoEffect", {"dian_id"}, [&](db::Statement& row, auto& text) {
        units[owner(unitOfShopId, column(row, "dian_id"))].push_back("pjNoEffect " + text);
    });
    // A snapshot's order is its ranking: each row carries its place within the snapshot.
    std::map<std::string, int> places;
    detail::eachRow(db, "select * from itemTop order by id", {"id", "updatedate"},
                    [&](db::Statement& row, auto& text) {
                        const std::string unit =
                            "ranking " + column(row, "typeId") + " " + column(row, "updateDate").substr(0, 7);
                        const std::string place = std::to_string(1000 + ++places[unit]);
                        units[unit].push_back("itemTop " + place + " " + text);
                    });
    detail::eachRow(db, "select * from salesRun", {},
                    [&](db::Statement&, auto& text) { units["sales run"].push_back(text); });
    for (auto& [unit, lines] : units) {
        std::sort(lines.begin(), lines.end());
        std::string& joined = state[unit];
        for (const std::string& line : lines)
            joined += line + "\n";
    }
    return state;
}

// The state of a data folder's file; a file not there holds nothing.
inline StoreState fileState(const std::filesystem::path& file) {
    if (!std::filesystem::exists(file)) return {};
    db::Database db(file, db::Database::Mode::OpenExisting);
    return storeState(db);
}

inline StoreState serverState(const std::string& url) {
    db::Database db = db::Database::connect(url);
    return storeState(db);
}

inline std::string integrityCheck(const std::filesystem::path& file) {
    db::Database db(file, db::Database::Mode::OpenExisting);
    auto check = db.prepare("PRAGMA integrity_check");
    std::string result;
    while (check.step())
        result += (result.empty() ? "" : "; ") + check.text(0);
    return result;
}

// How got differs from want, unit by unit with the first line that differs; empty when they are equal.
inline std::string stateDifferences(const StoreState& got, const StoreState& want) {
    std::string text;
    for (const auto& [unit, rows] : want)
        if (!got.count(unit)) text += "missing: " + unit + "\n";
    for (const auto& [unit, rows] : got) {
        auto wanted = want.find(unit);
        if (wanted == want.end()) {
            text += "unexpected: " + unit + " (" + rows.substr(0, rows.find('\n')) + ")\n";
            continue;
        }
        if (wanted->second == rows) continue;
        auto differ = std::mismatch(rows.begin(), rows.end(), wanted->second.begin(), wanted->second.end());
        auto lineAt = [](const std::string& all, std::string::const_iterator at) -> std::string {
            const size_t i = size_t(at - all.begin());
            const size_t newline = i == 0 ? std::string::npos : all.rfind('\n', i - 1);
            const size_t from = newline == std::string::npos ? 0 : newline + 1;
            if (from >= all.size()) return "(no more rows)";
            return all.substr(from, all.find('\n', from) - from);
        };
        text += "differs: " + unit + "\n  got:  " + lineAt(rows, differ.first) +
                "\n  want: " + lineAt(wanted->second, differ.second) + "\n";
    }
    return text;
}

// For EXPECT_TRUE: the differences as the failure's text.
inline ::testing::AssertionResult sameState(const StoreState& got, const StoreState& want) {
    const std::string differences = stateDifferences(got, want);
    if (differences.empty()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << differences;
}

} // namespace vantor::test
