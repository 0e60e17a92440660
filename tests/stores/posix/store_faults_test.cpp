// SPDX-License-Identifier: MIT

// The stores on a machine that fails them: killed at every system call, a disk that fills up at every byte, a
// directory that may only be read. What was kept before is kept after, and no index is ever half written.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "message/mail_message.h"
#include "stores/posix/traced_process.h"
#include "stores/recycle_bin.h"
#include "stores/statistics.h"
#include "stores/unique_id_store.h"
#include "stores/xml_index.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using test::RunKilledAt;
using test::TestProgram;
using test::TracedEnd;

constexpr std::string_view kIndex = "recycle/recyclebin.xml";
constexpr std::uint32_t kToday = 2453797;  // of the clock in UTC
constexpr int kMoreCallsThanAnyWorkMakes = 5000;

// A message larger than the index of a few, and one smaller than it.
constexpr std::size_t kLargeBody = 3000;
constexpr std::size_t kSmallBody = 10;

std::string MailText(std::string_view subject, std::size_t body_size) {
  return "From: Sales <sales@shop.example>\r\nSubject: " + std::string(subject) +
         "\r\nDate: Wed, 1 Mar 2006 10:00:00 +0000\r\n\r\nBuy " + std::string(body_size, 'x') + "\r\n";
}

// A bin that holds two messages, and what is done to it.
class Bin {
 public:
  explicit Bin(std::size_t body_bytes) : body_size(body_bytes) {
    surroundings.program();
    for (const char* subject : {"first", "second"}) old_names.push_back(FileOne(subject));
  }

  std::string FileOne(std::string_view subject) {
    MailMessage message;
    message.ParseText(MailText(subject, body_size));
    const DeletedMessage deleted{&message, "cheap", 0.9};
    return RecycleBin(surroundings.program()).File({&deleted, 1}, "ann @ server").names.front();
  }
  std::vector<std::string> FileThree() {
    std::vector<MailMessage> messages(3);
    std::vector<DeletedMessage> deleted;
    for (MailMessage& message : messages) {
      message.ParseText(MailText("new", body_size));
      deleted.push_back({&message, "cheap", 0.9});
    }
    return RecycleBin(surroundings.program()).File(deleted, "ann @ server").names;
  }
  std::optional<std::vector<RecycleEntry>> List() { return RecycleBin(surroundings.program()).List(); }
  std::string Index() const { return surroundings.directory.Get(kIndex).value_or("(missing)"); }
  // Whether every entry's file is there, whole.
  bool EveryEntryHasItsFile() {
    const auto rows = List();
    if (!rows) return false;
    for (const RecycleEntry& row : *rows) {
      MailMessage message;
      if (message.LoadFromFile(RecycleBin(surroundings.program()).PathOfMessage(row.name)) !=
          MailMessage::kLoaded)
        return false;
      if (message.Serialise() != MailText(row.subject, body_size)) return false;
    }
    return true;
  }

  TestProgram surroundings;
  const std::size_t body_size;
  std::vector<std::string> old_names;
};

class StoreFaultsTest : public testing::Test {
 protected:
  // Without an index there would be nothing to keep.
  static std::unique_ptr<Bin> MakeBin(std::size_t body_size = kLargeBody) {
    auto bin = std::make_unique<Bin>(body_size);
    RecycleBin(bin->surroundings.program()).RebuildIndex();
    return bin;
  }

  // Does `work` to one fresh bin after another, killed one system call later each time, and looks at each
  // with `check`.
  static void KillAtEveryCall(
      const std::function<void(Bin&)>& work,
      const std::function<void(Bin&, const std::string& old_index, bool finished)>& check) {
    for (int call = 0; call < kMoreCallsThanAnyWorkMakes; ++call) {
      SCOPED_TRACE("killed at system call " + std::to_string(call));
      const std::unique_ptr<Bin> bin = MakeBin();
      const std::string old_index = bin->Index();
      const TracedEnd end = RunKilledAt(call, [&] { work(*bin); });
      if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
      check(*bin, old_index, end == TracedEnd::kFinished);
      if (testing::Test::HasFailure()) return;
      if (end == TracedEnd::kFinished) {
        EXPECT_GT(call, 10);
        return;
      }
    }
    ADD_FAILURE() << "the work never ended";
  }
};

