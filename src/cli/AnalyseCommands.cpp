#include "Cli.h"

#include "charts/Analysis.h"
#include "charts/RatingAnalysis.h"
#include "db/TDM.h"

#include <iostream>
#include <memory>

namespace vantor::cli {

namespace {

// Paths of the written documents go to standard output, one a line, for scripts; the messages are
// kept for the exit the command chooses.
class PathPrinter : public charts::AnalysisObserver {
public:
    void showMessage(const std::string& text) override { message = text; }
    void documentWritten(const std::filesystem::path& file) override { std::cout << file.string() << '\n'; }
    void reportCard(const std::vector<charts::CheckLine>& lines) override {
        for (const auto& line : lines)
            std::cout << (line.pass ? "【通过】" : "【警告】") << line.item << "：" << line.figure
                      << "（阈值：" << line.threshold << "）\n";
    }
    std::string message;
};

// Dates are bound as text and compared with the stored "yyyy-MM-dd HH:mm:ss", so only the one form
// compares correctly.
const CLI::Validator dateText(
    [](std::string& text) -> std::string {
        auto date = DateTime::parse(text);
        return date && date->toDateString() == text ? "" : "日期格式应为 yyyy-MM-dd：" + text;
    },
    "yyyy-MM-dd");

struct AnalyseOptions {
    std::string kind;
    std::int64_t shop = 0;
    std::string from;
    std::string to;
};

void analyse(const Context& context, const AnalyseOptions& options) {
    DataFolder data = context.folder();
    auto store = context.openStore();
    db::TDM& dm = *store;

    const charts::Analysis* analysis = nullptr;
    for (const auto* candidate : charts::allAnalyses())
        if (candidate->name == options.kind) analysis = candidate;

    charts::DateRange range = charts::defaultDateRange(DateTime::now());
    std::optional<charts::AnalysisRequest> request;
    for (const auto& shop : charts::loadShopList(dm.cn1(), *analysis))
        if (shop.id == options.shop)
            request =
                charts::AnalysisRequest{shop.id, shop.name, options.from.empty() ? range.from : options.from,
                                        options.to.empty() ? range.to : options.to};

    PathPrinter printer;
    auto result = charts::runAnalysis(dm.cn1(), charts::Gallery(data), *analysis, request, printer);
    if (result.outcome == charts::AnalysisOutcome::NoShop) throw CLI::ValidationError(printer.message);
    if (result.outcome == charts::AnalysisOutcome::Failed)
        throw JobFailed(printer.message + " " + result.error);
}

} // namespace

void addAnalyseCommand(CLI::App& app, Context& context) {
    auto options = std::make_shared<AnalyseOptions>();
    std::vector<std::string> kinds;
    for (const auto* analysis : charts::allAnalyses())
        kinds.emplace_back(analysis->name);

    auto* command =
        app.add_subcommand("analyse", "销售与评价分析：把图表和列表文档写入数据目录的 gallery，并列出它们");
    command
        ->add_option("kind", options->kind,
                     "ranking 销售排行 | time 销售时间分布 | trend 销售趋势 | rating-trend 评价走势 | "
                     "rating-check 评价真实度（另列出体检表）")
        ->required()
        ->check(CLI::IsMember(kinds));
    command->add_option("--shop", options->shop, "店铺序号（dianbase.id）")->required();
    command->add_option("--from", options->from, "开始日期 yyyy-MM-dd（默认：今年 1 月 1 日）")
        ->check(dateText);
    command->add_option("--to", options->to, "结束日期 yyyy-MM-dd（默认：今天）")->check(dateText);
    command->callback([&context, options] { analyse(context, *options); });
}

} // namespace vantor::cli
