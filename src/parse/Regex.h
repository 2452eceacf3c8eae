#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct pcre2_real_code_8;

namespace vantor::parse {

// One successful match: group texts are views into the subject, which must outlive the match.
class Match {
public:
    Match(std::string_view subject, std::vector<std::size_t> offsets)
        : subject_(subject), offsets_(std::move(offsets)) {}

    // The text of group n; empty when the group took no part in the match or does not exist.
    std::string_view group(int n) const;
    std::string text(int n) const { return std::string(group(n)); }
    std::size_t start() const { return offsets_[0]; }
    std::size_t end() const { return offsets_[1]; }

private:
    std::string_view subject_;
    std::vector<std::size_t> offsets_; // start and end of group 0, 1, …
};

// A compiled expression over bytes (8-bit, no UTF mode), JIT-compiled when the platform allows.
// Matching is const and may run on several threads at once. Every match runs under a match limit and
// a depth limit: some of the marketplace expressions nest quantifiers, and a row that almost fits
// would otherwise backtrack for minutes. A single match past a limit raises TParseException; a scan
// steps over the row instead.
class Regex {
public:
    explicit Regex(std::string_view pattern); // TParseException when the pattern does not compile
    ~Regex();
    Regex(const Regex&) = delete;
    Regex& operator=(const Regex&) = delete;

    const std::string& pattern() const { return pattern_; }
    int captureCount() const { return captureCount_; }
    bool jitCompiled() const { return jit_; }

    std::optional<Match> firstMatch(std::string_view subject) const;

    // Every non-overlapping match, left to right. A row that goes past the limits is skipped and the
    // scan resumes just after where that row starts, so one bad row costs only itself. Returns the
    // number of rows skipped.
    std::size_t forEachMatch(std::string_view subject, const std::function<void(const Match&)>& visit) const;

    // Every match replaced, through PCRE2's substitution (only '$' is special in the replacement).
    std::string replaceAll(std::string_view subject, std::string_view replacement) const;
    // The same on text held by the caller; text without a match is neither copied nor touched.
    void replaceAllIn(std::string& text, std::string_view replacement) const;

private:
    const pcre2_real_code_8* anchored() const;
    std::size_t nextCandidate(std::string_view subject, std::size_t from) const;
    std::optional<std::string> substitute(std::string_view subject, std::string_view replacement) const;

    std::string pattern_;
    pcre2_real_code_8* code_ = nullptr;
    int captureCount_ = 0;
    bool jit_ = false;
    // Where a match can begin: one known byte (both cases for a letter), a set of bytes, or anywhere.
    int firstByte_ = -1;
    int firstByteOtherCase_ = -1;
    std::vector<bool> firstBytes_;
    // The same expression anchored, compiled the first time a scan must step over a row.
    mutable std::once_flag anchoredOnce_;
    mutable pcre2_real_code_8* anchored_ = nullptr;
    mutable bool anchoredJit_ = false;
};

} // namespace vantor::parse
