#include "views/CsvExport.h"
#include "ViewsTest.h"

using namespace vantor;
using namespace vantor::views;

namespace {

// The GBK bytes of the sale records export of item 1001, written out by hand; GoogleTest prints a
// mismatch with \x escapes.
const std::string kHeader =
    "\xc9\xcc\xc6\xb7,\xb5\xb1\xc7\xb0\xbc\xdb\xb8\xf1,\xc2\xf2\xbc\xd2,"
    "\xb9\xba\xc2\xf2\xc8\xd5\xc6\xda,\xb9\xba\xc2\xf2\xca\xfd\xc1\xbf,"
    "\xb3\xc9\xbd\xbb\xca\xfd\xc1\xbf,\xb3\xc9\xbd\xbb\xd7\xb4\xcc\xac"; // 商品,当前价格,…,成交状态
// "春装 新款,连衣裙" made safe: the blank goes, the comma becomes "、".
const std::string kTitle = "\xb4\xba\xd7\xb0\xd0\xc2\xbf\xee\xa1\xa2\xc1\xac\xd2\xc2\xc8\xb9";
const std::string kDone = "\xb3\xc9\xbd\xbb"; // 成交

// The blank between date and time goes too; every data line ends with a comma.
const std::string kT1 = kTitle + ",10.5,buyerA,2011-02-0109:00:00,2,2," + kDone + ",\r\n";
const std::string kT2 = kTitle + ",20,buyerB,2011-02-0312:30:00,1,1," + kDone + ",\r\n";
const std::string kT3 = kTitle + ",1000,buyerA,2011-02-0218:00:00,3,3," + kDone + ",\r\n";
const std::string kSalesOf1001 = kHeader + "\r\n" + kT2 + kT3 + kT1; // newest sale first

class Gauge : public ProgressGauge {
public:
    void setMaximum(int value) override { maximum = value; }
    void setPosition(int value) override {
        EXPECT_GE(value, position);
        position = value;
    }
    int maximum = -1;
    int position = 0;
};

class CsvExportTest : public test::SalesViewTest {
protected:
    void SetUp() override {
        SalesViewTest::SetUp();
        view->items().setCurrent(1); // 1001
        ItemSummary summary;
        view->pageChange(SalesDataView::kSalePage, summary);
    }

    ExportJob sales() { return view->saleExport(DateTime{2011, 5, 20, 9, 30, 0}); }
};

} // namespace

TEST(CsvSafeText, CommasBecomeEnumerationCommasAndEveryBlankGoes) {
    EXPECT_EQ(csvSafeText("a, b\nc"), "a、bc");
    EXPECT_EQ(csvSafeText("   "), "");
    EXPECT_EQ(csvSafeText("\t1,2\r\n,3 \v\f"), "1、2、3");
    EXPECT_EQ(csvSafeText(",,"), "、、");
    EXPECT_EQ(csvSafeText("\"quoted\";x"), "\"quoted\";x");         // nothing is quoted or escaped
    EXPECT_EQ(csvSafeText("全角，逗号　空格"), "全角，逗号　空格"); // only ASCII blanks and commas change
}

TEST_F(CsvExportTest, TheSaleRecordsExportIsGbkWithCrLfAndATrailingCommaOnEveryDataLine) {
    StringSink sink;
    Gauge gauge;
    writeCsv(sales(), sink, &gauge);
    EXPECT_EQ(sink.bytes, kSalesOf1001);
    EXPECT_EQ(gauge.maximum, 3);
    EXPECT_EQ(gauge.position, 3);

    // A file gets the same bytes, an older and longer file replaced whole.
    const auto file = dir / "sales.csv";
    test::writeFile(file, std::string(4096, 'x'));
    EXPECT_EQ(exportToFile(sales(), file, nullptr), ExportOutcome::Written);
    EXPECT_EQ(test::readFile(file), kSalesOf1001);

    // The rows go in the grid's sort order.
    view->saleGrid().titleClick(1, view->sales()); // 价格 descending
    sink.bytes.clear();
    writeCsv(sales(), sink, nullptr);
    EXPECT_EQ(sink.bytes, kHeader + "\r\n" + kT3 + kT2 + kT1);
}

TEST_F(CsvExportTest, TheProposedNameCarriesTheItemAndTheDate) {
    EXPECT_EQ(sales().fileName, "导出春装 新款,连衣裙商品销售明细--2011-05-20.csv");
    EXPECT_EQ(view->shopExport(DateTime{2011, 5, 20}).fileName, "导出销售掌柜数据2011-05-20.csv");
    EXPECT_EQ(view->itemExport(DateTime{2011, 5, 20}).fileName, "导出张三掌柜商品销售数据--2011-05-20.csv");
    EXPECT_EQ(safeFileName("女装/女士精品.csv"), "女装_女士精品.csv");
}

TEST_F(CsvExportTest, NothingIsWrittenWhereTheFileCannotBeOpenedOrCreatedOrThereAreNoRows) {
    // Permission bits do not stop root, so the held file is a folder of that name.
    const auto held = dir / "held.csv";
    std::filesystem::create_directory(held);
    EXPECT_TRUE(isLocked(held));
    EXPECT_FALSE(isLocked(dir / "new.csv"));
    EXPECT_EQ(exportToFile(sales(), held, nullptr), ExportOutcome::Locked);
    EXPECT_TRUE(std::filesystem::is_empty(held));
    EXPECT_EQ(lockedWarning(held), held.string() + "文件可能已被打开或损坏，重新选择或关闭文件！");

    // A file that cannot be created is an error for the error handler.
    test::writeFile(dir / "plain", "not a folder");
    EXPECT_THROW(exportToFile(sales(), dir / "plain" / "sales.csv", nullptr), std::system_error);
    EXPECT_EQ(test::readFile(dir / "plain"), "not a folder");

    view->sales().setParameter("item_Id", "1003");
    view->sales().open();
    EXPECT_EQ(exportToFile(sales(), dir / "empty.csv", nullptr), ExportOutcome::NoRows);
    EXPECT_FALSE(std::filesystem::exists(dir / "empty.csv"));
}
