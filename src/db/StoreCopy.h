#pragma once

#include "TDM.h"

#include <cstdint>
#include <functional>
#include <string>

namespace vantor::db {

// Every table of one store into another (the data file into a server or back), rows with their ids, in
// one transaction of the target, each table's row count compared with the source's before it commits. The
// target must hold no gathered rows. progress(table, copied, total) is called as the rows go. Raises DbError,
// and a std::runtime_error with the program's message when the target is not empty or a count differs.
// `wait` is how the copy waits for another program's save to the target file.
void copyStore(
    const Store& from, const Store& to,
    const std::function<void(const std::string& table, std::int64_t copied, std::int64_t total)>& progress,
    LockWait wait = {});

} // namespace vantor::db
