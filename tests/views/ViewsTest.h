#pragma once

#include "ViewsFixture.h"
#include "db/TDM.h"
#include "support/TempDir.h"
#include "views/Dataset.h"
#include "views/SalesDataView.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace vantor::test {

using Texts = std::vector<std::string>;

// A fresh data file with the views fixture, rankings in 2011.
class ViewsTest : public ::testing::Test {
protected:
    void SetUp() override {
        createViewsFixture(dir / "lmd_pin.db", 2011);
        dm = std::make_unique<db::TDM>(dir / "lmd_pin.db");
        dm->open();
    }

    // One field of every row, in view order.
    static Texts column(const views::Dataset& rows, const std::string& field) {
        Texts texts;
        for (std::size_t row = 0; row < rows.rowCount(); ++row)
            texts.push_back(rows.displayText(row, field));
        return texts;
    }

    // The cells of one row as a grid shows them.
    static Texts cells(views::Dataset& rows, views::GridTitles& grid, std::size_t row) {
        Texts texts;
        for (int c = 0; c < grid.columnCount(); ++c)
            texts.push_back(grid.cellText(rows, row, c));
        return texts;
    }

    std::int64_t count(const std::string& sql) {
        db::Statement statement = dm->cn1().prepare(sql);
        statement.step();
        return statement.integer(0);
    }

    TempDir dir;
    std::unique_ptr<db::TDM> dm;
};

// The sales data view on the fixture, opened as its window opens it.
class SalesViewTest : public ViewsTest {
protected:
    void SetUp() override {
        ViewsTest::SetUp();
        view = std::make_unique<views::SalesDataView>(*dm, views::QueryReader::Mode::Background);
        view->formCreate();
    }

    std::unique_ptr<views::SalesDataView> view;
};

} // namespace vantor::test
