// SPDX-License-Identifier: MIT
#include "ui/presenter/recycle_bin_list.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "presenter/recording_mail_view.h"
#include "presenter/recording_page_view.h"
#include "support/recycle_fixture.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

using Texts = std::vector<std::string>;
using Rows = std::vector<std::size_t>;

constexpr const char* kThree =
    "<recyclefile name=\"a.recycle\" date=\"2452675\" time=\"22:15\" subject=\"Cheap\" spamwords=\"cheap, "
    "pill\" "
    "probability=\"1.1\" account=\"ann @ one\" sender=\"Sales\" address=\"sales@example.com\" size=\"1536\"/>"
    "<recyclefile name=\"b.recycle\" date=\"2452674\" time=\"09:05\" subject=\"Gr\xFC\xDF"
    "e\" account=\"ann @ two\" sender=\"Bob\" address=\"BOB@example.org\" size=\"512\"/>"
    "<recyclefile name=\"c.recycle\" sender=\"\" address=\"sales@EXAMPLE.com\" probability=\"0.5\"/>";

class RecordingBinView : public RecycleBinView {
 public:
  void ShowAccounts(const std::vector<std::string>& texts, std::size_t place) override {
    accounts = texts;
    chosen = place;
  }
  void ClearSearch() override { ++cleared; }
  void ViewMail(const std::string& name) override { viewed.push_back(name); }
  Trusted RestoreAndTrust(const std::vector<std::string>& names) override {
    trusted = names;
    return answer;
  }
  void Explain(const std::string& path) override { explained.push_back(path); }
  std::optional<std::string> AskForFile(const std::string& name) override {
    proposed = name;
    return file;
  }
  void BeginProgress() override { is_in_progress = true; }
  void EndProgress() override { is_in_progress = false; }

  std::vector<std::string> accounts;
  std::size_t chosen = 0;
  int cleared = 0;
  Texts viewed;
  Texts trusted;
  Trusted answer;
  Texts explained;
  std::string proposed;
  std::optional<std::string> file;
  bool is_in_progress = false;
};

class RecycleBinListTest : public test::RecycleFixture {
 protected:
  void Open(std::string_view elements = kThree) {
    ASSERT_TRUE(PutIndex(elements));
    list = std::make_unique<RecycleBinList>(view, bin_view, surroundings.program());
    list->Open();
  }
  std::vector<std::string> Column(std::size_t column) const {
    std::vector<std::string> texts;
    for (std::size_t row = 0; row < list->RowCount(); ++row) texts.push_back(list->RowText(row, column));
    return texts;
  }
  // A bin of so many mails, with their files.
  void OpenMany(int count) {
    std::string elements;
    for (int i = 0; i < count; ++i) {
      const std::string name = std::to_string(i) + ".recycle";
      elements += "<recyclefile name=\"" + name + "\" size=\"1\"/>";
      ASSERT_TRUE(PutFile(name, "mail"));
    }
    Open(elements);
  }

  test::RecordingMailView view;
  RecordingBinView bin_view;
  std::unique_ptr<RecycleBinList> list;
};

TEST_F(RecycleBinListTest, ShowsWhatTheIndexHoldsInItsOrder) {
  ASSERT_TRUE(surroundings.Configure("", "[SENDERS]\r\nbob@example.org=Bob,1\r\n"));
  Open();
  EXPECT_EQ(list->Columns(), (Texts{"Sender", "Subject", "Date", "Spam Words", "Probability of Spam",
                                    "Mail account", "Size"}));
  EXPECT_EQ(list->ColumnLooks().size(), list->Columns().size());
  EXPECT_EQ(Column(0), (Texts{"Sales", "Bob", ""}));
  EXPECT_EQ(Column(1), (Texts{"Cheap",
                              "Gr\xC3\xBC\xC3\x9F"
                              "e",
                              ""}));
  EXPECT_EQ(Column(2), (Texts{"04.02.2003, 22:15", "03.02.2003, 09:05", ""}));
  EXPECT_EQ(Column(3), (Texts{"cheap, pill", "(Blocked Sender)", "(LF:)"}));
  EXPECT_EQ(Column(4), (Texts{"110.00 %", "", "50.00 %"}));
  EXPECT_EQ(Column(5), (Texts{"ann @ one", "ann @ two", ""}));
  EXPECT_EQ(Column(6), (Texts{"1.50 KB", "0.50 KB", ""}));
  EXPECT_EQ(view.counts, "3 messages - 2.00 KB");
  EXPECT_EQ(list->RowText(0, 99), "");
}

