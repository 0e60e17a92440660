// SPDX-License-Identifier: MIT

// The file of unconfirmed mail when the program is killed at every system call, and the order in which it
// reaches the disk.

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "stores/posix/traced_process.h"
#include "stores/unconfirmed_mail.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using test::RunKilledAt;
using test::TestProgram;
using test::TracedEnd;

using Mails = std::vector<UnconfirmedMail>;

const MailboxName kAnn{"pop.example.org", 110, "ann"};
const MailboxName kBob{"pop.example.org", 110, "bob"};
const Mails kOfBob{{"kept", "9.recycle", true, true, true}};

struct Change {
  const char* name;
  Mails before;
  Mails after;
};

const Change kChanges[] = {
    {"the first rows", {}, {{"a", "1.recycle"}, {"b"}}},
    {"a row that becomes due", {{"a", "1.recycle"}}, {{"a", "1.recycle", true, true, true}}},
    {"the last rows", {{"a", "1.recycle", true, true, true}, {"b"}}, {}},
};

// Kills `change` at one call after another, with another mailbox's rows beside it or without.
void KillAtEveryCall(const Change& change, const Mails& beside) {
  std::set<bool> changed;
  constexpr int kMoreCallsThanItMakes = 1000;
  for (int call = 0; call < kMoreCallsThanItMakes; ++call) {
    SCOPED_TRACE(std::string(change.name) + ", killed at system call " + std::to_string(call));
    TestProgram surroundings;
    UnconfirmedMailStore store(surroundings.program());
    ASSERT_TRUE(store.Replace(kBob, beside));
    ASSERT_TRUE(store.Replace(kAnn, change.before));
    const TracedEnd end = RunKilledAt(call, [&] { static_cast<void>(store.Replace(kAnn, change.after)); });
    if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
    const std::optional<Mails> rows = store.Rows(kAnn);
    ASSERT_TRUE(rows == change.before || rows == change.after);
    changed.insert(rows == change.after);
    ASSERT_EQ(store.Rows(kBob), beside);
    // Neither a lock nor a leftover is in the way of the next.
    ASSERT_TRUE(store.Replace(kAnn, {{"next"}}));
    ASSERT_EQ(store.Rows(kAnn), Mails{{"next"}});
    ASSERT_FALSE(surroundings.directory.Has("recycle/unconfirmed.xml.new"));
    ASSERT_FALSE(surroundings.directory.Has("recycle/unconfirmed.xml.bad"));
    if (end == TracedEnd::kFinished) {
      EXPECT_GT(call, 5);
      EXPECT_EQ(changed, (std::set<bool>{false, true}));
      return;
    }
  }
  ADD_FAILURE() << "the work never ended";
}

TEST(UnconfirmedMailFaultsTest, KilledAnywhereLeavesTheOldRowsOrTheNewOnes) {
  for (const Change& change : kChanges) {
    KillAtEveryCall(change, {});
    KillAtEveryCall(change, kOfBob);
  }
}

// The names of the calls that bring things to the disk, in their order.
std::string FlushesAndRenames(const std::function<void()>& work) {
  std::string calls;
  const TracedEnd end = test::RunTraced(work, [&](std::uint64_t number) {
    if (number == SYS_fsync || number == SYS_fdatasync) calls += "flush ";
    if (number == SYS_renameat || number == SYS_renameat2) calls += "rename ";
    if (number == SYS_unlinkat) calls += "unlink ";
#ifdef SYS_rename
    if (number == SYS_rename) calls += "rename ";
    if (number == SYS_unlink) calls += "unlink ";
#endif
    return true;
  });
  return end == TracedEnd::kNotTraced ? "(not traced)" : calls;
}

TEST(UnconfirmedMailFaultsTest, TheFileAndItsNameAreFlushed) {
  TestProgram surroundings;
  ASSERT_TRUE(surroundings.directory.MakeFolder("recycle"));
  UnconfirmedMailStore store(surroundings.program());
  const auto replace = [&](const Mails& rows) {
    return FlushesAndRenames([&] { static_cast<void>(store.Replace(kAnn, rows)); });
  };
  const std::string written = replace({{"a"}});
  if (written == "(not traced)") GTEST_SKIP() << "no process may be traced here";
  EXPECT_EQ(written, "flush rename flush ");
  EXPECT_EQ(replace({{"a"}}), "");
  EXPECT_EQ(replace({{"a"}, {"b"}}), "flush rename flush ");
  EXPECT_EQ(replace({}), "unlink flush ");
  EXPECT_EQ(replace({}), "");
}

TEST(UnconfirmedMailFaultsTest, ADirectoryMadeForItIsFlushedToo) {
  TestProgram surroundings;
  surroundings.program();
  UnconfirmedMailStore store(surroundings.program());
  const std::string calls = FlushesAndRenames([&] { static_cast<void>(store.Replace(kAnn, {{"a"}})); });
  if (calls == "(not traced)") GTEST_SKIP() << "no process may be traced here";
  EXPECT_EQ(calls, "flush flush rename flush ");
}

}  // namespace
}  // namespace quillbeaker
