#include "views/RatingDataView.h"
#include "ViewsTest.h"
#include "base/GbkText.h"

#include <type_traits>

using namespace vantor;
using namespace vantor::views;
using test::Texts;

namespace {

// A search or filter with the named boxes filled and the rest as a fresh window has them.
template <class Input> Input filled(Input input) {
    return input;
}
template <class Input, class T, class... More>
Input filled(Input input, T Input::*box, std::type_identity_t<T> value, More... more) {
    input.*box = std::move(value);
    return filled(std::move(input), more...);
}
template <class Input, class T, class... More>
Input one(T Input::*box, std::type_identity_t<T> value, More... more) {
    return filled(Input{}, box, std::move(value), more...);
}

class RatingDataViewTest : public test::ViewsTest {
protected:
    void SetUp() override {
        ViewsTest::SetUp();
        view = std::make_unique<RatingDataView>(*dm, QueryReader::Mode::Background);
        view->formCreate();
        view->shops().setSort("id");
    }

    Texts ratingsWith(RatingFilterInput input) {
        view->filterRatings(input);
        return column(view->ratings(), "trade_id");
    }
    template <class T> Texts ratingsWith(T RatingFilterInput::*box, std::type_identity_t<T> value) {
        return ratingsWith(one(box, value));
    }

    std::unique_ptr<RatingDataView> view;
};

} // namespace

TEST_F(RatingDataViewTest, TheShopsWithRatingsAndTheirCountsByPeriod) {
    EXPECT_EQ(view->findResultText(), "共有2店铺"); // 李四 has no ratings
    Dataset& shops = view->shops();
    EXPECT_EQ(column(shops, "rateNums"), (Texts{"4", "1"}));
    EXPECT_EQ(column(shops, "salerWeekRate"), (Texts{"8", "1"}));
    EXPECT_EQ(column(shops, "salerMonthRate"), (Texts{"25", "2"}));
    EXPECT_EQ(column(shops, "salerYearRate"), (Texts{"110", "3"}));
    EXPECT_EQ(column(shops, "salerLastYearRate"), (Texts{"920", "4"}));
    EXPECT_EQ(view->shopAddress(), "http://shop1.taobao.com");
}

TEST_F(RatingDataViewTest, TheRatingsPageShowsTheCurrentShopsRatingsNewestFirst) {
    view->pageChange(0);
    EXPECT_FALSE(view->ratings().isOpen());
    view->pageChange(RatingDataView::kRatingPage);
    EXPECT_EQ(column(view->ratings(), "trade_id"), (Texts{"R4", "R3", "R2", "R1"}));
    EXPECT_EQ(view->rateCountText(), "当前共有4条评价");
    view->shops().setCurrent(1);
    view->pageChange(RatingDataView::kRatingPage);
    EXPECT_EQ(view->rateCountText(), "当前共有1条评价");
}

TEST_F(RatingDataViewTest, TheRatingFilterAddsAConditionForEveryFilledBox) {
    RatingFilterInput all{"b", "T恤", 2, 10, 30, "2011-02-01", "2011-03-31"};
    EXPECT_EQ(RatingDataView::ratingFilter(all).text(),
              " pjname like '%b%' and itemTitle like '%T恤%' and pj='中评' and jg>=10 and jg<=30 and "
              "pjsj>='2011-02-01' and pjsj<='2011-03-31'");
    EXPECT_EQ(RatingDataView::ratingFilter({}).text(), "");
    // No joiner before the first condition, whichever it is.
    EXPECT_EQ(RatingDataView::ratingFilter(one(&RatingFilterInput::jg2, 5)).text(), "jg<=5");

    view->pageChange(RatingDataView::kRatingPage);
    EXPECT_EQ(ratingsWith(all), (Texts{"R2"}));
    EXPECT_EQ(view->rateCountText(), "当前共有1条评价");
    EXPECT_EQ(ratingsWith({}), (Texts{"R4", "R3", "R2", "R1"}));
}

TEST_F(RatingDataViewTest, EmptyDatesAndPricesOfZeroAddNoCondition) {
    view->pageChange(RatingDataView::kRatingPage);
    RatingFilterInput input;
    input.jg1 = 0;
    input.jg2 = 0;
    EXPECT_EQ(RatingDataView::ratingFilter(input).text(), "");
    input.jg1 = 20;
    EXPECT_EQ(RatingDataView::ratingFilter(input).text(), "jg>=20");
    EXPECT_EQ(ratingsWith(input), (Texts{"R4", "R2", "R1"}));
    // A bound of exactly 0 cannot be set: back at 0, every rating shows again.
    input.jg1 = 0;
    EXPECT_EQ(ratingsWith(input).size(), 4u);
}

TEST_F(RatingDataViewTest, APartlyFilledDateIsComparedAsTyped) {
    view->pageChange(RatingDataView::kRatingPage);
    RatingFilterInput input;
    input.sj1 = "2011-03-  ";
    EXPECT_EQ(RatingDataView::ratingFilter(input).text(), "pjsj>='2011-03-  '");
    EXPECT_EQ(ratingsWith(input), (Texts{"R4", "R3"}));
    input.sj1 = kEmptyDate;
    input.sj2 = "2011-03-15";
    EXPECT_EQ(ratingsWith(input), (Texts{"R2", "R1"})); // R3 at 20:00 of that day is past its midnight
}

