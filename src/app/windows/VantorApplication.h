#pragma once

#include <QApplication>

#include <filesystem>

namespace vantor {

// The application object. An exception that escapes an event handler of the user-interface thread
// is written to the error log instead of ending the program.
class VantorApplication : public QApplication {
    Q_OBJECT
public:
    VantorApplication(int& argc, char** argv);

    bool notify(QObject* receiver, QEvent* event) override;

    void setErrorLog(std::filesystem::path log) { errorLog_ = std::move(log); }
    const std::filesystem::path& errorLog() const { return errorLog_; }

private:
    void logError(const std::string& message) const;
    std::filesystem::path errorLog_;
};

// Settings every start needs before the application object exists. Unless verbose, the toolkit's and the
// embedded browser's start-up chatter stays off the terminal; warnings still show.
void prepareQtEnvironment(bool verbose = false);

} // namespace vantor
