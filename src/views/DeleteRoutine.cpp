#include "DeleteRoutine.h"

#include <strings.h>

namespace vantor::views {

namespace {
db::LockWait& frontEndWait() {
    static db::LockWait wait;
    return wait;
}
} // namespace

void ViewConnection::setLockWait(db::LockWait wait) {
    frontEndWait() = std::move(wait);
}

db::Database& ViewConnection::get() {
    if (!db_.isOpen()) {
        db_ = dm_.openConnection();
        db_.setLockWait(frontEndWait());
    }
    return db_;
}

DeleteResult deleteInTransaction(db::Database& db, const std::vector<std::string_view>& statements,
                                 const Parameters& parameters) {
    try {
        db.beginTransaction();
        for (std::string_view sql : statements) {
            db::Statement statement = db.prepare(sql);
            for (const std::string& name : statement.parameterNames())
                for (const auto& parameter : parameters)
                    if (strcasecmp(name.c_str() + 1, parameter.name.c_str()) == 0)
                        statement.bind(name, parameter.value);
            statement.execute();
        }
        db.commit();
        return {true, {}};
    } catch (const std::exception& e) {
        try {
            db.rollback();
        } catch (const std::exception&) {
            // The failure that made us roll back is the one to report.
        }
        return {false, e.what()};
    }
}

} // namespace vantor::views