TEST_F(RecycleBinListTest, AnIndexThatIsMissingOrDamagedIsAnEmptyList) {
  list = std::make_unique<RecycleBinList>(view, bin_view, surroundings.program());
  list->Open();
  EXPECT_EQ(view.counts, "0 messages - 0.00 KB");
  EXPECT_EQ(view.state, "");
  ASSERT_TRUE(PutFile("recyclebin.xml", "<recyclebin><recyclefile"));
  list->Open();
  EXPECT_EQ(list->RowCount(), 0U);
  EXPECT_NE(view.state.find("damaged"), std::string::npos);
}

TEST_F(RecycleBinListTest, SortsByValue) {
  Open();
  list->SortBy(2);
  EXPECT_EQ(Column(2), (Texts{"", "03.02.2003, 09:05", "04.02.2003, 22:15"}));
  list->SortBy(4);
  EXPECT_EQ(Column(4), (Texts{"", "50.00 %", "110.00 %"}));
  list->SortBy(6);
  list->SortBy(6);
  EXPECT_EQ(Column(6), (Texts{"1.50 KB", "0.50 KB", ""}));
}

TEST_F(RecycleBinListTest, TheSpamWordsAreSortedByWhatIsShownNow) {
  ASSERT_TRUE(surroundings.Configure("", "[SENDERS]\r\nbob@example.org=Bob,1\r\n"));
  Open();
  list->SortBy(3);
  EXPECT_EQ(Column(3), (Texts{"(Blocked Sender)", "(LF:)", "cheap, pill"}));
  ASSERT_TRUE(surroundings.Configure("", ""));
  EXPECT_EQ(list->RowText(0, 3), "(LF:)");
}

