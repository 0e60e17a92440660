// SPDX-License-Identifier: MIT
// Learning from the training area: what is counted, what leaves the area, and in which order.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

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

class TrainingLessonContractTest : public test::TrainingFixture {
 protected:
  ListedWords Good() const { return test::ListIn(surroundings.directory, kGoodListFile); }
  ListedWords Bad() const { return test::ListIn(surroundings.directory, kBadListFile); }

  // Learns from all marked entries; the names handed to the callback are kept in `told`.
  TrainingLesson Learn() {
    told.clear();
    return LearnFromTrainingArea(program(), Rows(),
                                 [this](const TrainingEntry& entry) { told.push_back(entry.name); });
  }
  // A mail in the area with a mark; gives its name.
  std::string AddMarked(std::string_view body, TrainingMark mark, std::string_view subject = "") {
    EXPECT_TRUE(Add(TrainingMail(std::string(body) + "\r\n", subject)));
    const std::string name = TrainingName("\r\n" + std::string(body) + "\r\n");
    if (mark != TrainingMark::kNone) {
      EXPECT_TRUE(area().SetMark(std::vector<std::string>{name}, mark));
    }
    return name;
  }
  static std::string Marked(std::string_view name, std::string_view mark, std::string_view more = "") {
    return "<message filename=\"" + std::string(name) + "\" mark=\"" + std::string(mark) + "\" " +
           std::string(more) + "/>";
  }

  std::vector<std::string> told;
};

TEST_F(TrainingLessonContractTest, TwoSpamAndOneGoodAreLearntAndGone) {
  const std::string spam = AddMarked("pills pills pills cheap", TrainingMark::kSpam);
  const std::string stays = AddMarked("unmarked words", TrainingMark::kNone);
  const std::string good = AddMarked("meeting tomorrow", TrainingMark::kGood);
  const std::string other = AddMarked("more pills", TrainingMark::kSpam);
  const TrainingLesson lesson = Learn();
  EXPECT_EQ(lesson.marked, 3U);
  EXPECT_EQ(lesson.good, 1U);
  EXPECT_EQ(lesson.spam, 2U);
  EXPECT_EQ(lesson.unreadable, 0U);
  EXPECT_TRUE(lesson.lists_saved);
  EXPECT_TRUE(lesson.removed);
  EXPECT_EQ(Bad(), (ListedWords{2, {{"pills", 4}, {"cheap", 1}, {"more", 1}}}));
  EXPECT_EQ(Good(), (ListedWords{1, {{"meeting", 1}, {"tomorrow", 1}}}));
  EXPECT_EQ(MessageFiles(), std::vector<std::string>{stays});
  EXPECT_EQ(EntryNames(), stays + " ");
  EXPECT_EQ(told, (std::vector<std::string>{spam, good, other}));
}

TEST_F(TrainingLessonContractTest, WithoutMarksNothingIsReadOrWritten) {
  AddMarked("unmarked words", TrainingMark::kNone);
  const std::vector<TrainingEntry> rows = Rows();
  const std::string index = Index();
  const TrainingLesson lesson = LearnFromTrainingArea(program(), rows, [](const TrainingEntry&) { FAIL(); });
  EXPECT_EQ(lesson.marked, 0U);
  EXPECT_FALSE(surroundings.directory.Has(kGoodListFile));
  EXPECT_FALSE(surroundings.directory.Has(kBadListFile));
  EXPECT_EQ(Index(), index);
  EXPECT_EQ(LearnFromTrainingArea(program(), {}, nullptr).marked, 0U);
}

TEST_F(TrainingLessonContractTest, EachIsToldAsCountedBeforeAnythingIsSaved) {
  AddMarked("meeting tomorrow", TrainingMark::kGood);
  AddMarked("unmarked words", TrainingMark::kNone);
  const std::string gone = AddMarked("pills pills", TrainingMark::kSpam);
  const std::vector<TrainingEntry> rows = Rows();
  ASSERT_TRUE(EraseFile(area().PathOfMessage(gone)));
  int counted = 0;
  LearnFromTrainingArea(program(), rows, {}, [&] {
    ++counted;
    EXPECT_FALSE(surroundings.directory.Has(kGoodListFile));
    EXPECT_EQ(Rows().size(), 3U);
  });
  EXPECT_EQ(counted, 2);
  EXPECT_EQ(Rows().size(), 1U);
}

