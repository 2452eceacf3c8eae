#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vantor::base {

// An INI file kept line by line, so that writing one key leaves every other line, comment and
// order as the user left it. Section and key names compare without regard to letter case; a
// missing key reads as the given default.
class IniFile {
public:
    // Raises std::runtime_error when an existing file cannot be read.
    static IniFile load(const std::filesystem::path& path);

    std::string read(std::string_view section, std::string_view key, std::string_view fallback) const;
    void write(std::string_view section, std::string_view key, std::string_view value);
    std::string text() const;

    // Writes beside the target and renames over it, so a failed write never leaves half a file.
    // The file is readable by its owner only: it can hold a proxy password.
    void save(const std::filesystem::path& path) const;

private:
    std::vector<std::string> lines_;
};

} // namespace vantor::base

// Every layer speaks this vocabulary: it is named in vantor as it stands.
namespace vantor {
using namespace base;
} // namespace vantor
