#include "ExpressionCache.h"

#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>

namespace vantor::parse {
namespace {

struct PatternHash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

struct Store {
    std::shared_mutex mutex;
    std::unordered_map<std::string, std::shared_ptr<const Regex>, PatternHash, std::equal_to<>> compiled;
    std::atomic<bool> caching{true};
};

Store& store() {
    static Store instance;
    return instance;
}

} // namespace

std::shared_ptr<const Regex> ExpressionCache::get(std::string_view pattern) {
    Store& s = store();
    if (!s.caching.load(std::memory_order_relaxed)) return std::make_shared<const Regex>(pattern);
    {
        std::shared_lock lock(s.mutex);
        if (auto found = s.compiled.find(pattern); found != s.compiled.end()) return found->second;
    }
    // Compiled outside the lock; when two threads race, the first entry stays and both use it.
    auto regex = std::make_shared<const Regex>(pattern);
    std::unique_lock lock(s.mutex);
    return s.compiled.try_emplace(std::string(pattern), std::move(regex)).first->second;
}

void ExpressionCache::setCaching(bool on) {
    store().caching.store(on, std::memory_order_relaxed);
}

bool ExpressionCache::caching() {
    return store().caching.load(std::memory_order_relaxed);
}

} // namespace vantor::parse
