// SPDX-License-Identifier: MIT
// The training area's list: marks, learning, deleting, senders, dropped mail, the question at the end.
#include "ui/presenter/training_list.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "filter/sender_lists.h"
#include "filter/word_tables.h"
#include "presenter/recording_mail_view.h"
#include "support/learn_message.h"
#include "support/training_fixture.h"
#include "support/word_list_text.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

using test::kBadListFile;
using test::kGoodListFile;
using test::RecordingMailView;

struct RecordingTrainingView : TrainingView {
  void BeginLearning(std::uint32_t count, std::shared_ptr<LessonProgress> shared) override {
    learning.push_back(count);
    progress = std::move(shared);
    if (stops_at_once) progress->is_stopped = true;
  }
  void EndLearning() override { ++ended; }
  void ShowKnowledge(std::string_view text) override { knowledge = text; }
  void ViewMail(std::string_view name) override { viewed = name; }
  void ExplainMail(const MailToExplain& mail) override { explained = mail; }
  void RowsAreOthers() override {}
  void CloseWindow() override { ++closed; }

  std::vector<std::uint32_t> learning;
  std::shared_ptr<LessonProgress> progress;
  bool stops_at_once = false;
  int ended = 0;
  int closed = 0;
  std::string knowledge;
  std::string viewed;
  MailToExplain explained;
};

class TrainingListTest : public test::TrainingFixture {
 protected:
  static std::string NameOf(int number) { return std::to_string(number) + ".eml"; }
  static std::string Entry(int number, std::string_view more = "") {
    const std::string text = std::to_string(number);
    return "<message filename=\"" + NameOf(number) + "\" sender=\"Ann " + text + "\" mail=\"ann" + text +
           "@example.org\" subject=\"mail " + text + "\" date=\"2453790\" time=\"09:41\" size=\"1536\" " +
           std::string(more) + "/>";
  }
  // Mails 1, 2, ... with these attributes, and the list over them.
  void Put(const std::vector<std::string>& attributes) {
    std::string entries;
    int number = 0;
    for (const std::string& more : attributes) {
      entries += Entry(++number, more);
      ASSERT_TRUE(PutFile(NameOf(number), "\r\nword" + std::to_string(number) + " \r\n"));
    }
    ASSERT_TRUE(PutIndex(entries));
    list.Open();
  }
  std::string Marks() {
    std::string marks;
    for (const TrainingEntry& row : Rows()) {
      marks += row.mark == TrainingMark::kNone ? '-' : row.mark == TrainingMark::kSpam ? 'S' : 'N';
    }
    return marks;
  }
  std::string Pictures() const {
    std::string pictures;
    for (std::size_t row = 0; row < list.RowCount(); ++row) {
      pictures += list.RowPicture(row) < 0 ? "-" : std::to_string(list.RowPicture(row));
    }
    return pictures;
  }
  std::string Subjects() const {
    std::string subjects;
    for (std::size_t row = 0; row < list.RowCount(); ++row) subjects += list.RowText(row, 2) + " ";
    return subjects;
  }
  std::uint32_t Learnt(const char* file) const { return test::ListIn(surroundings.directory, file).messages; }

  RecordingMailView view;
  RecordingTrainingView window;
  TrainingList list{program(), view, window};
};

TEST_F(TrainingListTest, ShowsWhatTheIndexHolds) {
  ASSERT_TRUE(
      PutIndex(Entry(1) +
               "<message filename=\"2.eml\" sender=\"\" mail=\"b@c\" date=\"25657560\" time=\"00:00\" "
               "mark=\"1\"/>"));
  list.Open();
  EXPECT_EQ(list.Columns(), (std::vector<std::string>{"", "Sender", "Subject", "Date", "Size"}));
  ASSERT_EQ(list.RowCount(), 2U);
  EXPECT_EQ(list.RowText(0, 0), "");
  EXPECT_EQ(list.RowText(0, 1), "Ann 1");
  EXPECT_EQ(list.RowText(0, 2), "mail 1");
  EXPECT_EQ(list.RowText(0, 3), "23.02.2006, 09:41");
  EXPECT_EQ(list.RowText(0, 4), "1.50 KB");
  EXPECT_EQ(list.RowText(1, 1), "b@c");
  EXPECT_EQ(list.RowText(1, 3), "");
  EXPECT_EQ(list.RowText(1, 4), "0.00 KB");
  EXPECT_EQ(Pictures(), "-0");
  EXPECT_EQ(view.counts, "2 messages - 1.50 KB");
}

