#include "TThreadDownHtmlCode.h"

#include "HostPacer.h"
#include "WireAddress.h"
#include "base/TextNumbers.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <climits>
#include <mutex>
#include <optional>

namespace vantor {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// The configured time-outs come on top of these bases, never in their place.
constexpr std::int64_t kConnectBaseMs = 60000;
constexpr std::int64_t kReadBaseMs = 30000;
constexpr long kMaxRedirects = 10;
// How long one wait for the socket may last; a stop request wakes it earlier.
constexpr milliseconds kPollCeiling{1000};

struct Failure {
    Failure(std::string kind, std::string message, DownFailure detail = {})
        : kind(std::move(kind)), message(std::move(message)), detail(detail) {}
    std::string kind;
    std::string message;
    DownFailure detail;
};

FailReason reasonOf(const std::string& kind) {
    if (kind == "ConnectError") return FailReason::Refused;
    if (kind == "ConnectTimeout" || kind == "ReadTimeout") return FailReason::TimedOut;
    if (kind == "HttpError") return FailReason::HttpStatus;
    if (kind == "Truncated") return FailReason::CutShort;
    if (kind == "ConnectionClosed") return FailReason::Closed;
    if (kind == "ResolveError") return FailReason::Unresolved;
    return FailReason::Other;
}

// Retry-After as seconds or as an HTTP date; -1 when it says neither.
std::int64_t retryAfterMs(const std::string& value) {
    if (value.empty()) return -1;
    if (std::all_of(value.begin(), value.end(), [](unsigned char c) { return std::isdigit(c); }))
        return value.size() > 9 ? INT32_MAX : std::stoll(value) * 1000;
    time_t when = curl_getdate(value.c_str(), nullptr);
    if (when < 0) return -1;
    return std::max<std::int64_t>(0, (std::int64_t(when) - std::int64_t(time(nullptr))) * 1000);
}

long clampMs(std::int64_t ms) {
    return long(std::clamp<std::int64_t>(ms, 1, LONG_MAX));
}

void initCurlOnce() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// One GET on a connection's easy handle, driven through its multi handle so that a stop request can
// wake the wait for the socket at once instead of at the next progress tick.
class Fetch {
public:
    Fetch(CURL* easy, CURLM* multi, const std::string& url, const THttpAgent& agent, SlotProgress* gauge)
        : easy_(easy), multi_(multi), gauge_(gauge), readTimeout_(clampMs(agent.ReadTimeOut + kReadBaseMs)) {
        errorBuffer_[0] = '\0';
        // Every option anew; the connections the client holds stay.
        curl_easy_reset(easy_);
        const std::string wire = wireAddress(url);
        curl_easy_setopt(easy_, CURLOPT_URL, wire.c_str());
        curl_easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(easy_, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(easy_, CURLOPT_ERRORBUFFER, errorBuffer_);
        if (agent.AgentType) {
            curl_easy_setopt(easy_, CURLOPT_PROXY, agent.Server.c_str());
            curl_easy_setopt(easy_, CURLOPT_PROXYPORT, long(agent.Port));
            // An empty user would still send an (empty) authorisation header.
            if (!agent.User.empty() || !agent.Password.empty()) {
                curl_easy_setopt(easy_, CURLOPT_PROXYUSERNAME, agent.User.c_str());
                curl_easy_setopt(easy_, CURLOPT_PROXYPASSWORD, agent.Password.c_str());
            }
        } else {
            // Not even a proxy named in the environment.
            curl_easy_setopt(easy_, CURLOPT_PROXY, "");
        }
        curl_easy_setopt(easy_, CURLOPT_USERAGENT, kUserAgent);
        curl_easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT_MS, clampMs(agent.ConnectTimeOut + kConnectBaseMs));
        curl_easy_setopt(easy_, CURLOPT_FOLLOWLOCATION, 1L);
        curl_easy_setopt(easy_, CURLOPT_MAXREDIRS, kMaxRedirects);
        curl_easy_setopt(easy_, CURLOPT_FAILONERROR, 1L);
        curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &Fetch::onBody);
        curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
        curl_easy_setopt(easy_, CURLOPT_HEADERFUNCTION, &Fetch::onHeader);
        curl_easy_setopt(easy_, CURLOPT_HEADERDATA, this);
        curl_easy_setopt(easy_, CURLOPT_PREREQFUNCTION, &Fetch::onConnected);
        curl_easy_setopt(easy_, CURLOPT_PREREQDATA, this);
        curl_multi_add_handle(multi_, easy_);
    }

