#include "Regex.h"

#include "TParseException.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstdint>
#include <cstring>
#include <memory>

namespace vantor::parse {
namespace {

// With JIT the match limit counts backtracking steps at one start position: a well-formed row needs a
// step per repetition of a group or a lazy quantifier (tens, a few thousand at most), while a row that
// almost fits `([^<]+)*` doubles its work with every byte of the text. 10 000 steps cost well under a
// tenth of a millisecond, so even a page of near misses returns in milliseconds. The interpreter, used
// only where JIT is unavailable, counts about three steps per byte.
constexpr uint32_t kJitMatchLimit = 10'000;
constexpr uint32_t kInterpretedMatchLimit = 5'000'000;
constexpr uint32_t kDepthLimit = 100'000;
constexpr uint32_t kHeapLimitKiB = 128 * 1024;
// JIT keeps its backtracking frames on this stack instead of counting depth; a line of ~100 KB
// matched by a tempered dot fits comfortably.
constexpr size_t kJitStackStart = 32 * 1024;
constexpr size_t kJitStackMax = 8 * 1024 * 1024;

const char* const kMatchLimitMessage = "页面解析超出匹配次数限制！";
const char* const kDepthLimitMessage = "页面解析超出匹配深度限制！";

// Each thread gets its own match contexts and JIT stack; the compiled code itself is shared.
class ThreadMatchContexts {
public:
    ThreadMatchContexts()
        : jit_(pcre2_match_context_create(nullptr)),
          interpreted_(pcre2_match_context_create(nullptr)),
          stack_(pcre2_jit_stack_create(kJitStackStart, kJitStackMax, nullptr)) {
        pcre2_set_match_limit(jit_, kJitMatchLimit);
        pcre2_set_depth_limit(jit_, kDepthLimit);
        pcre2_set_heap_limit(jit_, kHeapLimitKiB);
        if (stack_) pcre2_jit_stack_assign(jit_, nullptr, stack_);
        pcre2_set_match_limit(interpreted_, kInterpretedMatchLimit);
        pcre2_set_depth_limit(interpreted_, kDepthLimit);
        pcre2_set_heap_limit(interpreted_, kHeapLimitKiB);
    }
    ~ThreadMatchContexts() {
        pcre2_match_context_free(jit_);
        pcre2_match_context_free(interpreted_);
        pcre2_jit_stack_free(stack_);
    }
    ThreadMatchContexts(const ThreadMatchContexts&) = delete;
    ThreadMatchContexts& operator=(const ThreadMatchContexts&) = delete;

