#include "DataFolder.h"

#include <cstdlib>

namespace vantor {
namespace fs = std::filesystem;

fs::path executablePath() {
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    return ec ? fs::path() : exe;
}

DataFolder DataFolder::locate(const std::optional<fs::path>& commandLine) {
    if (commandLine && !commandLine->empty()) return DataFolder(fs::absolute(*commandLine));
    if (const char* env = std::getenv("VANTOR_DATA_DIR"); env && *env) return DataFolder(fs::absolute(env));
    return DataFolder((executablePath().parent_path().parent_path() / "data").lexically_normal());
}

void DataFolder::create() const {
    fs::create_directories(root_);
}

} // namespace vantor
