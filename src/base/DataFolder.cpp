#include "DataFolder.h"

#include <cstdlib>

namespace vantor::base {
namespace fs = std::filesystem;

fs::path executablePath() {
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    return ec ? fs::path() : exe;
}

namespace {

fs::path programRoot() {
    return executablePath().parent_path().parent_path();
}

// An XDG base folder: the variable when it names an absolute path, else the default under $HOME.
fs::path xdgFolder(const char* variable, const char* underHome) {
    if (const char* value = std::getenv(variable); value && *value == '/') return value;
    const char* home = std::getenv("HOME");
    return fs::path(home && *home ? home : "/tmp") / underHome;
}

} // namespace

bool runsInstalled() {
    std::error_code ec;
    return fs::is_directory(programRoot() / "share" / "vantor", ec);
}

fs::path updateFolder() {
    if (runsInstalled()) return xdgFolder("XDG_CACHE_HOME", ".cache") / "vantor" / "update";
    return (programRoot() / "update").lexically_normal();
}

DataFolder DataFolder::locate(const std::optional<fs::path>& commandLine) {
    if (commandLine && !commandLine->empty()) return DataFolder(fs::absolute(*commandLine));
    if (const char* env = std::getenv("VANTOR_DATA_DIR"); env && *env) return DataFolder(fs::absolute(env));
    if (runsInstalled()) return DataFolder(xdgFolder("XDG_DATA_HOME", ".local/share") / "vantor");
    return DataFolder((programRoot() / "data").lexically_normal());
}

void DataFolder::create() const {
    fs::create_directories(root_);
}

} // namespace vantor::base
