#include "ShopSearchJob.h"

#include "parse/TParseHtml.h"

namespace vantor {

ShopSearchJob::ShopSearchJob(const ShopSearchQuery& query, std::shared_ptr<const THttpAgent> agent,
                             std::vector<SlotProgress*> gauges, ShopSearchObserver& observer)
    : runner_(std::move(gauges), [&observer](const std::string& text) { observer.statusLine(text); }),
      observer_(observer) {
    param_.curPage = 0;
    param_.endPage = shopSearchEndPage(query.range);
    param_.urlPrefix = shopSearchAddress(query);
    param_.urlSuffix = " "; // every address ends in a blank after the offset
    param_.pageKind = 0;
    param_.httpAgent = std::move(agent);
}

ShopSearchJob::~ShopSearchJob() {
    stop();
    wait();
}

void ShopSearchJob::start() {
    thread_ = std::jthread([this] { run(); });
}

void ShopSearchJob::wait() {
    if (thread_.joinable()) thread_.join();
}

void ShopSearchJob::run() {
    auto page = [this](std::int32_t, const std::string& html) {
        observer_.searchTotal(TParseHtml::parseBracketCount(html));
        auto rows = TParseHtml::parseShopList(html);
        std::vector<TDianBaseInfo> shops;
        shops.reserve(rows.size());
        for (auto& entry : rows)
            shops.push_back(std::move(entry.record));
        listed_ += int(shops.size());
        observer_.shopsFound(shops);
    };
    JobEnd end = runner_.run(param_, 80, TDownCheck::kPlainMode, page);
    observer_.searchEnded(end, listed_, end == JobEnd::Failed ? runner_.error() : std::string());
}

} // namespace vantor
