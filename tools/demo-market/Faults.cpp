#include "Faults.h"

#include "Http.h"

#include <stdexcept>

namespace vantor::demo {
namespace {

int number(const std::string& key, const std::string& value, int lo, int hi) {
    size_t used = 0;
    int n = 0;
    try {
        n = std::stoi(value, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used == 0 || used != value.size() || n < lo || n > hi)
        throw std::invalid_argument("fault option " + key + " wants a number from " + std::to_string(lo) +
                                    " to " + std::to_string(hi) + ", not \"" + value + "\"");
    return n;
}

} // namespace

FaultRule parseFaultRule(const std::string& spec) {
    FaultRule rule;
    bool kindSeen = false;
    for (const auto& [key, value] : parseQuery(spec)) {
        if (key == "kind") {
            kindSeen = true;
            if (value == "error")
                rule.kind = FaultRule::Kind::Error;
            else if (value == "drop")
                rule.kind = FaultRule::Kind::Drop;
            else if (value == "delay")
                rule.kind = FaultRule::Kind::Delay;
            else if (value == "truncate")
                rule.kind = FaultRule::Kind::Truncate;
            else
                throw std::invalid_argument("unknown fault kind \"" + value +
                                            "\" (error, drop, delay, truncate)");
        } else if (key == "status") {
            rule.status = number(key, value, 100, 599);
        } else if (key == "ms") {
            rule.delay = std::chrono::milliseconds(
                number(key, value, 0, static_cast<int>(FaultPlan::kLongestDelay.count())));
        } else if (key == "match") {
            rule.match = value;
        } else if (key == "every") {
            rule.every = number(key, value, 1, 1000000);
        } else if (key == "count") {
            rule.count = number(key, value, 0, 1000000000);
        } else if (key == "retry-after") {
            rule.retryAfter = number(key, value, 0, 86400);
        } else {
            throw std::invalid_argument("unknown fault option \"" + key +
                                        "\" (kind, status, ms, match, every, count, retry-after)");
        }
    }
    if (!kindSeen) throw std::invalid_argument("a fault needs kind=error|drop|delay|truncate");
    return rule;
}

void FaultPlan::add(const FaultRule& rule) {
    std::lock_guard lock(mutex_);
    entries_.push_back({rule});
}

void FaultPlan::clear() {
    std::lock_guard lock(mutex_);
    entries_.clear();
}

std::optional<FaultRule> FaultPlan::fire(const std::string& url) {
    std::lock_guard lock(mutex_);
    std::optional<FaultRule> firing;
    for (Entry& e : entries_) {
        if (!e.rule.match.empty() && url.find(e.rule.match) == std::string::npos) continue;
        ++e.seen;
        const bool due = e.seen % e.rule.every == 0 && (e.rule.count == 0 || e.fired < e.rule.count);
        if (due && !firing) {
            ++e.fired;
            ++fired_;
            firing = e.rule;
        }
    }
    return firing;
}

int FaultPlan::fired() const {
    std::lock_guard lock(mutex_);
    return fired_;
}

} // namespace vantor::demo
