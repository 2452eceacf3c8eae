#pragma once

#include "Regex.h"

#include <memory>
#include <string_view>

namespace vantor::parse {

// The one place expressions are compiled: each pattern is compiled (and JIT-compiled) once per
// process and shared by every thread that parses.
class ExpressionCache {
public:
    static std::shared_ptr<const Regex> get(std::string_view pattern);

    // Off: every call compiles afresh, as a parser without the cache would. Only for measuring what
    // the cache saves.
    static void setCaching(bool on);
    static bool caching();
};

} // namespace vantor::parse
