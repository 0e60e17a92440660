// SPDX-License-Identifier: MIT
// Which restored messages an account is offered, and how many fit.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "support/recycle_fixture.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kPlenty = 2000;

class RecycleRestoredTest : public test::RecycleFixture {
 protected:
  // An element of this name; `more` holds further attributes.
  static std::string Element(std::string_view name, std::string_view more) {
    return "<recyclefile name=\"" + std::string(name) + "\" " + std::string(more) + "/>";
  }
  // The names offered, each followed by a blank.
  std::string Offered(std::string_view account, std::size_t capacity = kPlenty) {
    std::string names;
    for (const std::string& name : bin().RestoredFor(account, capacity).names) names += name + " ";
    return names;
  }
};

TEST_F(RecycleRestoredTest, TheListNamesTheDirectory) {
  ASSERT_TRUE(PutIndex(Element("a.recycle", "restored=\"1\"")));
  const RestoredList list = bin().RestoredFor("ann @ srv", kPlenty);
  EXPECT_EQ(list.directory, bin().directory());
  EXPECT_EQ(list.names, std::vector<std::string>{"a.recycle"});
}

TEST_F(RecycleRestoredTest, AnAccountIsOfferedItsOwnAndThoseOfNone) {
  ASSERT_TRUE(PutIndex(Element("own.recycle", "account=\"ann @ srv\" restored=\"1\"") +
                       Element("other.recycle", "account=\"bob @ srv\" restored=\"1\"") +
                       Element("none.recycle", "restored=\"1\"") +
                       Element("empty.recycle", "account=\"\" restored=\"1\"")));
  EXPECT_EQ(Offered("ann @ srv"), "own.recycle none.recycle empty.recycle ");
  EXPECT_EQ(Offered("bob @ srv"), "other.recycle none.recycle empty.recycle ");
  EXPECT_EQ(Offered("eve @ srv"), "none.recycle empty.recycle ");
  EXPECT_EQ(Offered(""), "none.recycle empty.recycle ");
}

TEST_F(RecycleRestoredTest, AccountsMatchByteForByte) {
  ASSERT_TRUE(PutIndex(Element("a.recycle", "account=\"ann @ srv\" restored=\"1\"")));
  EXPECT_EQ(Offered("Ann @ srv"), "");
  EXPECT_EQ(Offered("ann @ srv "), "");
  EXPECT_EQ(Offered("ann @ sr"), "");
  EXPECT_EQ(Offered("ann @ srv"), "a.recycle ");
}

TEST_F(RecycleRestoredTest, OnlyAMarkThatBeginsWithOneCounts) {
  ASSERT_TRUE(PutIndex(Element("a.recycle", "restored=\"1\"") + Element("b.recycle", "restored=\"0\"") +
                       Element("c.recycle", "restored=\"\"") + Element("d.recycle", "") +
                       Element("e.recycle", "restored=\"1x\"") +
                       "<note name=\"f.recycle\" restored=\"1\"/>"));
  EXPECT_EQ(Offered("ann @ srv"), "a.recycle e.recycle ");
}

TEST_F(RecycleRestoredTest, OneWhoseFileIsMissingIsOfferedOneWhoseFileCannotBeReadIsNot) {
  ASSERT_TRUE(
      PutIndex(Element("there.recycle", "restored=\"1\"") + Element("empty.recycle", "restored=\"1\"") +
               Element("missing.recycle", "restored=\"1\"") + Element("folder.recycle", "restored=\"1\"")));
  ASSERT_TRUE(PutFile("there.recycle"));
  ASSERT_TRUE(PutFile("empty.recycle", ""));
  ASSERT_TRUE(surroundings.directory.MakeFolder("recycle/folder.recycle"));
  EXPECT_EQ(Offered("ann @ srv"), "there.recycle empty.recycle missing.recycle ");
  EXPECT_EQ(Entries().size(), 4U);
}

TEST_F(RecycleRestoredTest, AMessageTakenBackIsNoLongerOffered) {
  ASSERT_TRUE(PutIndex(Element("a.recycle", "account=\"ann @ srv\"")));
  EXPECT_EQ(Offered("ann @ srv"), "");
  ASSERT_TRUE(bin().MarkRestored(Names({"a.recycle"}), true));
  EXPECT_EQ(Offered("ann @ srv"), "a.recycle ");
  ASSERT_TRUE(bin().MarkRestored(Names({"a.recycle"}), false));
  EXPECT_EQ(Offered("ann @ srv"), "");
}

