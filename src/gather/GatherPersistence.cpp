#include "GatherPersistence.h"

#include "base/DateTime.h"
#include "base/TDateTools.h"

#include <cmath>
#include <cstdlib>

namespace vantor::gather {

using db::Conflicts;
using db::Database;
using db::DbError;
using db::Statement;
using db::Value;

namespace {

// The first count characters of a UTF-8 text.
std::string firstCharacters(std::string_view text, size_t count) {
    size_t chars = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80 && chars++ == count)
            return std::string(text.substr(0, i));
    }
    return std::string(text);
}

// Dates go into the database in the one form; a text that is no date is kept as it came.
std::string dateText(std::string_view text) {
    auto date = DateTime::parse(text);
    return date ? date->toString() : std::string(text);
}

std::string now() {
    return DateTime::now().toString();
}

std::int64_t shopId(const TDianBaseInfo& shop) {
    return std::stoll(shop.id);
}

// Runs body and turns any database failure into the user's message.
template <class Body> void orFail(const char* message, Body&& body) {
    try {
        body();
    } catch (const DbError& e) {
        if (e.conflict()) throw; // the caller saves again
        throw TSaveException(message);
    } catch (const std::exception&) {
        throw TSaveException(message);
    }
}

constexpr const char* kShopSaveError = "保存店铺基本信息出错！";
// The sales save reports with the rating save's words; users know the message by them.
constexpr const char* kListSaveError = "保存店铺评价列表出错！";

} // namespace

int creditLevel(std::int64_t credit) {
    static const std::int64_t upper[] = {3,    10,   40,    90,    150,   250,    500,    1000,
                                         2000, 5000, 10000, 20000, 50000, 100000, 200000, 500000};
    if (credit < 0 || credit > 500000) return 0;
    for (int level = 0; level < 16; ++level)
        if (credit <= upper[level]) return level;
    return 0;
}

void saveShopBase(TDianBaseInfo& shop, Database& db) {
    if (shop.dianzhu.empty()) throw TSaveException("参数错误！");
    // What an update and an insert both write; the two statements spell the credit's name differently.
    auto bindShopFields = [&shop](Statement& st, const char* creditName) -> Statement& {
        return st.bind("dianzhu", shop.dianzhu)
            .bind("addr", shop.addr)
            .bind("dianming", shop.dianming)
            .bind("loc", shop.loc)
            .bind("commodityNum", shop.commodityNum)
            .bind("updateDate", now())
            .bind(creditName, shop.salerCredit)
            .bind("buyerCredit", shop.buyerCredit)
            .bind("favorite", shop.favorite)
            .bind("createDate", dateText(shop.createDate));
    };
    orFail(kShopSaveError, [&] {
        auto find = db.prepare("select * from dianBase where dianzhu=:un");
        find.bind("un", shop.dianzhu);
        if (find.step()) {
            shop.id = std::to_string(find.integer(*find.columnIndex("id")));
            find.reset();
            auto update = db.prepare("update dianbase set "
                                     "addr=:addr,dianming=:dianming,loc=:loc,commodityNum=:commodityNum,"
                                     "updateDate=:updateDate,salerCredit=:"
                                     "sellercredit,buyerCredit=:buyerCredit,favorite=:favorite,createDate=:"
                                     "createDate,isSend=0,flag=0 where "
                                     "dianzhu=:dianzhu");
            bindShopFields(update, "sellercredit");
            update.execute();
            return;
        }
        find.reset();
        auto insert = db.prepare("insert into dianbase "
                                 "(dianzhu,addr,dianming,commodityNum,loc,updateDate,commodityKind,webaddr,"
                                 "salerCredit,buyerCredit,favorite,"
                                 "createDate,userId) "
                                 "values(:dianzhu,:addr,:dianming,:commodityNum,:loc,:updateDate,:"
                                 "commodityKind,:webaddr,:sellerCredit,:"
                                 "buyerCredit,:favorite,:createDate,:userId)");
        bindShopFields(insert, "sellerCredit")
            .bind("commodityKind", "")
            .bind("webaddr", shop.webaddr)
            .bind("userId", shop.userId);
        insert.execute();
        auto added = db.prepare("select * from dianbase where dianzhu=:dianzhu");
        added.bind("dianzhu", shop.dianzhu);
        if (!added.step()) throw DbError("the new shop row is missing");
        shop.id = std::to_string(added.integer(*added.columnIndex("id")));
    });
}

