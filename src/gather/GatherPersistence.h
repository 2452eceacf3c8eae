#pragma once

#include "base/DateTime.h"
#include "base/ProgressGauge.h"
#include "db/Database.h"
#include "market/Records.h"

#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vantor::gather {

// A save that failed, with the message the user sees.
class TSaveException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Saves of gathered records. They run on the caller's connection inside the caller's transaction and
// never open, commit or roll back one themselves. Texts are UTF-8 as the records hold them, and "the
// first N characters" counts characters.

// Inserts or updates the shop's row by its seller nickname and sets shop.id. An existing shop keeps
// its address, user id and category. Raises TSaveException.
void saveShopBase(TDianBaseInfo& shop, db::Database& db);

// Writes the 24 rating counters, scores, rates, credits and the levels derived from the credits.
void saveShopRates(const TRateBaseInfo& summary, const TDianBaseInfo& shop, db::Database& db);

// Inserts or updates the item's row; item.updateDate becomes the previous save time, or
// "1900-01-01 00:00:01" for a new item. Does nothing without a seller nickname or an item id.
void saveItem(TItemBaseInfo& item, const TDianBaseInfo& shop, db::Database& db);

// A shop's sales saved item by item as saveSales and saveNewSales below do, the items' new rows going in
// together at finish(): on a server one bulk statement for the shop instead of one per item. Until
// finish() the new rows are not in the table. Raises TSaveException.
class SalesBatch {
public:
    explicit SalesBatch(db::Database& db);
    int replace(const RecordList<TAutionInfo>& sales, const TItemBaseInfo& item, ProgressGauge* gauge);
    int addNew(const RecordList<TAutionInfo>& sales, const TItemBaseInfo& item);
    void finish();

private:
    void flushBefore(const std::string& itemId);

    db::Database& db_;
    std::vector<std::vector<db::Value>> rows_;
    std::set<std::string> items_;
};

// Replaces the item's sales from item.saleFromDate on. Sales arrive newest first; the walk stops at
// the first sale less than a whole day after the from-date, so that day's sales are deleted but not
// inserted again. Returns the sales inserted. Raises TSaveException.
int saveSales(const RecordList<TAutionInfo>& sales, const TItemBaseInfo& item, ProgressGauge* gauge,
              db::Database& db);

// Inserts the sales whose trade the item does not hold yet, whatever their date, and keeps every held
// one: a watch round that read only the newest pages of a buyer list adds what is new. Returns the
// sales inserted. Raises TSaveException.
int saveNewSales(const RecordList<TAutionInfo>& sales, const TItemBaseInfo& item, db::Database& db);

// Inserts the ratings, then removes the shop's duplicates by trade id, keeping the lowest id.
// Raises TSaveException.
void saveRatings(const RecordList<TRateInfo>& ratings, const TDianBaseInfo& shop, ProgressGauge* gauge,
                 db::Database& db);

// How many ratings of the shop the database holds.
int countRatings(const TDianBaseInfo& shop, db::Database& db);

enum class RatingBound { Newest, Oldest };

// pjupdate1 (newest) or pjupdate2 (oldest) of the shop as text. Raises TSaveException.
std::string readRatingBound(const TDianBaseInfo& shop, RatingBound which, db::Database& db);

// Recomputes pjupdate1 and pjupdate2 from the ratings held.
void updateRatingBounds(const TDianBaseInfo& shop, db::Database& db);

// Replaces the category's ranking snapshot of now's month with these rows (list order), each saved
// with updateDate = now: price as amount, cell22 as the 30-day sales, cell23 as the bookmarks. Returns
// the rows saved. Raises TSaveException.
int saveRankingSnapshot(const std::string& categoryId, const std::vector<TItemInfo>& rows,
                        const DateTime& now, db::Database& db);

// The level 0-15 of a credit count.
int creditLevel(std::int64_t credit);

// Splits at every separator; the piece after the last one is always added.
std::vector<std::string> splitText(std::string_view text, std::string_view separator);

} // namespace vantor::gather

// The exception keeps its name where the rest of the program meets it.
namespace vantor {
using gather::TSaveException;
} // namespace vantor
