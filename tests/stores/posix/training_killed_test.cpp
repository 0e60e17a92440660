// SPDX-License-Identifier: MIT
// The training area killed at every system call: the index is the old or the new one, every entry has its
// file, and learning loses no marked message.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <list>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "stores/posix/traced_process.h"
#include "stores/training_area.h"
#include "stores/training_lesson.h"
#include "support/index_text.h"
#include "support/test_program.h"
#include "support/training_fixture.h"
#include "support/word_list_text.h"

namespace quillbeaker {
namespace {

using test::TestProgram;
using test::TracedEnd;
using test::TrainingMail;

constexpr char kIndex[] = "training/training.xml";
constexpr int kMoreCallsThanAnyWorkMakes = 5000;

bool AddText(Program& program, const std::string& body) {
  MailMessage message;
  message.ParseText(TrainingMail(body + "\r\n"));
  return TrainingArea(program).Add(message);
}

// Names in the index, each of which has its file; nothing when the index does not parse or an entry has none.
std::optional<std::vector<std::string>> WholeEntries(const TestProgram& one) {
  const std::string index = one.directory.Get(kIndex).value_or("");
  if (!test::IsXmlWithRoot(index, "training")) return std::nullopt;
  std::vector<std::string> names;
  for (const test::IndexElement& entry : test::ElementsOf(index, "message")) {
    names.push_back(entry["filename"]);
    if (!one.directory.Has("training/" + names.back())) return std::nullopt;
  }
  return names;
}

// Two texts in an area of its own.
void Prepare(TestProgram& one) {
  ASSERT_TRUE(AddText(one.program(), "first text"));
  ASSERT_TRUE(AddText(one.program(), "second text"));
}

// Does `work` to one fresh area after another, killed one system call later each time.
void KillAtEveryCall(const std::function<void(TestProgram&)>& prepare,
                     const std::function<void(Program&)>& work,
                     const std::function<void(TestProgram&, bool finished)>& check) {
  for (int call = 0; call < kMoreCallsThanAnyWorkMakes; ++call) {
    SCOPED_TRACE("killed at system call " + std::to_string(call));
    TestProgram one;
    prepare(one);
    const TracedEnd end = test::RunKilledAt(call, [&] { work(one.program()); });
    if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
    check(one, end == TracedEnd::kFinished);
    if (testing::Test::HasFailure()) return;
    if (end == TracedEnd::kFinished) {
      EXPECT_GT(call, 10);
      return;
    }
  }
  ADD_FAILURE() << "the work never ended";
}

TEST(TrainingKilled, WhileAddingEveryEntryHasItsWholeFileAndTheTextComesBack) {
  std::set<std::size_t> sizes;
  KillAtEveryCall(
      Prepare,
      [](Program& program) {
        std::list<MailMessage> messages;
        std::vector<const MailMessage*> pointers;
        for (const char* const body : {"third text\r\n", "fourth text\r\n"}) {
          messages.emplace_back().ParseText(TrainingMail(body));
          pointers.push_back(&messages.back());
        }
        TrainingArea(program).Add(std::span<const MailMessage* const>(pointers));
      },
      [&](TestProgram& one, bool finished) {
        const auto names = WholeEntries(one);
        ASSERT_TRUE(names.has_value());
        ASSERT_TRUE(names->size() == 2 || names->size() == 4);
        sizes.insert(names->size());
        if (finished) {
          EXPECT_EQ(names->size(), 4U);
        }
        // A file that was left without its entry does not block the text.
        EXPECT_EQ(AddText(one.program(), "third text"), names->size() == 2);
        EXPECT_EQ(WholeEntries(one)->size(), names->size() == 2 ? 3U : 4U);
        EXPECT_EQ(one.directory.Get("training/" + test::TrainingName("\r\nthird text\r\n")),
                  "\r\nthird text\r\n");
      });
  EXPECT_EQ(sizes, (std::set<std::size_t>{2, 4}));
}

TEST(TrainingKilled, WhileMarkingPurgingAndListingTheIndexIsTheOldOrTheNewOne) {
  const std::vector<std::string> both = {test::TrainingName("\r\nfirst text\r\n"),
                                         test::TrainingName("\r\nsecond text\r\n")};
  const std::function<void(Program&)> works[] = {
      [&](Program& program) { TrainingArea(program).SetMark(both, TrainingMark::kSpam); },
      [&](Program& program) { TrainingArea(program).RemoveEntries(both); },
      [](Program& program) { TrainingArea(program).Purge(3); },
  };
  for (const auto& work : works) {
    std::set<std::string> indexes;
    KillAtEveryCall(Prepare, work, [&](TestProgram& one, bool) {
      const std::string index = one.directory.Get(kIndex).value_or("(missing)");
      EXPECT_TRUE(test::IsXmlWithRoot(index, "training"));
      indexes.insert(index);
      // Neither a lock nor a leftover is in the way of the next.
      EXPECT_TRUE(AddText(one.program(), "next text"));
    });
    EXPECT_EQ(indexes.size(), 2U);
  }
}

TEST(TrainingKilled, WhileDeletingNoEntryIsLeftWithoutItsFile) {
  KillAtEveryCall(
      Prepare,
      [](Program& program) {
        TrainingArea(program).DeleteMessages(
            std::vector<std::string>{test::TrainingName("\r\nfirst text\r\n")});
      },
      [&](TestProgram& one, bool finished) {
        const auto names = WholeEntries(one);
        ASSERT_TRUE(names.has_value());
        if (finished) {
          EXPECT_EQ(names->size(), 1U);
        }
      });
}

TEST(TrainingKilled, WhileKeepingADamagedIndexAsideItIsNotLost) {
  const std::string damaged = "<training><message filename=\"1.eml\"";
  KillAtEveryCall([&](TestProgram& one) { ASSERT_TRUE(one.directory.Put(kIndex, damaged)); },
                  [](Program& program) { TrainingArea(program).List(); },
                  [&](TestProgram& one, bool finished) {
                    const bool in_place = one.directory.Get(kIndex) == damaged;
                    const bool aside = one.directory.Get("training/training.xml.bad") == damaged;
                    EXPECT_TRUE(in_place || aside);
                    if (finished) {
                      EXPECT_TRUE(aside);
                      EXPECT_FALSE(in_place);
                    }
                  });
}

TEST(TrainingKilled, WhileLearningNoMarkedMessageIsLost) {
  std::set<std::string> states;
  KillAtEveryCall(
      [](TestProgram& one) {
        Prepare(one);
        ASSERT_TRUE(TrainingArea(one.program())
                        .SetMark(std::vector<std::string>{test::TrainingName("\r\nfirst text\r\n")},
                                 TrainingMark::kSpam));
      },
      [](Program& program) {
        const auto rows = TrainingArea(program).List();
        if (!rows || !LearnFromTrainingArea(program, *rows, nullptr).removed) _exit(1);
      },
      [&](TestProgram& one, bool finished) {
        const auto names = WholeEntries(one);
        ASSERT_TRUE(names.has_value());
        const auto bytes = one.directory.Get(test::kBadListFile);
        const auto bad = bytes ? test::ParseWordList(*bytes) : test::ListedWords{};
        ASSERT_TRUE(bad.has_value());
        ASSERT_LE(bad->messages, 1U);
        // Not in the area any more only when it is in the list.
        EXPECT_TRUE(names->size() == 2 || (names->size() == 1 && bad->messages == 1));
        states.insert(std::to_string(names->size()) + " entries, " + std::to_string(bad->messages) +
                      " learnt");
        if (finished) {
          EXPECT_EQ(names->size(), 1U);
        }
      });
  EXPECT_EQ(states.count("2 entries, 0 learnt"), 1U);
  EXPECT_EQ(states.count("1 entries, 1 learnt"), 1U);
  EXPECT_EQ(states.count("1 entries, 0 learnt"), 0U);
}

TEST(TrainingKilled, TwoProcessesThatAddLoseNoEntry) {
  constexpr int kProcesses = 4;
  constexpr int kEach = 15;
  TestProgram one;
  one.program();
  std::vector<pid_t> children;
  for (int process = 0; process < kProcesses; ++process) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      Program program(one.MakeEnvironment());
      for (int i = 0; i < kEach; ++i) {
        if (!AddText(program, std::to_string(process) + "/" + std::to_string(i))) _exit(1);
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
  const auto names = WholeEntries(one);
  ASSERT_TRUE(names.has_value());
  EXPECT_EQ(names->size(), static_cast<std::size_t>(kProcesses * kEach));
}

}  // namespace
}  // namespace quillbeaker
