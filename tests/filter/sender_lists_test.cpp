// SPDX-License-Identifier: MIT
// Friend List and Blocked Senders List: precedence of their lines, what a look-up gives back, what is
// written.

#include "filter/sender_lists.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

class SenderListsTest : public testing::Test {
 protected:
  void PutLines(std::string_view lines) {
    ASSERT_TRUE(test_.directory.Put("Quillbeaker.ini", "[SENDERS]\r\n" + std::string(lines)));
  }
  std::string File() { return test_.directory.Get("Quillbeaker.ini").value_or("(no file)"); }

  // "key name kind" of the entry that decides on the address, or "none".
  std::string LookUp(std::string_view address) {
    const SenderLists lists(test_.program());
    SenderRecord record;
    if (!lists.LookUp(address, record)) return record.kind == kSenderNone ? "none" : "none, but kind set";
    return record.address + " " + record.name + " " + std::to_string(record.kind);
  }
  std::int32_t KindOf(std::string_view address) {
    const SenderLists lists(test_.program());
    SenderRecord record;
    return lists.LookUp(address, record) ? record.kind : kSenderNone;
  }
  std::string LookUpMessage(const std::string& header) {
    MailMessage message;
    message.ParseText(header + "\r\n");
    const SenderLists lists(test_.program());
    SenderRecord record;
    record.kind = 77;
    const bool found = lists.LookUp(message, record);
    return (found ? record.address + " " : std::string("none ")) + std::to_string(record.kind);
  }

  test::TestProgram test_;
};

TEST_F(SenderListsTest, AnAddressListedNowhereHasNoKind) {
  EXPECT_EQ(LookUp("a@b"), "none");
  PutLines("c@d=Carl,1\r\n*@x=,2\r\n");
  EXPECT_EQ(LookUp("a@b"), "none");
  EXPECT_EQ(LookUp(""), "none");
}

TEST_F(SenderListsTest, AMissedLookUpKeepsNameAndAddressAndResetsTheKind) {
  const SenderLists lists(test_.program());
  SenderRecord record{"Bob", "a@b", kSenderFriend, {}};
  EXPECT_FALSE(lists.LookUp("a@b", record));
  EXPECT_EQ(record.name, "Bob");
  EXPECT_EQ(record.address, "a@b");
  EXPECT_EQ(record.kind, -1);
}

TEST_F(SenderListsTest, AnExactEntryIsFoundWithoutRegardToCase) {
  PutLines("Bob@Example.com=Bob Smith,2\r\n");
  EXPECT_EQ(LookUp("bOB@eXAMPLE.COM"), "Bob@Example.com Bob Smith 2");
  EXPECT_EQ(LookUp("bob@example.co"), "none");
}

TEST_F(SenderListsTest, APatternIsFoundWithoutRegardToCase) {
  PutLines("*@Example.COM=,1\r\n");
  EXPECT_EQ(LookUp("Any@example.com"), "*@Example.COM  1");
}

TEST_F(SenderListsTest, ALaterFriendPatternOverridesAnExactBlockedEntry) {
  PutLines("bob@dom=Bob,1\r\n*@dom=Friends,2\r\n");
  EXPECT_EQ(LookUp("BOB@Dom"), "*@dom Friends 2");
}

TEST_F(SenderListsTest, AFriendPatternAboveAnExactBlockedEntryDoesNot) {
  PutLines("*@dom=Friends,2\r\nbob@dom=Bob,1\r\n");
  EXPECT_EQ(LookUp("bob@dom"), "bob@dom Bob 1");
}

TEST_F(SenderListsTest, AFriendPatternOutranksABlockedPatternOnBothSides) {
  PutLines("*@dom=Blocked,1\r\n*=All,2\r\n");
  EXPECT_EQ(LookUp("a@dom"), "* All 2");
  PutLines("*=All,2\r\n*@dom=Blocked,1\r\n");
  EXPECT_EQ(LookUp("a@dom"), "* All 2");
}

TEST_F(SenderListsTest, OfEqualPatternsTheFirstLineWins) {
  PutLines("*@dom=First,1\r\na*=Second,1\r\n");
  EXPECT_EQ(LookUp("a@dom"), "*@dom First 1");
  PutLines("a*=Second,2\r\n*@dom=First,2\r\n");
  EXPECT_EQ(LookUp("a@dom"), "a* Second 2");
}

