// SPDX-License-Identifier: MIT
#include "ui/presenter/senders_page.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "presenter/recording_list_view.h"
#include "presenter/settings_page_fixture.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

using Rows = std::vector<std::string>;
using Places = std::vector<std::size_t>;

class SendersPageTest : public test::SettingsPageTest {
 protected:
  void SetUp() override { ASSERT_TRUE(one.Configure("", kSenders)); }
  void OpenPage(std::int32_t kind) {
    list = std::make_unique<test::RecordingListView>();
    page = std::make_unique<SendersPage>(surroundings, *list, kind);
    list->page = page.get();
    list->controls.page = page.get();
    page->Open(program(), list->controls);
  }
  // The next dialog is filled in like this; an empty text leaves the field. What is refused is cancelled.
  void Type(const std::string& name, const std::string& address) {
    list->person = [this, name, address](SmallDialog& dialog) {
      fields = {};
      dialog.Load(fields);
      if (!name.empty()) fields.SetText(SENDER_NAME, name);
      if (!address.empty()) fields.SetText(SENDER_ADDRESS, address);
      return dialog.Ok(fields);
    };
  }
  std::string Sender(std::string_view address) { return Value("SENDERS", address); }

  static constexpr const char* kSenders =
      "[SENDERS]\r\ncarl@example.org=Carl,2\r\n*@spam.example=Spam,1\r\nann@example.org=Ann,2\r\nx=odd,7\r\n";
  std::unique_ptr<test::RecordingListView> list;
  std::unique_ptr<SendersPage> page;
  test::RecordingPageView fields;
};

TEST_F(SendersPageTest, EachPageListsItsOwnKindByName) {
  OpenPage(kSenderFriend);
  EXPECT_EQ(page->Columns(), (Rows{"Sender name", "Mail address"}));
  EXPECT_EQ(list->Rows(), (Rows{"Ann | ann@example.org", "Carl | carl@example.org"}));
  EXPECT_EQ(list->TextIn(LISTED_COUNT), "Entries: 2");
  EXPECT_FALSE(list->controls.IsEnabled(LISTED_EDIT));
  EXPECT_FALSE(list->controls.IsEnabled(LISTED_IMPORT));
  OpenPage(kSenderBlocked);
  EXPECT_EQ(list->Rows(), Rows{"Spam | *@spam.example"});
}

TEST_F(SendersPageTest, AnAddedSenderIsInTheFileAtOnceAndSelected) {
  OpenPage(kSenderFriend);
  Type("Bob", "bob=x@example.org");
  page->Pressed(LISTED_ADD);
  EXPECT_EQ(list->opened, std::vector<int>{110});
  EXPECT_EQ(Sender("bob?x@example.org"), "Bob,2");
  EXPECT_EQ(list->selected, Places{1});
  EXPECT_EQ(page->RowText(1, 1), "bob?x@example.org");
}

TEST_F(SendersPageTest, ASenderOfEitherListIsRefused) {
  OpenPage(kSenderFriend);
  for (const char* address : {"ANN@example.org", "*@SPAM.example"}) {
    Type("Other", address);
    page->Pressed(LISTED_ADD);
    EXPECT_EQ(fields.warnings, Rows{"This sender has already been added to this/another list."}) << address;
  }
  EXPECT_EQ(Sender("ann@example.org"), "Ann,2");
  EXPECT_EQ(Sender("*@spam.example"), "Spam,1");
}

TEST_F(SendersPageTest, TheNameAloneCanBeEdited) {
  OpenPage(kSenderFriend);
  list->Select({0});
  Type("Anna", "");
  page->Pressed(LISTED_EDIT);
  EXPECT_TRUE(fields.warnings.empty());
  EXPECT_EQ(Sender("ann@example.org"), "Anna,2");
  EXPECT_EQ(list->selected, Places{0});
}

TEST_F(SendersPageTest, AnotherAddressReplacesTheOldKey) {
  OpenPage(kSenderFriend);
  list->Select({0});
  Type("", "ann@example.net");
  page->Pressed(LISTED_EDIT);
  EXPECT_EQ(Sender("ann@example.org"), "(missing)");
  EXPECT_EQ(Sender("ann@example.net"), "Ann,2");
  EXPECT_EQ(page->RowText(list->selected.at(0), 1), "ann@example.net");
  list->Select({0});
  Type("", "carl@example.org");
  page->Pressed(LISTED_EDIT);
  EXPECT_EQ(fields.warnings.size(), 1u);
  EXPECT_EQ(Sender("ann@example.net"), "Ann,2");
}

