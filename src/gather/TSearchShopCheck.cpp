#include "TSearchShopCheck.h"

namespace vantor {

TSearchShopCheck::TSearchShopCheck(TDownParamBean& param, std::vector<SlotProgress*> gauges,
                                   std::int32_t pageStep, std::int32_t mode, StageHandlers handlers)
    : TDownCheck(param, std::move(gauges), pageStep, mode), handlers_(std::move(handlers)) {}

TSearchShopCheck::~TSearchShopCheck() {
    stopAndWait();
}

std::string TSearchShopCheck::lastError() const {
    std::lock_guard lock(mutex_);
    return lastError_;
}

void TSearchShopCheck::handlePage(std::int32_t pageKind, const std::string& htmlCode) {
    if (!handlers_.page) return;
    try {
        handlers_.page(pageKind, htmlCode);
    } catch (const std::exception& e) {
        std::lock_guard lock(mutex_);
        lastError_ = e.what();
        throw;
    }
}

void TSearchShopCheck::handleFinish(std::int32_t pageKind) {
    if (handlers_.finish) handlers_.finish(pageKind);
}

void TSearchShopCheck::handleFailure() {
    if (handlers_.failure) handlers_.failure();
}

void TSearchShopCheck::handleError(std::int32_t mode) {
    if (handlers_.error) handlers_.error(mode);
}

} // namespace vantor
