// SPDX-License-Identifier: MIT
#include "ui/presenter/trust_dialog.h"

#include <gtest/gtest.h>

#include "config/texts.h"
#include "filter/sender_lists.h"
#include "filter/word_tables.h"
#include "presenter/recording_page_view.h"
#include "stores/last_lesson.h"
#include "support/recycle_fixture.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

using NameList = std::vector<std::string>;

class TrustDialogTest : public test::RecycleFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(surroundings.directory.MakeFolder("training"));
    ASSERT_TRUE(PutIndex(kRows));
    ASSERT_TRUE(PutFile("a.recycle"));
    ASSERT_TRUE(PutFile("b.recycle"));
  }
  std::vector<RecycleEntry> Of(const NameList& names) { return EntriesOf(program(), names); }
  std::int32_t KindOf(const std::string& address) {
    SenderRecord found;
    SenderLists(program()).LookUp(address, found);
    return found.kind;
  }
  std::uint32_t GoodMessages() {
    WordTables tables;
    tables.Load(program(), false);
    return tables.good.messages;
  }
  void Load(const NameList& names) {
    dialog = std::make_unique<TrustDialog>(program(), Of(names));
    dialog->Load(view);
  }
  void Tick(int control, bool ticked) {
    view.checked[control] = ticked;
    dialog->Pressed(view, control);
  }

  static constexpr char kRows[] =
      "<recyclefile name=\"a.recycle\" sender=\"Ann\" address=\"ann@example.org\" subject=\"s\" "
      "date=\"2453797\""
      " time=\"10\" size=\"100\"/>"
      "<recyclefile name=\"b.recycle\" sender=\"Bob\" address=\"bob@example.com\" subject=\"s\" "
      "date=\"2453797\""
      " time=\"10\" size=\"100\"/>"
      "<recyclefile name=\"c.recycle\" subject=\"s\" date=\"2453797\" time=\"10\" size=\"100\"/>";
  test::RecordingPageView view;
  std::unique_ptr<TrustDialog> dialog;
};

TEST_F(TrustDialogTest, DoesAllOfItAndSaysSo) {
  const auto report = RestoreAndTrust(program(), Of({"a.recycle", "b.recycle"}), TrustChoice{});
  EXPECT_EQ(LineOf(report), "Restored: 2. New friends: 2. Learnt as good: 2.");
  EXPECT_TRUE(report.senders_changed);
  EXPECT_EQ(KindOf("ann@example.org"), kSenderFriend);
  EXPECT_EQ(KindOf("other@example.org"), kSenderNone);
  EXPECT_EQ(GoodMessages(), 2u);
  EXPECT_EQ(LookAtLastLesson(program()).lesson.good, 2u);
  EXPECT_TRUE(bin().List()->at(0).restored && bin().List()->at(1).restored);
}

TEST_F(TrustDialogTest, DoesOnlyWhatIsTicked) {
  const TrustChoice nothing{false, false, false, false};
  EXPECT_EQ(LineOf(RestoreAndTrust(program(), Of({"a.recycle"}), nothing)),
            "Restored: 0. New friends: 0. Learnt as good: 0.");
  EXPECT_FALSE(bin().List()->at(0).restored);
  EXPECT_EQ(KindOf("ann@example.org"), kSenderNone);
  EXPECT_EQ(GoodMessages(), 0u);
}

TEST_F(TrustDialogTest, PutsTheWholeDomainOnTheList) {
  TrustChoice choice;
  choice.whole_domain = true;
  EXPECT_EQ(RestoreAndTrust(program(), Of({"a.recycle", "a.recycle"}), choice).friends, 1u);
  EXPECT_EQ(KindOf("other@example.org"), kSenderFriend);
}

TEST_F(TrustDialogTest, MovesABlockedSenderToTheFriends) {
  ASSERT_TRUE(surroundings.Configure("", "[SENDERS]\r\nANN@example.org=Annie,1\r\n*@example.com=All,1\r\n"));
  const auto report = RestoreAndTrust(program(), Of({"a.recycle", "b.recycle"}), TrustChoice{});
  EXPECT_EQ(report.friends, 2u);
  EXPECT_EQ(KindOf("ann@example.org"), kSenderFriend);
  EXPECT_EQ(KindOf("bob@example.com"), kSenderFriend);
  EXPECT_EQ(KindOf("other@example.com"), kSenderBlocked);
  std::vector<std::string> names;
  SenderLists(program()).Enumerate([&names](const SenderRecord& entry) { names.push_back(entry.name); });
  EXPECT_EQ(names, (NameList{"Annie", "All", "Bob"}));
}

