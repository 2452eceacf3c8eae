#include "Startup.h"

#include "Compaction.h"

namespace vantor::app {

std::string serverUnreachableText(const std::string& failure, const std::string& url) {
    return failure + "\n数据库：" + url +
           "\n\n可以重试，改用本机数据文件（仅本次，或以后都用），或退出程序。";
}

namespace {

// Opens the server store, asking while it cannot be reached; false: the user chose to end.
bool reachServer(const DataFolder& folder, const ConfigFile& file, TConfig& config, db::TDM& dm,
                 StartupObserver& observer) {
    for (;;) {
        try {
            dm.open();
            return true;
        } catch (const db::DbError& e) {
            const ServerChoice choice = observer.askServerUnreachable(
                serverUnreachableText(e.what(), dm.store().url), e.detail().empty() ? e.what() : e.detail());
            switch (choice) {
            case ServerChoice::Retry:
                continue;
            case ServerChoice::FileFromNowOn:
                try {
                    file.saveDatabase("");
                    config.dbUrl.clear();
                } catch (const std::exception&) {
                    observer.showMessage(kConfigSaveError);
                }
                [[fallthrough]];
            case ServerChoice::FileThisRun:
                dm.useStore(db::Store(folder.database()));
                return true;
            case ServerChoice::Exit:
                return false;
            }
        }
    }
}

} // namespace

StartupOutcome prepareData(const DataFolder& folder, TConfig& config, db::TDM& dm, StartupObserver& observer,
                           const DateTime& now) {
    ConfigFile file(folder.config());
    try {
        folder.create();
        file.load(config);
    } catch (const std::exception&) {
        observer.showMessage(kConfigFileError);
    }
    if (dm.store().isPostgres() && !reachServer(folder, file, config, dm, observer))
        return StartupOutcome::Exit;

    if (compactionDue(config.optimize, config.lastTimeOpt, now)) {
        observer.showStatus(kCompactingStatus);
        try {
            config.lastTimeOpt = dm.store().isPostgres()
                                     ? vacuumServerStore(dm.store().url, now)
                                     : compactDatabase(folder.database(), folder.temporaryDatabase(), now);
        } catch (const std::exception&) {
            // lastTimeOpt keeps its old value, so the next start decides again.
            observer.showMessage(kCompactionFailed);
        }
        observer.showStatus(""); // the line speaks of the compaction only while it runs
    }
    try {
        file.saveLastTimeOpt(config.lastTimeOpt);
    } catch (const std::exception&) {
        observer.showMessage(kConfigFileError);
        return StartupOutcome::Exit;
    }

    try {
        dm.open();
    } catch (const std::exception&) {
        observer.showMessage(kDataFileError);
        return StartupOutcome::Exit;
    }
    return StartupOutcome::Ready;
}

} // namespace vantor::app
