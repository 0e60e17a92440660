// SPDX-License-Identifier: MIT
#include "ui/presenter/list_rows.h"

#include <gtest/gtest.h>

namespace quillbeaker {
namespace {

class Names : public ListRows {
 public:
  std::vector<std::string> Columns() const override { return {"Name"}; }
  std::size_t RowCount() const override { return names.size(); }
  std::string RowText(std::size_t row, std::size_t) const override { return names[row]; }
  SortOrder Order() const override { return {}; }
  void SortBy(std::size_t) override {}
  void SelectionChanged() override {}

  std::vector<std::string> names{"Ann", "Bert", "anna", "Carl"};
};

TEST(FindRow, BeginsWithoutRegardToCase) {
  EXPECT_EQ(FindRow(Names(), "AN", true, 0, false), 0u);
  EXPECT_EQ(FindRow(Names(), "AN", true, 1, false), 2u);
  EXPECT_EQ(FindRow(Names(), "ANN", false, 1, false), std::nullopt);
  EXPECT_EQ(FindRow(Names(), "ANNA", false, 0, false), 2u);
}

TEST(FindRow, WrapsOnlyWhenAsked) {
  EXPECT_EQ(FindRow(Names(), "be", true, 2, false), std::nullopt);
  EXPECT_EQ(FindRow(Names(), "be", true, 2, true), 1u);
  EXPECT_EQ(FindRow(Names(), "zz", true, 2, true), std::nullopt);
}

TEST(FindRow, EndsBehindTheLastRow) {
  EXPECT_EQ(FindRow(Names(), "a", true, 400, false), std::nullopt);
  EXPECT_EQ(FindRow(Names(), "a", true, 400, true), 0u);
  Names none;
  none.names.clear();
  EXPECT_EQ(FindRow(none, "", true, 0, true), std::nullopt);
}

}  // namespace
}  // namespace quillbeaker
