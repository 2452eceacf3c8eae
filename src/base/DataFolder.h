#pragma once

#include <filesystem>
#include <optional>

namespace vantor::base {

std::filesystem::path executablePath();

// Whether the program runs installed: its folder is <prefix>/bin beside <prefix>/share/vantor, a system
// location it cannot write to. A build tree or an unpacked folder is not.
bool runsInstalled();

// Where downloaded updates go: $XDG_CACHE_HOME/vantor/update (default ~/.cache/vantor/update) for an
// installed program, else "../update" beside the program's folder.
std::filesystem::path updateFolder();

// The folder that holds the settings, the database and the chart documents: "../data" beside the
// program's folder, or $XDG_DATA_HOME/vantor (default ~/.local/share/vantor) for an installed program,
// unless --data-dir or VANTOR_DATA_DIR name another.
class DataFolder {
public:
    explicit DataFolder(std::filesystem::path root) : root_(std::move(root)) {}

    // Order of precedence: the command line's folder, then VANTOR_DATA_DIR, then the program's own.
    static DataFolder locate(const std::optional<std::filesystem::path>& commandLine = std::nullopt);

    const std::filesystem::path& root() const { return root_; }
    std::filesystem::path config() const { return root_ / "config.ini"; }
    std::filesystem::path database() const { return root_ / "lmd_pin.db"; }
    std::filesystem::path temporaryDatabase() const { return root_ / "temp_lmd.db"; }
    std::filesystem::path gallery() const { return root_ / "gallery"; }

    // Raises std::filesystem::filesystem_error.
    void create() const;

private:
    std::filesystem::path root_;
};

} // namespace vantor::base

// Every layer speaks this vocabulary: it is named in vantor as it stands.
namespace vantor {
using namespace base;
} // namespace vantor
