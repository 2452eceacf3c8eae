#pragma once

#include "base/DateTime.h"

#include <filesystem>
#include <stdexcept>
#include <string>

namespace vantor::app {

inline constexpr const char* kCompactingStatus = "正在优化数据....";
inline constexpr const char* kCompactionFailed = "无法优化数据，请关闭程序后，重试！";

class CompactionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Whether the start-up compaction is due: at once when lastTimeOpt is empty (or unreadable),
// otherwise after 1, 7 or 30 whole days for the schedules "0", "1", "2"; never for another schedule.
bool compactionDue(const std::string& optimize, const std::string& lastTimeOpt, const DateTime& now);

// Compacts the database into the temporary file, then puts that file in the database's place.
// Returns the new lastTimeOpt: now as text, or empty text when there is no database yet (so the next
// start tries again). Raises CompactionError and leaves the database as it was when anything fails,
// including when another program has the database open.
std::string compactDatabase(const std::filesystem::path& database, const std::filesystem::path& temporary,
                            const DateTime& now);

// The same for a server store: VACUUM (ANALYZE) on a connection of its own. Returns now as text.
// Raises CompactionError.
std::string vacuumServerStore(const std::string& url, const DateTime& now);

} // namespace vantor::app