    ~Fetch() { curl_multi_remove_handle(multi_, easy_); }

    Fetch(const Fetch&) = delete;
    Fetch& operator=(const Fetch&) = delete;

    // Runs the transfer to its end; nullopt on success.
    std::optional<Failure> perform(std::stop_token stop) {
        if (gauge_) gauge_->waiting();
        std::optional<Failure> failure = transfer(stop);
        if (gauge_) gauge_->end();
        return failure;
    }

    std::string takeBody() { return std::move(body_); }

private:
    std::optional<Failure> transfer(std::stop_token stop) {
        CURLM* multi = multi_;
        std::stop_callback wake(stop, [multi] { curl_multi_wakeup(multi); });
        int running = 1;
        for (;;) {
            CURLMcode mc = curl_multi_perform(multi_, &running);
            if (mc != CURLM_OK) return Failure{"CurlError", curl_multi_strerror(mc)};
            if (!running) break;
            if (stop.stop_requested()) return Failure{"Aborted", "the download was stopped"};
            milliseconds wait = kPollCeiling;
            if (connected_) {
                auto quiet = std::chrono::duration_cast<milliseconds>(Clock::now() - lastByte_);
                if (quiet.count() >= readTimeout_)
                    return Failure{"ReadTimeout",
                                   "no data received for " + std::to_string(readTimeout_) + " ms"};
                wait = std::min(wait, milliseconds(readTimeout_) - quiet);
            }
            curl_multi_poll(multi_, nullptr, 0, int(wait.count()), nullptr);
        }
        CURLcode result = CURLE_OK;
        int queued = 0;
        while (CURLMsg* msg = curl_multi_info_read(multi_, &queued))
            if (msg->msg == CURLMSG_DONE) result = msg->data.result;
        return verdict(result);
    }

