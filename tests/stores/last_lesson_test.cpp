// SPDX-License-Identifier: MIT
// Taking the last lesson back: what returns, what is subtracted, and what a record of anybody's making may
// do.
#include "stores/last_lesson.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "filter/learning.h"
#include "filter/lesson_record.h"
#include "platform/files.h"
#include "stores/training_lesson.h"
#include "support/learn_message.h"
#include "support/training_fixture.h"
#include "support/word_list_text.h"

namespace quillbeaker {
namespace {

using test::kBadListFile;
using test::kGoodListFile;
using test::ListedWords;
using test::TrainingMail;
using test::TrainingName;

class LastLessonTest : public test::TrainingFixture {
 protected:
  ListedWords Good() const { return test::ListIn(surroundings.directory, kGoodListFile); }
  ListedWords Bad() const { return test::ListIn(surroundings.directory, kBadListFile); }

  TrainingLesson Learn() { return LearnFromTrainingArea(program(), Rows(), {}); }

  std::string AddMarked(std::string_view body, TrainingMark mark) {
    EXPECT_TRUE(Add(TrainingMail(std::string(body) + "\r\n", "")));
    const std::string name = TrainingName("\r\n" + std::string(body) + "\r\n");
    if (mark != TrainingMark::kNone) {
      EXPECT_TRUE(area().SetMark(std::vector<std::string>{name}, mark));
    }
    return name;
  }

  static std::string MailOf(std::string_view body) { return "X: y\r\n\r\n" + std::string(body) + " \r\n"; }
  bool LearnByACheck(std::string_view body, LearnKind kind) {
    MailMessage message;
    message.ParseText(MailOf(body));
    return LearnMessage(program(), message, kind);
  }
  bool LearnOne(std::string_view body, LearnKind kind) {
    MailMessage message;
    message.ParseText(MailOf(body));
    const MailMessage* const pointer = &message;
    return LearnAsLesson(program(), std::span(&pointer, 1), kind);
  }
  std::string Record() const { return GetFile("last-lesson"); }
};

TEST_F(LastLessonTest, EntriesFilesMarksAndListsAreAsBefore) {
  ASSERT_TRUE(LearnByACheck("old words pills", LearnKind::kSpam));
  ASSERT_TRUE(LearnByACheck("old words lunch", LearnKind::kGood));
  AddMarked("stays first", TrainingMark::kNone);
  const std::string spam = AddMarked("pills pills cheap", TrainingMark::kSpam);
  AddMarked("stays between", TrainingMark::kNone);
  AddMarked("lunch tomorrow", TrainingMark::kGood);
  AddMarked("stays last", TrainingMark::kNone);
  const std::string index = Index();
  const std::vector<std::string> files = MessageFiles();
  const std::string text = GetFile(spam);
  const ListedWords good = Good();
  const ListedWords bad = Bad();
  ASSERT_EQ(Learn().spam, 1U);
  ASSERT_NE(Bad(), bad);
  ASSERT_FALSE(HasFile(spam));

  const UndoneLesson undone = UndoLastLesson(program());
  EXPECT_EQ(undone.outcome, UndoOutcome::kUndone);
  EXPECT_EQ(undone.lesson.good, 1U);
  EXPECT_EQ(undone.lesson.spam, 1U);
  EXPECT_EQ(undone.lesson.mails, 2U);
  EXPECT_EQ(Index(), index);
  EXPECT_EQ(MessageFiles(), files);
  EXPECT_EQ(GetFile(spam), text);
  EXPECT_EQ(Good(), good);
  EXPECT_EQ(Bad(), bad);
  EXPECT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kNone);
  EXPECT_EQ(Bad(), bad);
}

TEST_F(LastLessonTest, WhatAMailCheckLearntMeanwhileStays) {
  AddMarked("pills pills cheap", TrainingMark::kSpam);
  Learn();
  const std::string record = Record();
  ASSERT_TRUE(LearnByACheck("pills newest", LearnKind::kSpam));
  ASSERT_TRUE(LearnByACheck("lunch", LearnKind::kGood));
  EXPECT_EQ(Record(), record);
  ASSERT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kUndone);
  EXPECT_EQ(Bad(), (ListedWords{1, {{"pills", 1}, {"newest", 1}}}));
  EXPECT_EQ(Good(), (ListedWords{1, {{"lunch", 1}}}));
}