    pcre2_match_context* get(bool jit) const { return jit ? jit_ : interpreted_; }

private:
    pcre2_match_context* jit_;
    pcre2_match_context* interpreted_;
    pcre2_jit_stack* stack_;
};

pcre2_match_context* matchContext(bool jit) {
    thread_local ThreadMatchContexts contexts;
    return contexts.get(jit);
}

struct MatchDataFree {
    void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
};
using MatchData = std::unique_ptr<pcre2_match_data, MatchDataFree>;

MatchData matchDataFor(const pcre2_code* code) {
    MatchData data(pcre2_match_data_create_from_pattern(code, nullptr));
    if (!data) throw std::bad_alloc();
    return data;
}

std::string pcre2Message(int code) {
    PCRE2_UCHAR buffer[256];
    if (pcre2_get_error_message(code, buffer, sizeof buffer) < 0)
        return "PCRE2 error " + std::to_string(code);
    return reinterpret_cast<const char*>(buffer);
}

bool isLimitError(int rc) {
    return rc == PCRE2_ERROR_MATCHLIMIT || rc == PCRE2_ERROR_DEPTHLIMIT || rc == PCRE2_ERROR_HEAPLIMIT ||
           rc == PCRE2_ERROR_JIT_STACKLIMIT;
}

[[noreturn]] void throwMatchError(int rc) {
    if (rc == PCRE2_ERROR_MATCHLIMIT) throw TParseException(kMatchLimitMessage);
    if (isLimitError(rc)) throw TParseException(kDepthLimitMessage);
    throw TParseException("正则表达式匹配出错：" + pcre2Message(rc));
}

PCRE2_SPTR bytes(std::string_view text) {
    // PCRE2 wants a pointer even for an empty subject.
    return reinterpret_cast<PCRE2_SPTR>(text.data() ? text.data() : "");
}

pcre2_code* compile(const std::string& pattern, uint32_t options, bool& jit) {
    int error = 0;
    PCRE2_SIZE errorOffset = 0;
    pcre2_code* code = pcre2_compile(bytes(pattern), pattern.size(), options, &error, &errorOffset, nullptr);
    if (!code)
        throw TParseException("正则表达式编译出错：" + pcre2Message(error) + "（位置 " +
                              std::to_string(errorOffset) + "）");
    jit = pcre2_jit_compile(code, PCRE2_JIT_COMPLETE) == 0;
    return code;
}

int runMatch(const pcre2_code* code, bool jit, std::string_view subject, size_t offset,
             pcre2_match_data* data) {
    return pcre2_match(code, bytes(subject), subject.size(), offset, 0, data, matchContext(jit));
}

Match toMatch(std::string_view subject, pcre2_match_data* data) {
    const uint32_t pairs = pcre2_get_ovector_count(data);
    const PCRE2_SIZE* ovector = pcre2_get_ovector_pointer(data);
    return Match(subject, std::vector<std::size_t>(ovector, ovector + 2 * pairs));
}

} // namespace

std::string_view Match::group(int n) const {
    const size_t index = 2 * size_t(n);
    if (n < 0 || index + 1 >= offsets_.size() || offsets_[index] == PCRE2_UNSET) return {};
    return subject_.substr(offsets_[index], offsets_[index + 1] - offsets_[index]);
}

Regex::Regex(std::string_view pattern) : pattern_(pattern) {
    code_ = compile(pattern_, 0, jit_);
    uint32_t captures = 0;
    pcre2_pattern_info(code_, PCRE2_INFO_CAPTURECOUNT, &captures);
    captureCount_ = int(captures);

    uint32_t firstType = 0;
    pcre2_pattern_info(code_, PCRE2_INFO_FIRSTCODETYPE, &firstType);
    if (firstType == 1) {
        uint32_t unit = 0;
        pcre2_pattern_info(code_, PCRE2_INFO_FIRSTCODEUNIT, &unit);
        firstByte_ = int(unit);
        // A caseless first letter is reported in one case only.
        if (unit >= 'a' && unit <= 'z')
            firstByteOtherCase_ = int(unit - 'a' + 'A');
        else if (unit >= 'A' && unit <= 'Z')
            firstByteOtherCase_ = int(unit - 'A' + 'a');
    } else if (firstType == 0) {
        const uint8_t* bitmap = nullptr;
        pcre2_pattern_info(code_, PCRE2_INFO_FIRSTBITMAP, &bitmap);
        if (bitmap) {
            firstBytes_.resize(256);
            for (int byte = 0; byte < 256; ++byte)
                firstBytes_[byte] = (bitmap[byte / 8] >> (byte % 8)) & 1;
        }
    }
}

Regex::~Regex() {
    pcre2_code_free(code_);
    pcre2_code_free(anchored_);
}

std::optional<Match> Regex::firstMatch(std::string_view subject) const {
    MatchData data = matchDataFor(code_);
    const int rc = runMatch(code_, jit_, subject, 0, data.get());
    if (rc == PCRE2_ERROR_NOMATCH) return std::nullopt;
    if (rc < 0) throwMatchError(rc);
    return toMatch(subject, data.get());
}

std::size_t Regex::forEachMatch(std::string_view subject,
                                const std::function<void(const Match&)>& visit) const {
    MatchData data = matchDataFor(code_);
    size_t skipped = 0;
    size_t offset = 0;
    // A limit hit aborts the whole search and does not say where the failing attempt began. From the
    // first hit on, the scan therefore tries each possible start itself, anchored: the same matches in
    // the same order, and a row past the limit is known and stepped over. Until then the engine's own
    // search is faster.
    bool byCandidate = false;
    while (offset <= subject.size()) {
        size_t at = offset;
        int rc = 0;
        if (byCandidate) {
            at = nextCandidate(subject, offset);
            if (at == std::string_view::npos) break;
            rc = runMatch(anchored(), anchoredJit_, subject, at, data.get());
        } else {
            rc = runMatch(code_, jit_, subject, offset, data.get());
            if (isLimitError(rc)) {
                byCandidate = true;
                continue;
            }
        }
        if (rc == PCRE2_ERROR_NOMATCH && byCandidate) {
            offset = at + 1;
            continue;
        }
        if (rc == PCRE2_ERROR_NOMATCH) break;
        if (isLimitError(rc)) {
            ++skipped;
            offset = at + 1;
            continue;
        }
        if (rc < 0) throwMatchError(rc);
        const Match match = toMatch(subject, data.get());
        visit(match);
        offset = match.end() > match.start() ? match.end() : match.end() + 1;
    }
    return skipped;
}

const pcre2_real_code_8* Regex::anchored() const {
    std::call_once(anchoredOnce_, [this] { anchored_ = compile(pattern_, PCRE2_ANCHORED, anchoredJit_); });
    return anchored_;
}

std::size_t Regex::nextCandidate(std::string_view subject, std::size_t from) const {
    if (from > subject.size()) return std::string_view::npos;
    if (firstByte_ >= 0 && firstByteOtherCase_ < 0) return subject.find(char(firstByte_), from);
    for (size_t at = from; at < subject.size(); ++at) {
        const int byte = static_cast<unsigned char>(subject[at]);
        if (firstByte_ >= 0 ? byte == firstByte_ || byte == firstByteOtherCase_
                            : firstBytes_.empty() || firstBytes_[byte])
            return at;
    }
    // Only an expression that may start anywhere can still match at the very end, and only empty.
    return firstByte_ < 0 && firstBytes_.empty() ? subject.size() : std::string_view::npos;
}

std::string Regex::replaceAll(std::string_view subject, std::string_view replacement) const {
    std::optional<std::string> out = substitute(subject, replacement);
    return out ? std::move(*out) : std::string(subject);
}

void Regex::replaceAllIn(std::string& text, std::string_view replacement) const {
    if (std::optional<std::string> out = substitute(text, replacement)) text = std::move(*out);
}

// Nothing when the expression does not match, so that a caller need not copy text that stays as it is.
std::optional<std::string> Regex::substitute(std::string_view subject, std::string_view replacement) const {
    MatchData data = matchDataFor(code_);
    int rc = runMatch(code_, jit_, subject, 0, data.get());
    if (rc == PCRE2_ERROR_NOMATCH) return std::nullopt;
    if (rc < 0) throwMatchError(rc);

    // The first match is reused; should the output outgrow the guess, the substitution runs again from
    // scratch with the size PCRE2 reports.
    uint32_t options = PCRE2_SUBSTITUTE_GLOBAL | PCRE2_SUBSTITUTE_OVERFLOW_LENGTH | PCRE2_SUBSTITUTE_MATCHED;
    std::string out(subject.size() + replacement.size() + 1, '\0');
    for (;;) {
        PCRE2_SIZE length = out.size();
        rc = pcre2_substitute(code_, bytes(subject), subject.size(), 0, options, data.get(),
                              matchContext(jit_), bytes(replacement), replacement.size(),
                              reinterpret_cast<PCRE2_UCHAR*>(out.data()), &length);
        if (rc == PCRE2_ERROR_NOMEMORY) {
            out.assign(length, '\0');
            options &= ~PCRE2_SUBSTITUTE_MATCHED;
            continue;
        }
        if (rc < 0) throwMatchError(rc);
        out.resize(length);
        return out;
    }
}

} // namespace vantor::parse