TEST_F(SenderListsTest, AnExactFriendKeepsItsKindBeforeABlockedPattern) {
  PutLines("bob@dom=Bob,2\r\n*@dom=Blocked,1\r\n");
  EXPECT_EQ(LookUp("bob@dom"), "bob@dom Bob 2");
}

TEST_F(SenderListsTest, AnExactEntryOutranksEveryLineAboveIt) {
  PutLines("*@dom=P,1\r\n*=Q,2\r\nbob@dom=Bob,1\r\n");
  EXPECT_EQ(LookUp("bob@dom"), "bob@dom Bob 1");
}

TEST_F(SenderListsTest, OfEqualExactEntriesTheLastLineWins) {
  PutLines("bob@dom=First,1\r\nBOB@dom=Second,2\r\n");
  EXPECT_EQ(LookUp("bob@dom"), "BOB@dom Second 2");
}

TEST_F(SenderListsTest, TheNameEndsAtTheFirstCommaAndTheKindFollowsTheLast) {
  PutLines("a@b=Smith, Bob,2\r\n");
  EXPECT_EQ(LookUp("a@b"), "a@b Smith 2");
}

TEST_F(SenderListsTest, AnyKindButMinusOneIsAMatch) {
  PutLines("seven@x=S,7\r\nzero@x=Z,0\r\nnone@x=N,-1\r\n");
  EXPECT_EQ(LookUp("seven@x"), "seven@x S 7");
  EXPECT_EQ(LookUp("zero@x"), "zero@x Z 0");
  EXPECT_EQ(LookUp("none@x"), "none");
}

TEST_F(SenderListsTest, APatternOfAnotherKindIsNotReplacedByAFriend) {
  PutLines("*@x=Seven,7\r\n*=All,2\r\n");
  EXPECT_EQ(LookUp("a@x"), "*@x Seven 7");
}

TEST_F(SenderListsTest, APatternOfNoKindIsReplacedByWhatFollows) {
  PutLines("*@x=None,-1\r\na*=Blocked,1\r\n");
  EXPECT_EQ(LookUp("a@x"), "a* Blocked 1");
}

TEST_F(SenderListsTest, SkipsCommentsAndSeesTheFirstSectionOnly) {
  PutLines(";a@x=A,1\r\nb@x=B,1\r\n[OTHER]\r\nc@x=C,1\r\n[SENDERS]\r\nd@x=D,1\r\n");
  EXPECT_EQ(LookUp("a@x"), "none");
  EXPECT_EQ(LookUp("b@x"), "b@x B 1");
  EXPECT_EQ(LookUp("c@x"), "none");
  EXPECT_EQ(LookUp("d@x"), "none");
}

TEST_F(SenderListsTest, AChangeOfTheFileActsAtOnce) {
  SenderLists lists(test_.program());
  SenderRecord record;
  PutLines("a@b=A,1\r\n");
  EXPECT_TRUE(lists.LookUp("a@b", record));
  EXPECT_EQ(record.kind, 1);
  PutLines("a@b=A,2\r\n");
  EXPECT_TRUE(lists.LookUp("a@b", record));
  EXPECT_EQ(record.kind, 2);
  PutLines("");
  EXPECT_FALSE(lists.LookUp("a@b", record));
}

TEST_F(SenderListsTest, AMessageIsLookedUpByItsSender) {
  PutLines("a@b=A,1\r\n");
  EXPECT_EQ(LookUpMessage("From: Bob <A@B>\r\n"), "a@b 1");
  EXPECT_EQ(LookUpMessage("From: other@x\r\n"), "none -1");
  EXPECT_EQ(LookUpMessage("From: a@b <other@x> <a@b>\r\n"), "a@b 1");
}

TEST_F(SenderListsTest, AMessageWithoutFromIsNotLookedUpEvenByAStar) {
  PutLines("*=All,1\r\n");
  EXPECT_EQ(LookUpMessage("Sender: a@b\r\n"), "none -1");
}

TEST_F(SenderListsTest, AnEmptyFromIsAnEmptyAddressThatAStarMatches) {
  PutLines("*=All,1\r\n");
  EXPECT_EQ(LookUpMessage("From:\r\n"), "* 1");
  PutLines("?*=Some,1\r\n");
  EXPECT_EQ(LookUpMessage("From:\r\n"), "none -1");
}

