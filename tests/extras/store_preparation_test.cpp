// SPDX-License-Identifier: MIT
#include "extras/store_preparation.h"

#include <gtest/gtest.h>

#include <string>

#include "stores/recycle_bin.h"
#include "stores/unconfirmed_mail.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

TEST(PrepareStores, StartingMakesBothDirectories) {
  test::TestProgram world;
  PrepareStores(world.program(), {});
  EXPECT_TRUE(world.directory.Has("recycle/recyclebin.xml"));
  EXPECT_TRUE(world.directory.Has("training"));
  EXPECT_FALSE(world.directory.Has("training/training.xml"));
}

TEST(PrepareStores, ADamagedIndexIsMadeAnew) {
  test::TestProgram world;
  ASSERT_TRUE(world.directory.Put("recycle/1_000000_1.recycle", "Subject: x\r\n\r\ny\r\n"));
  ASSERT_TRUE(world.directory.Put("recycle/recyclebin.xml", "<recyclebin><recy"));
  PrepareStores(world.program(), {});
  EXPECT_EQ(world.directory.Get("recycle/recyclebin.xml.bad"), "<recyclebin><recy");
  const auto rows = RecycleBin(world.program()).List();
  ASSERT_TRUE(rows && rows->size() == 1);
  EXPECT_EQ(rows->front().name, "1_000000_1.recycle");
}

// A filing that was killed before its index: its mail is still on the server, and will be filed again.
TEST(PrepareStores, FilesThatAFilingLeftGoUnlessTheirDeletionWasDue) {
  test::TestProgram world;
  const MailboxName mailbox{"pop.example.org", 110, "ann"};
  const auto row = [](const char* id, const char* file, bool due) {
    UnconfirmedMail mail;
    mail.unique_id = id;
    mail.bin_file = file;
    mail.deletion_due = due;
    return mail;
  };
  for (const char* name : {"listed", "due", "left", "unnamed"}) {
    ASSERT_TRUE(world.directory.Put("recycle/" + std::string(name) + ".recycle", "Subject: x\r\n\r\ny\r\n"));
  }
  ASSERT_TRUE(world.directory.Put("recycle/recyclebin.xml",
                                  "<recyclebin><recyclefile name=\"listed.recycle\"/></recyclebin>"));
  ASSERT_TRUE(UnconfirmedMailStore(world.program())
                  .Replace(mailbox, {row("1", "listed.recycle", false), row("2", "due.recycle", true),
                                     row("3", "left.recycle", false)}));
  PrepareStores(world.program(), {});
  EXPECT_TRUE(world.directory.Has("recycle/listed.recycle"));
  EXPECT_TRUE(world.directory.Has("recycle/due.recycle"));
  EXPECT_TRUE(world.directory.Has("recycle/unnamed.recycle"));
  EXPECT_FALSE(world.directory.Has("recycle/left.recycle"));
}

}  // namespace
}  // namespace quillbeaker