void saveShopRates(const TRateBaseInfo& r, const TDianBaseInfo& shop, Database& db) {
    int saleLevel = creditLevel(r.salerCredit);
    int buyLevel = creditLevel(r.buyerCredit);
    // Kept as users' data has always had it: buyer level 13 lands in the seller's column.
    if (r.buyerCredit >= 50001 && r.buyerCredit <= 100000) {
        saleLevel = 13;
        buyLevel = 0;
    }
    auto st = db.prepare(
        "update dianbase set "
        "buyerBad1=:buyerBad1,buyerBad2=:buyerBad2,buyerBad3=:buyerBad3,buyerBad4=:buyerBad4 ,buyerNotBad1=:"
        "buyerNotBad1,buyerNotBad2=:buyerNotBad2,buyerNotBad3=:buyerNotBad3,buyerNotBad4=:buyerNotBad4,"
        "buyerGood1=:"
        "buyerGood1,buyerGood2=:buyerGood2,buyerGood3=:buyerGood3,buyerGood4=:buyerGood4,salerBad1=:"
        "salerBad1,"
        "salerBad2=:salerBad2,salerBad3=:salerBad3,salerBad4=:salerBad4,salerNotBad1=:salerNotBad1,"
        "salerNotBad2=:"
        "salerNotBad2,salerNotBad3=:salerNotBad3,salerNotBad4=:salerNotBad4,salerGood1=:salerGood1,"
        "salerGood2=:"
        "salerGood2,salerGood3=:salerGood3,salerGood4=:salerGood4,itemGoal=:itemGoal,serviceGoal=:"
        "serviceGoal,"
        "consignGoal=:consignGoal,virtualGoal=:virtualGoal,realGoal=:realGoal,salerGoodRate=:salerGoodRate,"
        "buyerGoodRate=:buyerGoodRate,buylevel=:buylevel,buyerCredit=:buyerCredit,saleLevel=:saleLevel,"
        "salerCredit=:"
        "salerCredit  where id=:dianId");
    st.bind("buyerBad1", r.buyerBad1).bind("buyerBad2", r.buyerBad2).bind("buyerBad3", r.buyerBad3);
    st.bind("buyerBad4", r.buyerBad4)
        .bind("buyerNotBad1", r.buyerNotBad1)
        .bind("buyerNotBad2", r.buyerNotBad2);
    st.bind("buyerNotBad3", r.buyerNotBad3)
        .bind("buyerNotBad4", r.buyerNotBad4)
        .bind("buyerGood1", r.buyerGood1);
    st.bind("buyerGood2", r.buyerGood2).bind("buyerGood3", r.buyerGood3).bind("buyerGood4", r.buyerGood4);
    st.bind("salerBad1", r.salerBad1).bind("salerBad2", r.salerBad2).bind("salerBad3", r.salerBad3);
    st.bind("salerBad4", r.salerBad4)
        .bind("salerNotBad1", r.salerNotBad1)
        .bind("salerNotBad2", r.salerNotBad2);
    st.bind("salerNotBad3", r.salerNotBad3)
        .bind("salerNotBad4", r.salerNotBad4)
        .bind("salerGood1", r.salerGood1);
    st.bind("salerGood2", r.salerGood2).bind("salerGood3", r.salerGood3).bind("salerGood4", r.salerGood4);
    st.bind("itemGoal", r.itemGoal).bind("serviceGoal", r.serviceGoal);
    st.bind("consignGoal", r.consignGoal).bind("virtualGoal", r.virtualGoal).bind("realGoal", r.realGoal);
    st.bind("salerGoodRate", r.salerGoodRate).bind("buyerGoodRate", r.buyerGoodRate);
    st.bind("buylevel", buyLevel).bind("buyerCredit", r.buyerCredit).bind("saleLevel", saleLevel);
    st.bind("salerCredit", r.salerCredit).bind("dianId", shopId(shop));
    st.execute();
}