TEST_F(TrainingLessonContractTest, WorksWithoutACallback) {
  AddMarked("meeting tomorrow", TrainingMark::kGood);
  EXPECT_EQ(LearnFromTrainingArea(program(), Rows(), nullptr).good, 1U);
  EXPECT_EQ(Good().messages, 1U);
}

TEST_F(TrainingLessonContractTest, AMissingFileIsDroppedWithoutLearning) {
  ASSERT_TRUE(PutIndex(Marked("gone.eml", "1", "subject=\"pills for you\"") + Marked("1.eml", "0")));
  ASSERT_TRUE(PutFile("1.eml", "\r\nmeeting tomorrow\r\n"));
  const TrainingLesson lesson = Learn();
  EXPECT_EQ(lesson.marked, 2U);
  EXPECT_EQ(lesson.spam, 0U);
  EXPECT_EQ(lesson.good, 1U);
  EXPECT_EQ(lesson.unreadable, 1U);
  EXPECT_EQ(EntryNames(), "");
  EXPECT_EQ(Bad(), ListedWords{});
  EXPECT_EQ(Good().messages, 1U);
  EXPECT_EQ(told, Names({"gone.eml", "1.eml"}));
}

TEST_F(TrainingLessonContractTest, OnlyMissingFilesAreDroppedToo) {
  ASSERT_TRUE(PutIndex(Marked("gone.eml", "1") + "<message filename=\"2.eml\"/>"));
  const TrainingLesson lesson = Learn();
  EXPECT_EQ(lesson.marked, 1U);
  EXPECT_EQ(lesson.unreadable, 1U);
  EXPECT_EQ(EntryNames(), "2.eml ");
  EXPECT_EQ(Bad().messages, 0U);
}

TEST_F(TrainingLessonContractTest, AnEntryWithoutAFileNameIsNotMarked) {
  ASSERT_TRUE(PutIndex(Marked("", "1") + "<message mark=\"0\"/>" + Marked("1.eml", "1")));
  ASSERT_TRUE(PutFile("1.eml", "\r\npills \r\n"));
  const TrainingLesson lesson = Learn();
  EXPECT_EQ(lesson.marked, 1U);
  EXPECT_EQ(lesson.spam, 1U);
  EXPECT_EQ(told, Names({"1.eml"}));
  EXPECT_EQ(Entries().size(), 2U);
}

TEST_F(TrainingLessonContractTest, TheFirstLinesOfATextAreNoHeader) {
  MailMessage message;
  // "Price: 5 euro \r\nmore: text \r\n\r\nend \r\n"
  message.ParseText(
      "From: a@b.example\r\nContent-Transfer-Encoding: base64\r\n\r\n"
      "UHJpY2U6IDUgZXVybyANCm1vcmU6IHRleHQgDQoNCmVuZCANCg==\r\n");
  ASSERT_TRUE(area().Add(message));
  ASSERT_TRUE(area().SetMark(std::vector<std::string>{OnlyRow().name}, TrainingMark::kSpam));
  Learn();
  EXPECT_EQ(Bad(), (ListedWords{1, {{"price", 1}, {"euro", 1}, {"more", 1}, {"text", 1}, {"end", 1}}}));
}

TEST_F(TrainingLessonContractTest, LinesLikeHeaderFieldsAreWords) {
  ASSERT_TRUE(PutIndex(Marked("1.eml", "0")));
  ASSERT_TRUE(PutFile("1.eml", "Content-Type: image/gif; \r\n\r\nwords inside \r\n"));
  Learn();
  EXPECT_EQ(
      Good(),
      (ListedWords{1, {{"content", 1}, {"type", 1}, {"image", 1}, {"gif", 1}, {"words", 1}, {"inside", 1}}}));
}

// Deliberate: the text's last byte is not read, and with it goes the word that it ended.
TEST_F(TrainingLessonContractTest, TheLastByteOfATextIsLost) {
  ASSERT_TRUE(PutIndex(Marked("1.eml", "0") + Marked("2.eml", "0")));
  ASSERT_TRUE(PutFile("1.eml", "first second "));
  ASSERT_TRUE(PutFile("2.eml", "third fourth\r\n"));
  Learn();
  EXPECT_EQ(Good(), (ListedWords{2, {{"first", 1}, {"third", 1}, {"fourth", 1}}}));
}