TEST_F(SenderListsTest, WriteAddsTheLine) {
  SenderLists lists(test_.program());
  EXPECT_TRUE(lists.Write({"Bob Smith", "Bob@x", kSenderFriend, {}}));
  EXPECT_TRUE(lists.Write({"", "*@y", kSenderBlocked, {}}));
  EXPECT_EQ(File(), "[SENDERS]\r\nBob@x=Bob Smith,2\r\n*@y=,1\r\n");
  EXPECT_EQ(LookUp("bob@x"), "Bob@x Bob Smith 2");
  EXPECT_EQ(LookUp("any@y"), "*@y  1");
}

TEST_F(SenderListsTest, WriteOverwritesTheEntryOfThatKey) {
  PutLines("a@b=Old,1\r\nc@d=C,1\r\n[SERVER]\r\nPort=111\r\n");
  SenderLists lists(test_.program());
  EXPECT_TRUE(lists.Write({"New", "A@B", kSenderFriend, {}}));
  EXPECT_EQ(File(), "[SENDERS]\r\na@b=New,2\r\nc@d=C,1\r\n[SERVER]\r\nPort=111\r\n");
}

TEST_F(SenderListsTest, AnAddressWithEqualsSignIsStillFound) {
  SenderLists lists(test_.program());
  EXPECT_TRUE(lists.Write({"", "bounce=me=x@b", kSenderBlocked, {}}));
  EXPECT_EQ(LookUp("bounce=me=x@b"), "bounce?me?x@b  1");
  EXPECT_TRUE(lists.IsKey("bounce=me=x@b"));
  EXPECT_EQ(lists.Remove("bounce=me=x@b"), SenderChange::kDone);
  EXPECT_EQ(LookUp("bounce=me=x@b"), "none");
}

TEST_F(SenderListsTest, AddressesThatLookLikeCommentsOrSectionsAreStillFound) {
  SenderLists lists(test_.program());
  EXPECT_TRUE(lists.Write({"S", ";semi@x", kSenderBlocked, {}}));
  EXPECT_TRUE(lists.Write({"B", "[br]@x", kSenderFriend, {}}));
  EXPECT_EQ(KindOf(";semi@x"), kSenderBlocked);
  EXPECT_EQ(KindOf("[br]@x"), kSenderFriend);
  EXPECT_EQ(File(), "[SENDERS]\r\n?semi@x=S,1\r\n?br]@x=B,2\r\n");
}

TEST_F(SenderListsTest, ControlBytesInNameAndAddressAddNoLines) {
  SenderLists lists(test_.program());
  EXPECT_TRUE(lists.Write({"Bob\r\nPort=1\r\n[SERVER]", "a\n@b", kSenderBlocked, {}}));
  EXPECT_EQ(File(), "[SENDERS]\r\na @b=Bob  Port=1  [SERVER],1\r\n");
  EXPECT_EQ(test_.program().configuration.ReadInteger("SERVER", "Port", 110), 110);
}

TEST_F(SenderListsTest, SenderKeyChangesOnlyWhatCannotStandInAKey) {
  EXPECT_EQ(SenderKey("Bob.Smith+x@y"), "Bob.Smith+x@y");
  EXPECT_EQ(SenderKey("a=b=c"), "a?b?c");
  EXPECT_EQ(SenderKey(";a;b"), "?a;b");
  EXPECT_EQ(SenderKey("[a[b]"), "?a[b]");
  EXPECT_EQ(SenderKey("*@x?"), "*@x?");
  EXPECT_EQ(SenderKey("a\x01\x1F"
                      "b"),
            "a  b");
}

TEST_F(SenderListsTest, AKeyIsTestedExactlyButForCase) {
  PutLines("Bob@x=Bob,2\r\n*@dom=,1\r\nodd=Odd,7\r\n");
  const SenderLists lists(test_.program());
  EXPECT_TRUE(lists.IsKey("bob@X"));
  EXPECT_TRUE(lists.IsKey("*@DOM"));
  EXPECT_TRUE(lists.IsKey("odd"));
  EXPECT_FALSE(lists.IsKey("any@dom"));
  EXPECT_FALSE(lists.IsKey("bob"));
  EXPECT_FALSE(lists.IsKey(""));
}