TEST_F(TrainingListTest, MarksTheSelectionWithOneSaveAndTogglesAFullOne) {
  Put({"", "mark=\"1\"", ""});
  list.Run(COMMAND_MARK_SPAM);
  EXPECT_EQ(Marks(), "-S-");
  view.Select({0, 1});
  list.Run(COMMAND_MARK_SPAM);
  EXPECT_EQ(Marks(), "SS-");
  EXPECT_EQ(Pictures(), "00-");
  EXPECT_EQ(view.place.selected, (std::vector<std::size_t>{0, 1}));
  list.Run(COMMAND_MARK_SPAM);
  EXPECT_EQ(Marks(), "---");
  view.Select({0, 1, 2});
  list.Run(COMMAND_MARK_GOOD);
  EXPECT_EQ(Marks(), "NNN");
  EXPECT_EQ(Pictures(), "111");
  EXPECT_TRUE(view.troubles.empty());
}

TEST_F(TrainingListTest, LearnsFromAllMarkedMails) {
  Put({"mark=\"1\"", "", "mark=\"0\""});
  EXPECT_TRUE(list.CanRun(COMMAND_LEARN));
  list.Run(COMMAND_LEARN);
  EXPECT_EQ(window.learning, std::vector<std::uint32_t>{2});
  EXPECT_EQ(window.progress->counted, 2U);
  EXPECT_EQ(window.ended, 1);
  EXPECT_EQ(Subjects(), "mail 2 ");
  EXPECT_EQ(Learnt(kBadListFile), 1U);
  EXPECT_EQ(Learnt(kGoodListFile), 1U);
  ASSERT_EQ(view.told.size(), 1U);
  EXPECT_EQ(view.told.front().first, "TrainingAreaHasLearned");
  EXPECT_EQ(view.told.front().second, Text::kHasLearned);
  EXPECT_EQ(view.state, "Ready");
  EXPECT_FALSE(list.CanRun(COMMAND_LEARN));
  list.Run(COMMAND_LEARN);
  EXPECT_EQ(window.learning.size(), 1U);
}

TEST_F(TrainingListTest, CancelledBeforeTheFirstMailNothingIsTold) {
  Put({"mark=\"1\"", "mark=\"0\""});
  window.stops_at_once = true;
  list.Run(COMMAND_LEARN);
  EXPECT_EQ(Subjects(), "mail 1 mail 2 ");
  EXPECT_EQ(Marks(), "SN");
  EXPECT_TRUE(view.told.empty());
  EXPECT_TRUE(view.troubles.empty());
}

TEST_F(TrainingListTest, AMailWithoutItsFileLeavesAndTheNoticeComes) {
  ASSERT_TRUE(PutIndex(Entry(1, "mark=\"1\"")));
  list.Open();
  list.Run(COMMAND_LEARN);
  EXPECT_EQ(list.RowCount(), 0U);
  EXPECT_EQ(view.told.size(), 1U);
}

TEST_F(TrainingListTest, TheLastLessonIsTakenBackAfterAQuestion) {
  Put({"mark=\"1\"", ""});
  EXPECT_FALSE(list.CanRun(COMMAND_UNDO_LEARNING));
  list.Run(COMMAND_LEARN);
  EXPECT_TRUE(list.CanRun(COMMAND_UNDO_LEARNING));
  view.answer = false;
  list.Run(COMMAND_UNDO_LEARNING);
  EXPECT_EQ(Learnt(kBadListFile), 1U);
  view.answer = true;
  list.Run(COMMAND_UNDO_LEARNING);
  EXPECT_EQ(view.questions.size(), 2U);
  EXPECT_EQ(Learnt(kBadListFile), 0U);
  EXPECT_EQ(Subjects(), "mail 1 mail 2 ");
  EXPECT_EQ(Marks(), "S-");
  EXPECT_FALSE(list.CanRun(COMMAND_UNDO_LEARNING));
}