TEST_F(SendersPageTest, ADeletedSenderIsNamedByItsAddress) {
  OpenPage(kSenderFriend);
  list->Select({0});
  list->controls.answer = false;
  page->Pressed(LISTED_DELETE);
  EXPECT_EQ(list->controls.questions,
            Rows{"Do you really want to delete \"ann@example.org\" from the list?"});
  EXPECT_EQ(Sender("ann@example.org"), "Ann,2");
  list->controls.answer = true;
  page->Pressed(LISTED_DELETE);
  EXPECT_EQ(Sender("ann@example.org"), "(missing)");
  EXPECT_EQ(list->Rows(), Rows{"Carl | carl@example.org"});
  EXPECT_EQ(list->selected, Places{0});
}

TEST_F(SendersPageTest, SeveralAreDeletedAfterOneQuestion) {
  OpenPage(kSenderFriend);
  list->Select({0, 1});
  page->Pressed(LISTED_DELETE);
  EXPECT_EQ(list->controls.questions, Rows{"Do you really want to delete 2 entries from the list?"});
  EXPECT_EQ(page->RowCount(), 0u);
  EXPECT_EQ(Sender("*@spam.example"), "Spam,1");
}

TEST_F(SendersPageTest, WhatCouldNotBeDeletedIsToldAndStays) {
  OpenPage(kSenderFriend);
  list->Select({0});
  one.directory.SetReadOnly("Quillbeaker.ini", true);
  page->Pressed(LISTED_DELETE);
  one.directory.SetReadOnly("Quillbeaker.ini", false);
  EXPECT_EQ(list->controls.told.size(), 1u);
  EXPECT_EQ(page->RowCount(), 2u);
}

TEST_F(SendersPageTest, WhatHasMovedToTheOtherListMeanwhileStaysThere) {
  OpenPage(kSenderBlocked);
  ASSERT_EQ(list->Rows(), Rows{"Spam | *@spam.example"});
  ASSERT_TRUE(SenderLists(program()).Write({"Spam", "*@spam.example", kSenderFriend, {}}));
  list->Select({0});
  Type("Other", "*@spam.example");
  page->Pressed(LISTED_EDIT);
  EXPECT_EQ(fields.warnings.size(), 1u);
  EXPECT_EQ(Sender("*@spam.example"), "Spam,2");
  list->Select({0});
  page->Pressed(LISTED_DELETE);
  EXPECT_EQ(Sender("*@spam.example"), "Spam,2");
  EXPECT_EQ(page->RowCount(), 0u);
}

TEST_F(SendersPageTest, OkAndCancelHaveNothingToDo) {
  OpenPage(kSenderFriend);
  AppliedSettings pressed;
  page->Apply(pressed);
  EXPECT_TRUE(pressed.changes.configuration.empty());
}

TEST_F(SendersPageTest, ADroppedMailsSenderFillsTheDialogOfThePagesList) {
  OpenPage(kSenderBlocked);
  SenderRecord dropped;
  dropped.name = "Zoe";
  dropped.address = "zoe@example.org";
  dropped.kind = kSenderFriend;
  Type("", "");
  page->Offer(dropped);
  EXPECT_EQ(fields.TextIn(SENDER_ADDRESS), "zoe@example.org");
  EXPECT_EQ(Sender("zoe@example.org"), "Zoe,1");
}