TEST_F(LastLessonTest, ListsThatBecameSmallerEndAtZero) {
  AddMarked("pills pills cheap", TrainingMark::kSpam);
  AddMarked("more pills", TrainingMark::kSpam);
  Learn();
  ASSERT_TRUE(
      surroundings.directory.Put(kBadListFile, test::WordListBytes({1, {{"pills", 2}, {"other", 5}}})));
  ASSERT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kUndone);
  EXPECT_EQ(Bad(), (ListedWords{0, {{"other", 5}}}));
}

TEST_F(LastLessonTest, OnlyTheNewestLessonIsUndone) {
  ASSERT_TRUE(LearnOne("first lesson", LearnKind::kGood));
  ASSERT_TRUE(LearnOne("second lesson", LearnKind::kGood));
  ASSERT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kUndone);
  EXPECT_EQ(Good(), (ListedWords{1, {{"first", 1}, {"lesson", 1}}}));
  EXPECT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kNone);
}

TEST_F(LastLessonTest, ALookTellsWhatAnUndoWouldTake) {
  EXPECT_EQ(LookAtLastLesson(program()).outcome, UndoOutcome::kNone);
  EXPECT_FALSE(LastLessonExists(program()));
  ASSERT_TRUE(LearnOne("first lesson", LearnKind::kSpam));
  EXPECT_TRUE(LastLessonExists(program()));
  const UndoneLesson look = LookAtLastLesson(program());
  EXPECT_EQ(look.outcome, UndoOutcome::kUndone);
  EXPECT_EQ(look.lesson.spam, 1U);
  EXPECT_EQ(look.lesson.good, 0U);
  EXPECT_EQ(look.lesson.mails, 0U);
  EXPECT_EQ(Bad().messages, 1U);
}

TEST_F(LastLessonTest, AForgottenLessonIsNotUndone) {
  ASSERT_TRUE(LearnOne("first lesson", LearnKind::kSpam));
  EXPECT_TRUE(ForgetLastLesson(program()));
  EXPECT_FALSE(LastLessonExists(program()));
  EXPECT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kNone);
  EXPECT_EQ(Bad().messages, 1U);
  EXPECT_TRUE(ForgetLastLesson(program()));
}

TEST_F(LastLessonTest, AMessageThatCameAgainIsMarkedAndNotListedTwice) {
  const std::string name = AddMarked("pills pills", TrainingMark::kSpam);
  Learn();
  ASSERT_EQ(AddMarked("pills pills", TrainingMark::kNone), name);
  ASSERT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kUndone);
  EXPECT_EQ(EntryNames(), name + " ");
  EXPECT_EQ(OnlyRow().mark, TrainingMark::kSpam);
}

TEST_F(LastLessonTest, AMailWithoutATextReturnsWithoutOne) {
  ASSERT_TRUE(PutIndex("<message filename=\"gone.eml\" mark=\"1\" subject=\"offers here\"/>"));
  ASSERT_EQ(Learn().unreadable, 1U);
  EXPECT_EQ(EntryNames(), "");
  const UndoneLesson undone = UndoLastLesson(program());
  EXPECT_EQ(undone.outcome, UndoOutcome::kUndone);
  EXPECT_EQ(EntryNames(), "gone.eml ");
  EXPECT_EQ(OnlyRow().mark, TrainingMark::kSpam);
  EXPECT_EQ(OnlyRow().subject, "offers here");
  EXPECT_FALSE(HasFile("gone.eml"));
}

TEST_F(LastLessonTest, WhatAnotherLessonLearntIsNotThisOnesToUndo) {
  const std::string name = AddMarked("pills pills", TrainingMark::kSpam);
  const std::vector<TrainingEntry> rows = Rows();
  LearnFromTrainingArea(program(), rows, {});
  const std::string record = Record();
  EXPECT_EQ(LearnFromTrainingArea(program(), rows, {}).unreadable, 1U);
  EXPECT_EQ(Record(), record);
  ASSERT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kUndone);
  EXPECT_TRUE(HasFile(name));
}

