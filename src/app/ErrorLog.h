#pragma once

#include "base/DateTime.h"

#include <filesystem>
#include <string_view>

namespace vantor::app {

// The log of errors nobody handled: beside the executable, with its name and the extension ".log".
std::filesystem::path errorLogPath(const std::filesystem::path& executable);

// Appends "date time:message" and a line end; opens and closes the file for every line, so a crash
// right after loses nothing. Raises std::ios_base::failure when the file cannot be written.
void appendErrorLog(const std::filesystem::path& log, std::string_view message, const DateTime& when);

} // namespace vantor::app