TEST_F(StoreFaultsTest, KilledWhileFilingLeavesTheOldIndexOrTheNewOne) {
  std::set<std::size_t> sizes;
  KillAtEveryCall([](Bin& bin) { bin.FileThree(); },
                  [&](Bin& bin, const std::string& old_index, bool finished) {
                    const auto rows = bin.List();
                    ASSERT_TRUE(rows.has_value());
                    sizes.insert(rows->size());
                    EXPECT_TRUE(bin.EveryEntryHasItsFile());
                    if (rows->size() == 2) {
                      EXPECT_EQ(bin.Index(), old_index);
                    }
                    if (finished) {
                      EXPECT_EQ(rows->size(), 5U);
                    }
                    // Neither a lock nor a leftover of the killed process is in the way of the next.
                    EXPECT_NE(bin.FileOne("next"), "");
                    EXPECT_EQ(bin.List()->size(), rows->size() + 1);
                  });
  EXPECT_EQ(sizes, (std::set<std::size_t>{2, 5}));
}

TEST_F(StoreFaultsTest, KilledWhileMarkingLeavesTheOldIndexOrTheNewOne) {
  std::set<int> restored;
  KillAtEveryCall([](Bin& bin) { RecycleBin(bin.surroundings.program()).MarkRestored(bin.old_names, true); },
                  [&](Bin& bin, const std::string& old_index, bool) {
                    const auto rows = bin.List();
                    ASSERT_TRUE(rows.has_value());
                    int count = 0;
                    for (const RecycleEntry& row : *rows) count += row.restored ? 1 : 0;
                    restored.insert(count);
                    if (count == 0) {
                      EXPECT_EQ(bin.Index(), old_index);
                    }
                    EXPECT_TRUE(bin.EveryEntryHasItsFile());
                  });
  EXPECT_EQ(restored, (std::set<int>{0, 2}));
}

struct Change {
  const char* name;
  std::function<void(RecycleBin&, const std::vector<std::string>&)> work;
};

TEST_F(StoreFaultsTest, KilledWhileChangingLeavesTheOldIndexOrTheNewOne) {
  const Change changes[] = {
      {"ClearAccount",
       [](RecycleBin& bin, const std::vector<std::string>& names) { bin.ClearAccount(names); }},
      {"RemoveEntries",
       [](RecycleBin& bin, const std::vector<std::string>& names) { bin.RemoveEntries(names); }},
  };
  for (const Change& change : changes) {
    SCOPED_TRACE(change.name);
    std::set<std::string> indexes;
    KillAtEveryCall(
        [&](Bin& bin) {
          RecycleBin store(bin.surroundings.program());
          change.work(store, bin.old_names);
        },
        [&](Bin& bin, const std::string& old_index, bool finished) {
          const auto rows = bin.List();
          ASSERT_TRUE(rows.has_value());
          ASSERT_TRUE(rows->empty() || rows->size() == 2);
          const std::string index = bin.Index();
          indexes.insert(index == old_index ? "old" : index);
          if (finished) {
            EXPECT_NE(index, old_index);
          }
          EXPECT_NE(bin.FileOne("next"), "");
        });
    // Every bin gets the same names at the same clock: the old index and one other.
    EXPECT_EQ(indexes.size(), 2U);
    EXPECT_EQ(indexes.count("old"), 1U);
  }
}

const Change kDeletions[] = {
    {"DeleteMessages",
     [](RecycleBin& bin, const std::vector<std::string>& names) { bin.DeleteMessages(names); }},
    {"Empty", [](RecycleBin& bin, const std::vector<std::string>&) { bin.Empty(); }},
    {"Purge", [](RecycleBin& bin, const std::vector<std::string>&) { bin.Purge(0); }},
};

