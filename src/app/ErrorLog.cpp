#include "ErrorLog.h"

#include <fstream>

namespace vantor::app {

std::filesystem::path errorLogPath(const std::filesystem::path& executable) {
    std::filesystem::path log = executable;
    log.replace_extension(".log");
    return log;
}

void appendErrorLog(const std::filesystem::path& log, std::string_view message, const DateTime& when) {
    std::ofstream out;
    out.exceptions(std::ios::failbit | std::ios::badbit);
    out.open(log, std::ios::binary | std::ios::app);
    out << when.toString() << ':' << message << '\n';
    out.close();
}

} // namespace vantor::app