TEST_F(RecycleBinListTest, ALongTextIsCutWithoutBreakingACharacter) {
  std::string subject = "x";
  for (int i = 0; i < 100'000; ++i) subject += "\xC3\xA4";
  Open("<recyclefile name=\"a.recycle\" subject=\"" + subject + "\"/>");
  const std::string shown = list->RowText(0, 1);
  EXPECT_LT(shown.size(), 600U);
  EXPECT_TRUE(shown.starts_with("x\xC3\xA4\xC3\xA4"));
  EXPECT_TRUE(shown.ends_with("\xC3\xA4"));
}

TEST_F(RecycleBinListTest, RestoringOneAsksAndTellsInTheSingular) {
  Open();
  view.Select({1});
  EXPECT_TRUE(list->Run(COMMAND_RESTORE_MAIL));
  ASSERT_EQ(view.asked.size(), 1U);
  EXPECT_EQ(view.asked[0],
            std::pair(std::string("RecycleBinRestoreQuestion"), Text::kRestoreMessageQuestion));
  ASSERT_EQ(view.told.size(), 1U);
  EXPECT_EQ(view.told[0], std::pair(std::string("RecycleBinRestoredInformation"), Text::kMessageRestored));
  EXPECT_EQ(Entries().at(1)["restored"], "1");
  EXPECT_EQ(list->RowPicture(1), 0);
  EXPECT_EQ(list->RowPicture(0), -1);
  EXPECT_EQ(view.place.selected, Rows{1});
}

TEST_F(RecycleBinListTest, RestoringSeveralAsksInThePluralAndNoChangesNothing) {
  Open();
  view.Select({0, 2});
  view.answer = false;
  const std::string before = Index();
  list->Run(COMMAND_RESTORE_MAIL);
  EXPECT_EQ(view.asked[0].second, Text::kRestoreMessagesQuestion);
  EXPECT_TRUE(view.told.empty());
  EXPECT_EQ(Index(), before);
  view.answer = true;
  list->Run(COMMAND_RESTORE_MAIL);
  EXPECT_EQ(view.told[0].second, Text::kMessagesRestored);
  EXPECT_EQ(Entries().at(0)["restored"] + Entries().at(2)["restored"], "11");
  EXPECT_FALSE(Entries().at(1).Has("restored"));
}

TEST_F(RecycleBinListTest, WithoutASelectionNothingIsAsked) {
  Open();
  for (const int command : {COMMAND_RESTORE_MAIL, COMMAND_DELETE_MAIL, COMMAND_RESET_ACCOUNT,
                            COMMAND_BLOCK_SENDER, COMMAND_BEFRIEND_SENDER}) {
    EXPECT_FALSE(list->CanRun(command)) << command;
    list->Run(command);
  }
  EXPECT_TRUE(view.asked.empty());
  EXPECT_TRUE(view.opened.empty());
}

TEST_F(RecycleBinListTest, RestoringAndTrustingIsToldInTheStatusLine) {
  Open();
  view.Select({0, 1});
  view.state = "as before";
  EXPECT_TRUE(list->Run(COMMAND_RESTORE_AND_TRUST));
  EXPECT_EQ(bin_view.trusted, (Texts{"a.recycle", "b.recycle"}));
  EXPECT_EQ(view.state, "as before");
  EXPECT_EQ(list->RowPicture(0), -1);
  bin_view.answer = {.is_restored = true, .has_changed_senders = true, .done = "Done."};
  list->Run(COMMAND_RESTORE_AND_TRUST);
  EXPECT_EQ(view.state, "Done.");
  EXPECT_EQ(list->RowPicture(0), 0);
  EXPECT_EQ(list->RowPicture(2), -1);
  EXPECT_TRUE(view.asked.empty());  // one dialog in the place of question and notice
}

TEST_F(RecycleBinListTest, ExplainsTheFocusedMail) {
  Open();
  view.place = {{0}, 1, 0};
  EXPECT_TRUE(list->Run(COMMAND_WHY_TAKEN));
  EXPECT_EQ(bin_view.explained, Texts{bin().PathOfMessage("b.recycle")});
}

TEST_F(RecycleBinListTest, DeletesEntriesFilesAndRows) {
  Open();
  for (const char* const name : {"a.recycle", "b.recycle", "c.recycle"}) ASSERT_TRUE(PutFile(name, "mail"));
  view.Select({0, 2});
  list->Run(COMMAND_DELETE_MAIL);
  EXPECT_EQ(view.asked[0], std::pair(std::string("RecycleBinDeleteQuestion"), Text::kDeleteMailsQuestion));
  EXPECT_EQ(RowNames(), "b.recycle ");
  EXPECT_FALSE(HasFile("a.recycle"));
  EXPECT_TRUE(HasFile("b.recycle"));
  EXPECT_EQ(Column(0), Texts{"Bob"});
  EXPECT_EQ(view.counts, "1 messages - 0.50 KB");
  EXPECT_EQ(view.place, (ListPlace{{}, 0, 0}));
  view.Select({0});
  list->Run(COMMAND_DELETE_MAIL);
  EXPECT_EQ(view.asked[1].second, Text::kDeleteMailQuestion);
  EXPECT_EQ(view.counts, "0 messages - 0.00 KB");
}

TEST_F(RecycleBinListTest, WhatGoesWhileItIsAskedAboutIsSkippedInSilence) {
  Open();
  view.Select({0, 1});
  view.while_asked = [this] {
    ASSERT_TRUE(bin().RemoveEntries(Texts{"a.recycle"}));
    list->Reload();
  };
  list->Run(COMMAND_DELETE_MAIL);
  EXPECT_EQ(RowNames(), "c.recycle ");
  EXPECT_EQ(list->RowCount(), 1U);
  EXPECT_TRUE(view.troubles.empty());
}

TEST_F(RecycleBinListTest, EmptyingLiftsEveryFilterAndSparesWhatComesMeanwhile) {
  Open();
  list->Search("cheap");
  list->ChooseAccount(1);
  view.while_asked = [this] {
    EXPECT_EQ(list->RowCount(), 3U);
    EXPECT_EQ(bin_view.cleared, 1);
    EXPECT_EQ(bin_view.chosen, 0U);
    ASSERT_TRUE(PutIndex(std::string(kThree) + "<recyclefile name=\"new.recycle\"/>"));
    list->Reload();
  };
  list->Run(COMMAND_EMPTY_BIN);
  EXPECT_EQ(view.asked[0], std::pair(std::string("RecycleBinEmptyQuestion"), Text::kEmptyBinQuestion));
  EXPECT_EQ(RowNames(), "new.recycle ");
  EXPECT_EQ(list->RowCount(), 1U);
}

TEST_F(RecycleBinListTest, ManyAreDeletedBehindTheListAndCanBeCancelled) {
  OpenMany(600);
  view.runs_behind = true;
  list->Run(COMMAND_EMPTY_BIN);
  EXPECT_TRUE(bin_view.is_in_progress);
  EXPECT_EQ(list->DeletionProgress().count, 600U);
  EXPECT_FALSE(list->CanRun(COMMAND_EMPTY_BIN));
  EXPECT_EQ(list->RowCount(), 600U);
  list->CancelDeletion();
  view.RunNext();
  EXPECT_FALSE(bin_view.is_in_progress);
  EXPECT_EQ(list->RowCount(), 600U);
  EXPECT_EQ(view.state, "0 of 600 messages deleted");
  EXPECT_EQ(Entries().size(), 600U);
  list->Run(COMMAND_EMPTY_BIN);
  view.RunNext();
  EXPECT_EQ(list->RowCount(), 0U);
  EXPECT_FALSE(HasFile("599.recycle"));
  EXPECT_EQ(view.state, "600 of 600 messages deleted");
}

TEST_F(RecycleBinListTest, ResetsTheAccount) {
  Open();
  view.Select({0});
  list->Run(COMMAND_RESET_ACCOUNT);
  EXPECT_EQ(Entries().at(0)["account"], "");
  EXPECT_EQ(Entries().at(1)["account"], "ann @ two");
  EXPECT_EQ(Column(5), (Texts{"", "ann @ two", ""}));
  EXPECT_EQ(bin_view.accounts, (Texts{"All accounts", "(no account)", "ann @ two"}));
}

TEST_F(RecycleBinListTest, FiltersByAccount) {
  Open();
  EXPECT_EQ(bin_view.accounts, (Texts{"All accounts", "(no account)", "ann @ one", "ann @ two"}));
  list->ChooseAccount(3);
  EXPECT_EQ(Column(0), Texts{"Bob"});
  EXPECT_EQ(view.counts, "1 messages - 0.50 KB");
  ASSERT_TRUE(PutIndex("<recyclefile name=\"x.recycle\" account=\"other\"/>"));
  list->Reload();
  EXPECT_EQ(list->RowCount(), 0U);
  EXPECT_EQ(bin_view.accounts, (Texts{"All accounts", "ann @ two", "other"}));
  EXPECT_EQ(bin_view.chosen, 1U);
  list->ChooseAccount(0);
  EXPECT_EQ(list->RowCount(), 1U);
}

TEST_F(RecycleBinListTest, SearchesSenderAddressSubjectAndAccount) {
  Open();
  for (const auto& [typed, found] : {std::pair<std::string, std::size_t>{"sales", 2},
                                     {"example.org", 1},
                                     {"cheap", 1},
                                     {"@ two", 1},
                                     {"gr\xC3\xBC", 1},
                                     {"pill", 0}}) {
    list->Search(typed);
    EXPECT_EQ(list->RowCount(), found) << typed;
  }
}

TEST_F(RecycleBinListTest, SelectsAllOfOneSender) {
  Open();
  view.Select({2});
  list->Run(COMMAND_SELECT_SENDER);
  EXPECT_EQ(view.place.selected, (Rows{0, 2}));
}

TEST_F(RecycleBinListTest, AddsTheSenderOfTheMessageFile) {
  Open();
  ASSERT_TRUE(PutFile("a.recycle", "From: Real <real@example.net>\r\n\r\ntext\r\n"));
  view.Select({0, 1});
  Texts offered;
  view.person = [&offered](SmallDialog& dialog) {
    test::RecordingPageView fields;
    dialog.Load(fields);
    offered.push_back(fields.TextIn(SENDER_ADDRESS));
    return dialog.Ok(fields);
  };
  list->Run(COMMAND_BEFRIEND_SENDER);
  EXPECT_EQ(view.opened, (std::vector<int>{DIALOG_SENDER, DIALOG_SENDER}));
  EXPECT_EQ(offered, (Texts{"real@example.net", "BOB@example.org"}));
  EXPECT_TRUE(SenderLists(surroundings.program()).IsKey("real@example.net"));
  // A second time it is refused, on this list and on the other one.
  view.person = [](SmallDialog& dialog) {
    test::RecordingPageView fields;
    dialog.Load(fields);
    const bool taken = dialog.Ok(fields);
    EXPECT_EQ(fields.warnings.size(), 1U);
    return taken;
  };
  view.Select({0});
  list->Run(COMMAND_BLOCK_SENDER);
}

TEST_F(RecycleBinListTest, SavesAMessageWithoutItsStuffedDots) {
  Open();
  ASSERT_TRUE(PutFile("a.recycle", "Subject: x\r\n\r\n..dot\r\n"));
  view.Select({0});
  bin_view.file = surroundings.directory.PathOf("saved.eml");
  list->Run(COMMAND_SAVE_AS);
  EXPECT_EQ(bin_view.proposed, "Cheap.eml");
  EXPECT_EQ(surroundings.directory.Get("saved.eml"), "Subject: x\r\n\r\n.dot\r\n");
  EXPECT_NE(view.state.find("saved.eml"), std::string::npos);
  view.Select({1});  // its file is gone
  list->Run(COMMAND_SAVE_AS);
  EXPECT_EQ(view.troubles.size(), 1U);
}

TEST_F(RecycleBinListTest, ProposesANameThatEveryFileSystemTakes) {
  Open("<recyclefile name=\"a.recycle\" subject=\"Re: a/b\\c?.. \"/><recyclefile name=\"b.recycle\"/>");
  view.Select({0});
  list->Run(COMMAND_SAVE_AS);
  EXPECT_EQ(bin_view.proposed, "Re_ a_b_c_.eml");
  view.Select({1});
  list->Run(COMMAND_SAVE_AS);
  EXPECT_EQ(bin_view.proposed, "message.eml");
}

TEST_F(RecycleBinListTest, LooksForLostMessages) {
  Open("<recyclefile name=\"gone.recycle\"/>");
  list->Run(COMMAND_LOOK_FOR_LOST);
  EXPECT_EQ(list->RowCount(), 0U);
  EXPECT_EQ(view.state, "Messages found again: 0. Rows without a message removed: 1.");
  ASSERT_TRUE(PutFile("lost.recycle", "Subject: lost\r\n\r\ntext\r\n"));
  list->Run(COMMAND_LOOK_FOR_LOST);
  EXPECT_EQ(Column(1), Texts{"lost"});
  list->Run(COMMAND_LOOK_FOR_LOST);
  EXPECT_EQ(view.state, "No lost messages were found.");
}

TEST_F(RecycleBinListTest, TheViewerIsGivenTheFocusedMail) {
  Open();
  view.place = {{0}, 1, 0};
  list->Run(COMMAND_VIEW_MAIL);
  EXPECT_EQ(bin_view.viewed, Texts{"b.recycle"});
  const auto mail = list->MailOf("b.recycle");
  ASSERT_TRUE(mail);
  EXPECT_EQ(mail->path, bin().directory() + "b.recycle");
  EXPECT_EQ(mail->address, "BOB@example.org");
  EXPECT_FALSE(list->MailOf("gone.recycle"));
}

TEST_F(RecycleBinListTest, ALargeIndexIsListedBehindTheWindow) {
  const std::string padding(1 << 20, 'x');
  view.runs_behind = true;
  Open(std::string(kThree) + "<recyclefile name=\"d.recycle\" subject=\"" + padding + "\"/>");
  EXPECT_EQ(list->RowCount(), 0U);
  EXPECT_EQ(view.state, "Reading the list...");
  view.RunNext();
  EXPECT_EQ(list->RowCount(), 4U);
  EXPECT_EQ(view.state, "Ready");
}

TEST_F(RecycleBinListTest, AStoreThatCannotBeChangedIsTold) {
  Open();
  ASSERT_TRUE(PutFile("recyclebin.xml", "<other/>"));
  view.Select({0});
  list->Run(COMMAND_RESTORE_MAIL);
  list->Run(COMMAND_DELETE_MAIL);
  list->Run(COMMAND_RESET_ACCOUNT);
  EXPECT_EQ(view.troubles.size(), 3U);
  EXPECT_EQ(list->RowCount(), 3U);
  EXPECT_EQ(GetFile("recyclebin.xml"), "<other/>");
}

}  // namespace
}  // namespace quillbeaker
