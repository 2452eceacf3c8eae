#include "DemoMarketProcess.h"

#include "Cli.h"
#include "base/DataFolder.h"

#include <csignal>
#include <cstdio>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace vantor::cli {

DemoMarketProcess::DemoMarketProcess(const std::filesystem::path& program) {
    if (!std::filesystem::exists(program)) throw JobFailed("找不到演示市场程序：" + program.string());
    int out[2];
    if (pipe(out) != 0) throw JobFailed("无法启动演示市场程序");
    pid_ = fork();
    if (pid_ < 0) {
        close(out[0]);
        close(out[1]);
        throw JobFailed("无法启动演示市场程序");
    }
    if (pid_ == 0) {
        dup2(out[1], STDOUT_FILENO);
        close(out[0]);
        close(out[1]);
        // Quiet: its English banner has no place among the program's own lines.
        execl(program.c_str(), program.c_str(), "--port", "0", "--quiet", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(out[1]);
    // The first line is the port; the market keeps serving after it.
    std::string line;
    char c = 0;
    while (read(out[0], &c, 1) == 1 && c != '\n')
        line += c;
    close(out[0]);
    int port = 0;
    if (std::sscanf(line.c_str(), "%d", &port) != 1 || port <= 0 || port > 65535) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
        throw JobFailed("演示市场程序没有启动：" + program.string());
    }
    port_ = static_cast<std::uint16_t>(port);
}

DemoMarketProcess::~DemoMarketProcess() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
}

std::filesystem::path DemoMarketProcess::besideThisProgram() {
    return executablePath().parent_path() / "vantor-demo-market";
}

} // namespace vantor::cli