// A restored entry without its file is an empty mail at the client, once more at every check.
TEST_F(StoreFaultsTest, KilledWhileDeletingLeavesNoEntryWithoutItsFile) {
  for (const Change& change : kDeletions) {
    SCOPED_TRACE(change.name);
    std::set<std::size_t> entries;
    std::set<std::size_t> files;
    KillAtEveryCall(
        [&](Bin& bin) {
          RecycleBin store(bin.surroundings.program());
          change.work(store, bin.old_names);
        },
        [&](Bin& bin, const std::string& old_index, bool finished) {
          const auto rows = bin.List();
          ASSERT_TRUE(rows.has_value());
          ASSERT_TRUE(rows->empty() || bin.Index() == old_index);
          EXPECT_TRUE(bin.EveryEntryHasItsFile());
          const std::size_t left =
              ListFiles(bin.surroundings.directory.PathOf("recycle/"), ".recycle").size();
          entries.insert(rows->size());
          files.insert(left);
          if (finished) {
            EXPECT_TRUE(rows->empty());
            EXPECT_EQ(left, 0U);
          }
          EXPECT_NE(bin.FileOne("next"), "");
        });
    EXPECT_EQ(entries, (std::set<std::size_t>{0, 2}));
    EXPECT_EQ(files, (std::set<std::size_t>{0, 1, 2}));
  }
}

