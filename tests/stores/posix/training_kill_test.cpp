// SPDX-License-Identifier: MIT

// The training area, its learning and the statistic on a machine that fails them: killed at every system
// call, a disk that fills up at every byte, directories that may only be read. No index, list or lists of
// days is ever half written, and nothing leaves the training area that was not learnt.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "filter/word_tables.h"
#include "stores/last_lesson.h"
#include "stores/posix/traced_process.h"
#include "stores/statistics.h"
#include "stores/training_area.h"
#include "stores/training_lesson.h"
#include "support/index_text.h"
#include "support/learn_message.h"
#include "support/test_program.h"
#include "support/training_fixture.h"
#include "support/word_list_text.h"

namespace quillbeaker {
namespace {

using test::RunKilledAt;
using test::TestProgram;
using test::TracedEnd;
using test::TrainingMail;

constexpr int kMoreCallsThanAnyWorkMakes = 5000;
constexpr char kIndex[] = "training/training.xml";

std::string Body(int number) {
  return "words of number" + std::to_string(number) + " " + std::string(300, 'x') + " end \r\n";
}

// An area that holds two texts, the first marked as spam and the second as good, with word lists of one
// message each.
class Area {
 public:
  // Made once and copied from then on: there is one for each system call.
  Area() {
    static const std::map<std::string, std::string> first = MakeFirst();
    for (const auto& [name, bytes] : first)
      EXPECT_TRUE(surroundings.directory.Put("training/" + name, bytes));
  }

  Program& program() { return surroundings.program(); }
  TrainingArea& store() {
    if (!store_) store_ = std::make_unique<TrainingArea>(program());
    return *store_;
  }
  static std::string NameOf(int number) { return test::TrainingName("\r\n" + Body(number)); }
  static std::vector<std::string> OldNames() { return {NameOf(0), NameOf(1)}; }

  bool AddOne(int number) {
    MailMessage message;
    message.ParseText(TrainingMail(Body(number)));
    return store().Add(message);
  }
  // How many of three new ones were kept.
  int AddThree() {
    std::vector<MailMessage> messages(3);
    std::vector<const MailMessage*> pointers;
    for (MailMessage& message : messages) {
      message.ParseText(TrainingMail(Body(10 + static_cast<int>(pointers.size()))));
      pointers.push_back(&message);
    }
    int added = 0;
    for (const bool one : store().Add(pointers)) added += one ? 1 : 0;
    return added;
  }
  TrainingLesson Learn() {
    const auto rows = store().List();
    return LearnFromTrainingArea(program(), rows.value_or(std::vector<TrainingEntry>()), {});
  }

  std::string Index() const { return surroundings.directory.Get(kIndex).value_or("(missing)"); }
  std::set<std::string> Listed() {
    std::set<std::string> names;
    const auto rows = store().List();
    EXPECT_TRUE(rows.has_value());
    for (const TrainingEntry& row : rows.value_or(std::vector<TrainingEntry>())) names.insert(row.name);
    return names;
  }
  std::set<std::string> Files() {
    const std::vector<std::string> files = ListFiles(store().directory(), ".eml");
    return {files.begin(), files.end()};
  }
  bool EveryEntryHasItsFile() {
    const std::set<std::string> files = Files();
    for (const std::string& name : Listed()) {
      const auto text = surroundings.directory.Get("training/" + name);
      if (!text || test::TrainingName(*text) != name) return false;
    }
    return true;
  }
  // Messages of a word list; 999 for a file that is none.
  unsigned MessagesOf(const char* list) const {
    const auto bytes = surroundings.directory.Get(list);
    const auto parsed = bytes ? test::ParseWordList(*bytes) : std::nullopt;
    return parsed ? parsed->messages : 999;
  }

  TestProgram surroundings;

 private:
  enum class Empty { kEmpty };
  explicit Area(Empty) {}

  static std::map<std::string, std::string> MakeFirst() {
    Area area(Empty::kEmpty);
    for (const int number : {0, 1}) EXPECT_TRUE(area.AddOne(number));
    EXPECT_TRUE(area.store().SetMark(std::vector<std::string>{NameOf(0)}, TrainingMark::kSpam));
    EXPECT_TRUE(area.store().SetMark(std::vector<std::string>{NameOf(1)}, TrainingMark::kGood));
    MailMessage message;
    message.ParseText(TrainingMail("earlier lesson \r\n"));
    EXPECT_TRUE(LearnMessage(area.program(), message, LearnKind::kGood));
    EXPECT_TRUE(LearnMessage(area.program(), message, LearnKind::kSpam));
    std::map<std::string, std::string> files;
    for (const std::string& name : ListFiles(area.store().directory(), "")) {
      files[name] = area.surroundings.directory.Get("training/" + name).value_or("");
    }
    return files;
  }