    std::optional<Failure> verdict(CURLcode result) const {
        long code = 0;
        curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &code);
        bool httpError = code >= 400 || result == CURLE_HTTP_RETURNED_ERROR;
        if (httpError)
            return Failure{"HttpError",
                           statusLine_.empty() ? "HTTP status " + std::to_string(code) : statusLine_,
                           DownFailure{FailReason::HttpStatus, int(code), retryAfterMs(retryAfter_)}};
        // A body whose end the server announced (a length, or chunks) and never reached is half a page:
        // parsing it would lose rows without a word. Only a body that ends where the server hangs up
        // is whole when the connection goes.
        bool disconnected = result == CURLE_RECV_ERROR && !framed_;
        if (result == CURLE_OK || (disconnected && !body_.empty())) return std::nullopt;
        std::string message = errorBuffer_[0] ? errorBuffer_ : curl_easy_strerror(result);
        // A framed body that stops with the connection is a page cut short, like a short length.
        std::string kind =
            result == CURLE_RECV_ERROR && framed_ && !body_.empty() ? "Truncated" : kindOf(result);
        return Failure{kind, message};
    }

    std::string kindOf(CURLcode result) const {
        switch (result) {
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_COULDNT_RESOLVE_HOST:
            return "ResolveError";
        case CURLE_COULDNT_CONNECT:
            return "ConnectError";
        case CURLE_OPERATION_TIMEDOUT:
            return connected_ ? "ReadTimeout" : "ConnectTimeout";
        case CURLE_TOO_MANY_REDIRECTS:
            return "RedirectError";
        case CURLE_GOT_NOTHING:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
            return "ConnectionClosed";
        case CURLE_PARTIAL_FILE:
            return "Truncated";
        default:
            return "CurlError";
        }
    }

    static size_t onBody(char* data, size_t size, size_t count, void* user) {
        auto& self = *static_cast<Fetch*>(user);
        size_t length = size * count;
        if (!self.begun_) {
            self.begun_ = true;
            curl_off_t announced = -1;
            curl_easy_getinfo(self.easy_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
            if (announced > 0) self.body_.reserve(size_t(std::min<curl_off_t>(announced, 64 << 20)));
            if (self.gauge_) self.gauge_->begin(announced > 0 ? announced : 0);
        }
        self.body_.append(data, length);
        self.lastByte_ = Clock::now();
        if (self.gauge_) self.gauge_->advance(std::int64_t(self.body_.size()));
        return length;
    }

    static size_t onHeader(char* data, size_t size, size_t count, void* user) {
        auto& self = *static_cast<Fetch*>(user);
        std::string_view line(data, size * count);
        self.lastByte_ = Clock::now();
        if (line.starts_with("HTTP/")) {
            while (!line.empty() && (line.back() == '\r' || line.back() == '\n'))
                line.remove_suffix(1);
            self.statusLine_ = line;
            self.framed_ = false; // a redirect's or proxy's head said nothing of this body
            self.retryAfter_.clear();
        } else {
            std::string lower(line);
            std::transform(lower.begin(), lower.end(), lower.begin(),
                           [](unsigned char c) { return char(std::tolower(c)); });
            if (lower.starts_with("content-length:") ||
                (lower.starts_with("transfer-encoding:") && lower.find("chunked") != std::string::npos))
                self.framed_ = true;
            if (lower.starts_with("retry-after:")) self.retryAfter_ = trimSpace(line.substr(12));
        }
        return size * count;
    }

    // The connection (to the server or the proxy) stands: from now on the read time-out counts.
    static int onConnected(void* user, char*, char*, int, int) {
        auto& self = *static_cast<Fetch*>(user);
        self.connected_ = true;
        self.lastByte_ = Clock::now();
        return CURL_PREREQFUNC_OK;
    }

    CURL* easy_;
    CURLM* multi_;
    SlotProgress* gauge_;
    long readTimeout_;
    char errorBuffer_[CURL_ERROR_SIZE];
    std::string body_;
    std::string statusLine_;
    std::string retryAfter_;
    bool begun_ = false;
    bool framed_ = false; // the head announced where the body ends
    bool connected_ = false;
    Clock::time_point lastByte_ = Clock::now();
};

} // namespace

