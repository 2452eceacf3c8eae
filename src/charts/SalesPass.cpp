#include "SalesPass.h"

#include "db/SaleSums.h"
#include "db/SqlFunctions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>
#include <stdexcept>
#include <tuple>

namespace vantor::charts {
namespace {

// A sum as SQL makes it: NULL until a value is added.
struct Sum {
    double value = 0;
    bool any = false;
    void add(double v) { value += v, any = true; }
    db::Value get() const { return any ? db::Value(value) : db::Value(); }
};

// Money summed in whole cents; a term that is no whole number of cents falls back to the plain sum.
struct Money {
    std::int64_t cents = 0;
    double plain = 0;
    bool exact = true, any = false;
    void add(double v) {
        const double c = v * 100;
        const double whole = std::nearbyint(c);
        exact = exact && std::fabs(c - whole) < 1e-6;
        cents += std::int64_t(whole), plain += v, any = true;
    }
    void add(const Money& other) {
        if (!other.any) return;
        cents += other.cents, plain += other.plain, exact = exact && other.exact, any = true;
    }
    double total() const { return exact ? double(cents) / 100 : plain; }
    db::Value get() const { return any ? db::Value(total()) : db::Value(); }
    // SQL orders NULL below every number.
    bool operator<(const Money& o) const {
        if (any != o.any) return !any;
        return exact && o.exact ? cents < o.cents : total() < o.total();
    }
    bool operator==(const Money& o) const { return !(*this < o) && !(o < *this); }
};

struct Sale {
    int year, month, day, hour;
    std::optional<double> amount, quantity;
};

// What a period (a day, a week, a month) of the trend adds up.
struct Period {
    std::int64_t rows = 0;
    Sum num;
    Money total, prices;
    std::int64_t priced = 0;
    void add(const Sale& s) {
        ++rows;
        if (s.quantity) num.add(*s.quantity);
        if (s.quantity && s.amount) total.add(*s.quantity * *s.amount);
        if (s.amount) prices.add(*s.amount), ++priced;
    }
    void add(const Period& p) {
        rows += p.rows, priced += p.priced;
        if (p.num.any) num.add(p.num.value);
        total.add(p.total);
        prices.add(p.prices);
    }
    db::Value average() const { return priced ? db::Value(prices.total() / double(priced)) : db::Value(); }
};

int digits(const char* text, int count) {
    int value = 0;
    for (int i = 0; i < count; ++i) {
        if (text[i] < '0' || text[i] > '9') return -1;
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

// The date parts of a sale time; the stored form is read where its digits stand.
std::optional<Sale> saleTime(std::string_view sj) {
    if (sj.size() == 19 && sj[4] == '-' && sj[7] == '-' && sj[10] == ' ') {
        const Sale s{digits(sj.data(), 4),
                     digits(sj.data() + 5, 2),
                     digits(sj.data() + 8, 2),
                     digits(sj.data() + 11, 2),
                     {},
                     {}};
        if (s.year >= 0 && s.month >= 1 && s.day >= 1 && s.hour >= 0) return s;
    }
    const auto parsed = DateTime::parse(sj);
    if (!parsed) return std::nullopt;
    return Sale{parsed->year, parsed->month, parsed->day, parsed->hour, {}, {}};
}

std::optional<double> number(const db::Statement& st, int column) {
    if (st.isNull(column)) return std::nullopt;
    return st.real(column);
}

struct Item {
    std::string id, title;
};

// A stretch of sale times, both ends included.
struct Span {
    std::string from, to;
};

Span spanOf(const AnalysisRequest& request) {
    auto from = DateTime::parse(request.from), to = DateTime::parse(request.to);
    if (!from || !to) throw std::runtime_error("not a date: " + request.from + " / " + request.to);
    return {from->toString(), to->toString()};
}

// Every sale of the shop's items in the range, item by item, through the (itemId, sj) index.
template <class Visit> void forEachSale(db::Database& db, const AnalysisRequest& request, Visit visit) {
    const Span span = spanOf(request);
    std::vector<Item> items;
    auto list = db.prepare("select itemId,itemTitle from itemInfo where dian_id=:id and itemId is not null");
    list.bind("id", request.shopId);
    while (list.step())
        items.push_back({list.text(0), list.text(1)});
    auto sales =
        db.prepare("select sj,amount,getNum from saleInfo where itemId=:item and sj>=:sj1 and sj<=:sj2");
    for (size_t i = 0; i < items.size(); ++i) {
        sales.bind("item", items[i].id).bind("sj1", span.from).bind("sj2", span.to);
        while (sales.step()) {
            auto sale = saleTime(sales.textView(0));
            if (!sale) continue;
            sale->amount = number(sales, 1);
            sale->quantity = number(sales, 2);
            visit(items[i], *sale);
        }
        sales.reset();
    }
}

// A sale time in the stored form is grouped by its first characters: those of its hour or its day.
// Any other stands alone, marked by a '~', and is read as the file's pass reads it. (A pattern that
// checked every digit costs the server more than the rest of the grouping; the program writes no
// other times in this form.)
constexpr const char* kStoredForm = "s.sj like '____-__-__ __:__:__'";
constexpr const char* kShopSales =
    " from itemInfo i join saleInfo s on s.itemId=i.itemId where i.dian_id=:id "
    "and i.itemId is not null and s.sj>=:sj1 and s.sj<=:sj2 ";

Money moneyOf(const db::Statement& st, int count, int cents, int exact, int plain) {
    Money m;
    if (st.integer(count) == 0) return m;
    m.cents = std::int64_t(st.real(cents)), m.exact = st.isNull(exact) || st.integer(exact) != 0;
    m.plain = st.real(plain), m.any = true;
    return m;
}

// The group's sums from the terms' columns, the first at `at`; only its rows when that is all there is.
Period periodOf(const db::Statement& st, int at) {
    Period p;
    p.rows = st.integer(at);
    if (st.columnCount() == at + 1) return p;
    if (st.integer(at + 1) > 0) p.num.add(st.real(at + 2));
    p.total = moneyOf(st, at + 3, at + 4, at + 5, at + 6);
    p.prices = moneyOf(st, at + 7, at + 8, at + 9, at + 10);
    p.priced = st.integer(at + 7);
    return p;
}

// The time of a group: the start of an hour "yyyy-MM-dd hh" or a day "yyyy-MM-dd", or "~" and a time.
std::optional<Sale> groupTime(std::string_view key) {
    if (key.starts_with('~')) return saleTime(key.substr(1));
    return saleTime(std::string(key) + std::string(" 00:00:00").substr(key.size() - 10));
}

db::Statement groupedSales(db::Database& db, std::int64_t shop, const Span& span, const std::string& sql) {
    auto st = db.prepare(sql);
    st.bind("id", shop).bind("sj1", span.from).bind("sj2", span.to);
    return st;
}

// What of a span a server's sums hold whole: the days (or months) with keys from `low` up to `end`, and
// the ends of the span, summed from the sales. A stored-form time lies beyond every key it is not under
// ("2011-01-09 23:59:59" < "2011-01-10"), so a key bounds the sales before and after it. Times in no
// stored form are summed alone, so they are read from the sums wherever they lie.
struct Covered {
    std::string low, end; // both empty when no whole day (month) lies in the span
    std::vector<Span> ends;
};

DateTime nextMonth(const DateTime& d) {
    return d.month == 12 ? DateTime{d.year + 1, 1, 1} : DateTime{d.year, d.month + 1, 1};
}

// `first` is the first whole unit's start, `end` the start of the unit after the last whole one.
Covered covered(const Span& span, const DateTime& first, const DateTime& end, size_t keyLength) {
    if (!(first < end)) return {"", "", {span}};
    Covered c{first.toDateString().substr(0, keyLength), end.toDateString().substr(0, keyLength), {}};
    c.ends = {{span.from, c.low}, {c.end, span.to}};
    return c;
}

Covered coveredDays(const Span& span) {
    const DateTime from = *DateTime::parse(span.from), to = *DateTime::parse(span.to);
    DateTime first{from.year, from.month, from.day}, end{to.year, to.month, to.day};
    if (first != from) first = first.addDays(1);
    if (end.addDays(1).addSeconds(-1) == to) end = end.addDays(1);
    return covered(span, first, end, 10);
}

Covered coveredMonths(const Span& span) {
    const DateTime from = *DateTime::parse(span.from), to = *DateTime::parse(span.to);
    DateTime first{from.year, from.month, 1}, end{to.year, to.month, 1};
    if (first != from) first = nextMonth(first);
    if (nextMonth(end).addSeconds(-1) == to) end = nextMonth(end);
    return covered(span, first, end, 7);
}

// The rows of a sums table in the covered keys, and those of times in no stored form in the span.
std::string sumsInSpan(const char* key) {
    const std::string k(key);
    return "((" + k + ">=:low and " + k + "<:end and " + k + " not like '~%') or (" + k +
           " like '~%' and substr(" + k + ",2)>=:sj1 and substr(" + k + ",2)<=:sj2))";
}

db::Statement sums(db::Database& db, std::int64_t shop, const Span& span, const Covered& c,
                   const std::string& sql) {
    auto st = groupedSales(db, shop, span, sql);
    st.bind("low", c.low).bind("end", c.end);
    return st;
}

// The shop's sales in the range summed by the store, by the hour (their count only) or by the day: the
// whole days from the shop's hour sums, the ends of the range from the sales themselves.
enum class Grain { HourCount, Day };
template <class Visit>
void forEachGroup(db::Database& db, const AnalysisRequest& request, Grain grain, Visit visit) {
    const Span span = spanOf(request);
    auto visitRows = [&](db::Statement st) {
        while (st.step())
            if (auto time = groupTime(st.textView(0))) visit(*time, periodOf(st, 1));
    };
    const std::string terms = grain == Grain::Day ? db::kSaleTerms : "count(*)";
    const std::string key = grain == Grain::Day ? "10" : "13";
    db::refreshSaleSums(db, request.shopId);
    const Covered c = coveredDays(span);
    visitRows(sums(db, request.shopId, span, c,
                   std::string("select hour,") + (grain == Grain::Day ? db::kSumColumns : "sales") +
                       " from shopHourSums where dian_id=:id and " + sumsInSpan("day")));
    for (const Span& end : c.ends)
        visitRows(groupedSales(db, request.shopId, end,
                               "select left(s.sj," + key + ")," + terms + kShopSales + "and " + kStoredForm +
                                   " group by 1"));
}

// Days of the range, keyed yyyyMMdd, in order. With the hours asked for, a store that groups where the
// data is counts the days' rows only: all the time analysis reads of them.
using Days = std::map<int, Period>;

Days salesByDay(db::Database& db, const AnalysisRequest& request,
                std::array<std::int64_t, 24>* hours = nullptr) {
    Days days;
    if (db.remote()) {
        forEachGroup(db, request, hours ? Grain::HourCount : Grain::Day, [&](const Sale& s, const Period& p) {
            days[s.year * 10000 + s.month * 100 + s.day].add(p);
            if (hours && s.hour < 24) (*hours)[size_t(s.hour)] += p.rows;
        });
        return days;
    }
    Period* current = nullptr;
    int currentKey = -1;
    forEachSale(db, request, [&](const Item&, const Sale& s) {
        const int key = s.year * 10000 + s.month * 100 + s.day;
        if (key != currentKey) current = &days[key], currentKey = key;
        current->add(s);
        if (hours && s.hour < 24) ++(*hours)[size_t(s.hour)];
    });
    return days;
}

int yearOf(int key) {
    return key / 10000;
}
int monthOf(int key) {
    return key / 100 % 100;
}
int dayOf(int key) {
    return key % 100;
}

} // namespace

ChartRows salesRankingRows(db::Database& db, const AnalysisRequest& request) {
    // A group is an item id, its title and a price, as the statements group them.
    struct Group {
        std::string id, title;
        std::optional<double> amount;
        Sum num;
        Money total;
    };
    std::map<std::tuple<std::string, std::string, bool, double>, Group> groups;
    // An item's few prices are looked up in a short list; the map sees each item's groups once.
    const Item* item = nullptr;
    std::vector<Group> prices;
    auto flush = [&] {
        for (Group& g : prices) {
            Group& into = groups[{g.id, g.title, g.amount.has_value(), g.amount.value_or(0)}];
            if (into.id.empty()) into.id = g.id, into.title = g.title, into.amount = g.amount;
            if (g.num.any) into.num.add(g.num.value);
            into.total.add(g.total);
        }
        prices.clear();
    };
    if (db.remote()) {
        // Summed by the store per item, price and month, the ends of the range from the sales themselves;
        // a sale whose time is not in the stored form is summed alone, to be passed over as the file's
        // pass passes it when it is no time.
        auto visitRows = [&](db::Statement st) {
            while (st.step()) {
                if (!st.textView(3).empty() && !saleTime(st.textView(3))) continue;
                const Period p = periodOf(st, 4);
                prices.push_back(Group{st.text(0), st.text(1), number(st, 2), p.num, p.total});
            }
        };
        const Span span = spanOf(request);
        db::refreshSaleSums(db, request.shopId);
        const Covered c = coveredMonths(span);
        visitRows(
            sums(db, request.shopId, span, c,
                 std::string("select i.itemId,i.itemTitle,case when m.priced then m.price end,case when "
                             "m.month like '~%' then substr(m.month,2) else '' end,") +
                     db::kSummedSums +
                     " from itemInfo i join itemMonthSums m on m.itemId=i.itemId where i.dian_id=:id and "
                     "i.itemId is not null and " +
                     sumsInSpan("m.month") + " group by 1,2,3,4"));
        for (const Span& end : c.ends)
            visitRows(groupedSales(db, request.shopId, end,
                                   std::string("select i.itemId,i.itemTitle,s.amount,'',") + db::kSaleTerms +
                                       kShopSales + "and " + kStoredForm + " group by 1,2,3"));
    } else {
        forEachSale(db, request, [&](const Item& sold, const Sale& s) {
            if (&sold != item) flush(), item = &sold;
            auto g = std::find_if(prices.begin(), prices.end(),
                                  [&](const Group& p) { return p.amount == s.amount; });
            if (g == prices.end())
                g = prices.insert(prices.end(), Group{sold.id, sold.title, s.amount, {}, {}});
            if (s.quantity) g->num.add(*s.quantity);
            if (s.quantity && s.amount) g->total.add(*s.quantity * *s.amount);
        });
    }
    flush();
    std::vector<const Group*> order; // the groups' own order: id, title, price
    for (const auto& [key, group] : groups)
        order.push_back(&group);

    auto below = [](const Sum& a, const Sum& b) { return a.any != b.any ? !a.any : a.value < b.value; };
    auto priceBelow = [](const std::optional<double>& a, const std::optional<double>& b) {
        return a.has_value() != b.has_value() ? !a : a && *a < *b;
    };
    auto rows = [&](bool byCount) {
        std::vector<const Group*> ranked = order;
        std::stable_sort(ranked.begin(), ranked.end(), [&](const Group* a, const Group* b) {
            const bool numTie = !below(a->num, b->num) && !below(b->num, a->num);
            const bool totalTie = a->total == b->total;
            if (byCount) {
                if (!numTie) return below(b->num, a->num);
                if (!totalTie) return b->total < a->total;
            } else {
                if (!totalTie) return b->total < a->total;
                if (!numTie) return below(b->num, a->num);
            }
            return priceBelow(b->amount, a->amount);
        });
        std::vector<ValueRow> out;
        for (const Group* g : ranked)
            out.push_back({{"num", g->num.get()},
                           {"amount", g->amount ? db::Value(*g->amount) : db::Value()},
                           {"itemTitle", g->title},
                           {"totalAmount", g->total.get()}});
        return out;
    };
    return {rows(true), rows(false)};
}

ChartRows salesTimeRows(db::Database& db, const AnalysisRequest& request) {
    std::array<std::int64_t, 24> hours{};
    const Days days = salesByDay(db, request, &hours);
    std::array<std::int64_t, 8> weekdays{};
    std::array<std::int64_t, 13> months{};
    for (const auto& [key, period] : days) {
        weekdays[size_t(DateTime{yearOf(key), monthOf(key), dayOf(key)}.dayOfWeek())] += period.rows;
        months[size_t(monthOf(key))] += period.rows;
    }
    // Each in descending order of hour, weekday and month, the parts without sales left out.
    auto rows = [](const auto& counts, int first) {
        std::vector<ValueRow> out;
        for (int part = int(counts.size()) - 1; part >= first; --part)
            if (counts[size_t(part)] > 0)
                out.push_back({{"num", counts[size_t(part)]}, {"hour1", std::int64_t(part)}});
        return out;
    };
    return {rows(hours, 0), rows(weekdays, 1), rows(months, 1)};
}

ChartRows salesTrendRows(db::Database& db, const AnalysisRequest& request) {
    const Days days = salesByDay(db, request);
    std::map<std::pair<int, int>, Period> weeks, months;
    std::vector<ValueRow> dayRows;
    for (const auto& [key, period] : days) {
        const int year = yearOf(key), month = monthOf(key), day = dayOf(key);
        weeks[{year, db::weekOfYear(year, month, day)}].add(period);
        months[{year, month}].add(period);
        dayRows.push_back({{"num", period.num.get()},
                           {"totalAmount", period.total.get()},
                           {"avgAmount", period.average()},
                           {"year1", std::int64_t(year)},
                           {"month1", std::int64_t(month)},
                           {"day1", std::int64_t(day)}});
    }
    auto rows = [](const std::map<std::pair<int, int>, Period>& periods, const char* part) {
        std::vector<ValueRow> out;
        for (const auto& [key, period] : periods)
            out.push_back({{"num", period.num.get()},
                           {"totalAmount", period.total.get()},
                           {"avgAmount", period.average()},
                           {"year1", std::int64_t(key.first)},
                           {part, std::int64_t(key.second)}});
        return out;
    };
    return {dayRows, rows(weeks, "week1"), rows(months, "month1")};
}

} // namespace vantor::charts