void saveItem(TItemBaseInfo& item, const TDianBaseInfo& shop, Database& db) {
    if (shop.dianzhu.empty() || item.itemId.empty()) return;
    auto find = db.prepare("select * from itemInfo where itemId=:itemId");
    find.bind("itemId", item.itemId);
    std::string title = firstCharacters(item.itemTitle, 60);
    std::string savedAt = now();
    if (find.step()) {
        item.updateDate = find.text(*find.columnIndex("updateDate"));
        find.reset();
        auto update = db.prepare(
            "update itemInfo set "
            "updateDate=:updateDate,itemTitle=:itemTitle,curSale=:curSale,monthSale=:monthSale,"
            "favorite=:favorite,addr=:addr,curPrice=:curPrice,isSend=0,flag=0 where itemId=:itemId");
        update.bind("updateDate", savedAt)
            .bind("itemTitle", title)
            .bind("curSale", item.curSale)
            .bind("monthSale", item.monthSale)
            .bind("favorite", item.favorite)
            .bind("addr", item.addr)
            .bind("curPrice", item.curPrice)
            .bind("itemId", item.itemId);
        update.execute();
        return;
    }
    find.reset();
    auto insert = db.prepare(
        "insert into itemInfo "
        "(dian_Id,itemId,itemTitle,itemAutionUrl,updateDate,curSale,monthSale,favorite,addr,curPrice) "
        "values(:dianId,:itemId,:itemTitle,:itemAutionUrl,:updateDate,:curSale,:monthSale,:favorite,:addr,:"
        "curPrice)");
    insert.bind("dianId", shopId(shop))
        .bind("itemId", item.itemId)
        .bind("itemTitle", title)
        .bind("itemAutionUrl", item.itemAutionUrl)
        .bind("updateDate", savedAt)
        .bind("curSale", item.curSale)
        .bind("monthSale", item.monthSale)
        .bind("favorite", item.favorite)
        .bind("addr", item.addr)
        .bind("curPrice", item.curPrice);
    insert.execute();
    item.updateDate = kNeverSaved;
}

namespace {

// A sale's columns and values as saleInfo keeps them. On a server store a sale another program saved
// meanwhile is there once already: the saves pass over a sale whose trade the item has.
const std::vector<std::string> kSaleColumns = {"itemId",  "trade_id", "itemtitle", "amount", "buyername",
                                               "buyerId", "sj",       "buynum",    "getnum", "status"};

std::vector<Value> saleRow(const std::string& itemId, const TAutionInfo& sale, const DateTime& sold) {
    return {itemId,          sale.tradeId,   firstCharacters(sale.itemTitle, 60),
            sale.amount,     sale.buyerName, sale.buyerId,
            sold.toString(), sale.buyNum,    sale.buyNum,
            sale.status};
}

} // namespace

SalesBatch::SalesBatch(Database& db) : db_(db) {}

// An item met again in the batch (an item list that named it twice) finds its earlier rows in the table,
// as it would have if each item were saved on its own.
void SalesBatch::flushBefore(const std::string& itemId) {
    if (items_.insert(itemId).second) return;
    finish();
    items_.insert(itemId);
}

int SalesBatch::addNew(const RecordList<TAutionInfo>& sales, const TItemBaseInfo& item) {
    int inserted = 0;
    orFail(kListSaveError, [&] {
        flushBefore(item.itemId);
        auto held = db_.prepare("select count(*) from saleInfo where itemId=:itemId and trade_id=:trade_id");
        for (const auto& [text, sale] : sales) {
            auto sold = DateTime::parse(sale.sj);
            if (!sold) throw TSaveException(kListSaveError);
            held.bind("itemId", item.itemId).bind("trade_id", sale.tradeId);
            const bool known = held.step() && held.integer(0) > 0;
            held.reset();
            if (known) continue;
            rows_.push_back(saleRow(item.itemId, sale, *sold));
            ++inserted;
        }
    });
    return inserted;
}

