// SPDX-License-Identifier: MIT
#include "extras/senders/vcard_senders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace quillbeaker {
namespace {

using Found = std::vector<std::string>;

std::unique_ptr<TextLines> LinesOf(const std::string& text) {
  return std::make_unique<TextLines>([text, at = std::size_t{0}](char* buffer, std::size_t capacity) mutable {
    const std::size_t count = std::min(capacity, text.size() - at);
    std::memcpy(buffer, text.data() + at, count);
    at += count;
    return count;
  });
}

Found Import(const std::string& text) {
  VCardSenders senders(LinesOf(text));
  Found found;
  while (const auto one = senders.Next()) {
    if (!one->address.empty()) found.push_back(one->name + "|" + one->address);
  }
  return found;
}

std::string Card(const std::string& lines) {
  return "BEGIN:VCARD\r\n" + lines + "END:VCARD\r\n";
}

TEST(IsVCard, GoesByTheFirstLine) {
  EXPECT_TRUE(IsVCard("BEGIN:VCARD\r\nVERSION:3.0"));
  EXPECT_TRUE(IsVCard("\r\n begin : vcard \r\n"));
  EXPECT_FALSE(IsVCard("Bob,b@x\r\nBEGIN:VCARD"));
  EXPECT_FALSE(IsVCard("BEGIN:VCALENDAR"));
  EXPECT_FALSE(IsVCard(""));
}

TEST(VCardSenders, GiveEachAddressOfEachCard) {
  EXPECT_EQ(
      Import(Card("VERSION:3.0\r\nFN:Bob Smith\r\nEMAIL;TYPE=INTERNET,PREF:bob@x\r\nitem1.EMAIL:b@y\r\n") +
             Card("VERSION:4.0\nfn:Ann\nEMAIL;VALUE=uri:mailto:ann@x\n") + Card("FN:Nobody\r\n")),
      (Found{"Bob Smith|bob@x", "Bob Smith|b@y", "Ann|ann@x"}));
}

TEST(VCardSenders, UnfoldLines) {
  EXPECT_EQ(Import(Card("VERSION:3.0\r\nFN:Bob\r\n  Smi\r\n th\r\nEMAIL:bob@ex\r\n\tample.org\r\n")),
            (Found{"Bob Smith|bob@example.org"}));
  // 2.1 keeps the blank that it folds at.
  EXPECT_EQ(Import(Card("VERSION:2.1\r\nFN:Bob\r\n Smith\r\nEMAIL:b@x\r\n")), (Found{"Bob Smith|b@x"}));
}

TEST(VCardSenders, DecodeQuotedPrintableNames) {
  EXPECT_EQ(Import(Card("VERSION:2.1\r\nFN;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:J=C3=BCr=\r\ngen =\r\n "
                        "M=\r\n=C3=BCller\r\nEMAIL;INTERNET:j@x\r\n")),
            (Found{"J\xFCrgen  M\xFCller|j@x"}));
  EXPECT_EQ(
      Import(Card("VERSION:2.1\r\nN;QUOTED-PRINTABLE;CHARSET=ISO-8859-1:M=FCller;J=FCrgen\r\nEMAIL:j@x\r\n")),
      (Found{"J\xFCrgen M\xFCller|j@x"}));
  // Elsewhere a "=" at the end of a line is one.
  EXPECT_EQ(Import(Card("VERSION:3.0\r\nFN:a=\r\nEMAIL:j@x\r\n")), (Found{"a=|j@x"}));
}

TEST(VCardSenders, UndoEscapes) {
  EXPECT_EQ(Import(Card("FN:Smith\\, Bob\\;\\nLtd\\\\\r\nEMAIL:b@x\r\n")), (Found{"Smith, Bob; Ltd\\|b@x"}));
  EXPECT_EQ(Import(Card("N:Smi\\;th;Bob;;Dr.;\r\nEMAIL:b@x\r\n")), (Found{"Dr. Bob Smi;th|b@x"}));
}

TEST(VCardSenders, NameACardByWhatItHas) {
  EXPECT_EQ(Import(Card("ORG:Firm\\, Ltd;Dept\r\nEMAIL:b@x\r\n")), (Found{"Firm, Ltd|b@x"}));
  EXPECT_EQ(Import(Card("FN:\r\nEMAIL:b@x\r\n")), (Found{"b@x|b@x"}));
  EXPECT_EQ(Import(Card("EMAIL;PREF=1;X=\"a:b\":b@x\r\nFN:Later\r\n")), (Found{"Later|b@x"}));
}

TEST(VCardSenders, TakeNoAddressOfAnotherNetwork) {
  EXPECT_EQ(Import(Card("FN:Bob\r\nEMAIL;X400:G=Bob;S=Smith\r\nEMAIL:\r\n")), Found{});
}

TEST(VCardSenders, LeaveInnerCardsOut) {
  EXPECT_EQ(Import(Card("FN:Bob\r\nAGENT:\r\n" + Card("FN:Agent\r\nEMAIL:agent@x\r\n") + "EMAIL:b@x\r\n")),
            (Found{"Bob|b@x"}));
}

TEST(VCardSenders, EndAnInnerCardWithoutItsEndAtTheNextCard) {
  const std::string ann = "FN:Bob\r\nEMAIL:b@x\r\nAGENT:\r\nBEGIN:VCARD\r\nFN:Agent\r\nEMAIL:agent@x\r\n";
  const Found all{"Bob|b@x", "Cy|c@x", "Dan|d@x"};
  const std::string more = Card("FN:Cy\r\nEMAIL:c@x\r\n") + Card("FN:Dan\r\nEMAIL:d@x\r\n");
  EXPECT_EQ(Import(Card(ann) + more), all);
  EXPECT_EQ(Import("BEGIN:VCARD\r\n" + ann + more), all);
  EXPECT_EQ(Import(Card(ann + "AGENT:\r\nBEGIN:VCARD\r\nFN:Agent's\r\nEMAIL:inner@x\r\n") + more), all);
}

TEST(VCardSenders, TakeCardsThatDoNotEnd) {
  EXPECT_EQ(Import("BEGIN:VCARD\nFN:Bob\nEMAIL:b@x\nBEGIN:VCARD\nFN:Ann\nEMAIL:a@x"),
            (Found{"Bob|b@x", "Ann|a@x"}));
  EXPECT_EQ(Import("FN:No card\nEMAIL:b@x\n"), Found{});
}

TEST(VCardSenders, HoldNoMoreThanACardMayHave) {
  std::string lines = "FN:Bob\r\n";
  for (int i = 0; i < 3000; ++i) lines += "EMAIL:b" + std::to_string(i) + "@x\r\n";
  EXPECT_EQ(Import(Card(lines)).size(), kMaxVCardAddresses);
  EXPECT_EQ(Import(Card("FN:" + std::string(100'000, 'n') + "\r\nEMAIL:b@x\r\n")).size(), 1U);
}

TEST(VCardSenders, ReadPastAPhotoOfTwentyMegabytes) {
  std::string photo = "PHOTO;ENCODING=b;TYPE=JPEG:";
  for (int i = 0; i < 20'000'000 / 76; ++i) photo += std::string(75, 'A') + "=\r\n ";
  const std::string text = Card("VERSION:3.0\r\nFN:Bob\r\n" + photo + "\r\nEMAIL:b@x\r\n");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Import(text), (Found{"Bob|b@x"}));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(VCardSenders, StayLinearOverSoftLineBreaks) {
  std::string name = "FN;ENCODING=QUOTED-PRINTABLE:";
  for (int i = 0; i < 2'000'000; ++i) name += "=\r\n";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Import(Card(name + "x\r\nEMAIL:b@x\r\n")), (Found{"x|b@x"}));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

}  // namespace
}  // namespace quillbeaker
