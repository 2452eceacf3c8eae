#include "views/Dataset.h"
#include "db/TDM.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <limits>

using namespace vantor;
using namespace vantor::views;

namespace {

// Checks that appended rows follow on without a gap, as a model would hear them.
class Recorder : public DatasetObserver {
public:
    explicit Recorder(Dataset& rows) : rows_(rows) {}
    void aboutToReset() override {}
    void reset() override {}
    void aboutToAppend(std::size_t first, std::size_t last) override {
        EXPECT_EQ(first, rows_.rowCount());
        end = last + 1;
    }
    void appended() override { EXPECT_EQ(rows_.rowCount(), end); }
    void currentChanged() override {}
    std::size_t end = 0; // the row count the last append announced

private:
    Dataset& rows_;
};

class DatasetTest : public ::testing::Test {
protected:
    void SetUp() override {
        dm = std::make_unique<db::TDM>(dir / "lmd_pin.db");
        dm->open();
        // Every third buyer repeats the one above, so equal texts in a column are shared in the store;
        // every seventh time is null.
        dm->cn1().exec(
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000) "
            "INSERT INTO saleInfo (itemId, buyerName, amount, sj) SELECT 'big', "
            "CASE WHEN i % 3 = 0 THEN 'buyer' || (i - 1) ELSE 'buyer' || i END, i * 0.5, "
            "CASE WHEN i % 7 = 0 THEN NULL ELSE printf('2011-01-01 00:%02d:%02d', i / 60 % 60, i % 60) END "
            "FROM n");
    }

    Dataset bigItem(QueryReader::Mode mode) {
        Dataset rows([this] { return dm->openConnection(); },
                     "select id, buyerName, amount, sj from saleInfo where itemId=:item order by id", true,
                     mode);
        rows.setParameter("item", "big");
        return rows;
    }

    static void expectRow(Dataset& rows, std::size_t row) {
        const std::int64_t i = std::int64_t(row) + 1;
        ASSERT_EQ(rows.value(row, 0), db::Value(i)) << row; // xh
        ASSERT_EQ(rows.value(row, 1), db::Value(i)) << row;
        std::string buyer = "buyer" + std::to_string(i % 3 == 0 ? i - 1 : i);
        ASSERT_EQ(rows.displayText(row, 2), buyer) << row;
        ASSERT_EQ(rows.value(row, 3), db::Value(double(i) * 0.5)) << row;
        ASSERT_EQ(rows.value(row, 4).index(), i % 7 == 0 ? 0u : 3u) << row;
    }

    test::TempDir dir;
    std::unique_ptr<db::TDM> dm;
};

} // namespace

TEST_F(DatasetTest, EveryRowArrivesInOrderWhicheverWayItIsRead) {
    // Read now, every row is there when open returns. In the background the first block shows at once
    // and the rest follows as the model polls, or all at once when the record count is asked for.
    enum Way { Now, Polled, Counted };
    for (Way way : {Now, Polled, Counted}) {
        SCOPED_TRACE(way);
        Dataset rows = bigItem(way == Now ? QueryReader::Mode::Now : QueryReader::Mode::Background);
        Recorder recorder(rows);
        rows.setObserver(&recorder);
        rows.open();
        ASSERT_EQ(rows.rowCount(), way == Now ? 5000u : RowBlock::kRows);
        EXPECT_EQ(rows.current(), 0);
        if (way == Polled)
            while (rows.takeArrived()) {
            }
        if (way == Counted) {
            EXPECT_EQ(rows.recordCount(), 5000u);
        }
        EXPECT_FALSE(rows.isLoading());
        ASSERT_EQ(rows.rowCount(), 5000u);
        if (way != Now) {
            EXPECT_EQ(recorder.end, 5000u); // the model heard of the last row
        }
        for (std::size_t row = 0; row < 5000; ++row)
            expectRow(rows, row);
    }
}

TEST_F(DatasetTest, ClosingWhileAReaderRunsStopsIt) {
    Dataset rows = bigItem(QueryReader::Mode::Background);
    rows.open();
    rows.close();
    EXPECT_FALSE(rows.isOpen());
    EXPECT_EQ(rows.rowCount(), 0u);
    EXPECT_EQ(rows.current(), -1);
}

TEST_F(DatasetTest, AStatementTheDatabaseRefusesFailsAtOpenAndLeavesTheDatasetClosed) {
    Dataset rows([this] { return dm->openConnection(); }, "select nothing from nowhere", false,
                 QueryReader::Mode::Background);
    EXPECT_THROW(rows.open(), db::DbError);
    EXPECT_FALSE(rows.isOpen());
    EXPECT_EQ(rows.fieldCount(), 0);
}

TEST_F(DatasetTest, AParameterNobodySetIsNullAndSelectsNothing) {
    Dataset rows = Dataset::standing(*dm, "itemAution_q", QueryReader::Mode::Now);
    rows.open();
    EXPECT_TRUE(rows.isOpen());
    EXPECT_EQ(rows.rowCount(), 0u);
    EXPECT_EQ(rows.fieldIndex("buyername"), rows.fieldIndex("BUYERNAME"));
}

TEST(RowStore, NumbersReadAsTheProgramWritesThemEverywhere) {
    for (double value : {0.1 + 0.2, 99.5, 1e20, 123456789.123456789, -0.25, 1.0 / 3, 5e-7, 0.0,
                         std::numeric_limits<double>::infinity()}) {
        std::string text;
        appendNumberText(text, value);
        EXPECT_EQ(text, db::valueToText(value)) << value;
    }
    for (std::int64_t value :
         {std::int64_t(0), std::int64_t(-42), std::numeric_limits<std::int64_t>::max()}) {
        std::string text;
        appendNumberText(text, value);
        EXPECT_EQ(text, db::valueToText(value));
    }
}