// The libcurl handles of one download thread, kept from page to page so that the connection to the
// server (or the proxy) stays open between the pages of a slot.
class TThreadDownHtmlCode::Connection {
public:
    Connection() {
        initCurlOnce();
        easy_ = curl_easy_init();
        multi_ = curl_multi_init();
    }
    ~Connection() {
        curl_easy_cleanup(easy_);
        curl_multi_cleanup(multi_);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool ready() const { return easy_ && multi_; }
    CURL* easy() const { return easy_; }
    CURLM* multi() const { return multi_; }

private:
    CURL* easy_;
    CURLM* multi_;
};

TThreadDownHtmlCode::TThreadDownHtmlCode(std::string url, TDownBean& bean,
                                         std::shared_ptr<const THttpAgent> httpAgent, SlotProgress* gauge,
                                         DownSignal* signal)
    : gauge_(gauge), httpAgent_(std::move(httpAgent)), signal_(signal) {
    bean.setStatus(PageStatus::Init);
    pending_ = Job{std::move(url), &bean, {}, signal};
    thread_ = std::jthread([this](std::stop_token stop) { run(stop); });
}

TThreadDownHtmlCode::TThreadDownHtmlCode(std::shared_ptr<const THttpAgent> httpAgent, SlotProgress* gauge)
    : gauge_(gauge), httpAgent_(std::move(httpAgent)), signal_(nullptr) {
    thread_ = std::jthread([this](std::stop_token stop) { run(stop); });
}

TThreadDownHtmlCode::~TThreadDownHtmlCode() {
    thread_.request_stop();
    join();
}

void TThreadDownHtmlCode::join() {
    if (thread_.joinable()) thread_.join();
}

void TThreadDownHtmlCode::restart(std::string url, TDownBean& bean, std::chrono::milliseconds delay,
                                  DownSignal* signal) {
    bean.setStatus(PageStatus::Init);
    {
        std::lock_guard lock(mutex_);
        pending_ = Job{std::move(url), &bean, delay, signal ? signal : signal_};
    }
    jobReady_.notify_one();
}

void TThreadDownHtmlCode::abandon() {
    std::unique_lock lock(mutex_);
    pending_.reset();
    if (inHand_) inHand_->request_stop();
    idle_.wait(lock, [this] { return inHand_ == nullptr; });
}

void TThreadDownHtmlCode::run(std::stop_token stop) {
    Connection connection;
    for (;;) {
        Job job;
        // Its own stop, so that abandoning one download leaves the thread for the next.
        std::stop_source thisOne;
        {
            std::unique_lock lock(mutex_);
            if (!jobReady_.wait(lock, stop, [this] { return pending_.has_value(); })) return;
            job = std::move(*pending_);
            pending_.reset();
            inHand_ = &thisOne;
        }
        {
            std::stop_callback ending(stop, [&thisOne] { thisOne.request_stop(); });
            download(job, connection, thisOne.get_token());
        }
        {
            std::lock_guard lock(mutex_);
            inHand_ = nullptr;
        }
        idle_.notify_all();
        if (stop.stop_requested()) return;
    }
}

bool TThreadDownHtmlCode::waitToSend(const Job& job, std::stop_token stop) const {
    if (job.delay.count() > 0 && !sleepUntil(Clock::now() + job.delay, stop)) return false;
    if (httpAgent_->MinInterval <= 0) return true;
    return sleepUntil(HostPacer::shared().reserve(hostOf(job.url), milliseconds(httpAgent_->MinInterval)),
                      stop);
}

void TThreadDownHtmlCode::download(const Job& job, Connection& connection, std::stop_token stop) {
    std::string htmlCode;
    std::string errorCode;
    std::string errorInfo;
    PageStatus status = PageStatus::Run;
    std::optional<Failure> failure;
    if (!connection.ready()) {
        failure = Failure{"CurlError", "libcurl could not make its handles"};
    } else if (!waitToSend(job, stop)) {
        failure = Failure{"Aborted", "the download was stopped"};
    } else {
        Fetch fetch(connection.easy(), connection.multi(), job.url, *httpAgent_, gauge_);
        failure = fetch.perform(stop);
        if (!failure) htmlCode = fetch.takeBody();
    }
    if (failure) {
        status = PageStatus::Stop;
        errorInfo = failure->kind + "-" + failure->message;
        if (!stop.stop_requested()) errorCode = kDownErrorCode;
    } else {
        status = PageStatus::Finish;
    }
    TDownBean& bean = *job.bean;
    bean.setHtmlCode(std::move(htmlCode));
    bean.setErrorCode(std::move(errorCode));
    bean.setErrorInfo(std::move(errorInfo));
    if (failure && failure->detail.reason == FailReason::None)
        failure->detail.reason = reasonOf(failure->kind);
    bean.setFailure(failure ? failure->detail : DownFailure{});
    bean.setUrl(job.url);
    bean.setStatus(status); // last: from here on the bean belongs to its reader again
    if (job.signal) job.signal->notify();
}

bool fetchPage(std::string url, TDownBean& bean, std::shared_ptr<const THttpAgent> httpAgent,
               SlotProgress* gauge, std::stop_token stop, const std::function<bool()>& abandon) {
    DownSignal signal;
    TThreadDownHtmlCode download(std::move(url), bean, std::move(httpAgent), gauge, &signal);
    for (PageStatus status; (status = bean.status()) != PageStatus::Stop;) {
        if (status == PageStatus::Finish) return true;
        if (stop.stop_requested() || (abandon && abandon())) return false; // the download aborts as it ends
        // The longest the wait goes before it looks at the bean again.
        signal.wait(std::chrono::milliseconds(10), stop);
    }
    return false;
}

} // namespace vantor
