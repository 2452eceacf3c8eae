#pragma once

#include "PgServer.h"
#include "db/TDM.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace vantor::test {

// The two engines a store runs on, for suites typed over both: the data file the test names, or a
// database of the test's own on one server that the test program starts the first time it is asked.
struct OnFile {
    static db::Store store(const std::filesystem::path& file) { return db::Store(file); }
};

struct OnServer {
    static db::Store store(const std::filesystem::path&) {
        static PgServer server; // stopped and removed when the test program ends
        static int databases = 0;
        return db::Store::postgres(server.url("store" + std::to_string(++databases)));
    }
};

using BothEngines = ::testing::Types<OnFile, OnServer>;

// "File" and "Server" in the tests' names.
struct EngineNames {
    template <class Engine> static std::string GetName(int) {
        return std::is_same_v<Engine, OnFile> ? "File" : "Server";
    }
};

} // namespace vantor::test
