#include "Startup.h"

#include "Compaction.h"

namespace vantor {

StartupOutcome prepareData(const DataFolder& folder, TConfig& config, db::TDM& dm, StartupObserver& observer,
                           const DateTime& now) {
    ConfigFile file(folder.config());
    try {
        folder.create();
        file.load(config);
    } catch (const std::exception&) {
        observer.showMessage(kConfigFileError);
    }

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
    } catch (const std::exception& e) {
        observer.showMessage(dm.store().isPostgres() ? std::string(kServerStoreError) + "\n" + e.what()
                                                     : std::string(kDataFileError));
        return StartupOutcome::Exit;
    }
    return StartupOutcome::Ready;
}

} // namespace vantor
