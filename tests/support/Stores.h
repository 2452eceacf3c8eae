#pragma once

#include "PgServer.h"
#include "db/TDM.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace vantor::test {

// The two engines a store runs on, for suites run on both.
enum class Engine { File, Server };

// The data file the test names, or a database of the test's own on one server that the test program
// starts the first time it is asked for one.
inline db::Store storeOn(Engine engine, const std::filesystem::path& file) {
    if (engine == Engine::File) return db::Store(file);
    static PgServer server; // stopped and removed when the test program ends
    static int databases = 0;
    return db::Store::postgres(server.url("store" + std::to_string(++databases)));
}

// For INSTANTIATE_TEST_SUITE_P(BothEngines, Suite, kBothEngines, engineName): "File" and "Server" in
// the tests' names.
inline const auto kBothEngines = ::testing::Values(Engine::File, Engine::Server);
inline std::string engineName(const ::testing::TestParamInfo<Engine>& info) {
    return info.param == Engine::File ? "File" : "Server";
}

} // namespace vantor::test