TEST_F(SendersPageTest, DroppedMailIsOfferedOneAfterTheOther) {
  OpenPage(kSenderBlocked);
  EXPECT_TRUE(page->TakesMail());
  std::vector<std::string> offered;
  list->person = [&](SmallDialog& dialog) {
    fields = {};
    dialog.Load(fields);
    offered.push_back(fields.TextIn(SENDER_NAME) + " " + fields.TextIn(SENDER_ADDRESS));
    return offered.size() == 2 && dialog.Ok(fields);
  };
  EXPECT_TRUE(page->TakeMail({"From: Dan <dan@x>\r\n\r\nHello", "Subject: from nobody\r\n\r\n",
                              "From: Eve <eve@x>\r\nSubject: cut o", "From: Fay <fay@x>\r\n"}));
  EXPECT_TRUE(list->opened.empty());  // whoever dropped them waits
  page->OfferTakenMail();
  EXPECT_EQ(offered, (Rows{"Dan dan@x", "Eve eve@x", "Fay fay@x"}));
  EXPECT_EQ(Sender("eve@x"), "Eve,1");
  EXPECT_EQ(Sender("dan@x"), "(missing)");
  page->OfferTakenMail();
  EXPECT_EQ(offered.size(), 3U);
}

TEST_F(SendersPageTest, DroppedMailWithoutASenderIsRefused) {
  OpenPage(kSenderFriend);
  EXPECT_FALSE(page->TakeMail({}));
  EXPECT_FALSE(
      page->TakeMail({"", "Subject: x\r\n\r\nFrom: body@x", "From:\r\n\r\n", std::string(5000, '\0')}));
  page->OfferTakenMail();
  EXPECT_TRUE(list->opened.empty());
}

TEST_F(SendersPageTest, AnImportFillsThePagesListAndIsShown) {
  surroundings.import_senders = [this](std::int32_t kind) {
    EXPECT_EQ(kind, kSenderFriend);
    SenderRecord bea;
    bea.name = "Bea";
    bea.address = "bea@example.org";
    bea.kind = kind;
    EXPECT_EQ(SenderLists(program()).Add(bea), SenderChange::kDone);
  };
  OpenPage(kSenderFriend);
  EXPECT_TRUE(list->controls.IsEnabled(LISTED_IMPORT));
  page->Pressed(LISTED_IMPORT);
  EXPECT_EQ(page->RowCount(), 3u);
}

TEST_F(SendersPageTest, SortsBothWaysAndKeepsTheSelection) {
  OpenPage(kSenderFriend);
  list->Select({0});
  page->SortBy(1);
  EXPECT_EQ(list->selected, Places{0});
  page->SortBy(1);
  EXPECT_EQ(list->Rows(), (Rows{"Carl | carl@example.org", "Ann | ann@example.org"}));
  EXPECT_EQ(list->selected, Places{1});
}

TEST_F(SendersPageTest, SearchLooksAtNamesAndAddresses) {
  OpenPage(kSenderFriend);
  list->controls.Type(LISTED_SEARCH, "c");
  EXPECT_EQ(list->selected, Places{1});
  list->controls.Type(LISTED_SEARCH, "nn@");
  EXPECT_EQ(list->selected, Places{0});
  list->controls.Type(LISTED_SEARCH, "nobody");
  EXPECT_TRUE(list->selected.empty()) << "what was found before is not the answer";
  EXPECT_FALSE(list->controls.IsEnabled(LISTED_DELETE));
  EXPECT_TRUE(page->ClearSearch());
  EXPECT_FALSE(page->ClearSearch());
}

TEST_F(SendersPageTest, SearchFindsANameInEitherOfItsEncodings) {
  for (const char* name : {"Ren\xE9", "Ren\xC3\xA9"}) {
    ASSERT_TRUE(one.Configure("", std::string("[SENDERS]\r\na@x.org=Ann,2\r\nr@x.org=") + name + ",2\r\n"));
    OpenPage(kSenderFriend);
    EXPECT_EQ(list->Rows().back(), "Ren\u00e9 | r@x.org");
    list->controls.Type(LISTED_SEARCH, "en\u00e9");
    EXPECT_EQ(list->selected, Places{1});
  }
}

TEST_F(SendersPageTest, WhatChangedElsewhereIsShownAtAReload) {
  OpenPage(kSenderFriend);
  list->Select({1});
  SenderRecord other;
  other.name = "Bea";
  other.address = "bea@example.org";
  other.kind = kSenderFriend;
  ASSERT_EQ(SenderLists(program()).Add(other), SenderChange::kDone);
  page->Reload();
  EXPECT_EQ(page->RowCount(), 3u);
  EXPECT_EQ(list->selected, Places{2});
}

}  // namespace
}  // namespace quillbeaker
