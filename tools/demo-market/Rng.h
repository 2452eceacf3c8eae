#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace vantor::demo {

// A small deterministic generator (splitmix64). The standard distributions may differ between
// library versions; this one gives the same market for the same seed everywhere.
class Rng {
public:
    explicit Rng(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }

    // Uniform in [0, n); 0 when n is 0.
    std::uint64_t below(std::uint64_t n) { return n == 0 ? 0 : next() % n; }

    // Uniform in [lo, hi], both included.
    std::int64_t range(std::int64_t lo, std::int64_t hi) {
        return lo + static_cast<std::int64_t>(below(static_cast<std::uint64_t>(hi - lo) + 1));
    }

    // Uniform in [0, 1).
    double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

    bool chance(double p) { return unit() < p; }

    template <typename T> const T& pick(const std::vector<T>& from) { return from[below(from.size())]; }

private:
    std::uint64_t state_;
};

// Mixes a seed with a label and a number, so each page or record gets a stream of its own that does
// not depend on the order in which pages are asked for.
inline std::uint64_t mixSeed(std::uint64_t seed, std::string_view label, std::uint64_t n = 0) {
    std::uint64_t h = 0xCBF29CE484222325ull ^ seed;
    for (unsigned char c : label)
        h = (h ^ c) * 0x100000001B3ull;
    Rng rng(h ^ (n * 0x9E3779B97F4A7C15ull));
    return rng.next();
}

} // namespace vantor::demo