TEST_F(RatingDataViewTest, NamesAndClassesMatchAsTypedWithQuotesAndLetterCase) {
    view->pageChange(RatingDataView::kRatingPage);
    EXPECT_EQ(ratingsWith(&RatingFilterInput::pjName, "'"), (Texts{"R3"}));
    EXPECT_EQ(ratingsWith(&RatingFilterInput::pjName, "BUYER"), (Texts{"R4", "R2", "R1"}));
    EXPECT_EQ(ratingsWith(&RatingFilterInput::pj, 1), (Texts{"R4", "R1"}));
    EXPECT_EQ(ratingsWith(&RatingFilterInput::pj, 3), (Texts{"R3"}));
}

TEST_F(RatingDataViewTest, TheShopSearchBindsWhatTheUserTyped) {
    auto found = [&](ShopSearch search) {
        view->searchShops(search);
        return column(view->shops(), "dianzhu");
    };
    view->shops().setSort("");
    // Every shop with flag 0, newest update first; 李四 has flag 1.
    EXPECT_EQ(found({}), (Texts{"O'Neil", "张三"}));
    EXPECT_EQ(view->findResultText(), "共有2店铺");
    EXPECT_EQ(found(one(&ShopSearch::nick, "O'Neil")), (Texts{"O'Neil"}));
    EXPECT_EQ(found(one(&ShopSearch::nick, "'")), (Texts{"O'Neil"}));
    EXPECT_EQ(found(one(&ShopSearch::shop, "'; drop table dianbase; --")), (Texts{}));
    EXPECT_EQ(count("select count(*) from dianbase"), 3);
    EXPECT_EQ(found(one(&ShopSearch::shop, "三号")), (Texts{"张三"}));
    EXPECT_EQ(found(one(&ShopSearch::loc, "杭州")), (Texts{"张三"}));   // "地址：" searches addr
    EXPECT_EQ(found(one(&ShopSearch::tag, "围巾")), (Texts{"O'Neil"})); // "主营：" searches loc
    EXPECT_EQ(found(one(&ShopSearch::level, 4)), (Texts{"张三"}));      // level 6 >= 4, level 3 is not
    EXPECT_EQ(found(one(&ShopSearch::level, 6, &ShopSearch::nick, "张")), (Texts{"张三"}));
    // The pattern's wildcards keep their meaning, as in the statement written out.
    EXPECT_EQ(found(one(&ShopSearch::nick, "%")), (Texts{"O'Neil", "张三"}));
    EXPECT_EQ(found(one(&ShopSearch::nick, "_'_")), (Texts{"O'Neil"}));
    // The search reads dianbase alone: no rating counts.
    EXPECT_EQ(view->shops().fieldIndex("rateNums"), -1);
    EXPECT_EQ(view->shopGrid().cellText(view->shops(), 0, 6), "");
}

TEST_F(RatingDataViewTest, TheRatingsExportRepeatsCommentAndExplanationWithoutATrailingComma) {
    view->pageChange(RatingDataView::kRatingPage);
    ExportJob job = view->ratingExport(DateTime{2011, 5, 20});
    EXPECT_EQ(job.fileName, "导出张三--2011-05-20数据.csv");
    StringSink sink;
    writeCsv(job, sink, nullptr);
    // pjinfo's fields: id, dian_id, pj, buyerOrSaler, pjName, itemId, itemTitle, pjsj, jg, pjInfo, pjjs,
    // trade_id; the oldest rating is the last line.
    const std::string text = gbkToUtf8(sink.bytes);
    EXPECT_TRUE(text.starts_with(
        "序号,评价,评价时间,价格,评价人,商品,评语,解释\r\n1,4,1,好评,,buyerA,2001,WoolScarf,"))
        << text;
    EXPECT_TRUE(text.ends_with("\r\n4,1,1,好评,,buyerA,1001,春装新款、连衣裙,2011-01-0510:00:00,88.5,"
                               "很好、非常满意,谢谢,R1,很好、非常满意,谢谢\r\n"))
        << text;
}

TEST_F(RatingDataViewTest, TheShopExportWritesEveryFieldOfTheQuery) {
    ExportJob job = view->shopExport(DateTime{2011, 5, 20});
    EXPECT_EQ(job.fileName, "导出2011-05-20掌柜数据.csv");
    StringSink sink;
    writeCsv(job, sink, nullptr);
    const std::string text = gbkToUtf8(sink.bytes);
    const std::string header = "序号,卖家,店铺名,卖家信用,信用级别,好评率,评价数,近一周评价数,近一月评价数,"
                               "近6月评价数,6月前评价数\r\n";
    ASSERT_TRUE(text.starts_with(header)) << text;
    // xh, the five counts, then dianbase's own fields from id on: zhuce is empty, the address loses its
    // blank.
    const std::string first = text.substr(header.size(), text.find("\r\n", header.size()) - header.size());
    EXPECT_TRUE(first.starts_with("1,4,8,25,110,920,1,张三,,浙江杭州,三号小店,http://shop1.taobao.com,"))
        << first;
    EXPECT_EQ(std::count(first.begin(), first.end(), ','), view->shops().fieldCount());
}