TEST_F(TrainingLessonContractTest, TheSubjectOfTheIndexIsCounted) {
  ASSERT_TRUE(PutIndex(Marked("1.eml", "1", "subject=\"great offers &#xE9;t&#xE9; today\"") +
                       Marked("2.eml", "1", "subject=\"\"") + Marked("3.eml", "1")));
  for (const char* const name : {"1.eml", "2.eml", "3.eml"}) ASSERT_TRUE(PutFile(name, "\r\nbody\r\n"));
  Learn();
  EXPECT_EQ(Bad(), (ListedWords{3, {{"body", 3}, {"great", 1}, {"offers", 1}, {"\xE9t\xE9", 1}}}));
}

TEST_F(TrainingLessonContractTest, ADecodedSubjectIsLearntDecoded) {
  const std::string body = "body";
  AddMarked(body, TrainingMark::kSpam, "=?iso-8859-1?Q?cheap_pills_here_?=");
  Learn();
  // The encoded word's last blank is trimmed with the field's value, and so its last word is not ended.
  EXPECT_EQ(Bad()["cheap"], 1U);
  EXPECT_EQ(Bad()["pills"], 1U);
  EXPECT_EQ(Bad()["iso"], 0U);
}

TEST_F(TrainingLessonContractTest, ASubjectPlantsNoFieldsAndNoText) {
  ASSERT_TRUE(PutIndex(
      Marked("1.eml", "1", "subject=\"one &#13;&#10;Content-Type: image/gif&#13;&#10;&#13;&#10;x\"")));
  ASSERT_TRUE(PutFile("1.eml", "\r\nbody words\r\n"));
  const TrainingLesson lesson = Learn();
  EXPECT_EQ(lesson.spam, 1U);
  EXPECT_EQ(Bad()["body"], 1U);
  EXPECT_EQ(Bad()["words"], 1U);
}

TEST_F(TrainingLessonContractTest, AnEmptyTextIsAMessageOfItsSubject) {
  ASSERT_TRUE(Add(TrainingMail("GIF89a\r\n", "a fine picture here", "Content-Type: image/gif\r\n")));
  ASSERT_TRUE(area().SetMark(Names({"0.eml"}), TrainingMark::kGood));
  const TrainingLesson lesson = Learn();
  EXPECT_EQ(lesson.good, 1U);
  EXPECT_EQ(Good(), (ListedWords{1, {{"fine", 1}, {"picture", 1}}}));
  EXPECT_TRUE(MessageFiles().empty());
}

TEST_F(TrainingLessonContractTest, AddsToWhatWasLearntBefore) {
  ASSERT_TRUE(surroundings.directory.Put(kBadListFile, test::WordListBytes({10, {{"pills", 7}}})));
  AddMarked("pills pills", TrainingMark::kSpam);
  Learn();
  EXPECT_EQ(Bad(), (ListedWords{11, {{"pills", 9}}}));
}

TEST_F(TrainingLessonContractTest, WhenTheListsCanNotBeSavedNothingIsRemoved) {
  const std::string name = AddMarked("meeting tomorrow", TrainingMark::kGood);
  for (const char* const file : {kGoodListFile, kBadListFile}) {
    ASSERT_TRUE(surroundings.directory.Put(file, test::WordListBytes({1, {{"old", 1}}})));
    surroundings.directory.SetReadOnly(file, true);
  }
  const TrainingLesson lesson = Learn();
  for (const char* const file : {kGoodListFile, kBadListFile})
    surroundings.directory.SetReadOnly(file, false);
  EXPECT_FALSE(lesson.lists_saved);
  EXPECT_EQ(EntryNames(), name + " ");
  EXPECT_EQ(OnlyRow().mark, TrainingMark::kGood);
  EXPECT_TRUE(HasFile(name));
  EXPECT_EQ(Good().messages, 1U);
  EXPECT_EQ(Learn().good, 1U);
  EXPECT_EQ(Good().messages, 2U);
}

TEST_F(TrainingLessonContractTest, AnIndexThatCanNotBeSavedIsTold) {
  const std::string name = AddMarked("meeting tomorrow", TrainingMark::kGood);
  const std::vector<TrainingEntry> rows = Rows();
  surroundings.directory.SetReadOnly("training/training.xml", true);
  const TrainingLesson lesson = LearnFromTrainingArea(program(), rows, nullptr);
  surroundings.directory.SetReadOnly("training/training.xml", false);
  EXPECT_TRUE(lesson.lists_saved);
  EXPECT_FALSE(lesson.removed);
  EXPECT_EQ(Good().messages, 1U);
  EXPECT_EQ(EntryNames(), name + " ");
}

