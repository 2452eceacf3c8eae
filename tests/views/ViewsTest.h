#pragma once

#include "ViewsFixture.h"
#include "db/TDM.h"
#include "support/TempDir.h"
#include "views/Dataset.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace vantor::test {

// A fresh data file with the views fixture, rankings in 2011.
class ViewsTest : public ::testing::Test {
protected:
    void SetUp() override {
        createViewsFixture(dir / "lmd_pin.db", 2011);
        dm = std::make_unique<db::TDM>(dir / "lmd_pin.db");
        dm->open();
    }

    // One field of every row, in view order.
    static std::vector<std::string> column(const views::Dataset& rows, const std::string& field) {
        std::vector<std::string> texts;
        for (std::size_t row = 0; row < rows.rowCount(); ++row)
            texts.push_back(rows.displayText(row, field));
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

using Texts = std::vector<std::string>;

} // namespace vantor::test