int SalesBatch::replace(const RecordList<TAutionInfo>& sales, const TItemBaseInfo& item,
                        ProgressGauge* gauge) {
    int inserted = 0;
    orFail(kListSaveError, [&] {
        flushBefore(item.itemId);
        std::string from = dateText(item.saleFromDate);
        auto fromDate = DateTime::parse(item.saleFromDate);
        if (!fromDate) throw TSaveException(kListSaveError);
        auto remove = db_.prepare("delete from saleInfo where sj>=:sj and itemId=:itemId");
        remove.bind("sj", from).bind("itemId", item.itemId);
        remove.execute();
        if (gauge) gauge->setMaximum(int(sales.size()));
        int position = 0;
        for (const auto& [text, sale] : sales) {
            ++position;
            auto sold = DateTime::parse(sale.sj);
            if (!sold) throw TSaveException(kListSaveError);
            if (TDateTools::difference(TDateTools::Days, *sold, *fromDate) < 1) {
                if (gauge) gauge->setPosition(position);
                break;
            }
            rows_.push_back(saleRow(item.itemId, sale, *sold));
            ++inserted;
            if (gauge) gauge->setPosition(position);
        }
        if (gauge) gauge->setPosition(100);
    });
    return inserted;
}

void SalesBatch::finish() {
    if (rows_.empty()) return;
    orFail(kListSaveError, [&] {
        size_t next = 0;
        db_.bulkInsert(
            "saleInfo", kSaleColumns,
            [&](std::vector<Value>& row) {
                if (next == rows_.size()) return false;
                row = std::move(rows_[next++]);
                return true;
            },
            Conflicts::Skip);
    });
    rows_.clear();
    items_.clear();
}

int saveNewSales(const RecordList<TAutionInfo>& sales, const TItemBaseInfo& item, Database& db) {
    SalesBatch batch(db);
    const int inserted = batch.addNew(sales, item);
    batch.finish();
    return inserted;
}

int saveSales(const RecordList<TAutionInfo>& sales, const TItemBaseInfo& item, ProgressGauge* gauge,
              Database& db) {
    SalesBatch batch(db);
    const int inserted = batch.replace(sales, item, gauge);
    batch.finish();
    return inserted;
}

void saveRatings(const RecordList<TRateInfo>& ratings, const TDianBaseInfo& shop, ProgressGauge* gauge,
                 Database& db) {
    orFail(kListSaveError, [&] {
        std::int64_t id = shopId(shop);
        auto insert =
            db.prepare("insert into pjinfo(dian_id,pj,pjsj,trade_id,itemid,itemtitle,pjName,jg,pjinfo,pjjs)  "
                       "values(:dianId,:pj,:pjsj,:trade_id,:itemid,:itemtitle,:pjName,:jg,:pjinfo,:pjjs) "
                       // A server store keeps the older rating of a trade at once; the file, below.
                       "on conflict do nothing");
        int count = int(ratings.size());
        if (gauge) gauge->setMaximum(count + int(std::lround(count * 0.1)));
        int position = 0;
        for (const auto& [text, rating] : ratings) {
            insert.bind("dianId", id)
                .bind("pj", rating.pj)
                .bind("pjsj", dateText(rating.pjsj))
                .bind("trade_id", firstCharacters(rating.tradeId, 20))
                .bind("itemid", firstCharacters(rating.itemId, 36))
                .bind("itemtitle", firstCharacters(rating.itemTitle, 60))
                .bind("pjName", firstCharacters(rating.pjName, 20))
                .bind("jg", rating.jg)
                .bind("pjinfo", rating.pjInfo)
                .bind("pjjs", rating.pjjs);
            insert.execute();
            if (gauge) gauge->setPosition(++position);
        }
        auto noEffect =
            db.prepare("insert or ignore into pjNoEffect(dian_id,trade_id) values(:dianId,:tradeId)");
        for (const auto& [text, rating] : ratings)
            if (!rating.counts) {
                noEffect.bind("dianId", id).bind("tradeId", firstCharacters(rating.tradeId, 20));
                noEffect.execute();
            }
        auto dedupe =
            db.prepare(std::string("delete from pjinfo where trade_id  in ") +
                       " (select trade_id from pjinfo where dian_id=:dian_id1 group by " +
                       " trade_id having count(*)>1)  and id " +
                       " not in (select min(id) from pjinfo where  dian_id=:dian_id2 group by trade_id" +
                       "  having count(*)>1) and dian_id=:dian_id3 ");
        dedupe.bind("dian_id1", id).bind("dian_id2", id).bind("dian_id3", id);
        dedupe.execute();
    });
}

