#pragma once

#include "db/TDM.h"
#include "support/TempDir.h"

#include <array>
#include <cstdio>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace vantor::test {

struct CliResult {
    int status;
    std::string out; // standard output and standard error together
};

// Runs vantor-cli with the arguments (shell words) and collects what it prints.
inline CliResult runCli(const std::string& arguments) {
    std::string command = std::string(VANTOR_CLI) + " " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    CliResult result{-1, {}};
    std::array<char, 4096> buffer{};
    size_t n;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
        result.out.append(buffer.data(), n);
    int raw = pclose(pipe);
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return result;
}

// vantor-cli started in the background, what it prints going to a file; the caller kills or waits.
inline pid_t startCli(const std::string& arguments, const std::filesystem::path& output) {
    const std::string command =
        "exec " + std::string(VANTOR_CLI) + " " + arguments + " >" + output.string() + " 2>&1";
    pid_t pid = fork();
    if (pid == 0) {
        execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    return pid;
}

// A data folder and the command line run on it.
struct CliFolder {
    TempDir dir;

    CliResult run(const std::string& arguments) const {
        return runCli("--data-dir " + dir.path().string() + " " + arguments);
    }
    // The first column of the first row of the query, run in the folder's data file.
    std::int64_t count(const std::string& sql) const {
        db::TDM dm(dir / "lmd_pin.db");
        auto st = dm.cn1().prepare(sql);
        st.step();
        return st.integer(0);
    }
};

} // namespace vantor::test
