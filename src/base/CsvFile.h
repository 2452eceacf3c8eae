#pragma once

#include "DateTime.h"
#include "ProgressGauge.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The program's CSV files: cells made safe, GBK or UTF-8 with a byte-order mark, CR LF lines, written
// anew unless the file is held by another program.
namespace vantor::base {

inline constexpr const char* kFileLocked = "文件可能已被打开或损坏，重新选择或关闭文件！";

// A value made safe for one cell: every "," becomes "、" and every blank, tab and line break goes,
// also between words. Nothing is quoted, so no cell can hold the separator or a line break.
std::string csvSafeText(std::string_view text);
void appendCsvSafe(std::string& out, std::string_view text);
// A data line of whole cells: each cleaned and followed by ",".
void appendCsvCells(std::string& line, const std::vector<std::string>& cells);

// Where an export's bytes go: a file, or memory.
class ByteSink {
public:
    virtual ~ByteSink() = default;
    virtual void write(std::string_view bytes) = 0;
};

class StringSink final : public ByteSink {
public:
    void write(std::string_view bytes) override { this->bytes.append(bytes); }
    std::string bytes;
};

// A file created anew (an old one is truncated). Raises std::system_error when it cannot be created,
// written or closed.
class FileSink final : public ByteSink {
public:
    explicit FileSink(const std::filesystem::path& file);
    ~FileSink() override;
    FileSink(const FileSink&) = delete;
    FileSink& operator=(const FileSink&) = delete;
    void write(std::string_view bytes) override;
    void close();

private:
    std::filesystem::path file_;
    int fd_ = -1;
};

// One export: how many rows, the fixed header line, the proposed file name and how a data line is made
// from a row (the cleaned cells with their separators, UTF-8, without the line end). For the standard
// format a job may name its columns and give a row's texts as they are, one per title; a job without
// them is written with its program header and cells, which never hold a separator.
struct CsvJob {
    std::function<std::size_t()> rowCount;
    std::string header;
    std::string fileName;
    std::function<void(std::string& line, std::size_t row)> appendLine;
    std::vector<std::string> titles;
    std::function<void(std::vector<std::string>& cells, std::size_t row)> rowCells;
};

// GBK is the program's own format; UTF-8 with a byte-order mark is what current spreadsheet programs
// open correctly everywhere.
enum class ExportEncoding { Gbk, Utf8Bom };
// The program's own format (cleaned cells, its header line), or a standard CSV that any spreadsheet
// program reads: UTF-8 behind a byte-order mark, RFC 4180 quoting, the texts as they are, one field per
// column title.
enum class ExportFormat { Program, Standard };
// "program" or "standard", the names of the settings file and the command line; nullopt for anything else.
std::optional<ExportFormat> exportFormatNamed(std::string_view name);
const char* exportFormatName(ExportFormat format);

// One field of a standard CSV: quoted, with its quotes doubled, when it holds a separator, a quote or a
// line break; as it is otherwise.
void appendStandardField(std::string& out, std::string_view text);

// "gbk" or "utf8", the names of the settings file and the command line; nullopt for anything else.
std::optional<ExportEncoding> exportEncodingNamed(std::string_view name);
const char* exportEncodingName(ExportEncoding encoding);

// The header, then one line per row, with CR LF line ends: in GBK without a byte-order mark, or in
// UTF-8 behind one. The gauge gets the row count as its maximum and follows the lines written.
void writeCsv(const CsvJob& job, ByteSink& sink, ProgressGauge* gauge,
              ExportEncoding encoding = ExportEncoding::Gbk);
// The standard format: a byte-order mark, the titles, then one line per row, CR LF line ends.
void writeStandardCsv(const CsvJob& job, ByteSink& sink, ProgressGauge* gauge);

// An existing file that cannot be opened for reading (held by another program, or not a file at all)
// must not be replaced.
bool isLocked(const std::filesystem::path& file);
std::string lockedWarning(const std::filesystem::path& file);

enum class ExportOutcome { Written, NoRows, Locked };
// Nothing happens without rows or with a locked file; otherwise the file is written anew (the encoding
// counts for the program's format only). Raises std::system_error when the file cannot be created or
// written.
ExportOutcome exportToFile(const CsvJob& job, const std::filesystem::path& file, ProgressGauge* gauge,
                           ExportEncoding encoding = ExportEncoding::Gbk,
                           ExportFormat format = ExportFormat::Program);

// The date in proposed file names: "yyyy-MM-dd", which every file system can hold (a short date
// with "/" could not).
std::string fileDate(const DateTime& day);
// A proposed file name made of texts from the rows: a "/" would name a folder, so it becomes "_".
std::string safeFileName(std::string name);

} // namespace vantor::base

// Every layer speaks this vocabulary: it is named in vantor as it stands.
namespace vantor {
using namespace base;
} // namespace vantor