TEST_F(TrustDialogTest, TakesTheSendersOwnEntryOffTheBlockedOnesForTheDomain) {
  ASSERT_TRUE(surroundings.Configure("", "[SENDERS]\r\nann@example.org=Annie,1\r\n*@example.com=All,1\r\n"));
  TrustChoice choice;
  choice.whole_domain = true;
  EXPECT_EQ(RestoreAndTrust(program(), Of({"a.recycle", "b.recycle"}), choice).friends, 2u);
  for (const char* address : {"ann@example.org", "x@example.org", "bob@example.com", "x@example.com"}) {
    EXPECT_EQ(KindOf(address), kSenderFriend) << address;
  }
}

TEST_F(TrustDialogTest, LeavesAFriendAsHeIs) {
  ASSERT_TRUE(surroundings.Configure("", "[SENDERS]\r\n*@example.org=All,2\r\n"));
  const auto report = RestoreAndTrust(program(), Of({"a.recycle"}), TrustChoice{});
  EXPECT_EQ(report.friends, 0u);
  EXPECT_FALSE(report.senders_changed);
}

TEST_F(TrustDialogTest, SkipsWhatIsGone) {
  const std::vector<RecycleEntry> asked = Of({"a.recycle", "b.recycle", "none.recycle"});
  ASSERT_EQ(asked.size(), 2u);
  ASSERT_TRUE(bin().RemoveEntries(NameList{"a.recycle"}));
  EXPECT_EQ(LineOf(RestoreAndTrust(program(), asked, TrustChoice{})),
            "Restored: 1. New friends: 1. Learnt as good: 1.");
  EXPECT_EQ(KindOf("ann@example.org"), kSenderNone);
}

TEST_F(TrustDialogTest, RestoresAndBefriendsAMailWhoseFileIsMissing) {
  ASSERT_TRUE(surroundings.directory.Remove("recycle/b.recycle"));
  EXPECT_EQ(RestoreAndTrust(program(), Of({"a.recycle", "b.recycle"}), TrustChoice{}).learnt, 1u);
}

TEST_F(TrustDialogTest, SaysWhatCouldNotBeDone) {
  surroundings.directory.SetReadOnly("recycle/recyclebin.xml", true);
  const auto report = RestoreAndTrust(program(), Of({"a.recycle"}), TrustChoice{});
  surroundings.directory.SetReadOnly("recycle/recyclebin.xml", false);
  EXPECT_EQ(report.restored, 0u);
  EXPECT_EQ(report.learnt, 1u);
  EXPECT_NE(LineOf(report).find("Not everything could be done: "), std::string::npos) << LineOf(report);
}

TEST_F(TrustDialogTest, RemembersWhatWasTicked) {
  Load({"a.recycle"});
  EXPECT_EQ(view.texts[TRUST_WHAT], "Ann <ann@example.org>");
  EXPECT_TRUE(view.IsChecked(TRUST_RESTORE) && view.IsChecked(TRUST_SENDER) && view.IsChecked(TRUST_LEARN));
  EXPECT_FALSE(view.IsChecked(TRUST_DOMAIN));
  Tick(TRUST_DOMAIN, true);
  Tick(TRUST_LEARN, false);
  EXPECT_EQ(view.texts[TRUST_PATTERN], "On the Friend List: *@example.org");
  ASSERT_TRUE(dialog->Ok(view));
  EXPECT_TRUE(dialog->choice().whole_domain && !dialog->choice().learns);
  Load({"a.recycle", "b.recycle"});
  EXPECT_EQ(view.texts[TRUST_WHAT], "2 messages from 2 senders");
  EXPECT_TRUE(view.IsChecked(TRUST_DOMAIN));
  EXPECT_FALSE(view.IsChecked(TRUST_LEARN));
  EXPECT_EQ(view.texts[TRUST_PATTERN], "");
}

TEST_F(TrustDialogTest, OffersOnlyWhatCanBeDone) {
  Load({"a.recycle"});
  Tick(TRUST_SENDER, false);
  EXPECT_FALSE(view.IsEnabled(TRUST_DOMAIN));
  EXPECT_EQ(view.texts[TRUST_PATTERN], "");
  Tick(TRUST_RESTORE, false);
  Tick(TRUST_LEARN, false);
  EXPECT_FALSE(view.IsEnabled(BUTTON_OK));
  EXPECT_FALSE(dialog->Ok(view));
  Load({"c.recycle"});
  EXPECT_FALSE(view.IsEnabled(TRUST_SENDER));
  EXPECT_FALSE(view.IsChecked(TRUST_SENDER));
  ASSERT_TRUE(dialog->Ok(view));
  EXPECT_TRUE(ReadTrustChoice(program()).befriends);
}

}  // namespace
}  // namespace quillbeaker