TEST_F(RecycleRestoredTest, AClearedAccountIsOfferedToEveryone) {
  ASSERT_TRUE(PutIndex(Element("a.recycle", "account=\"ann @ srv\" restored=\"1\"")));
  EXPECT_EQ(Offered("bob @ srv"), "");
  ASSERT_TRUE(bin().ClearAccount(Names({"a.recycle"})));
  EXPECT_EQ(Offered("bob @ srv"), "a.recycle ");
  EXPECT_EQ(Offered("ann @ srv"), "a.recycle ");
}

TEST_F(RecycleRestoredTest, AnAccountOfAnyBytesIsFoundAgain) {
  ASSERT_TRUE(PutIndex(""));
  const std::string account = "j\xF6rg\x01<&>\" @ srv";
  const std::string name = File(test::kSpam, "", 0, account);
  ASSERT_TRUE(bin().MarkRestored(std::vector<std::string>{name}, true));
  EXPECT_EQ(Offered(account), name + " ");
  EXPECT_EQ(Offered("jorg\x01<&>\" @ srv"), "");
}

TEST_F(RecycleRestoredTest, ACapacityThatHoldsOnlyTheDirectoryOffersNothing) {
  ASSERT_TRUE(PutIndex(Element("a.recycle", "restored=\"1\"")));
  const std::size_t directory = bin().directory().size();
  EXPECT_EQ(Offered("ann @ srv", 0), "");
  EXPECT_EQ(Offered("ann @ srv", directory), "");
  EXPECT_EQ(Offered("ann @ srv", directory + 1), "");
  EXPECT_EQ(bin().RestoredFor("ann @ srv", directory + 1).directory, bin().directory());
}

TEST_F(RecycleRestoredTest, ANameThatFitsToTheLastByteIsOffered) {
  ASSERT_TRUE(PutIndex(Element("a.recycle", "restored=\"1\"")));
  const std::size_t directory = bin().directory().size() + 1;
  EXPECT_EQ(Offered("ann @ srv", directory + 9), "");
  EXPECT_EQ(Offered("ann @ srv", directory + 10), "a.recycle ");
}

TEST_F(RecycleRestoredTest, ANameThatDoesNotFitIsSkippedAndLaterOnesAreTried) {
  ASSERT_TRUE(PutIndex(Element("first.recycle", "restored=\"1\"") +
                       Element("2452676_231507_1a2b3c4.recycle", "restored=\"1\"") +
                       Element("b.recycle", "restored=\"1\"") + Element("c.recycle", "restored=\"1\"")));
  const std::size_t directory = bin().directory().size() + 1;
  // Room for 14 bytes of the first name and 10 of one short one.
  EXPECT_EQ(Offered("ann @ srv", directory + 14 + 10), "first.recycle b.recycle ");
  EXPECT_EQ(Offered("ann @ srv", directory + 14 + 19), "first.recycle b.recycle ");
  EXPECT_EQ(Offered("ann @ srv", directory + 14 + 20), "first.recycle b.recycle c.recycle ");
  EXPECT_EQ(Offered("ann @ srv", directory + 14 + 31 + 10),
            "first.recycle 2452676_231507_1a2b3c4.recycle b.recycle ");
}

TEST_F(RecycleRestoredTest, OfMoreThanFitTheFirstAreOfferedAndTheRestWait) {
  std::string elements;
  for (int i = 0; i < 70; ++i)
    elements += Element("2452676_231507_" + std::to_string(1000 + i) + ".recycle", "restored=\"1\"");
  ASSERT_TRUE(PutIndex(elements));
  // Each name and its zero take 28 bytes.
  const std::vector<std::string> names = bin().RestoredFor("ann @ srv", kPlenty).names;
  ASSERT_EQ(names.size(), (kPlenty - bin().directory().size() - 1) / 28);
  EXPECT_LT(names.size(), 70U);
  EXPECT_EQ(names.front(), "2452676_231507_1000.recycle");
  EXPECT_EQ(names.back(), "2452676_231507_" + std::to_string(999 + names.size()) + ".recycle");
}

TEST_F(RecycleRestoredTest, ReadingTheListWritesNothing) {
  ASSERT_TRUE(
      PutFile("recyclebin.xml", "<recyclebin>\n<recyclefile name='a.recycle' restored='1'/>\n</recyclebin>"));
  const std::string before = Index();
  EXPECT_EQ(Offered("ann @ srv"), "a.recycle ");
  EXPECT_EQ(Index(), before);
}

TEST_F(RecycleRestoredTest, WithoutAnIndexThereIsNothingToOffer) {
  EXPECT_EQ(Offered("ann @ srv"), "");
  ASSERT_TRUE(PutFile("recyclebin.xml", "<recyclebin><recyclefile name=\"a.recycle\" restored=\"1\"/>"));
  EXPECT_EQ(Offered("ann @ srv"), "");
}

}  // namespace
}  // namespace quillbeaker
