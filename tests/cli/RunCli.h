#pragma once

#include <array>
#include <cstdio>
#include <string>
#include <sys/wait.h>

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

} // namespace vantor::test
