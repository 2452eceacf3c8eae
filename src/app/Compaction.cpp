#include "Compaction.h"

#include "base/TextNumbers.h"
#include "db/Database.h"

#include <fcntl.h>
#include <unistd.h>

namespace vantor::app {
namespace fs = std::filesystem;

bool compactionDue(const std::string& optimize, const std::string& lastTimeOpt, const DateTime& now) {
    auto last = DateTime::parse(lastTimeOpt);
    if (!last) return true;
    std::int64_t elapsed = now.serialSeconds() - last->serialSeconds();
    std::int64_t days = elapsed >= 0 ? elapsed / 86400 : -((-elapsed + 86399) / 86400);
    switch (parseInt32(optimize).value_or(-1)) {
    case 0:
        return days >= 1;
    case 1:
        return days >= 7;
    case 2:
        return days >= 30;
    default:
        return false;
    }
}

namespace {

void syncPath(const fs::path& path, int flags) {
    int fd = ::open(path.c_str(), flags | O_CLOEXEC);
    if (fd < 0) throw CompactionError("无法打开 " + path.string());
    bool ok = ::fsync(fd) == 0;
    ::close(fd);
    if (!ok) throw CompactionError("无法写入磁盘：" + path.string());
}

// Removes a copy this run left behind, never something else of that name.
void removeCopy(const fs::path& temporary) {
    std::error_code ec;
    if (fs::is_regular_file(fs::symlink_status(temporary, ec))) fs::remove(temporary, ec);
}

fs::path withSuffix(const fs::path& file, const char* suffix) {
    fs::path p = file;
    p += suffix;
    return p;
}

} // namespace

std::string compactDatabase(const fs::path& database, const fs::path& temporary, const DateTime& now) {
    std::error_code ec;
    if (!fs::exists(database, ec)) return {};
    try {
        if (fs::is_regular_file(temporary) || fs::is_symlink(temporary)) fs::remove(temporary);
        {
            db::Database source(database, db::Database::Mode::OpenExisting);
            // Exclusive locking fails while any other connection has the file open, so a file in use
            // elsewhere is never replaced under that program's feet.
            source.exec("PRAGMA busy_timeout=1000; PRAGMA locking_mode=EXCLUSIVE;");
            source.exec("BEGIN EXCLUSIVE; COMMIT;");
            auto vacuum = source.prepare("VACUUM INTO :target");
            vacuum.bind("target", temporary.string());
            vacuum.execute();
        }
        if (fs::exists(withSuffix(database, "-wal")))
            throw CompactionError("数据文件正被其他程序使用，本次不压缩");
        if (!fs::is_regular_file(temporary)) throw CompactionError("没有写出压缩后的数据文件");
        syncPath(temporary, O_RDONLY);
        fs::rename(temporary, database);
        syncPath(database.parent_path().empty() ? fs::path(".") : database.parent_path(),
                 O_RDONLY | O_DIRECTORY);
    } catch (const CompactionError&) {
        removeCopy(temporary);
        throw;
    } catch (const std::exception& e) {
        removeCopy(temporary);
        throw CompactionError(e.what());
    }
    return now.toString();
}

std::string vacuumServerStore(const std::string& url, const DateTime& now) {
    try {
        db::Database db = db::Database::connect(url);
        db.exec("VACUUM (ANALYZE)");
    } catch (const std::exception& e) {
        throw CompactionError(e.what());
    }
    return now.toString();
}

} // namespace vantor::app
