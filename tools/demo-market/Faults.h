#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vantor::demo {

// A fault the market injects into the answers to matching requests.
struct FaultRule {
    enum class Kind {
        Error,    // answer with `status` (default 503) instead of the page
        Drop,     // close the connection without answering
        Delay,    // wait `delay`, then answer as usual
        Truncate, // send the headers and half the body, then close the connection
    };
    Kind kind = Kind::Error;
    int status = 503;
    std::chrono::milliseconds delay{0}; // also applied before an error, a drop or a truncation
    std::string match;                  // part of the request's address; empty: every request
    int every = 1;                      // fires on every n-th matching request (1: on all)
    int count = 0;                      // fires at most this often; 0: without end
    int retryAfter = -1;                // with an error: the seconds its Retry-After asks for; -1: none
};

// Parses "kind=error&status=429&retry-after=2&match=item.htm&every=2&count=3&ms=200", the form of both the
// command-line option and the control address. Throws std::invalid_argument on a bad spec.
FaultRule parseFaultRule(const std::string& spec);

// The rules in force; thread-safe, since every connection asks.
class FaultPlan {
public:
    static constexpr std::chrono::milliseconds kLongestDelay{60000};

    void add(const FaultRule& rule);
    void clear();
    // The rule that fires for this request, if any (the first that does, in the order added);
    // counts the request against every matching rule.
    std::optional<FaultRule> fire(const std::string& url);
    // How often faults fired.
    int fired() const;

private:
    struct Entry {
        FaultRule rule;
        int seen = 0;
        int fired = 0;
    };
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
    int fired_ = 0;
};

} // namespace vantor::demo
