#pragma once

#include "CsvExport.h"
#include "Dataset.h"
#include "DeleteRoutine.h"
#include "GridTitles.h"
#include "base/DateTime.h"
#include "db/TDM.h"

#include <optional>
#include <string>
#include <vector>

namespace vantor::views {

inline constexpr const char* kDeleteRankingQuestion = "是否真的要删除此类目当月的排行数据?";
inline constexpr const char* kDeleteRankingFailed =
    "无法删除，数据可能被破坏了，请删除目录重新安装或到官方网站寻求帮助！";

inline constexpr const char* kDeleteYearRankingQuestion = "是否真的要删除此类目全年的排行数据?";

// The choices of the ranking data view: a category of the category-browse table, a month or the
// whole year, a sort key and its direction, and the year.
struct RankingChoice {
    int category = 0;
    int month = 1; // 0 "全年": every month of the year, told apart by their update dates
    int sortName = 0;
    bool descending = true;
    int year = 0; // 0: the year of the moment the view is asked
};

// The monthly item rankings the category ranking gathering saved, one category and a month or a whole
// year at a time; the shown ranking is deleted or exported.
class RankingDataView {
public:
    RankingDataView(const db::TDM& dm, QueryReader::Mode mode);
    RankingDataView(const RankingDataView&) = delete;
    RankingDataView& operator=(const RankingDataView&) = delete;

    Dataset& ranking() { return ranking_; }
    GridTitles& grid() { return grid_; }

    static const std::vector<std::string>& monthEntries(); // "全年", "一月" … "十二月"
    static const std::vector<std::string>& sortEntries(); // "销售数量", "销售金额", "销售单价", "收藏人数"
    static std::string sortKey(int sortName, bool descending);

    // The years that hold saved rankings and the current one, newest first.
    std::vector<int> savedYears(int currentYear);
    // The category, month and year of the newest saved ranking; none when nothing is saved.
    std::optional<RankingChoice> newestSaved();
    static const char* deleteQuestion(const RankingChoice& choice);

    void query(const RankingChoice& choice, const DateTime& now);
    // Deletes the ranking the choice selects and shows what is left.
    DeleteResult deleteRanking(const RankingChoice& choice, const DateTime& now);

    ExportJob exportJob();
    std::string itemLink() const;

private:
    ViewConnection connection_;
    Dataset ranking_;
    GridTitles grid_;
};

} // namespace vantor::views
