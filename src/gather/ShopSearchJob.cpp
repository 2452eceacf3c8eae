#include "ShopSearchJob.h"

#include "GatherTexts.h"

#include "parse/TParseHtml.h"

namespace vantor::gather {

std::string searchSummary(JobEnd end, int listed, int total) {
    std::string text;
    if (end == JobEnd::Stopped)
        text = kSearchStopped;
    else if (listed == 0 && total == 0)
        text = end == JobEnd::Finished ? "共搜索到0家店铺" : "搜索失败，请查看状态栏的提示。";
    else
        text = "共搜索到" + std::to_string(total) + "家符合条件的店铺";
    // Rows listed before a stop or a failure stay, and say how many they are.
    if (listed > 0 && (end != JobEnd::Finished || listed != total))
        text += "，列出" + std::to_string(listed) + "家";
    return text;
}

ShopSearchJob::ShopSearchJob(const ShopSearchQuery& query, std::shared_ptr<const THttpAgent> agent,
                             std::vector<download::SlotProgress*> gauges, ShopSearchObserver& observer)
    : runner_(std::move(gauges), [&observer](const std::string& text) { observer.statusLine(text); }),
      observer_(observer) {
    param_.curPage = 0;
    param_.endPage = shopSearchEndPage(query.range);
    param_.urlPrefix = shopSearchAddress(query);
    param_.urlSuffix.assign(
        1, ' '); // every address ends in a blank after the offset (assign: GCC 12 warns wrongly on =)
    param_.pageKind = download::PageKind::SearchResult;
    param_.httpAgent = std::move(agent);
}

ShopSearchJob::~ShopSearchJob() {
    stop();
    wait();
}

void ShopSearchJob::start() {
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
    ended_.started();
    runner_.runAsync(param_, 80, download::PageJob::kPlainMode, page, [this](StageRunner::Outcome outcome) {
        observer_.searchEnded(outcome.end, listed_,
                              outcome.end == JobEnd::Failed ? outcome.error : std::string());
        ended_.ended();
    });
}

void ShopSearchJob::wait() {
    ended_.wait();
}

} // namespace vantor::gather