TEST_F(TrainingListTest, ClosingWithMarksAsksOnceAndClosesInAnyCase) {
  Put({"mark=\"1\"", ""});
  view.answer = false;
  list.Close();
  EXPECT_EQ(window.closed, 1);
  EXPECT_EQ(Marks(), "S-");
  view.answer = true;
  list.Close();
  EXPECT_EQ(window.closed, 2);
  EXPECT_EQ(Learnt(kBadListFile), 1U);
  ASSERT_EQ(view.questions.size(), 2U);
  EXPECT_EQ(view.questions.front(), "Do you want Quillbeaker to learn from selected messages?");
  list.Close();
  EXPECT_EQ(window.closed, 3);
  EXPECT_EQ(view.questions.size(), 2U);
}

TEST_F(TrainingListTest, DeletesTheSelectionAfterTheOptionalQuestion) {
  Put({"", "", ""});
  list.Run(COMMAND_DELETE_MAIL);
  EXPECT_TRUE(view.asked.empty());
  view.Select({1});
  view.answer = false;
  list.Run(COMMAND_DELETE_MAIL);
  EXPECT_EQ(list.RowCount(), 3U);
  view.answer = true;
  list.Run(COMMAND_DELETE_MAIL);
  EXPECT_EQ(Subjects(), "mail 1 mail 3 ");
  EXPECT_EQ(EntryNames(), "1.eml 3.eml ");
  EXPECT_FALSE(HasFile("2.eml"));
  view.Select({0, 1});
  list.Run(COMMAND_DELETE_MAIL);
  EXPECT_EQ(list.RowCount(), 0U);
  ASSERT_EQ(view.asked.size(), 3U);
  EXPECT_EQ(view.asked[1],
            (std::pair<std::string, Text>("TrainingDeleteQuestion", Text::kDeleteMailQuestion)));
  EXPECT_EQ(view.asked[2].second, Text::kDeleteMailsQuestion);
}

TEST_F(TrainingListTest, RowsThatAPurgeTookMeanwhileAreSkippedInSilence) {
  Put({"", "", ""});
  view.Select({0, 1});
  view.while_asked = [this] { ASSERT_TRUE(area().DeleteMessages(std::vector<std::string>{NameOf(1)})); };
  list.Run(COMMAND_DELETE_MAIL);
  EXPECT_EQ(Subjects(), "mail 3 ");
  EXPECT_TRUE(view.troubles.empty());
}

TEST_F(TrainingListTest, OffersEachSenderOnceInTheDialog) {
  ASSERT_TRUE(PutIndex(Entry(1) + Entry(2) + Entry(1) + "<message filename=\"4.eml\"/>"));
  list.Open();
  view.Select({0, 1, 2, 3});
  view.person = [](SmallDialog&) { return true; };
  list.Run(COMMAND_BLOCK_SENDER);
  EXPECT_EQ(view.opened, (std::vector<int>{DIALOG_SENDER, DIALOG_SENDER}));
}

