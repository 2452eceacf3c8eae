#include "ViewsTest.h"
#include "views/DeleteRoutine.h"
#include "views/RatingDataView.h"
#include "views/SalesDataView.h"

using namespace vantor;
using namespace vantor::views;
using test::Texts;

namespace {

class DeleteTest : public test::ViewsTest {
protected:
    void SetUp() override {
        ViewsTest::SetUp();
        // Every deleted row leaves its table's name in a log, in the order of the deletes.
        dm->cn1().exec(R"sql(
CREATE TABLE deleted (seq INTEGER PRIMARY KEY, what TEXT);
CREATE TRIGGER log_sale AFTER DELETE ON saleInfo BEGIN INSERT INTO deleted (what) VALUES ('saleInfo'); END;
CREATE TRIGGER log_item AFTER DELETE ON itemInfo BEGIN INSERT INTO deleted (what) VALUES ('itemInfo'); END;
CREATE TRIGGER log_rate AFTER DELETE ON pjinfo BEGIN INSERT INTO deleted (what) VALUES ('pjinfo'); END;
CREATE TRIGGER log_shop AFTER DELETE ON dianbase BEGIN INSERT INTO deleted (what) VALUES ('dianbase'); END;
)sql");
    }

    // The tables in the order their rows went, each named once.
    Texts deletionOrder() {
        Texts order;
        db::Statement log = dm->cn1().prepare("select what from deleted order by seq");
        while (log.step())
            if (order.empty() || order.back() != log.text(0)) order.push_back(log.text(0));
        return order;
    }

    void refuseDeletingShops() {
        dm->cn1().exec("CREATE TRIGGER keep_shops BEFORE DELETE ON dianbase "
                       "BEGIN SELECT RAISE(ABORT, '店铺表只读'); END;");
    }
};

} // namespace

TEST_F(DeleteTest, AShopGoesWithItsSalesFirstThenItsItemsThenItsRow) {
    SalesDataView view(*dm, QueryReader::Mode::Now);
    view.formCreate();
    ASSERT_EQ(view.shops().currentText("dianzhu"), "张三");
    DeleteResult result = view.deleteShop();
    ASSERT_TRUE(result.done) << result.error;
    EXPECT_EQ(deletionOrder(), (Texts{"saleInfo", "itemInfo", "dianbase"}));
    EXPECT_EQ(count("select count(*) from saleInfo"), 1);
    EXPECT_EQ(count("select count(*) from itemInfo"), 1);
    EXPECT_EQ(count("select count(*) from dianbase where id=1"), 0);
    // The grids are read again: the items are those of whichever shop is current now.
    EXPECT_EQ(column(view.shops(), "dianzhu"), (Texts{"O'Neil"}));
    EXPECT_EQ(column(view.items(), "itemId"), (Texts{"2001"}));
    EXPECT_EQ(view.sales().rowCount(), 0u);
}

TEST_F(DeleteTest, AFailingStatementRollsBackTheOnesBeforeIt) {
    refuseDeletingShops();
    SalesDataView view(*dm, QueryReader::Mode::Now);
    view.formCreate();
    DeleteResult result = view.deleteShop();
    EXPECT_FALSE(result.done);
    EXPECT_NE(result.error.find("店铺表只读"), std::string::npos) << result.error;
    EXPECT_EQ(count("select count(*) from saleInfo"), 5);
    EXPECT_EQ(count("select count(*) from itemInfo"), 4);
    EXPECT_EQ(count("select count(*) from deleted"), 0);
    EXPECT_FALSE(dm->cn1().inTransaction());
    // The grids keep what they showed.
    EXPECT_EQ(column(view.shops(), "dianzhu"), (Texts{"张三", "O'Neil"}));
    EXPECT_EQ(view.items().rowCount(), 3u);
}

TEST_F(DeleteTest, AnItemGoesWithItsSalesAndTheItemGridIsReadAgain) {
    SalesDataView view(*dm, QueryReader::Mode::Now);
    view.formCreate();
    view.items().setCurrent(1); // 1001
    DeleteResult result = view.deleteItem();
    ASSERT_TRUE(result.done) << result.error;
    EXPECT_EQ(deletionOrder(), (Texts{"saleInfo", "itemInfo"}));
    EXPECT_EQ(count("select count(*) from saleInfo where itemId='1001'"), 0);
    EXPECT_EQ(count("select count(*) from itemInfo where itemId='1001'"), 0);
    EXPECT_EQ(column(view.items(), "itemId"), (Texts{"1002", "1003"}));
}

TEST_F(DeleteTest, TheRatingViewDeletesTheRatingsThenTheShop) {
    RatingDataView view(*dm, QueryReader::Mode::Now);
    view.formCreate();
    view.shops().setSort("id");
    ASSERT_EQ(view.shops().currentText("dianzhu"), "张三");
    DeleteResult result = view.deleteShop();
    ASSERT_TRUE(result.done) << result.error;
    EXPECT_EQ(deletionOrder(), (Texts{"pjinfo", "dianbase"}));
    EXPECT_EQ(count("select count(*) from pjinfo"), 1);
    EXPECT_EQ(view.shops().rowCount(), 1u);
}

TEST_F(DeleteTest, StatementsRunInTheGivenOrderAndAllOrNoneTakeEffect) {
    db::Database db = dm->openConnection();
    DeleteResult done = deleteInTransaction(
        db, {"delete from itemInfo where itemId=:id", "delete from saleInfo where itemId=:id"},
        {{"id", "1002"}});
    ASSERT_TRUE(done.done) << done.error;
    EXPECT_EQ(deletionOrder(), (Texts{"itemInfo", "saleInfo"}));

    DeleteResult failed = deleteInTransaction(db,
                                              {"delete from saleInfo where itemId=:id", "delete from nowhere",
                                               "delete from itemInfo where itemId=:id"},
                                              {{"id", "1001"}});
    EXPECT_FALSE(failed.done);
    EXPECT_NE(failed.error.find("nowhere"), std::string::npos) << failed.error;
    EXPECT_EQ(count("select count(*) from saleInfo where itemId='1001'"), 3);
    EXPECT_FALSE(db.inTransaction());
}