TEST_F(LastLessonTest, ALessonThatIsStoppedLearnsWhatWasRead) {
  const std::string first = AddMarked("pills pills", TrainingMark::kSpam);
  const std::string second = AddMarked("lunch tomorrow", TrainingMark::kGood);
  std::vector<std::string> told;
  int asked = 0;
  const TrainingLesson lesson = LearnFromTrainingArea(
      program(), Rows(), [&](const TrainingEntry& entry) { told.push_back(entry.name); }, {},
      [&] { return ++asked == 2; });
  EXPECT_TRUE(lesson.stopped);
  EXPECT_EQ(lesson.spam, 1U);
  EXPECT_EQ(lesson.good, 0U);
  EXPECT_EQ(told, std::vector<std::string>{first});
  EXPECT_EQ(EntryNames(), second + " ");
  EXPECT_EQ(OnlyRow().mark, TrainingMark::kGood);
  EXPECT_TRUE(HasFile(second));
  EXPECT_EQ(Bad().messages, 1U);
  EXPECT_EQ(Good().messages, 0U);
  ASSERT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kUndone);
  EXPECT_EQ(Rows().size(), 2U);
}

TEST_F(LastLessonTest, StoppedBeforeTheFirstMailNothingIsWritten) {
  AddMarked("pills pills", TrainingMark::kSpam);
  const TrainingLesson lesson = LearnFromTrainingArea(program(), Rows(), {}, {}, [] { return true; });
  EXPECT_TRUE(lesson.stopped);
  EXPECT_EQ(lesson.marked, 1U);
  EXPECT_EQ(lesson.spam, 0U);
  EXPECT_FALSE(HasFile("last-lesson"));
  EXPECT_FALSE(surroundings.directory.Has(kBadListFile));
}

TEST_F(LastLessonTest, ADamagedRecordIsRefusedAndStays) {
  ASSERT_TRUE(LearnOne("first lesson", LearnKind::kSpam));
  const std::string record = Record();
  for (std::size_t i = 0; i < record.size(); ++i) {
    std::string damaged = record;
    damaged[i] = static_cast<char>(damaged[i] ^ 0x10);
    ASSERT_TRUE(PutFile("last-lesson", damaged));
    ASSERT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kDamaged) << "byte " << i;
    ASSERT_TRUE(PutFile("last-lesson", record.substr(0, i)));
    ASSERT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kDamaged) << "cut at " << i;
  }
  EXPECT_EQ(Bad().messages, 1U);
  ASSERT_TRUE(PutFile("last-lesson", record));
  EXPECT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kUndone);
}

TEST_F(LastLessonTest, ADoctoredRecordWritesNoFileElsewhere) {
  for (const char* const name : {"../out.eml", "..\\out.eml", "good.Quillbeaker.wordlist", "training.xml"}) {
    LearntMail mail;
    mail.entry.name = name;
    mail.entry.mark = TrainingMark::kSpam;
    mail.text = "doctored";
    mail.place = 4000000000U;
    std::string mails;
    AppendTrainingMail(mails, mail);
    ASSERT_TRUE(PutFile("last-lesson", SerialiseLesson({}, {}, mails)));
    EXPECT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kUndone);
  }
  EXPECT_FALSE(surroundings.directory.Has("out.eml"));
  EXPECT_TRUE(MessageFiles().empty());
  EXPECT_EQ(Good(), ListedWords{});
  EXPECT_EQ(Rows().size(), 4U);
}

TEST_F(LastLessonTest, ListsThatCanNotBeSavedLeaveEverythingAsItIs) {
  AddMarked("pills pills", TrainingMark::kSpam);
  Learn();
  surroundings.directory.SetReadOnly(kBadListFile, true);
  EXPECT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kNotSaved);
  surroundings.directory.SetReadOnly(kBadListFile, false);
  EXPECT_EQ(Bad().messages, 1U);
  EXPECT_EQ(EntryNames(), "");
  EXPECT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kUndone);
  EXPECT_EQ(Rows().size(), 1U);
}

TEST_F(LastLessonTest, MailThatCanNotReturnNowReturnsLater) {
  AddMarked("stays", TrainingMark::kNone);
  const std::string name = AddMarked("pills pills", TrainingMark::kSpam);
  Learn();
  surroundings.directory.SetReadOnly("training/training.xml", true);
  EXPECT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kNotPutBack);
  surroundings.directory.SetReadOnly("training/training.xml", false);
  EXPECT_EQ(Bad().messages, 0U);
  EXPECT_EQ(Rows().size(), 1U);
  EXPECT_TRUE(FinishLesson(program()));
  EXPECT_EQ(Rows().size(), 2U);
  EXPECT_EQ(Rows().back().name, name);
  EXPECT_EQ(UndoLastLesson(program()).outcome, UndoOutcome::kNone);
}

}  // namespace
}  // namespace quillbeaker
