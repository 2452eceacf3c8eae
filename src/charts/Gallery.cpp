#include "Gallery.h"

namespace vantor::charts {
namespace fs = std::filesystem;

Gallery::Gallery(const DataFolder& data, fs::path pageSource)
    : folder_(data.gallery()),
      otherSpelling_(folder_.parent_path() / "Gallery"),
      pageSource_(std::move(pageSource)) {}

fs::path Gallery::programPages() {
    const fs::path share = executablePath().parent_path().parent_path() / "share";
    return (runsInstalled() ? share / "vantor" / "gallery" : share / "gallery").lexically_normal();
}

void Gallery::prepare() const {
    fs::create_directories(folder_);
    // A case-insensitive file system already has the other spelling; elsewhere it is a relative link,
    // so the data folder can move as a whole.
    if (!fs::exists(fs::symlink_status(otherSpelling_)))
        fs::create_directory_symlink(folder_.filename(), otherSpelling_);

    std::error_code noPages; // a build without pages still writes the documents
    for (const auto& entry : fs::directory_iterator(pageSource_, noPages)) {
        if (!entry.is_regular_file()) continue;
        fs::path target = folder_ / entry.path().filename();
        if (fs::exists(target) && fs::last_write_time(target) >= entry.last_write_time()) continue;
        fs::copy_file(entry.path(), target, fs::copy_options::overwrite_existing);
    }
}

} // namespace vantor::charts
