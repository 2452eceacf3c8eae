#pragma once

#include "QueryReader.h"
#include "db/Database.h"
#include "db/TDM.h"

#include <string>
#include <string_view>
#include <vector>

namespace vantor::views {

inline constexpr const char* kDeleteFailed = "删除数据出错，请联系官方网站!";

// The connection a view runs its own statements on (its deletes, the sales summary), opened on first
// use: a view costs no connection until it needs one.
class ViewConnection {
public:
    explicit ViewConnection(const db::TDM& dm) : dm_(dm) {}
    db::Database& get();

    // How every view's delete waits for another program's save: the views all run on the one thread
    // of the front end, which says once how it shows the wait.
    static void setLockWait(db::LockWait wait);

private:
    const db::TDM& dm_;
    db::Database db_;
};

struct DeleteResult {
    bool done = false;
    std::string error; // the database's explanation when not done
};

// Runs a view's delete statements in their order in one transaction, each with the parameters it
// names. Any failure rolls every statement back, so either all of them take effect or none.
DeleteResult deleteInTransaction(db::Database& db, const std::vector<std::string_view>& statements,
                                 const Parameters& parameters);

} // namespace vantor::views