TEST_F(SenderListsTest, RemoveTakesTheEntryAway) {
  PutLines("a@b=A,1\r\nC@D=C,2\r\n");
  SenderLists lists(test_.program());
  EXPECT_EQ(lists.Remove("c@d"), SenderChange::kDone);
  EXPECT_EQ(File(), "[SENDERS]\r\na@b=A,1\r\n");
  EXPECT_EQ(lists.Remove("c@d"), SenderChange::kRefused);
  EXPECT_EQ(lists.Remove("*"), SenderChange::kRefused);
  EXPECT_EQ(lists.Remove(""), SenderChange::kRefused);
  EXPECT_EQ(File(), "[SENDERS]\r\na@b=A,1\r\n");
}

TEST_F(SenderListsTest, RemoveTakesEveryLineOfTheKeyAway) {
  PutLines("a@b=A,1\r\nc@d=C,2\r\nA@B=Again,2\r\n a@b = Third,1\r\n");
  SenderLists lists(test_.program());
  EXPECT_EQ(lists.Remove("a@b"), SenderChange::kDone);
  EXPECT_EQ(File(), "[SENDERS]\r\nc@d=C,2\r\n");
}

TEST_F(SenderListsTest, AddRefusesAKeyThatIsThere) {
  SenderLists lists(test_.program());
  EXPECT_EQ(lists.Add({"Bob", "Bob@x", kSenderFriend, {}}), SenderChange::kDone);
  EXPECT_EQ(lists.Add({"Other", "bob@X", kSenderBlocked, {}}), SenderChange::kRefused);
  EXPECT_EQ(lists.Add({"", "*@x", kSenderBlocked, {}}), SenderChange::kDone);
  EXPECT_EQ(lists.Add({"", " \t", kSenderBlocked, {}}), SenderChange::kNotSaved);
  EXPECT_EQ(File(), "[SENDERS]\r\nBob@x=Bob,2\r\n*@x=,1\r\n");
}

TEST_F(SenderListsTest, AChangedNameStaysInItsLine) {
  PutLines("a@b=A,1\r\n*@x=,1\r\n");
  SenderLists lists(test_.program());
  EXPECT_EQ(lists.ChangeSender("a@b", {"New, Name\r\nPort=1", "a@b", kSenderFriend, {}}),
            SenderChange::kDone);
  EXPECT_EQ(File(), "[SENDERS]\r\na@b=New, Name  Port=1,2\r\n*@x=,1\r\n");
}

TEST_F(SenderListsTest, AChangedAddressTakesItsOldKeyAway) {
  PutLines("a@b=A,1\r\n*@x=,1\r\n");
  SenderLists lists(test_.program());
  EXPECT_EQ(lists.ChangeSender("A@B", {"A", "c=d@e", kSenderBlocked, {}}), SenderChange::kDone);
  EXPECT_EQ(File(), "[SENDERS]\r\n*@x=,1\r\nc?d@e=A,1\r\n");
  EXPECT_EQ(lists.ChangeSender("c=d@e", {"A", "[x]@e", kSenderBlocked, {}}), SenderChange::kDone);
  EXPECT_EQ(File(), "[SENDERS]\r\n*@x=,1\r\n?x]@e=A,1\r\n");
  EXPECT_EQ(lists.ChangeSender("[x]@e", {"A", ";y\nz@e", kSenderBlocked, {}}), SenderChange::kDone);
  EXPECT_EQ(File(), "[SENDERS]\r\n*@x=,1\r\n?y z@e=A,1\r\n");
}

TEST_F(SenderListsTest, RemovesFromOneListAlone) {
  PutLines("a@b=A,1\r\nc@d=C,2\r\nboth@b=B,1\r\nBOTH@b=F,2\r\nkept@b=K,1\r\nz=Z,1\r\nz=Z,1\r\n");
  SenderLists lists(test_.program());
  const std::vector<std::string> keys = {"A@b", "c@d", "both@b", "nobody@b", "z"};
  EXPECT_TRUE(lists.RemoveFromList(kSenderBlocked, keys));
  EXPECT_EQ(File(), "[SENDERS]\r\nc@d=C,2\r\nkept@b=K,1\r\nboth@b=F,2\r\n");
  EXPECT_EQ(lists.ListOfKey("C@D"), kSenderFriend);
  EXPECT_EQ(lists.ListOfKey("nobody@b"), kSenderNone);
}

