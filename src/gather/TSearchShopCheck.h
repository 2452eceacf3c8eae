#pragma once

#include "download/TDownCheck.h"

#include <functional>
#include <mutex>
#include <string>

namespace vantor {

// What a gathering job does with its pages; every handler runs on the driver thread.
struct StageHandlers {
    std::function<void(std::int32_t pageKind, const std::string& page)> page;
    std::function<void(std::int32_t pageKind)> finish;
    std::function<void()> failure;
    std::function<void(std::int32_t mode)> error;
};

// The driver of the gathering windows: one job of the search or of a gathering stage.
class TSearchShopCheck : public TDownCheck {
public:
    TSearchShopCheck(TDownParamBean& param, std::vector<SlotProgress*> gauges, std::int32_t pageStep,
                     std::int32_t mode, StageHandlers handlers);
    ~TSearchShopCheck() override;

    // The message of the exception that ended the run, if one did.
    std::string lastError() const;

protected:
    void handlePage(std::int32_t pageKind, const std::string& htmlCode) override;
    void handleFinish(std::int32_t pageKind) override;
    void handleFailure() override;
    void handleError(std::int32_t mode) override;

private:
    StageHandlers handlers_;
    mutable std::mutex mutex_;
    std::string lastError_;
};

} // namespace vantor
