#include "IniFile.h"

#include "TextNumbers.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace vantor::base {
namespace {

std::optional<std::string_view> sectionName(std::string_view line) {
    line = trimSpace(line);
    if (line.size() >= 2 && line.front() == '[' && line.back() == ']')
        return trimSpace(line.substr(1, line.size() - 2));
    return std::nullopt;
}

// The key of a "key=value" line, or nothing for comments and other lines.
std::optional<std::string_view> keyName(std::string_view line) {
    std::string_view t = trimSpace(line);
    if (t.empty() || t.front() == ';' || t.front() == '#' || t.front() == '[') return std::nullopt;
    auto eq = t.find('=');
    if (eq == std::string_view::npos) return std::nullopt;
    return trimSpace(t.substr(0, eq));
}

[[noreturn]] void ioFail(const std::string& what, const std::filesystem::path& path) {
    throw std::runtime_error(what + " " + path.string() + ": " + std::strerror(errno));
}

} // namespace

IniFile IniFile::load(const std::filesystem::path& path) {
    IniFile ini;
    std::error_code ec;
    if (std::filesystem::exists(path, ec) && !std::filesystem::is_regular_file(path, ec))
        throw std::runtime_error("not a file: " + path.string());
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (!std::filesystem::exists(path)) return ini;
        ioFail("cannot read", path);
    }
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        ini.lines_.push_back(line);
    }
    if (in.bad()) ioFail("cannot read", path);
    return ini;
}

std::string IniFile::read(std::string_view section, std::string_view key, std::string_view fallback) const {
    bool inSection = false;
    for (const auto& line : lines_) {
        if (auto name = sectionName(line)) {
            inSection = sameName(*name, section);
            continue;
        }
        if (!inSection) continue;
        auto k = keyName(line);
        if (k && sameName(*k, key)) {
            std::string_view t = trimSpace(line);
            return std::string(trimSpace(t.substr(t.find('=') + 1)));
        }
    }
    return std::string(fallback);
}

void IniFile::write(std::string_view section, std::string_view key, std::string_view value) {
    std::string entry = std::string(key) + "=" + std::string(value);
    bool inSection = false;
    std::optional<size_t> sectionEnd;
    for (size_t i = 0; i < lines_.size(); ++i) {
        if (auto name = sectionName(lines_[i])) {
            if (inSection) break;
            inSection = sameName(*name, section);
            if (inSection) sectionEnd = i + 1;
            continue;
        }
        if (!inSection) continue;
        auto k = keyName(lines_[i]);
        if (k && sameName(*k, key)) {
            lines_[i] = entry;
            return;
        }
        if (!trimSpace(lines_[i]).empty()) sectionEnd = i + 1;
    }
    if (sectionEnd) {
        lines_.insert(lines_.begin() + std::ptrdiff_t(*sectionEnd), entry);
        return;
    }
    if (!lines_.empty() && !trimSpace(lines_.back()).empty()) lines_.emplace_back();
    std::string header(1, '[');
    header.append(section).push_back(']');
    lines_.push_back(std::move(header));
    lines_.push_back(entry);
}

std::string IniFile::text() const {
    std::string out;
    for (const auto& line : lines_) {
        out += line;
        out += '\n';
    }
    return out;
}

void IniFile::save(const std::filesystem::path& path) const {
    std::filesystem::path temp = path;
    temp += ".tmp";
    int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) ioFail("cannot write", temp);
    std::string data = text();
    const char* p = data.data();
    size_t left = data.size();
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            int saved = errno;
            ::close(fd);
            ::unlink(temp.c_str());
            errno = saved;
            ioFail("cannot write", temp);
        }
        p += n;
        left -= size_t(n);
    }
    // A leftover temporary file may have been created with wider rights.
    bool ok = ::fchmod(fd, 0600) == 0 && ::fsync(fd) == 0;
    int saved = errno;
    if (::close(fd) != 0 && ok) {
        ok = false;
        saved = errno;
    }
    if (!ok) {
        ::unlink(temp.c_str());
        errno = saved;
        ioFail("cannot write", temp);
    }
    if (::rename(temp.c_str(), path.c_str()) != 0) {
        int saved = errno;
        ::unlink(temp.c_str());
        errno = saved;
        ioFail("cannot replace", path);
    }
}

} // namespace vantor::base
