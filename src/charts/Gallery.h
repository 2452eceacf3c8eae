#pragma once

#include "base/DataFolder.h"

#include <filesystem>
#include <string_view>

namespace vantor::charts {

// The chart folder of a data folder: the analyses write their documents into "gallery", the viewer
// opens the pages under the spelling "Gallery". On a case-sensitive file system a link makes both
// names reach one folder.
class Gallery {
public:
    // pageSource holds the chart pages and the chart library that ship with the program.
    explicit Gallery(const DataFolder& data, std::filesystem::path pageSource = programPages());

    // <program folder>/../share/gallery, where the build puts the pages; share/vantor/gallery installed.
    static std::filesystem::path programPages();

    const std::filesystem::path& folder() const { return folder_; }
    std::filesystem::path document(std::string_view name) const { return folder_ / name; }
    std::filesystem::path page(std::string_view name) const { return otherSpelling_ / name; }

    // Creates the folder and the other spelling, and brings the pages in when they are missing or
    // older than the program's. Raises std::filesystem::filesystem_error.
    void prepare() const;

private:
    std::filesystem::path folder_;
    std::filesystem::path otherSpelling_;
    std::filesystem::path pageSource_;
};

} // namespace vantor::charts
