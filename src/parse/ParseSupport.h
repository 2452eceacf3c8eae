#pragma once

// Pieces every page parser shares: clean-up, cached expressions, field conversion and the one routine
// that turns the rows of a page into a record list. Not part of the library's interface.

#include "Expressions.h"
#include "Regex.h"
#include "market/Records.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vantor::parse::detail {

std::shared_ptr<const Regex> compiled(Expression which);
std::shared_ptr<const Regex> compiled(std::string_view pattern);

// The twelve entity passes, in order, over text that is already lower case.
void decodeEntityPasses(std::string& text);

// Lower-cases the page, deletes every match of each erased expression in turn and, when asked, decodes
// the entities. Lower-casing first is what deleting with the lower-case flag of replaceAll amounts to.
std::string cleanPage(std::string_view page, std::initializer_list<Expression> erased, bool decodeEntities);

// The clean-up every parser runs unless it says otherwise: no "<br/>", no whitespace runs, entities
// decoded, lower case.
std::string standardCleanup(std::string_view page);

std::optional<Match> firstMatch(std::string_view subject, Expression which);
// Group n of the first match, or empty text when the expression does not match.
std::string firstGroup(std::string_view subject, Expression which, int group);

// Numbers as the page shows them. Text that is not one raises TParseException naming the text.
std::int32_t intField(std::string_view text);
double numberField(std::string_view text);

// Every row the expression finds, in page order, turned into records by `fill(match, list)`, which
// adds them. Rows the expression could not decide within its limits are counted on the list.
template <class T, class Fill> RecordList<T> collectRows(const Regex& row, std::string_view page, Fill fill) {
    RecordList<T> list;
    list.setSkippedRows(row.forEachMatch(page, [&](const Match& match) { fill(match, list); }));
    return list;
}

// Which group of an item list row feeds which field of TItemInfo; 0 leaves the field alone.
struct ItemRowGroups {
    int itemUrl = 0;
    int itemTitle = 0;
    int place = 0;
    int shipping = 0;
    int price = 0;
    int dianzhu = 0;
    int cell22 = 0;
    int cell23 = 0;
};

// Pages are GBK; a record leaves its parser with UTF-8 text, so nothing above parsing decodes again.
void decodeText(TDianBaseInfo& shop);
void decodeText(TItemBaseInfo& item);
void decodeText(TItemInfo& row);
void decodeText(TAutionInfo& sale);
void decodeText(TRateInfo& rating); // the rater's name with its decimal character references read
void decodeText(TRateBaseInfo& summary);

RecordList<TItemInfo> readItemRows(std::string_view cleanedPage, const Regex& row,
                                   const ItemRowGroups& groups);

} // namespace vantor::parse::detail
