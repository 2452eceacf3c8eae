#include "TDM.h"

#include "base/TextNumbers.h"

#include <chrono>
#include <stdexcept>
#include <thread>

namespace vantor::db {

extern const char* const kSchemaSql; // generated from schema.sql

std::string_view schemaSql() {
    return kSchemaSql;
}

void ensureSchema(Database& db) {
    db.ensureSchema();
}

TDM::TDM(Store store) : store_(std::move(store)) {}

namespace {

// Reads through the file mapped into memory instead of copying page after page through read(): an
// analysis of a million rows spends a third less time.
constexpr const char* kConnectionPragmas =
    "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA mmap_size=1073741824;";

// Runs a step of opening the file again while another program holds a lock SQLite does not wait for
// by itself: switching a new file to WAL, or recovering one, happens once while several programs may
// open it at the same moment.
template <class Step> void whileBusy(Step step) {
    const auto until = std::chrono::steady_clock::now() + kLockWaitLimit;
    for (;;) {
        try {
            step();
            return;
        } catch (const DbError& e) {
            if ((e.code() & 0xff) != 5 /* SQLITE_BUSY */ || std::chrono::steady_clock::now() > until) throw;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
}

} // namespace

Database TDM::openConnection() const {
    if (store_.isPostgres()) return Database::connect(store_.url);
    Database db(store_.file, Database::Mode::OpenExisting);
    whileBusy([&] { db.exec(kConnectionPragmas); });
    return db;
}

void TDM::useStore(Store store) {
    cn1_.close();
    store_ = std::move(store);
}

void TDM::open() {
    if (cn1_.isOpen()) return;
    if (store_.isPostgres()) {
        Database db = Database::connect(store_.url);
        ensureSchema(db);
        cn1_ = std::move(db);
        return;
    }
    Database db(store_.file, Database::Mode::CreateIfMissing);
    // A file that is not a database fails here, not at the first view that reads it.
    whileBusy([&] { db.exec(kConnectionPragmas); });
    whileBusy([&] { ensureSchema(db); });
    cn1_ = std::move(db);
}

Database& TDM::cn1() {
    open();
    return cn1_;
}

const std::vector<StandingQuery>& TDM::standingQueries() {
    static const std::vector<StandingQuery> queries = {
        {"dianBase_v",
         "select b.rateNums,(a.salerGood1+a.salerBad1+a.salerNotBad1) as "
         "salerWeekRate,(a.salerGood2+a.salerBad2+"
         "a.salerNotBad2) as salerMonthRate,(a.salerGood3+a.salerBad3+a.salerNotBad3) as "
         "salerYearRate,(a.salerGood4+"
         "a.salerBad4+a.salerNotBad4) as salerLastYearRate,a.* from dianbase a RIGHT JOIN dianbase_rate_v b "
         "on "
         "a.id=b.dian_id ",
         true},
        {"itemInfo_v",
         "select * from itemInfoV where dian_id=:dianid order by monthSale desc,favorite desc,updateDate "
         "desc ,itemId "
         "desc",
         true},
        {"rateInfo_q", "select * from pjinfo where dian_id=:id order by pjsj desc", false},
        {"itemAution_q",
         "select id,itemId,trade_id,itemTitle,amount,buyername,buyerId,sj,buynum,getnum,status from saleInfo "
         "where "
         "itemId=:item_Id order by sj desc",
         false},
        {"itemAution_q1",
         "select sum(getNum) as getNums,avg(getNum) as avgNum,sum(getNum*amount) as totalAmount  from "
         "saleInfo where "
         "itemId=:item_Id group by itemId",
         false},
        {"histtoryShop", "select * from dianbase  order by updateDate desc", false},
        {"historyItem",
         "select a.*,b.dianzhu,b.dianming from itemInfoV a,dianbase b where a.dian_id=b.id   order by "
         "a.updateDate "
         "desc",
         false},
        {"saleShopList",
         "select distinct "
         "dian_id,dianming,dianzhu,dianupdateDate,createDate,salerGoodRate,salerCredit,saleLevel,"
         "webaddr,addr,loc,commodityNum from itemInfoV",
         true,
         // The file reads the view by its shop index, so the shops come in the order of their ids.
         " order by dian_id"},
    };
    return queries;
}

std::string TDM::standingSql(std::string_view name) const {
    const StandingQuery& query = standingQuery(name);
    std::string sql(query.sql);
    if (store_.isPostgres()) sql += query.serverOrder;
    return sql;
}

const StandingQuery& TDM::standingQuery(std::string_view name) {
    for (auto& query : standingQueries())
        if (sameName(query.name, name)) return query;
    throw std::out_of_range("no standing query " + std::string(name));
}

} // namespace vantor::db
