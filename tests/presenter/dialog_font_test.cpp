// SPDX-License-Identifier: MIT
#include "ui/presenter/dialog_font.h"

#include <gtest/gtest.h>

namespace quillbeaker {
namespace {

TEST(DialogFont, IsTheSystemsOwnWhereThereIsOne) {
  EXPECT_EQ(ChooseDialogFont(true).face, "Segoe UI");
  EXPECT_EQ(ChooseDialogFont(true).points, 9);
  EXPECT_EQ(ChooseDialogFont(false).face, "MS Shell Dlg 2");
  EXPECT_EQ(ChooseDialogFont(false).points, 8);
}

}  // namespace
}  // namespace quillbeaker
