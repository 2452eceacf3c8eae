#include "CsvFile.h"

#include "GbkText.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vantor::base {
namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

[[noreturn]] void fileError(const std::filesystem::path& file) {
    throw std::system_error(errno, std::generic_category(), file.string());
}

constexpr std::size_t kChunk = 1 << 20;
constexpr std::size_t kGaugeStep = 1024;

} // namespace

void appendCsvCells(std::string& line, const std::vector<std::string>& cells) {
    for (const std::string& cell : cells) {
        appendCsvSafe(line, cell);
        line += ',';
    }
}

void appendCsvSafe(std::string& out, std::string_view text) {
    // Runs between the characters to change are copied whole: most cells have none.
    size_t start = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c != ',' && !isBlank(c)) continue;
        out.append(text.data() + start, i - start);
        if (c == ',') out += "、";
        start = i + 1;
    }
    out.append(text.data() + start, text.size() - start);
}

std::string csvSafeText(std::string_view text) {
    std::string out;
    appendCsvSafe(out, text);
    return out;
}

FileSink::FileSink(const std::filesystem::path& file) : file_(file) {
    fd_ = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd_ < 0) fileError(file_);
}

FileSink::~FileSink() {
    if (fd_ >= 0) ::close(fd_);
}

void FileSink::write(std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t n = ::write(fd_, bytes.data(), bytes.size());
        if (n < 0) {
            if (errno == EINTR) continue;
            fileError(file_);
        }
        bytes.remove_prefix(size_t(n));
    }
}

void FileSink::close() {
    int fd = fd_;
    fd_ = -1;
    if (fd >= 0 && ::close(fd) != 0) fileError(file_);
}

std::optional<ExportEncoding> exportEncodingNamed(std::string_view name) {
    if (name == "gbk") return ExportEncoding::Gbk;
    if (name == "utf8") return ExportEncoding::Utf8Bom;
    return std::nullopt;
}

const char* exportEncodingName(ExportEncoding encoding) {
    return encoding == ExportEncoding::Gbk ? "gbk" : "utf8";
}

std::optional<ExportFormat> exportFormatNamed(std::string_view name) {
    if (name == "program") return ExportFormat::Program;
    if (name == "standard") return ExportFormat::Standard;
    return std::nullopt;
}

const char* exportFormatName(ExportFormat format) {
    return format == ExportFormat::Program ? "program" : "standard";
}

void appendStandardField(std::string& out, std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
        out.append(text);
        return;
    }
    out += '"';
    for (char c : text) {
        if (c == '"') out += '"';
        out += c;
    }
    out += '"';
}

namespace {

// The program's cells never hold a separator, so its header and lines split back into whole cells.
void splitProgramCells(std::vector<std::string>& cells, std::string_view line) {
    cells.clear();
    while (!line.empty()) {
        const size_t comma = line.find(',');
        cells.emplace_back(line.substr(0, comma));
        if (comma == std::string_view::npos) break;
        line.remove_prefix(comma + 1);
    }
}

void appendStandardLine(std::string& out, const std::vector<std::string>& fields) {
    for (size_t f = 0; f < fields.size(); ++f) {
        if (f > 0) out += ',';
        appendStandardField(out, fields[f]);
    }
    out += "\r\n";
}

} // namespace

void writeStandardCsv(const CsvJob& job, ByteSink& sink, ProgressGauge* gauge) {
    const std::size_t rows = job.rowCount();
    if (gauge) {
        gauge->setMaximum(int(rows));
        gauge->setPosition(0);
    }
    std::vector<std::string> cells;
    std::string programLine;
    if (job.rowCells)
        cells = job.titles;
    else
        splitProgramCells(cells, job.header);
    std::string out = "\xEF\xBB\xBF";
    appendStandardLine(out, cells);
    for (std::size_t row = 0; row < rows; ++row) {
        if (job.rowCells) {
            job.rowCells(cells, row);
        } else {
            programLine.clear();
            job.appendLine(programLine, row);
            splitProgramCells(cells, programLine);
        }
        appendStandardLine(out, cells);
        if (out.size() >= kChunk) {
            sink.write(out);
            out.clear();
        }
        if (gauge && ((row + 1) % kGaugeStep == 0 || row + 1 == rows)) gauge->setPosition(int(row + 1));
    }
    sink.write(out);
}

void writeCsv(const CsvJob& job, ByteSink& sink, ProgressGauge* gauge, ExportEncoding encoding) {
    const std::size_t rows = job.rowCount();
    if (gauge) {
        gauge->setMaximum(int(rows));
        gauge->setPosition(0);
    }
    // Lines gather as UTF-8 and go out converted a chunk at a time: one conversion call per megabyte,
    // and a chunk always ends with a whole line, so no character is ever cut.
    const bool gbk = encoding == ExportEncoding::Gbk;
    if (!gbk) sink.write("\xEF\xBB\xBF");
    std::string utf8 = job.header + "\r\n";
    utf8.reserve(kChunk + 4096);
    for (std::size_t row = 0; row < rows; ++row) {
        job.appendLine(utf8, row);
        utf8 += "\r\n";
        if (utf8.size() >= kChunk) {
            sink.write(gbk ? toGbk(utf8) : utf8);
            utf8.clear();
        }
        if (gauge && ((row + 1) % kGaugeStep == 0 || row + 1 == rows)) gauge->setPosition(int(row + 1));
    }
    sink.write(gbk ? toGbk(utf8) : utf8);
}

bool isLocked(const std::filesystem::path& file) {
    std::error_code error;
    if (!std::filesystem::exists(file, error)) return false;
    int fd = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return true;
    struct stat st {};
    bool folder = ::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode);
    ::close(fd);
    return folder;
}

std::string lockedWarning(const std::filesystem::path& file) {
    return file.string() + kFileLocked;
}

ExportOutcome exportToFile(const CsvJob& job, const std::filesystem::path& file, ProgressGauge* gauge,
                           ExportEncoding encoding, ExportFormat format) {
    if (job.rowCount() == 0) return ExportOutcome::NoRows;
    if (isLocked(file)) return ExportOutcome::Locked;
    FileSink sink(file);
    if (format == ExportFormat::Standard)
        writeStandardCsv(job, sink, gauge);
    else
        writeCsv(job, sink, gauge, encoding);
    sink.close();
    return ExportOutcome::Written;
}

std::string fileDate(const DateTime& day) {
    return day.toDateString();
}

std::string safeFileName(std::string name) {
    for (char& c : name)
        if (c == '/') c = '_';
    return name;
}

} // namespace vantor::base
