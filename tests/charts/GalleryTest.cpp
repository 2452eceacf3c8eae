#include "charts/Gallery.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace vantor;
using vantor::test::readFile;
using vantor::test::TempDir;
using vantor::test::writeFile;
namespace fs = std::filesystem;

TEST(Gallery, BothSpellingsReachOneFolderWithThePages) {
    TempDir dir;
    fs::create_directories(dir / "pages");
    writeFile(dir / "pages" / "saleAnalyse.html", "<p>page</p>");
    writeFile(dir / "pages" / "chart.js", "draw();");
    charts::Gallery gallery(DataFolder(dir / "data"), dir / "pages");

    gallery.prepare();
    EXPECT_EQ(gallery.folder(), dir / "data" / "gallery");
    EXPECT_EQ(readFile(dir / "data" / "gallery" / "saleAnalyse.html"), "<p>page</p>");
    writeFile(gallery.document("saleLine2d.xml"), "doc");
    EXPECT_EQ(readFile(dir / "data" / "Gallery" / "saleLine2d.xml"), "doc");
    EXPECT_EQ(gallery.page("saleAnalyse.html"), dir / "data" / "Gallery" / "saleAnalyse.html");
    EXPECT_EQ(readFile(gallery.page("chart.js")), "draw();");

    // Preparing again keeps everything, the documents included.
    gallery.prepare();
    EXPECT_EQ(readFile(gallery.document("saleLine2d.xml")), "doc");
    EXPECT_EQ(readFile(gallery.page("saleAnalyse.html")), "<p>page</p>");
}

TEST(Gallery, ANewerPageOfTheProgramReplacesTheOldCopy) {
    TempDir dir;
    fs::create_directories(dir / "pages");
    writeFile(dir / "pages" / "chart.js", "old();");
    charts::Gallery gallery(DataFolder(dir / "data"), dir / "pages");
    gallery.prepare();

    writeFile(dir / "pages" / "chart.js", "new();");
    fs::last_write_time(dir / "pages" / "chart.js",
                        fs::last_write_time(gallery.document("chart.js")) + std::chrono::seconds(5));
    gallery.prepare();
    EXPECT_EQ(readFile(gallery.document("chart.js")), "new();");
}

TEST(Gallery, TheBuildPutsThePagesWhereTheProgramLooks) {
    fs::path pages = charts::Gallery::programPages();
    for (const char* page : {"saleAnalyse.html", "saleTimeArea.html", "saleCarrent.html", "chart.js"})
        EXPECT_TRUE(fs::is_regular_file(pages / page)) << (pages / page);
}
