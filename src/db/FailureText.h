#pragma once

#include <string>
#include <string_view>

namespace vantor::db {

// What the user reads when the store fails: the engines' own texts are English and name internals, so
// each failure the user can act on gets a Chinese sentence; the engine's text stays as the detail.

// An SQLite result code (extended or primary) with the engine's message.
std::string fileFailureText(int code, std::string_view detail);
// A PostgreSQL error by its SQLSTATE.
std::string serverFailureText(std::string_view state, std::string_view detail);
// A connection to a server that could not be made, from libpq's message.
std::string connectFailureText(std::string_view detail);

} // namespace vantor::db