  std::unique_ptr<TrainingArea> store_;
};

// Does `work` to one fresh area after another, killed one system call later each time, and looks at each.
void KillAtEveryCall(
    const std::function<void(Area&)>& work,
    const std::function<void(Area&, const std::string& old_index, bool finished)>& check,
    const std::function<void(Area&)>& prepare = [](Area&) {}) {
  for (int call = 0; call < kMoreCallsThanAnyWorkMakes; ++call) {
    SCOPED_TRACE("killed at system call " + std::to_string(call));
    Area area;
    prepare(area);
    const std::string old_index = area.Index();
    const TracedEnd end = RunKilledAt(call, [&] { work(area); });
    if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
    check(area, old_index, end == TracedEnd::kFinished);
    if (testing::Test::HasFailure()) return;
    if (end == TracedEnd::kFinished) {
      EXPECT_GT(call, 10);
      return;
    }
  }
  ADD_FAILURE() << "the work never ended";
}

TEST(TrainingKillTest, KilledWhileAddingLeavesTheOldIndexOrTheNewOneAndTheNextCheckMendsIt) {
  std::set<std::size_t> sizes;
  KillAtEveryCall([](Area& area) { area.AddThree(); },
                  [&](Area& area, const std::string& old_index, bool finished) {
                    const std::set<std::string> listed = area.Listed();
                    sizes.insert(listed.size());
                    EXPECT_TRUE(area.EveryEntryHasItsFile());
                    if (listed.size() == 2) {
                      EXPECT_EQ(area.Index(), old_index);
                    }
                    if (finished) {
                      EXPECT_EQ(listed.size(), 5U);
                    }
                    EXPECT_TRUE(test::IsXmlWithRoot(area.Index(), "training"));
                    // The same mail comes again: files that lost their entries get them, cut ones their text.
                    EXPECT_EQ(area.AddThree(), 5 - static_cast<int>(listed.size()));
                    EXPECT_EQ(area.Listed().size(), 5U);
                    EXPECT_EQ(area.Files(), area.Listed());
                    EXPECT_TRUE(area.EveryEntryHasItsFile());
                  });
  EXPECT_EQ(sizes, (std::set<std::size_t>{2, 5}));
}

TEST(TrainingKillTest, KilledWhileMarkingLeavesAllMarksOrNone) {
  std::set<int> counts;
  KillAtEveryCall([](Area& area) { area.store().SetMark(Area::OldNames(), TrainingMark::kNone); },
                  [&](Area& area, const std::string&, bool) {
                    int marked = 0;
                    const auto rows = area.store().List();
                    ASSERT_TRUE(rows.has_value());
                    for (const TrainingEntry& row : *rows) marked += row.mark == TrainingMark::kNone ? 0 : 1;
                    counts.insert(marked);
                    EXPECT_TRUE(area.EveryEntryHasItsFile());
                  });
  EXPECT_EQ(counts, (std::set<int>{0, 2}));
}

TEST(TrainingKillTest, KilledWhileChangingTheIndexItIsTheOldOrTheNewOne) {
  const std::function<void(Area&)> works[] = {
      [](Area& area) { area.store().SetMark(Area::OldNames(), TrainingMark::kSpam); },
      [](Area& area) { area.store().RemoveEntries(Area::OldNames()); },
      [](Area& area) { area.store().Purge(0); },
  };
  for (const auto& work : works) {
    std::set<std::string> indexes;
    KillAtEveryCall(work, [&](Area& area, const std::string&, bool) {
      EXPECT_TRUE(test::IsXmlWithRoot(area.Index(), "training"));
      indexes.insert(area.Index());
      // Neither a lock nor a leftover is in the way of the next.
      EXPECT_TRUE(area.AddOne(20));
    });
    EXPECT_EQ(indexes.size(), 2U);
  }
}

TEST(TrainingKillTest, KilledWhileDeletingOrPurgingLeavesNoEntryWithoutItsText) {
  const std::function<void(Area&)> works[] = {
      [](Area& area) { area.store().DeleteMessages(Area::OldNames()); },
      [](Area& area) { area.store().Purge(0); },
  };
  for (const auto& work : works) {
    KillAtEveryCall(work, [](Area& area, const std::string& old_index, bool finished) {
      const std::set<std::string> listed = area.Listed();
      EXPECT_TRUE(area.EveryEntryHasItsFile());
      if (!listed.empty()) {
        EXPECT_EQ(area.Index(), old_index);
      }
      if (finished) {
        EXPECT_TRUE(listed.empty());
        EXPECT_TRUE(area.Files().empty());
      }
    });
  }
}

TEST(TrainingKillTest, KilledWhileLearningNothingLeavesTheAreaUnlearnt) {
  bool learnt_and_listed = false;
  KillAtEveryCall([](Area& area) { area.Learn(); },
                  [&](Area& area, const std::string&, bool finished) {
                    const std::set<std::string> listed = area.Listed();
                    // The next load, as any, finishes lists of which only one was saved.
                    ASSERT_TRUE(WordTables().Load(area.program(), false));
                    const unsigned good = area.MessagesOf(test::kGoodListFile);
                    const unsigned bad = area.MessagesOf(test::kBadListFile);
                    ASSERT_TRUE((good == 1 || good == 2) && good == bad) << good << " " << bad;
                    ASSERT_TRUE(listed.empty() || listed.size() == 2);
                    if (listed.empty()) {
                      ASSERT_EQ(good + bad, 4U);
                    } else {
                      EXPECT_TRUE(area.EveryEntryHasItsFile());
                      learnt_and_listed = learnt_and_listed || good + bad == 4;
                    }
                    if (finished) {
                      EXPECT_TRUE(listed.empty());
                      EXPECT_TRUE(area.Files().empty());
                    }
                    // Learnt twice at worst.
                    area.Learn();
                    EXPECT_TRUE(area.Listed().empty());
                    EXPECT_LE(area.MessagesOf(test::kGoodListFile), good + 1);
                    EXPECT_LE(area.MessagesOf(test::kBadListFile), bad + 1);
                    EXPECT_GE(area.MessagesOf(test::kGoodListFile), 2U);
                    EXPECT_GE(area.MessagesOf(test::kBadListFile), 2U);
                  });
  EXPECT_TRUE(learnt_and_listed);  // the order is: lists first
}

TEST(TrainingKillTest, KilledWhileLearningNoMarkedMessageIsLost) {
  const std::vector<std::string> good_one = {Area::NameOf(1)};
  std::set<std::string> states;
  KillAtEveryCall(
      [&](Area& area) {
        if (!area.store().SetMark(good_one, TrainingMark::kNone) || !area.Learn().removed) _exit(1);
      },
      [&](Area& area, const std::string&, bool finished) {
        const std::size_t listed = area.Listed().size();
        EXPECT_TRUE(area.EveryEntryHasItsFile());
        const unsigned bad = area.MessagesOf(test::kBadListFile);
        ASSERT_TRUE(bad == 1 || bad == 2);
        EXPECT_EQ(area.MessagesOf(test::kGoodListFile), 1U);
        // Not in the area any more only when it is in the list.
        EXPECT_TRUE(listed == 2 || (listed == 1 && bad == 2));
        states.insert(std::to_string(listed) + " entries, " + std::to_string(bad - 1) + " learnt");
        if (finished) {
          EXPECT_EQ(listed, 1U);
        }
      });
  EXPECT_EQ(states.count("2 entries, 0 learnt"), 1U);
  EXPECT_EQ(states.count("1 entries, 1 learnt"), 1U);
}

// What is found after FinishLesson: index, files and both lists.
std::string WholeState(Area& area) {
  EXPECT_TRUE(FinishLesson(area.program()));
  EXPECT_TRUE(WordTables().Load(area.program(), false));
  std::string state = area.Index();
  for (const std::string& name : area.Files()) {
    state += name + ": " + area.surroundings.directory.Get("training/" + name).value_or("") + "\n";
  }
  for (const char* const list : {test::kGoodListFile, test::kBadListFile}) {
    const auto parsed = test::ParseWordList(area.surroundings.directory.Get(list).value_or(""));
    EXPECT_TRUE(parsed.has_value());
    if (!parsed) continue;
    state += std::to_string(parsed->messages);
    for (const auto& [word, count] : parsed->words) state += " " + word + "=" + std::to_string(count);
    state += "\n";
  }
  return state + (LastLessonExists(area.program()) ? "can be undone" : "no lesson");
}

TEST(TrainingKillTest, KilledWhileLearningTheLessonIsWholeOrHasNotBegun) {
  std::set<std::string> states;
  KillAtEveryCall([](Area& area) { area.Learn(); },
                  [&](Area& area, const std::string&, bool) {
                    const std::string state = WholeState(area);
                    const bool learnt = area.Listed().empty();
                    EXPECT_EQ(learnt, LastLessonExists(area.program()));
                    EXPECT_EQ(area.MessagesOf(test::kGoodListFile), learnt ? 2U : 1U);
                    states.insert(state);
                  });
  EXPECT_EQ(states.size(), 2U);
}

TEST(TrainingKillTest, KilledWhileUndoingTheLessonIsThereOrGone) {
  Area fresh;
  const std::string before = WholeState(fresh);
  std::set<std::string> states;
  KillAtEveryCall([](Area& area) { static_cast<void>(UndoLastLesson(area.program())); },
                  [&](Area& area, const std::string&, bool finished) {
                    const std::string state = WholeState(area);
                    states.insert(state);
                    if (finished) {
                      EXPECT_EQ(state, before);
                    }
                  },
                  [](Area& area) { ASSERT_TRUE(area.Learn().removed); });
  EXPECT_EQ(states.size(), 2U);
  EXPECT_EQ(states.count(before), 1U);
}

TEST(TrainingKillTest, KilledWhileKeepingADamagedIndexAsideItIsNotLost) {
  const std::string damaged = "<training><message filename=\"1.eml\"";
  KillAtEveryCall([](Area& area) { area.store().List(); },
                  [&](Area& area, const std::string&, bool finished) {
                    const bool in_place = area.Index() == damaged;
                    const bool aside =
                        area.surroundings.directory.Get("training/training.xml.bad") == damaged;
                    EXPECT_TRUE(in_place || aside);
                    if (finished) {
                      EXPECT_TRUE(aside);
                      EXPECT_FALSE(in_place);
                    }
                  },
                  [&](Area& area) { ASSERT_TRUE(area.surroundings.directory.Put(kIndex, damaged)); });
}

TEST(TrainingKillTest, SeveralProcessesThatAddLoseNoEntry) {
  constexpr int kProcesses = 4;
  constexpr int kEach = 15;
  Area area;
  area.program();
  std::vector<pid_t> children;
  for (int process = 0; process < kProcesses; ++process) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      Program program(area.surroundings.MakeEnvironment());
      for (int i = 0; i < kEach; ++i) {
        MailMessage message;
        message.ParseText(TrainingMail(std::to_string(process) + "/" + std::to_string(i) + "\r\n"));
        if (!TrainingArea(program).Add(message)) _exit(1);
      }
      _exit(0);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  EXPECT_EQ(area.Listed().size(), static_cast<std::size_t>(2 + kProcesses * kEach));
  EXPECT_TRUE(area.EveryEntryHasItsFile());
}

TEST(TrainingKillTest, KilledWhileSavingTheStatisticLeavesBothKeysOldOrBothNew) {
  bool finished = false;
  std::set<std::uint32_t> counts;
  for (int call = 0; call < kMoreCallsThanAnyWorkMakes && !finished; ++call) {
    SCOPED_TRACE("killed at system call " + std::to_string(call));
    TestProgram surroundings;
    ASSERT_TRUE(surroundings.Configure("Enable=1", "[STATS]\r\nDays=2453797,\r\nMails=7,\r\n"));
    const TracedEnd end = RunKilledAt(call, [&] {
      Statistics statistics(surroundings.program());
      statistics.Load();
      statistics.Count(2453797);
      statistics.Count(2453796);
      statistics.Save();
    });
    if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
    finished = end == TracedEnd::kFinished;
    Statistics statistics(surroundings.program());
    statistics.Load();
    counts.insert(statistics.CountOf(0));
    ASSERT_EQ(statistics.CountOf(1), statistics.CountOf(0) == 8 ? 1U : 0U);
    ASSERT_EQ(surroundings.program().Read(keys::kEnable), 1);
  }
  EXPECT_TRUE(finished);
  EXPECT_EQ(counts, (std::set<std::uint32_t>{7, 8}));
}

// Runs `work` in a child on a disk on which no file grows beyond `bytes`; its result, or -1.
int OnASmallDisk(rlim_t bytes, const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, bytes};
    _exit(setrlimit(RLIMIT_FSIZE, &limit) == 0 ? work() : 100);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

TEST(TrainingKillTest, ADiskThatFillsUpAnywhereKeepsWhatWasThereAndNoPartOfWhatIsNew) {
  std::set<int> counts;
  for (rlim_t bytes = 0; bytes < 1400; bytes += 61) {
    SCOPED_TRACE("disk of " + std::to_string(bytes) + " bytes");
    Area area;
    const std::string old_index = area.Index();
    const int added = OnASmallDisk(bytes, [&] { return area.AddThree(); });
    counts.insert(added);
    ASSERT_EQ(area.Listed().size(), static_cast<std::size_t>(2 + added));
    ASSERT_EQ(area.Files(), area.Listed());
    ASSERT_TRUE(area.EveryEntryHasItsFile());
    if (added == 0) {
      ASSERT_EQ(area.Index(), old_index);
    }
    ASSERT_TRUE(ListFiles(area.store().directory(), ".new").empty());
  }
  EXPECT_EQ(counts, (std::set<int>{0, 3}));
}

TEST(TrainingKillTest, ADiskThatFillsUpWhileLearningTakesNothingOutOfTheArea) {
  std::set<int> results;
  for (rlim_t bytes = 0; bytes < 1400; bytes += 50) {
    SCOPED_TRACE("disk of " + std::to_string(bytes) + " bytes");
    Area area;
    const int result = OnASmallDisk(bytes, [&] {
      const TrainingLesson lesson = area.Learn();
      return (lesson.lists_saved ? 1 : 0) + (lesson.removed ? 2 : 0);
    });
    results.insert(result);
    const std::size_t listed = area.Listed().size();
    ASSERT_TRUE(area.EveryEntryHasItsFile());
    ASSERT_EQ(listed, result == 3 ? 0U : 2U);
    ASSERT_NE(result, 2);
    if (result == 1 || result == 3) {
      ASSERT_EQ(area.MessagesOf(test::kGoodListFile) + area.MessagesOf(test::kBadListFile), 4U);
    }
  }
  EXPECT_TRUE(results.contains(0));
  EXPECT_TRUE(results.contains(3));
}

// Runs `work` as a user who owns nothing here; its result, or nothing when no other user can be taken on.
std::optional<bool> AsAStranger(const std::function<bool()>& work) {
  constexpr uid_t kNobody = 65534;
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) _exit(2);
    _exit(work() ? 1 : 0);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return std::nullopt;
  if (!WIFEXITED(status)) {
    ADD_FAILURE() << "ended by signal " << WTERMSIG(status);
    return false;
  }
  if (WEXITSTATUS(status) > 1) return std::nullopt;
  return WEXITSTATUS(status) == 1;
}

TEST(TrainingKillTest, InAReadOnlyDirectoryAllIsShownAndNothingChanges) {
  Area area;
  const std::string old_index = area.Index();
  const std::string directory = area.surroundings.directory.PathOf("training");
  ASSERT_EQ(chmod(area.surroundings.directory.PathOf(".").c_str(), 0777), 0);
  for (const std::string& name : ListFiles(directory + "/", "")) {
    ASSERT_EQ(chmod((directory + "/" + name).c_str(), 0444), 0);
  }
  ASSERT_EQ(chmod(directory.c_str(), 0555), 0);
  const auto result = AsAStranger([&] {
    bool as_expected = area.AddThree() == 0 && area.store().List() && area.store().List()->size() == 2;
    as_expected = as_expected && !area.store().SetMark(Area::OldNames(), TrainingMark::kNone);
    as_expected = as_expected && !area.store().RemoveEntries(Area::OldNames());
    as_expected = as_expected && !area.store().DeleteMessages(Area::OldNames());
    const TrainingLesson lesson = area.Learn();
    as_expected = as_expected && lesson.marked == 2 && !lesson.lists_saved && !lesson.removed;
    area.store().Purge(0);
    return as_expected;
  });
  ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
  if (!result) GTEST_SKIP() << "this user cannot become another one";
  EXPECT_TRUE(*result);
  EXPECT_EQ(area.Index(), old_index);
  EXPECT_TRUE(area.EveryEntryHasItsFile());
}

TEST(TrainingKillTest, AnIndexThatCanNotBeReadIsLeftAlone) {
  Area area;
  const std::string old_index = area.Index();
  const std::string directory = area.surroundings.directory.PathOf("training");
  ASSERT_EQ(chmod(area.surroundings.directory.PathOf(".").c_str(), 0777), 0);
  for (const std::string& name : ListFiles(directory + "/", "")) {
    ASSERT_EQ(chmod((directory + "/" + name).c_str(), 0666), 0);
  }
  ASSERT_EQ(chmod(directory.c_str(), 0777), 0);
  ASSERT_EQ(chmod(area.store().index_path().c_str(), 0222), 0);
  const auto result = AsAStranger([&] { return area.AddThree() == 0 && !area.store().List(); });
  ASSERT_EQ(chmod(area.store().index_path().c_str(), 0644), 0);
  if (!result) GTEST_SKIP() << "this user cannot become another one";
  EXPECT_TRUE(*result);
  EXPECT_EQ(area.Index(), old_index);
  EXPECT_FALSE(area.surroundings.directory.Has("training/training.xml.bad"));
}

}  // namespace
}  // namespace quillbeaker