TEST_F(SenderListsTest, AChangeToAnotherEntrysAddressIsRefused) {
  PutLines("a@b=A,1\r\nc@d=C,2\r\n");
  SenderLists lists(test_.program());
  EXPECT_EQ(lists.ChangeSender("a@b", {"A", "C@D", kSenderBlocked, {}}), SenderChange::kRefused);
  EXPECT_EQ(lists.ChangeSender("a@b", {"A", " ", kSenderBlocked, {}}), SenderChange::kNotSaved);
  EXPECT_EQ(File(), "[SENDERS]\r\na@b=A,1\r\nc@d=C,2\r\n");
  // A pattern that matches is no entry of the address.
  EXPECT_EQ(lists.ChangeSender("a@b", {"A", "*@d", kSenderBlocked, {}}), SenderChange::kDone);
}

TEST_F(SenderListsTest, AChangeOfASenderThatIsGoneAddsIt) {
  PutLines("c@d=C,2\r\n");
  SenderLists lists(test_.program());
  EXPECT_EQ(lists.ChangeSender("gone@b", {"A", "c@d", kSenderBlocked, {}}), SenderChange::kRefused);
  EXPECT_EQ(lists.ChangeSender("gone@b", {"A", "new@d", kSenderBlocked, {}}), SenderChange::kDone);
  EXPECT_EQ(File(), "[SENDERS]\r\nc@d=C,2\r\nnew@d=A,1\r\n");
}

TEST_F(SenderListsTest, AnAddressCanChangeItsCase) {
  PutLines("a@b=A,1\r\n");
  SenderLists lists(test_.program());
  EXPECT_EQ(lists.ChangeSender("a@b", {"A", "Ann@B", kSenderBlocked, {}}), SenderChange::kDone);
  EXPECT_EQ(lists.ChangeSender("ann@b", {"A", "ANN@B", kSenderBlocked, {}}), SenderChange::kDone);
  EXPECT_EQ(File(), "[SENDERS]\r\nANN@B=A,1\r\n");
}

TEST_F(SenderListsTest, AChangeCountsWhereTheKeyStandsTwice) {
  PutLines("a@b=A,1\r\nA@B=Again,1\r\n");
  SenderLists lists(test_.program());
  EXPECT_EQ(lists.ChangeSender("a@b", {"A", "a@b", kSenderFriend, {}}), SenderChange::kDone);
  EXPECT_EQ(KindOf("a@b"), kSenderFriend);
  EXPECT_EQ(File(), "[SENDERS]\r\na@b=A,2\r\n");
}

TEST_F(SenderListsTest, AddsManyThatAreOnNeitherList) {
  PutLines("a@b=A,1\r\n*@x=,2\r\n");
  SenderLists lists(test_.program());
  const std::vector<SenderRecord> many = {
      {"Again", "A@B", kSenderFriend, {}},       {"One", "one@x", kSenderFriend, {}},
      {"Two", "ONE@x", kSenderFriend, {}},       {"None", " ", kSenderFriend, {}},
      {"Bad\nName", "a=b@y", kSenderFriend, {}}, {"Same", "a?b@y", kSenderFriend, {}}};
  EXPECT_EQ(lists.AddSenders(many), 2U);
  EXPECT_EQ(File(), "[SENDERS]\r\na@b=A,1\r\n*@x=,2\r\none@x=One,2\r\na?b@y=Bad Name,2\r\n");
  EXPECT_EQ(lists.AddSenders({}), 0U);
}

TEST_F(SenderListsTest, LooksUpInListsThatWereReadBefore) {
  PutLines("a@b=A,1\r\n");
  const auto before = test_.program().configuration.Read();
  SenderLists lists(test_.program());
  ASSERT_EQ(lists.Remove("a@b"), SenderChange::kDone);
  SenderRecord record;
  EXPECT_TRUE(lists.LookUp("a@b", before, record));
  EXPECT_FALSE(lists.LookUp("a@b", record));
}

