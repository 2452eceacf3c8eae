#pragma once

#include "DownStatus.h"
#include "FailureTally.h"

#include <atomic>
#include <string>
#include <string_view>

namespace vantor::download {

// The result of one page download as the connection test and the update read it. The fetch writes every
// other field first and the status last (release); a reader that sees "finish" or "stop" (acquire) sees
// the body, the errors and the address as well. Nobody may read the other fields while it is "init".
class TDownBean {
public:
    TDownBean() = default;
    TDownBean(const TDownBean&) = delete;
    TDownBean& operator=(const TDownBean&) = delete;

    const std::string& getHtmlCode() const { return htmlCode_; }
    void setHtmlCode(std::string value) { htmlCode_ = std::move(value); }
    const std::string& getErrorCode() const { return errorCode_; }
    void setErrorCode(std::string value) { errorCode_ = std::move(value); }
    const std::string& getErrorInfo() const { return errorInfo_; }
    void setErrorInfo(std::string value) { errorInfo_ = std::move(value); }
    const DownFailure& failure() const { return failure_; }
    void setFailure(DownFailure value) { failure_ = value; }
    const std::string& getUrl() const { return url_; }
    void setUrl(std::string value) { url_ = std::move(value); }

    PageStatus status() const { return status_.load(std::memory_order_acquire); }
    std::string_view getStatus() const { return statusWord(status()); }
    void setStatus(PageStatus value) { status_.store(value, std::memory_order_release); }

private:
    std::string htmlCode_;
    std::string errorCode_ = "0";
    std::string errorInfo_;
    DownFailure failure_;
    std::atomic<PageStatus> status_ = PageStatus::Init;
    std::string url_;
};

} // namespace vantor::download

// The record keeps its name where the rest of the program meets it.
namespace vantor {
using download::TDownBean;
} // namespace vantor
