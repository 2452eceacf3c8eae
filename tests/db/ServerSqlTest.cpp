#include "db/ServerSql.h"

#include <gtest/gtest.h>

using vantor::db::serverStatement;

TEST(ServerStatement, ParametersAreNumberedByNameAndQuotedTextsAndCastsStay) {
    std::vector<std::string> names;
    EXPECT_EQ(serverStatement("select ':no', x::text from t where a=:Id and b>:least or c=:id", names),
              "select ':no', x::text from t where a=$1 and b>$2 or c=$1");
    EXPECT_EQ(names, (std::vector<std::string>{"id", "least"}));
    names.clear();
    EXPECT_EQ(serverStatement("INSERT OR IGNORE into pjNoEffect(dian_id) values(:shop)", names),
              "insert into pjNoEffect(dian_id) values($1) on conflict do nothing");
}

TEST(ServerStatement, ASubqueryInFromGetsANameWhereItHasNone) {
    std::vector<std::string> names;
    // The sales page's buyer count, as SQLite takes it.
    EXPECT_EQ(serverStatement("select count(*) as buyerNums from (select  distinct itemid,buyername  from "
                              "saleInfo where itemid=:item_Id )",
                              names),
              "select count(*) as buyerNums from (select  distinct itemid,buyername  from saleInfo where "
              "itemid=$1 ) as vantor_derived1");
    // Before a clause and nested; a name of its own, a function call and a quoted "from (" are left.
    EXPECT_EQ(serverStatement("select * from (select * FROM (select 1) ) where 1=1", names),
              "select * from (select * FROM (select 1) as vantor_derived2 ) as vantor_derived1 where 1=1");
    for (const char* kept : {"select * from (select 1) b where 1=1", "select * from (select 1) as b",
                             "select extract(year from (now()))", "select 'from (x)' from t"})
        EXPECT_EQ(serverStatement(kept, names), kept);
}