TEST_F(TrainingLessonContractTest, NoLockIsHeldWhileTheCallerIsTold) {
  AddMarked("meeting tomorrow", TrainingMark::kGood);
  AddMarked("pills for you", TrainingMark::kSpam);
  const std::string stays = AddMarked("unmarked words", TrainingMark::kNone);
  int calls = 0;
  LearnFromTrainingArea(program(), Rows(), [&](const TrainingEntry& entry) {
    ++calls;
    EXPECT_NE(entry.mark, TrainingMark::kNone);
    // What a window does there: the area and the lists must be open to it.
    EXPECT_TRUE(area().List().has_value());
    MailMessage message;
    message.ParseText("X: y\r\n\r\ncounted \r\n");
    EXPECT_TRUE(LearnMessage(program(), message, LearnKind::kGood));
  });
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(EntryNames(), stays + " ");
  EXPECT_EQ(Good(), (ListedWords{3, {{"meeting", 1}, {"tomorrow", 1}, {"counted", 2}}}));
}

TEST_F(TrainingLessonContractTest, AnotherLessonMayBeginWhileTheCallerIsTold) {
  AddMarked("meeting tomorrow", TrainingMark::kGood);
  const std::vector<TrainingEntry> rows = Rows();
  AddMarked("pills for you", TrainingMark::kSpam);
  std::future<TrainingLesson> other;
  LearnFromTrainingArea(program(), rows, [&](const TrainingEntry&) {
    other = std::async(std::launch::async, [&] { return Learn(); });
    EXPECT_EQ(other.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  });
  ASSERT_TRUE(other.valid());
  EXPECT_EQ(other.get().spam, 1U);
}

TEST_F(TrainingLessonContractTest, TwoLessonsAtOnceLearnEachMessageOnce) {
  constexpr int kMessages = 40;
  for (int i = 0; i < kMessages; ++i) AddMarked("pills number" + std::to_string(i), TrainingMark::kSpam);
  const std::vector<TrainingEntry> rows = Rows();
  std::vector<std::thread> lessons;
  for (int i = 0; i < 3; ++i) {
    lessons.emplace_back([&] { LearnFromTrainingArea(program(), rows, {}); });
  }
  for (std::thread& lesson : lessons) lesson.join();
  EXPECT_EQ(Bad().messages, kMessages);
  EXPECT_EQ(Bad()["pills"], kMessages);
  EXPECT_TRUE(MessageFiles().empty());
}

TEST_F(TrainingLessonContractTest, ADoctoredNameIsNeitherReadNorDeleted) {
  ASSERT_TRUE(surroundings.directory.Put("outside.eml", "precious words \r\n"));
  ASSERT_TRUE(surroundings.directory.Put(kGoodListFile, test::WordListBytes({1, {{"old", 1}}})));
  ASSERT_TRUE(PutIndex(Marked("../outside.eml", "1") + Marked("..\\outside.eml", "1") +
                       Marked("good.Quillbeaker.wordlist", "1") + Marked("training.xml", "0") +
                       Marked("../../x", "0")));
  const TrainingLesson lesson = Learn();
  EXPECT_EQ(lesson.spam + lesson.good, 0U);
  EXPECT_EQ(lesson.unreadable, 5U);
  EXPECT_EQ(Entries().size(), 0U);
  EXPECT_EQ(surroundings.directory.Get("outside.eml"), "precious words \r\n");
  EXPECT_EQ(Good()["old"], 1U);
  EXPECT_EQ(Bad().messages, 0U);
  EXPECT_TRUE(HasFile("training.xml"));
}

TEST_F(TrainingLessonContractTest, ATextWithManyWordsIsBoundedByTheBudget) {
  ASSERT_TRUE(surroundings.Configure("TrainingAreaMaxMemory=1"));
  std::string text = "\r\n";
  for (int i = 0; i < 100000; ++i) text += "w" + std::to_string(100000 + i) + " ";
  ASSERT_TRUE(PutIndex(Marked("1.eml", "1")));
  ASSERT_TRUE(PutFile("1.eml", text));
  EXPECT_EQ(Learn().spam, 1U);
  EXPECT_EQ(Bad().messages, 1U);
  EXPECT_EQ(Bad().words.size(), 512U / 12U);
}

}  // namespace
}  // namespace quillbeaker