TEST_F(SenderListsTest, OfThoseWhoAddTheSameAddressOneSucceeds) {
  test_.program();
  std::atomic<int> done{0};
  std::atomic<int> refused{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      SenderLists lists(test_.program());
      for (int n = 0; n < 20; ++n) {
        const auto change = lists.Add({std::to_string(i), "a" + std::to_string(n) + "@x", kSenderFriend, {}});
        done += change == SenderChange::kDone;
        refused += change == SenderChange::kRefused;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(done, 20);
  EXPECT_EQ(refused, 7 * 20);
}

TEST_F(SenderListsTest, WhatCannotBeSavedIsToldSo) {
  PutLines("a@b=A,1\r\n");
  test_.directory.SetReadOnly("Quillbeaker.ini", true);
  SenderLists lists(test_.program());
  const auto added = lists.Add({"", "c@d", kSenderFriend, {}});
  const auto removed = lists.Remove("a@b");
  const auto changed = lists.ChangeSender("a@b", {"", "e@f", kSenderFriend, {}});
  const std::vector<SenderRecord> many = {{"", "g@h", kSenderFriend, {}}};
  const auto added_many = lists.AddSenders(many);
  test_.directory.SetReadOnly("Quillbeaker.ini", false);
  EXPECT_EQ(added, SenderChange::kNotSaved);
  EXPECT_EQ(removed, SenderChange::kNotSaved);
  EXPECT_EQ(changed, SenderChange::kNotSaved);
  EXPECT_EQ(added_many, std::nullopt);
  EXPECT_EQ(File(), "[SENDERS]\r\na@b=A,1\r\n");
}

TEST_F(SenderListsTest, EnumeratesEveryEntryInFileOrder) {
  PutLines("z@x=Zoe,2\r\n;no\r\na@x=Smith, Bob,1\r\n*@y=,1\r\nodd@x=O,7\r\n");
  const SenderLists lists(test_.program());
  std::vector<std::string> seen;
  lists.Enumerate([&](const SenderRecord& record) {
    seen.push_back(record.address + "|" + record.name + "|" + std::to_string(record.kind));
  });
  EXPECT_EQ(seen, (std::vector<std::string>{"z@x|Zoe|2", "a@x|Smith|1", "*@y||1", "odd@x|O|7"}));
}

TEST_F(SenderListsTest, EnumeratesNothingWithoutFile) {
  const SenderLists lists(test_.program());
  int calls = 0;
  lists.Enumerate([&](const SenderRecord&) { ++calls; });
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(test_.directory.Names().empty());
}

TEST_F(SenderListsTest, ASendersDateIsTheMessages) {
  MailMessage message;
  message.ParseText("From: Bob <a@b>\r\nDate: Tue, 4 Feb 2003 23:30:45 -0200\r\n\r\n");
  SenderRecord record;
  EXPECT_TRUE(SenderRecordOf(test_.program(), message, record));
  EXPECT_EQ(record.name, "Bob");
  EXPECT_EQ(record.address, "a@b");
  EXPECT_EQ(record.date.year, 2003);
  EXPECT_EQ(record.date.month, 2);
  EXPECT_EQ(record.date.day, 5);
  EXPECT_EQ(record.date.hour, 1);
  EXPECT_EQ(record.date.minute, 30);
  EXPECT_EQ(record.date.second, 45);
}

TEST_F(SenderListsTest, ASendersDateIsTheLocalTimeWithoutDateField) {
  test_.clock.local = CalendarTime{2007, 8, 3, 9, 10, 11, 12, 13};
  MailMessage message;
  message.ParseText("From: Bob <a@b>\r\n\r\n");
  SenderRecord record;
  EXPECT_TRUE(SenderRecordOf(test_.program(), message, record));
  EXPECT_EQ(record.date, (CalendarTime{2007, 8, 3, 9, 10, 11, 12, 13}));
  message.ParseText("Subject: no sender\r\n\r\n");
  EXPECT_FALSE(SenderRecordOf(test_.program(), message, record));
}

TEST_F(SenderListsTest, ALookUpAmongTwentyThousandEntriesCostsWhatOneAmongTwentyDoes) {
  // Both pay for the look at the file's state, which is most of it; a walk over all lines would cost a
  // thousandfold.
  const auto milliseconds_among = [&](int entries) {
    std::string lines;
    for (int i = 0; i < entries; ++i) lines += "user" + std::to_string(i) + "@example.com=Name,1\r\n";
    PutLines(lines + "*@friends.example=,2\r\n");
    const SenderLists lists(test_.program());
    SenderRecord record;
    EXPECT_TRUE(lists.LookUp("user0@example.com", record));
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 250; ++i) {
      EXPECT_TRUE(lists.LookUp("USER" + std::to_string(i * 80 % entries) + "@example.com", record));
      EXPECT_FALSE(lists.LookUp("nobody" + std::to_string(i) + "@example.com", record));
    }
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / 500;
  };
  const double among_twenty = milliseconds_among(20);
  const double among_thousands = milliseconds_among(20'000);
  EXPECT_LT(among_thousands, 10 * among_twenty + 0.5);
}

}  // namespace
}  // namespace quillbeaker