TEST_F(StoreFaultsTest, AFullDiskLetsNoFileGoThatIsStillListed) {
  for (const Change& change : kDeletions) {
    SCOPED_TRACE(change.name);
    const std::unique_ptr<Bin> bin = MakeBin();
    const std::string old_index = bin->Index();
    // Noting the day of the purge would fail first.
    ASSERT_TRUE(bin->surroundings.program().Write(keys::kRecycleOldMessagesLast, 1));
    const pid_t child = fork();
    if (child == 0) {
      std::signal(SIGXFSZ, SIG_IGN);
      const rlimit limit{52, 52};  // room for the configuration, none for an index
      if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(1);
      RecycleBin store(bin->surroundings.program());
      change.work(store, bin->old_names);
      _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(bin->Index(), old_index);
    EXPECT_TRUE(bin->EveryEntryHasItsFile());
    EXPECT_EQ(bin->List()->size(), 2U);
  }
}

// The calls that bring things to the disk or off it, in their order; nothing when no process may be traced.
std::optional<std::string> CallsThatLast(const std::function<void()>& work) {
  std::string calls;
  const TracedEnd end = test::RunTraced(work, [&](std::uint64_t number) {
    if (number == SYS_fsync || number == SYS_fdatasync) calls += "flush ";
    if (number == SYS_renameat || number == SYS_renameat2) calls += "rename ";
    if (number == SYS_unlinkat) calls += "erase ";
#ifdef SYS_rename
    if (number == SYS_rename) calls += "rename ";
#endif
#ifdef SYS_unlink
    if (number == SYS_unlink) calls += "erase ";
#endif
    return true;
  });
  if (end == TracedEnd::kNotTraced) return std::nullopt;
  return calls;
}

TEST_F(StoreFaultsTest, DeletingPutsTheIndexOnTheDiskBeforeAFileGoes) {
  const std::unique_ptr<Bin> bin = MakeBin();
  const auto calls =
      CallsThatLast([&] { RecycleBin(bin->surroundings.program()).DeleteMessages(bin->old_names); });
  if (!calls) GTEST_SKIP() << "no process may be traced here";
  EXPECT_EQ(*calls, "flush rename flush erase erase ");
}

// A mail check that finds its spam filed already deletes it by this index, which nothing else flushes then.
TEST_F(StoreFaultsTest, RebuildingPutsTheDamagedIndexAndTheNewOneOnTheDisk) {
  const std::unique_ptr<Bin> bin = MakeBin();
  ASSERT_TRUE(bin->surroundings.directory.Put(kIndex, "<recyclebin><"));
  const auto calls = CallsThatLast([&] { RecycleBin(bin->surroundings.program()).RebuildIndex(); });
  if (!calls) GTEST_SKIP() << "no process may be traced here";
  EXPECT_EQ(*calls, "flush rename flush flush rename flush ");
}

// The start that rebuilds a damaged index may itself be killed, and the next one, until one gets through.
TEST_F(StoreFaultsTest, KilledWhileRebuildingADamagedIndexLosesNothingThatItStillSaid) {
  bool rebuilt = false;
  for (int call = 0; call < kMoreCallsThanAnyWorkMakes && !rebuilt; ++call) {
    SCOPED_TRACE("killed at system call " + std::to_string(call));
    const std::unique_ptr<Bin> bin = MakeBin();
    const std::vector<std::string> marked{bin->FileOne("marked")};
    ASSERT_TRUE(RecycleBin(bin->surroundings.program()).MarkRestored(marked, true));
    const std::string damaged = bin->Index().substr(0, bin->Index().size() - 5);
    ASSERT_TRUE(bin->surroundings.directory.Put(kIndex, damaged));
    const auto rebuild = [&] { RecycleBin(bin->surroundings.program()).RebuildIndex(); };
    const TracedEnd end = RunKilledAt(call, rebuild);
    if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
    rebuilt = end == TracedEnd::kFinished;
    ASSERT_TRUE(bin->surroundings.directory.Has(kIndex));
    rebuild();
    const auto rows = bin->List();
    ASSERT_TRUE(rows && rows->size() == 3);
    EXPECT_TRUE(rows->back().restored);
    EXPECT_EQ(rows->back().account, "ann @ server");
    EXPECT_EQ(rows->back().spam_words, "cheap");
    EXPECT_EQ(bin->surroundings.directory.Get(std::string(kIndex) + ".bad"), damaged);
    EXPECT_FALSE(bin->surroundings.directory.Has(std::string(kIndex) + ".bad2"));
  }
  EXPECT_TRUE(rebuilt);
}

TEST_F(StoreFaultsTest, KilledWhileRebuildingLeavesNoIndexOrAWholeOne) {
  bool rebuilt = false;
  for (int call = 0; call < kMoreCallsThanAnyWorkMakes && !rebuilt; ++call) {
    SCOPED_TRACE("killed at system call " + std::to_string(call));
    const std::unique_ptr<Bin> bin = MakeBin();
    ASSERT_TRUE(bin->surroundings.directory.Remove(kIndex));
    const TracedEnd end = RunKilledAt(call, [&] { RecycleBin(bin->surroundings.program()).RebuildIndex(); });
    if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
    rebuilt = end == TracedEnd::kFinished;
    if (!bin->surroundings.directory.Has(kIndex)) {
      EXPECT_FALSE(rebuilt);
      EXPECT_TRUE(RecycleBin(bin->surroundings.program()).RebuildIndex());
    }
    ASSERT_TRUE(bin->List().has_value());
    ASSERT_EQ(bin->List()->size(), 2U);
    ASSERT_TRUE(bin->EveryEntryHasItsFile());
  }
  EXPECT_TRUE(rebuilt);
}

TEST_F(StoreFaultsTest, KilledWhileRememberingIdsLeavesTheOldFileOrTheNewOne) {
  bool finished = false;
  std::set<bool> remembered;
  for (int call = 0; call < kMoreCallsThanAnyWorkMakes && !finished; ++call) {
    SCOPED_TRACE("killed at system call " + std::to_string(call));
    TestProgram surroundings;
    const auto pass = [&](std::string_view uid) {
      const auto store = UniqueIdStore::Open(surroundings.program());
      if (store == nullptr) return false;
      store->Add(uid);
      return store->PurgeAndClose();
    };
    ASSERT_TRUE(pass("old"));
    const TracedEnd end = RunKilledAt(call, [&] { pass("new"); });
    if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
    finished = end == TracedEnd::kFinished;
    ASSERT_NE(ParseXml(surroundings.directory.Get("uniqueid.xml").value_or("")), nullptr);
    const auto store = UniqueIdStore::Open(surroundings.program());
    ASSERT_NE(store, nullptr);
    ASSERT_TRUE(store->Contains("old"));
    remembered.insert(store->Contains("new"));
  }
  EXPECT_TRUE(finished);
  EXPECT_EQ(remembered, (std::set<bool>{false, true}));
}

TEST_F(StoreFaultsTest, AFileThatCanNotBeOpenedAtAnyMomentForgetsNoId) {
  std::set<bool> used;
  bool finished = false;
  int failures = 0;
  for (int call = 0; call < kMoreCallsThanAnyWorkMakes && !finished; ++call) {
    SCOPED_TRACE("system call " + std::to_string(call));
    TestProgram surroundings;
    const auto pass = [&](std::string_view uid) {
      const auto store = UniqueIdStore::Open(surroundings.program());
      if (store == nullptr) return false;
      store->Add(uid);
      return store->PurgeAndClose();
    };
    ASSERT_TRUE(pass("old"));
    bool failed = false;
    const TracedEnd end = test::RunFailingToOpenAt(
        call, [&] { pass("new"); }, failed);
    if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
    failures += failed ? 1 : 0;
    finished = !failed && call > 50;
    const auto store = UniqueIdStore::Open(surroundings.program());
    ASSERT_NE(store, nullptr);
    ASSERT_TRUE(store->Contains("old"));
    used.insert(store->Contains("new"));
  }
  EXPECT_GE(failures, 3);  // the lock, the file, its new state
  EXPECT_EQ(used, (std::set<bool>{false, true}));
}

TEST_F(StoreFaultsTest, StatisticsOfSeveralProcessesLoseNoCount) {
  constexpr std::uint32_t kProcesses = 4;
  constexpr std::uint32_t kRounds = 20;
  TestProgram surroundings;
  surroundings.program();
  std::vector<pid_t> children;
  for (std::uint32_t process = 0; process < kProcesses; ++process) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      Program program(surroundings.MakeEnvironment());
      Statistics statistics(program);
      for (std::uint32_t round = 0; round < kRounds; ++round) {
        statistics.Load();
        statistics.Count(kToday);
        statistics.Count(kToday - process);
        if (!statistics.Save()) _exit(1);
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
  Statistics statistics(surroundings.program());
  statistics.Load();
  EXPECT_EQ(statistics.CountOf(0), (kProcesses + 1) * kRounds);
  for (std::uint32_t process = 1; process < kProcesses; ++process)
    EXPECT_EQ(statistics.CountOf(process), kRounds);
}

TEST_F(StoreFaultsTest, FilingFlushesEveryMessageThenTheirNamesThenTheIndex) {
  const std::unique_ptr<Bin> bin = MakeBin();
  std::string calls;
  const TracedEnd end = test::RunTraced([&] { bin->FileThree(); },
                                        [&](std::uint64_t number) {
                                          if (number == SYS_fsync || number == SYS_fdatasync)
                                            calls += "flush ";
                                          if (number == SYS_renameat || number == SYS_renameat2)
                                            calls += "rename ";
#ifdef SYS_rename
                                          if (number == SYS_rename) calls += "rename ";
#endif
                                          return true;
                                        });
  if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
  // Three messages, the directory, the new index, its rename, the directory again: one save for all.
  EXPECT_EQ(calls, "flush flush flush flush flush rename flush ");
}

// The number of names that filing gave, on a disk on which no file grows beyond `bytes`.
int FiledOnASmallDisk(Bin& bin, rlim_t bytes) {
  const pid_t child = fork();
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, bytes};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(100);
    int filed = 0;
    for (const std::string& name : bin.FileThree()) filed += name.empty() ? 0 : 1;
    _exit(filed);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

TEST_F(StoreFaultsTest, ADiskThatFillsUpAnywhereKeepsWhatWasThere) {
  std::set<std::size_t> entries;
  std::set<int> counts;
  for (const std::size_t body_size : {kLargeBody, kSmallBody}) {
    for (rlim_t bytes = 0; bytes < 4000; bytes += 111) {
      SCOPED_TRACE("disk of " + std::to_string(bytes) + " bytes");
      const std::unique_ptr<Bin> bin = MakeBin(body_size);
      const std::string old_index = bin->Index();
      const int filed = FiledOnASmallDisk(*bin, bytes);
      counts.insert(filed);
      const auto rows = bin->List();
      ASSERT_TRUE(rows.has_value());
      entries.insert(rows->size());
      // Filed is what has both file and entry, and nothing else stands in the index.
      ASSERT_EQ(rows->size(), static_cast<std::size_t>(2 + filed));
      if (filed == 0) {
        ASSERT_EQ(bin->Index(), old_index);
      }
      ASSERT_TRUE(bin->EveryEntryHasItsFile());
      // No part of a message and no part of an index lies about.
      const std::string directory = bin->surroundings.directory.PathOf("recycle/");
      ASSERT_EQ(ListFiles(directory, ".recycle").size(), static_cast<std::size_t>(2 + filed));
      ASSERT_TRUE(ListFiles(directory, ".new").empty());
    }
  }
  EXPECT_EQ(counts, (std::set<int>{0, 3}));
  EXPECT_EQ(entries, (std::set<std::size_t>{2, 5}));
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

TEST_F(StoreFaultsTest, InAReadOnlyDirectoryNothingIsFiledAndNothingIsLost) {
  const std::unique_ptr<Bin> bin = MakeBin();
  const std::string old_index = bin->Index();
  const std::string directory = bin->surroundings.directory.PathOf("recycle");
  // Readable for everybody, writable for nobody.
  ASSERT_EQ(chmod(bin->surroundings.directory.PathOf(".").c_str(), 0755), 0);
  for (const std::string& name : ListFiles(directory + "/", "")) {
    ASSERT_EQ(chmod((directory + "/" + name).c_str(), 0444), 0);
  }
  ASSERT_EQ(chmod(directory.c_str(), 0555), 0);
  const auto result = AsAStranger([&] {
    bool as_expected = true;
    for (const std::string& name : bin->FileThree()) as_expected = as_expected && name.empty();
    RecycleBin store(bin->surroundings.program());
    const auto rows = store.List();
    as_expected = as_expected && rows && rows->size() == 2;
    as_expected = as_expected && !store.MarkRestored(bin->old_names, true);
    as_expected = as_expected && !store.DeleteMessages(bin->old_names);
    as_expected = as_expected && !store.Empty();
    store.TakeInDroppedFiles();
    store.Purge(0);
    return as_expected;
  });
  ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
  if (!result) GTEST_SKIP() << "this user cannot become another one";
  EXPECT_TRUE(*result);
  EXPECT_EQ(bin->Index(), old_index);
  EXPECT_TRUE(bin->EveryEntryHasItsFile());
}

TEST_F(StoreFaultsTest, InADirectoryThatCannotBeFlushedNothingIsFiled) {
  const std::unique_ptr<Bin> bin = MakeBin();
  const std::string old_index = bin->Index();
  const std::string directory = bin->surroundings.directory.PathOf("recycle");
  // Files can be made in a directory without the right to read it, but it cannot be opened to be flushed.
  ASSERT_EQ(chmod(bin->surroundings.directory.PathOf(".").c_str(), 0755), 0);
  for (const std::string& name : ListFiles(directory + "/", "")) {
    ASSERT_EQ(chmod((directory + "/" + name).c_str(), 0666), 0);
  }
  ASSERT_EQ(chmod(directory.c_str(), 0333), 0);
  const auto result = AsAStranger([&] {
    const std::vector<std::string> names = bin->FileThree();
    return names == std::vector<std::string>(3) && WriteWholeFile(directory + "/witness", "x", true);
  });
  ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
  if (!result) GTEST_SKIP() << "this user cannot become another one";
  EXPECT_TRUE(*result);
  EXPECT_TRUE(bin->surroundings.directory.Has("recycle/witness"));  // a file can be made there
  EXPECT_EQ(bin->Index(), old_index);
  EXPECT_EQ(ListFiles(directory + "/", ".recycle").size(), 2U);
}

// An entry without its file could be restored, and a client would get an empty mail.
TEST_F(StoreFaultsTest, EntriesThatCannotBeTakenBackKeepTheirFiles) {
  const std::unique_ptr<Bin> bin = MakeBin();
  bool index_replaced = false;
  const TracedEnd end = test::RunTracedChild([&] { bin->FileThree(); },
                                             [&](std::uint64_t number, pid_t child) {
                                               if (index_replaced) {
                                                 const rlimit none{0, 0};
                                                 prlimit(child, RLIMIT_NOFILE, &none, nullptr);
                                               }
                                               index_replaced |= number == SYS_renameat;
                                               index_replaced |= number == SYS_renameat2;
#ifdef SYS_rename
                                               index_replaced |= number == SYS_rename;
#endif
                                               return true;
                                             });
  if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
  EXPECT_TRUE(index_replaced);
  EXPECT_EQ(bin->List()->size(), 5U);
  EXPECT_TRUE(bin->EveryEntryHasItsFile());
}

TEST_F(StoreFaultsTest, WithAnIndexThatMayNotBeReadNothingIsFiledAndNoFileGoes) {
  const std::unique_ptr<Bin> bin = MakeBin();
  const std::string old_index = bin->Index();
  const std::string directory = bin->surroundings.directory.PathOf("recycle");
  ASSERT_EQ(chmod(bin->surroundings.directory.PathOf(".").c_str(), 0777), 0);
  for (const std::string& name : ListFiles(directory + "/", "")) {
    ASSERT_EQ(chmod((directory + "/" + name).c_str(), 0666), 0);
  }
  ASSERT_EQ(chmod(directory.c_str(), 0777), 0);
  const std::string index = bin->surroundings.directory.PathOf(kIndex);
  ASSERT_EQ(chmod(index.c_str(), 0222), 0);
  const auto result = AsAStranger([&] {
    RecycleBin store(bin->surroundings.program());
    MailMessage message;
    message.ParseText(MailText("new", kSmallBody));
    const DeletedMessage spam{&message, "cheap", 0.9};
    const FilingResult filing = store.File({&spam, 1}, "ann @ server");
    bool as_expected = filing.index_unusable && filing.names.front().empty();
    as_expected = as_expected && filing.written.code == std::errc::permission_denied;
    as_expected = as_expected && filing.written.path == index;
    as_expected = as_expected && !store.DeleteMessages(bin->old_names) && !store.Empty();
    store.Purge(0);
    as_expected = as_expected && !store.RebuildIndex() && !store.Repair().done;
    return as_expected;
  });
  ASSERT_EQ(chmod(index.c_str(), 0644), 0);
  if (!result) GTEST_SKIP() << "this user cannot become another one";
  EXPECT_TRUE(*result);
  EXPECT_EQ(bin->Index(), old_index);
  EXPECT_TRUE(bin->EveryEntryHasItsFile());
  EXPECT_EQ(ListFiles(directory + "/", ".recycle").size(), 2U);
}

// As too many open files take the index away for a moment, of all files of a session perhaps this one alone.
TEST_F(StoreFaultsTest, WithoutAFileHandleForTheIndexNothingIsFiled) {
  const std::unique_ptr<Bin> bin = MakeBin();
  const pid_t child = fork();
  if (child == 0) {
    RecycleBin store(bin->surroundings.program());
    // UndefinedBehaviorSanitizer needs a file handle when it first looks at a virtual call.
    const bool missing = FileResult{"x", {EMFILE, std::system_category()}}.IsMissing();
    const rlimit limit{0, 0};
    if (missing || setrlimit(RLIMIT_NOFILE, &limit) != 0) _exit(2);
    MailMessage message;
    message.ParseText(MailText("new", kSmallBody));
    const DeletedMessage spam{&message, "cheap", 0.9};
    const FilingResult filing = store.File({&spam, 1}, "ann @ server");
    // By its number: UndefinedBehaviorSanitizer opens a file to look at a virtual call.
    const bool told =
        filing.index_unusable && filing.names.front().empty() && filing.written.code.value() == EMFILE;
    _exit(told && store.RestoredFor("ann @ server", 2000).names.empty() && !store.Empty() ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_TRUE(bin->EveryEntryHasItsFile());
  EXPECT_EQ(bin->List()->size(), 2U);
}

TEST_F(StoreFaultsTest, AMessageFileThatMayNotBeReadIsNotOfferedAndKeepsItsEntry) {
  const std::unique_ptr<Bin> bin = MakeBin();
  ASSERT_TRUE(RecycleBin(bin->surroundings.program()).MarkRestored(bin->old_names, true));
  const std::string directory = bin->surroundings.directory.PathOf("recycle");
  ASSERT_EQ(chmod(bin->surroundings.directory.PathOf(".").c_str(), 0777), 0);
  for (const std::string& name : ListFiles(directory + "/", "")) {
    ASSERT_EQ(chmod((directory + "/" + name).c_str(), 0666), 0);
  }
  ASSERT_EQ(chmod(directory.c_str(), 0777), 0);
  ASSERT_EQ(chmod((directory + "/" + bin->old_names[0]).c_str(), 0222), 0);
  // Damaged too: an entry of a file that cannot be read now is taken over as it is.
  const std::string damaged = bin->Index().substr(0, bin->Index().size() - 5);
  const auto result = AsAStranger([&] {
    RecycleBin store(bin->surroundings.program());
    const auto offered = [&] { return store.RestoredFor("ann @ server", 2000).names; };
    const std::vector<std::string> readable{bin->old_names[1]};
    bool as_expected = offered() == readable;
    as_expected = as_expected && store.Repair().done && store.List()->size() == 2;
    as_expected = as_expected && ReplaceWholeFile(store.index_path(), damaged) && store.RebuildIndex();
    as_expected = as_expected && offered() == readable && store.List()->size() == 2;
    return as_expected && store.List()->front().subject == "first" && store.List()->front().restored;
  });
  ASSERT_EQ(chmod((directory + "/" + bin->old_names[0]).c_str(), 0644), 0);
  if (!result) GTEST_SKIP() << "this user cannot become another one";
  EXPECT_TRUE(*result);
  EXPECT_TRUE(bin->EveryEntryHasItsFile());
}

TEST_F(StoreFaultsTest, IdsThatCannotBeReadAreLeftAlone) {
  TestProgram surroundings;
  const std::string path = surroundings.directory.PathOf("uniqueid.xml");
  {
    const auto store = UniqueIdStore::Open(surroundings.program());
    ASSERT_NE(store, nullptr);
    store->Add("old");
    ASSERT_TRUE(store->PurgeAndClose());
  }
  const auto before = surroundings.directory.Get("uniqueid.xml");
  ASSERT_EQ(chmod(surroundings.directory.PathOf(".").c_str(), 0777), 0);
  for (const std::string& name : ListFiles(surroundings.directory.utf8(), "")) {
    ASSERT_EQ(chmod(surroundings.directory.PathOf(name).c_str(), 0666), 0);
  }
  ASSERT_EQ(chmod(path.c_str(), 0222), 0);
  const auto result = AsAStranger([&] { return UniqueIdStore::Open(surroundings.program()) == nullptr; });
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  if (!result) GTEST_SKIP() << "this user cannot become another one";
  EXPECT_TRUE(*result);
  EXPECT_EQ(surroundings.directory.Get("uniqueid.xml"), before);
}

TEST_F(StoreFaultsTest, MailIsNotPurgedWhileTheConfigurationCannotBeRead) {
  const std::unique_ptr<Bin> bin = MakeBin();
  const std::string old_index = bin->Index();
  ASSERT_TRUE(bin->surroundings.Configure("RecycleOldMessagesLast=5"));
  const std::string path = bin->surroundings.directory.PathOf("Quillbeaker.ini");
  ASSERT_EQ(chmod(bin->surroundings.directory.PathOf(".").c_str(), 0777), 0);
  const std::string directory = bin->surroundings.directory.PathOf("recycle");
  for (const std::string& name : ListFiles(directory + "/", "")) {
    ASSERT_EQ(chmod((directory + "/" + name).c_str(), 0666), 0);
  }
  ASSERT_EQ(chmod(directory.c_str(), 0777), 0);
  ASSERT_EQ(chmod(path.c_str(), 0222), 0);
  const auto result = AsAStranger([&] {
    Program fresh(bin->surroundings.MakeEnvironment());
    RecycleBin(fresh).Purge(0);
    return true;
  });
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  if (!result) GTEST_SKIP() << "this user cannot become another one";
  EXPECT_EQ(bin->Index(), old_index);
  EXPECT_TRUE(bin->EveryEntryHasItsFile());
}

TEST_F(StoreFaultsTest, AnEmlThatCannotBeMovedDoesNotHoldUpTheStart) {
  TestProgram surroundings;
  RecycleBin bin(surroundings.program());
  ASSERT_TRUE(surroundings.directory.Put("recycle/dropped.eml", MailText("dropped", kSmallBody)));
  const std::string directory = surroundings.directory.PathOf("recycle");
  ASSERT_EQ(chmod(surroundings.directory.PathOf(".").c_str(), 0755), 0);
  ASSERT_EQ(chmod(directory.c_str(), 0555), 0);
  const auto result = AsAStranger([&] {
    alarm(20);  // ends a start that hangs
    bin.TakeInDroppedFiles();
    return true;
  });
  ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
  if (!result) GTEST_SKIP() << "this user cannot become another one";
  EXPECT_TRUE(*result);
  EXPECT_TRUE(surroundings.directory.Has("recycle/dropped.eml"));
  bin.TakeInDroppedFiles();
  EXPECT_FALSE(surroundings.directory.Has("recycle/dropped.eml"));
}

}  // namespace
}  // namespace quillbeaker
