#pragma once

#include "Database.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vantor::db {

// A query of the data module whose statement never changes; the data views bind to these.
struct StandingQuery {
    std::string_view name;
    std::string_view sql;
    bool rowNumber; // carries the calculated row number column "xh"
    // A statement that names no order lists as the file's plan goes; a server store is given that order
    // in words, where one is known.
    std::string_view serverOrder = {};
};

// The compiled-in schema: every table, index and saved view the statements refer to.
std::string_view schemaSql();
// The same schema in PostgreSQL's words, and the server functions the statements call (year, month,
// day, hour, minute, second, weekday with 1 = Sunday, datepart, format$), giving SQLite's results.
std::string postgresSchemaSql();

// Where the gathered data lives: the SQLite data file, or a database on a PostgreSQL server.
struct Store {
    Store(std::filesystem::path file) : file(std::move(file)) {} // NOLINT: a file is a store
    static Store postgres(std::string url) {
        Store store{{}};
        store.url = std::move(url);
        return store;
    }
    bool isPostgres() const { return !url.empty(); }

    std::filesystem::path file;
    std::string url; // "postgresql://user@host:port/dbname"; empty: the file
    // Who uses a shared store (this machine and data folder), so that each user's own records, such as
    // the resume record of a gathering, stay apart; empty for the file.
    std::string client;
};

// The data module: the one connection of the user-interface thread to the data file and the
// statements of the standing queries. Workers open connections of their own on the same file.
class TDM {
public:
    explicit TDM(Store store);

    // Opens the data file, creating it from the schema when it is missing. Raises DbError when the
    // file cannot be opened or is not a database.
    void open();
    bool isOpen() const { return cn1_.isOpen(); }
    // Closes the connection and moves to another store, which open() then opens.
    void useStore(Store store);
    Database& cn1();
    const std::filesystem::path& file() const { return store_.file; }
    const Store& store() const { return store_; }

    // A further connection on the same file, for a worker thread.
    Database openConnection() const;
    // A standing query's statement as this store runs it.
    std::string standingSql(std::string_view name) const;

    static const std::vector<StandingQuery>& standingQueries();
    // Raises std::out_of_range for a name that is not a standing query.
    static const StandingQuery& standingQuery(std::string_view name);

private:
    Store store_;
    Database cn1_;
};

// Applies the schema to a connection; existing tables, indexes and views are left as they are.
void ensureSchema(Database& db);

} // namespace vantor::db