int saveRankingSnapshot(const std::string& categoryId, const std::vector<TItemInfo>& rows,
                        const DateTime& now, Database& db) {
    orFail("保存商品排行数据出错！", [&] {
        // The month's snapshot goes by the ranking view's own selection, so what it shows is replaced.
        auto remove =
            db.prepare("delete from itemTop where typeid=:typeId and datePart('m',updateDate)=:date1 and "
                       "datePart('yyyy',updateDate)=datePart('yyyy',:now)");
        remove.bind("typeId", categoryId).bind("date1", now.month).bind("now", now.toString());
        remove.execute();
        auto insert = db.prepare(
            "insert into itemTop(typeId,dianzhu,itemUrl,itemTitle,shipping,favorite,monthSale,amount,place,"
            "updateDate) values(:typeId,:dianzhu,:itemUrl,:itemTitle,:shipping,:favorite,:monthSale,:amount,"
            ":place,:updateDate)");
        for (const TItemInfo& row : rows) {
            insert.bind("typeId", categoryId)
                .bind("dianzhu", row.dianzhu)
                .bind("itemUrl", row.itemUrl)
                .bind("itemTitle", row.itemTitle)
                .bind("shipping", std::strtod(row.shipping.c_str(), nullptr))
                .bind("favorite", std::int64_t(std::strtoll(row.cell23.c_str(), nullptr, 10)))
                .bind("monthSale", std::int64_t(std::strtoll(row.cell22.c_str(), nullptr, 10)))
                .bind("amount", std::strtod(row.price.c_str(), nullptr))
                .bind("place", row.place)
                .bind("updateDate", now.toString());
            insert.execute();
        }
    });
    return int(rows.size());
}

int countRatings(const TDianBaseInfo& shop, Database& db) {
    auto st = db.prepare("select count(*) from pjinfo where dian_id=:id");
    st.bind("id", shopId(shop));
    return st.step() ? int(st.integer(0)) : 0;
}

std::string readRatingBound(const TDianBaseInfo& shop, RatingBound which, Database& db) {
    if (shop.id.empty()) throw TSaveException("参数出错！");
    std::string bound;
    bool found = false;
    orFail(kListSaveError, [&] {
        auto st = db.prepare("select pjupdate1,pjupdate2 from dianbase where id=:id ");
        st.bind("id", shopId(shop));
        if (st.step()) {
            found = true;
            bound = st.text(which == RatingBound::Oldest ? 1 : 0);
        }
    });
    if (!found) throw TSaveException("找不到" + shop.dianming + "店铺，[更新日期]不能更新！");
    return bound;
}

void updateRatingBounds(const TDianBaseInfo& shop, Database& db) {
    std::int64_t id = shopId(shop);
    auto copy = [&](const char* select, const char* update) {
        auto newest = db.prepare(select);
        newest.bind("dianId", id);
        db::Value value = newest.step() ? newest.value(0) : db::Value{};
        newest.reset();
        auto write = db.prepare(update);
        write.bind("pjupdate", value).bind("id", id);
        write.execute();
    };
    copy("select pjsj from pjinfo where dian_id=:dianId order by pjsj desc limit 1",
         "update dianbase set pjupdate1=:pjupdate where id=:id ");
    copy("select pjsj from pjinfo where dian_id=:dianId order by pjsj limit 1",
         "update dianbase set pjupdate2=:pjupdate where id=:id ");
}

std::vector<std::string> splitText(std::string_view text, std::string_view separator) {
    std::vector<std::string> pieces;
    if (separator.empty()) {
        pieces.emplace_back(text);
        return pieces;
    }
    size_t start = 0;
    for (size_t at; (at = text.find(separator, start)) != std::string_view::npos;
         start = at + separator.size())
        pieces.emplace_back(text.substr(start, at - start));
    pieces.emplace_back(text.substr(start));
    return pieces;
}

} // namespace vantor::gather