TEST_F(TrainingListTest, TellsWhatTheFilterKnows) {
  ASSERT_TRUE(surroundings.directory.Put(kGoodListFile, test::WordListBytes({300, {{"a", 1}}})));
  ASSERT_TRUE(surroundings.directory.Put(kBadListFile, test::WordListBytes({19, {{"a", 1}}})));
  Put({});
  EXPECT_EQ(
      window.knowledge,
      "The filter knows 300 good and 19 spam messages. To judge well it needs at least 20 of each kind.");
  ASSERT_TRUE(surroundings.directory.Put(kBadListFile, test::WordListBytes({74, {{"a", 1}}})));
  list.Open();
  EXPECT_EQ(
      window.knowledge,
      "The filter knows 300 good and 74 spam messages. It judges better when neither kind outweighs the "
      "other four times.");
  ASSERT_TRUE(surroundings.directory.Put(kBadListFile, test::WordListBytes({75, {{"a", 1}}})));
  list.Open();
  EXPECT_EQ(window.knowledge, "The filter knows 300 good and 75 spam messages.");
}

TEST_F(TrainingListTest, TakesDroppedMailIn) {
  Put({""});
  EXPECT_FALSE(list.Accept({{"no mail at all"}, {}}));
  ASSERT_TRUE(list.Accept({{test::TrainingMail("dropped words\r\n", "dropped")}, {}}));
  list.TakeDropped();
  EXPECT_EQ(Subjects(), "mail 1 dropped ");
  EXPECT_TRUE(view.questions.empty());
  EXPECT_EQ(view.state, "Messages added: 1, left out: 0");
}

TEST_F(TrainingListTest, TakesAMailboxInAndAsksAboutALargeOne) {
  const auto mbox = [](int count) {
    std::string bytes;
    for (int i = 0; i < count; ++i) {
      bytes +=
          "From ann@example.org Sat Nov 21 15:06:00 2026\nFrom: ann@example.org\nSubject: kept\n\nletter " +
          std::to_string(i) + "\n\n";
    }
    return bytes;
  };
  Put({});
  ASSERT_TRUE(surroundings.directory.Put("some.mbox", mbox(3)));
  ASSERT_TRUE(list.Accept({{}, {surroundings.directory.PathOf("some.mbox")}}));
  list.TakeDropped();
  EXPECT_EQ(list.RowCount(), 3U);
  EXPECT_TRUE(view.questions.empty());
  ASSERT_TRUE(surroundings.directory.Put("many.mbox", mbox(51)));
  view.answer = false;
  ASSERT_TRUE(list.Accept({{}, {surroundings.directory.PathOf("many.mbox")}}));
  list.TakeDropped();
  ASSERT_EQ(view.questions.size(), 1U);
  EXPECT_NE(view.questions.front().find("51"), std::string::npos);
  EXPECT_EQ(list.RowCount(), 3U);
}

TEST_F(TrainingListTest, ViewsAndExplainsTheFocusedMail) {
  Put({"", ""});
  view.Select({1});
  list.Run(COMMAND_VIEW_MAIL);
  EXPECT_EQ(window.viewed, "2.eml");
  list.Run(COMMAND_WHY_TAKEN);
  EXPECT_EQ(window.explained.path, area().PathOfMessage("2.eml"));
  EXPECT_EQ(window.explained.stored_subject, "mail 2");
  EXPECT_EQ(window.explained.stored_sender, area().List().value()[1].address);
  EXPECT_FALSE(window.explained.stored_sender.empty());
  const auto mail = list.MailOf("2.eml");
  ASSERT_TRUE(mail.has_value());
  EXPECT_TRUE(mail->is_stored_text);
  EXPECT_EQ(mail->sender, "Ann 2");
  EXPECT_EQ(mail->date, "23.02.2006, 09:41");
  EXPECT_FALSE(list.MailOf("3.eml").has_value());
}

TEST_F(TrainingListTest, AListThatAMarkOvertookIsReadAnew) {
  Put({"", ""});
  view.runs_behind = true;
  list.Reload();
  view.Select({0});
  list.Run(COMMAND_MARK_SPAM);
  ASSERT_EQ(view.behind.size(), 1U);
  view.RunNext();
  EXPECT_EQ(Pictures(), "0-");
  ASSERT_EQ(view.behind.size(), 1U);
  view.RunNext();
  EXPECT_EQ(Pictures(), "0-");
  EXPECT_TRUE(view.behind.empty());
}

}  // namespace
}  // namespace quillbeaker
