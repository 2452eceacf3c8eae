#include "Cli.h"
#include "CsvTable.h"

#include "db/TDM.h"
#include "market/CategoryTable.h"
#include "views/RankingDataView.h"
#include "views/RatingDataView.h"
#include "views/SalesDataView.h"

#include <filesystem>
#include <iostream>
#include <memory>

namespace vantor::cli {

namespace {

constexpr auto kNow = views::QueryReader::Mode::Now;

// The export's progress on standard error, a line every tenth.
class StderrGauge : public ProgressGauge {
public:
    void setMaximum(int maximum) override { maximum_ = maximum; }
    void setPosition(int position) override {
        int tenth = maximum_ > 0 ? int(std::int64_t(position) * 10 / maximum_) : 10;
        if (tenth == shown_) return;
        shown_ = tenth;
        std::cerr << "已保存 " << position << "/" << maximum_ << '\n';
    }

private:
    int maximum_ = 0;
    int shown_ = -1;
};

struct ExportOptions {
    std::int64_t shop = 0;
    std::string item;
    int category = 0;
    int month = 1;
    std::string out;
    std::string encoding = "gbk";
    std::string format = "program";
    bool encodingGiven = false;
};

// The grid on standard output: its titles, then the cells as the window shows them.
void printGrid(views::Dataset& rows, const views::GridTitles& grid) {
    std::vector<std::string> cells;
    for (int c = 0; c < grid.columnCount(); ++c)
        cells.push_back(grid.column(c).title);
    printCsvRow(std::cout, cells);
    const auto fields = grid.resolve(rows);
    for (std::size_t row = 0, count = rows.recordCount(); row < count; ++row) {
        for (int c = 0; c < grid.columnCount(); ++c) {
            cells[size_t(c)].clear();
            grid.appendShownText(cells[size_t(c)], rows, row, c, fields[size_t(c)]);
        }
        printCsvRow(std::cout, cells);
    }
}

// A table on standard output as the window shows it, or the window's export into --out.
void emit(views::ExportJob job, const views::GridTitles& grid, const ExportOptions& options) {
    const std::string& out = options.out;
    const ExportFormat format = *exportFormatNamed(options.format);
    if (out.empty()) {
        printGrid(*job.rows, grid);
        return;
    }
    StderrGauge gauge;
    switch (exportToFile(job, out, &gauge, *exportEncodingNamed(options.encoding), format)) {
    case ExportOutcome::Locked:
        throw JobFailed(lockedWarning(out));
    case ExportOutcome::NoRows:
        std::cerr << "没有数据，没有写文件。\n";
        break;
    case ExportOutcome::Written:
        std::cout << "已导出到 " << std::filesystem::absolute(out).string() << '\n';
        break;
    }
}

// Runs one export; the views read every row before the command writes them.
void runExport(const Context& context, const std::string& table, const ExportOptions& options) {
    // The standard format is UTF-8 by definition: an encoding asked for with it is a mistake, not a wish.
    if (options.format == "standard" && options.encodingGiven)
        throw JobFailed("--encoding 只用于程序的导出格式（--format program），标准 CSV 总是 UTF-8。");
    auto dm = context.openStore();
    const DateTime now = DateTime::now();
    if (table == "sales-shops" || table == "sales-items" || table == "sales-records") {
        views::SalesDataView view(*dm, kNow);
        if (table == "sales-shops") {
            view.shops().open();
            return emit(view.shopExport(now), view.shopGrid(), options);
        }
        if (table == "sales-items") {
            view.items().setParameter("dianid", options.shop);
            view.items().open();
            return emit(view.itemExport(now), view.itemGrid(), options);
        }
        view.sales().setParameter("item_Id", options.item);
        view.sales().open();
        return emit(view.saleExport(now), view.saleGrid(), options);
    }
    if (table == "rating-shops" || table == "ratings") {
        views::RatingDataView view(*dm, kNow);
        if (table == "rating-shops") {
            view.formCreate();
            return emit(view.shopExport(now), view.shopGrid(), options);
        }
        view.ratings().setParameter("id", options.shop);
        view.ratings().open();
        return emit(view.ratingExport(now), view.rateGrid(), options);
    }
    views::RankingDataView view(*dm, kNow);
    view.query({options.category, options.month, 0, true}, now);
    emit(view.exportJob(), view.grid(), options);
}

// A delete from the command line takes everything of the shop: its sales, items and ratings, then the
// shop itself, in the data views' order, in one transaction.
std::vector<std::string_view> wholeShopStatements() {
    const auto& sales = views::deleteShopSalesStatements();
    const auto& ratings = views::deleteShopRatingsStatements();
    std::vector<std::string_view> statements(sales.begin(), sales.end() - 1);
    statements.insert(statements.end(), ratings.begin(), ratings.end());
    return statements;
}

// Deletes the rows of one key after checking that it names something.
void runDelete(const Context& context, const char* existsSql, const std::string& missing,
               const std::vector<std::string_view>& statements, const views::Parameter& key) {
    auto dm = context.openStore();
    db::Database db = dm->openConnection();
    db.setLockWait(printedLockWait());
    db::Statement exists = db.prepare(existsSql);
    exists.bind("key", key.value);
    const bool found = exists.step() && exists.integer(0) > 0;
    exists.reset();
    if (!found) throw JobFailed(missing);
    auto result = views::deleteInTransaction(db, statements, {key});
    if (!result.done) throw JobFailed(std::string(views::kDeleteFailed) + " " + result.error);
}

} // namespace

void addViewCommands(CLI::App& app, Context& context) {
    auto options = std::make_shared<ExportOptions>();
    auto* exportCommand =
        app.add_subcommand("export", "把数据浏览窗口的表格写到标准输出（UTF-8 CSV）或 --out 文件")
            ->require_subcommand(1);
    auto addFileOptions = [options](CLI::App* command) {
        command->add_option("--out", options->out, "写入此文件（格式见 --format）");
        command
            ->add_option(
                "--format", options->format,
                "--out 文件的格式：program（程序的导出格式，默认）或 standard（标准 CSV，UTF-8 带 BOM）")
            ->check(CLI::IsMember({"program", "standard"}));
        command
            ->add_option_function<std::string>(
                "--encoding",
                [options](const std::string& encoding) {
                    options->encoding = encoding;
                    options->encodingGiven = true;
                },
                "程序导出格式的编码：gbk（默认）或 utf8（带 BOM）；不能与 --format standard 同用")
            ->check(CLI::IsMember({"gbk", "utf8"}));
    };
    addFileOptions(exportCommand);
    auto table = [&](const char* name, const char* description) {
        auto* sub = exportCommand->add_subcommand(name, description);
        sub->callback([&context, options, name] { runExport(context, name, *options); });
        return sub;
    };
    table("sales-shops", "销售数据浏览：店铺");
    table("sales-items", "销售数据浏览：店铺的商品")
        ->add_option("--shop", options->shop, "店铺序号（dianbase.id）")
        ->required();
    table("sales-records", "销售数据浏览：商品的销售明细")
        ->add_option("--item", options->item, "商品 ID（itemId）")
        ->required();
    table("rating-shops", "评价数据浏览：掌柜");
    table("ratings", "评价数据浏览：店铺的评价")
        ->add_option("--shop", options->shop, "店铺序号（dianbase.id）")
        ->required();
    auto* ranking = table("ranking", "商品排行数据：今年某月某类目的排行");
    ranking->add_option("--category", options->category, "类目（类目表中的位置，从 0 起）")
        ->required()
        ->check(CLI::Range(0, int(market::categoryBrowseCategories().size()) - 1));
    ranking->add_option("--month", options->month, "月份 1..12")->required()->check(CLI::Range(1, 12));
    for (auto* sub : exportCommand->get_subcommands({}))
        addFileOptions(sub);

    auto* deleteCommand = app.add_subcommand("delete", "删除店铺或商品的数据")->require_subcommand(1);
    auto shopId = std::make_shared<std::int64_t>(0);
    auto itemId = std::make_shared<std::string>();
    deleteCommand->add_subcommand("shop", "删除店铺的销售、商品、评价和店铺本身")
        ->callback([&context, shopId] {
            runDelete(context, "select count(*) from dianbase where id=:key",
                      "店铺不存在：" + std::to_string(*shopId), wholeShopStatements(), {"dianId", *shopId});
        })
        ->add_option("ID", *shopId, "店铺序号（dianbase.id）")
        ->required();
    deleteCommand->add_subcommand("item", "删除商品和它的销售数据")
        ->callback([&context, itemId] {
            runDelete(context, "select count(*) from itemInfo where itemId=:key", "商品不存在：" + *itemId,
                      views::deleteItemStatements(), {"item_id", *itemId});
        })
        ->add_option("ITEMID", *itemId, "商品 ID（itemId）")
        ->required();
}

} // namespace vantor::cli
