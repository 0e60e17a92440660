// SPDX-License-Identifier: MIT
#include "message/shown_text.h"

#include <gtest/gtest.h>

#include <string>

#include "message/decoded_text.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kReplaced = "\xEF\xBF\xBD";

ShownText Shown(std::string mail) {
  MailMessage message;
  message.ParseText(std::move(mail));
  return TextToShow(message);
}

// A mail of one part. Its text ends one byte earlier: decoding leaves room for that.
std::string Mail(const std::string& type, const std::string& body, const std::string& encoding = "8bit") {
  return "Subject: x\r\nContent-Type: " + type + "\r\nContent-Transfer-Encoding: " + encoding + "\r\n\r\n" +
         body;
}

TEST(TextToShow, IsTheDecodedTextFromItsFirstByte) {
  EXPECT_EQ(Shown(Mail("text/plain", "Hello\r\n\tyou")).text, "\r\nHello\r\n\tyou");
  EXPECT_EQ(Shown(Mail("text/html", "<p>Hi<BR>there&nbsp;you</p>")).text, "\r\nHi\r\nthere you");
  EXPECT_EQ(Shown(Mail("image/gif", "GIF")).text, "");
  EXPECT_EQ(Shown("").text, "");
}

TEST(TextToShow, ReadsAPartInItsCharset) {
  EXPECT_EQ(Shown(Mail("text/plain; charset=\"koi8-r\"", "\xF0\xD2\xC9")).text,
            "\r\n\xD0\x9F\xD1\x80\xD0\xB8");
  EXPECT_EQ(Shown(Mail("text/plain; format=flowed; Charset = Windows-1251", "\xCF")).text, "\r\n\xD0\x9F");
  // Valid UTF-8 by chance: the charset counts.
  EXPECT_EQ(Shown(Mail("text/plain; charset=iso-8859-1", "\xC3\xBC")).text, "\r\n\xC3\x83\xC2\xBC");
}

TEST(TextToShow, GuessesWhereTheCharsetIsUnknownMissingOrWrong) {
  EXPECT_EQ(Shown(Mail("text/plain", "\xC3\xBC")).text, "\r\n\xC3\xBC");
  EXPECT_EQ(Shown(Mail("text/plain", "\xFC")).text, "\r\n\xC3\xBC");
  EXPECT_EQ(Shown(Mail("text/plain; charset=utf-8", "\xFC")).text, "\r\n\xC3\xBC");
  EXPECT_EQ(Shown(Mail("text/plain; charset=us-ascii", "\xC3\xBC")).text, "\r\n\xC3\xBC");
  EXPECT_EQ(Shown(Mail("text/plain; charset=nonsense", "\xC3\xBC")).text, "\r\n\xC3\xBC");
  EXPECT_EQ(Shown(Mail("text/plain; xcharset=koi8-r", "\xFC")).text, "\r\n\xC3\xBC");
}

TEST(TextToShow, ReadsEachPartInItsOwn) {
  const std::string mail =
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-Type: text/plain; "
      "charset=koi8-r\r\n\r\n\xF0"
      "\r\n--b\r\nContent-Type: text/plain; charset=windows-1251\r\n\r\n\xCF\r\n--b--\r\n";
  EXPECT_EQ(Shown(mail).text, "\r\n\xD0\x9F\r\n\xD0\x9F");
}

TEST(TextToShow, ReplacesHarmfulCharactersOneForOne) {
  EXPECT_EQ(Shown(Mail("text/plain", std::string("a\0b\x1B", 4))).text,
            "\r\na" + std::string(kReplaced) + "b" + std::string(kReplaced));
  EXPECT_EQ(Shown(Mail("text/plain; charset=windows-1256", "\xFE")).text, "\r\n" + std::string(kReplaced));
  EXPECT_EQ(Shown(Mail("text/plain", "gpj.\xE2\x80\xAE.exe")).text,
            "\r\ngpj." + std::string(kReplaced) + ".exe");
}

TEST(TextToShow, EndsAtTheLimit) {
  EXPECT_EQ(Shown(Mail("text/plain", std::string(300'000, 'x'))).text,
            "\r\n" + std::string(kMostShownBytes - 2, 'x'));
  EXPECT_EQ(TextToShow(std::string(300'000, 'x')).text, std::string(kMostShownBytes, 'x'));
}

TEST(TextToShow, DropsACharacterThatTheLimitCuts) {
  for (std::size_t before = 0; before < 5; ++before) {
    const std::string text = "\xC3\xBC" + std::string(kMostShownBytes - 2 - before, 'x');
    const std::string whole = before >= 4 ? "\xF0\x9F\x98\x80" : "";
    EXPECT_EQ(TextToShow(text + "\xF0\x9F\x98\x80" + "more").text,
              text + whole + std::string(before == 5, 'm'))
        << before;
  }
  // One that is no UTF-8 is no cut character: the text is Windows-1252.
  const std::string text(kMostShownBytes - 1, 'x');
  EXPECT_EQ(TextToShow(text + "\xE9 tail").text, text + "\xC3\xA9");
  EXPECT_EQ(
      Shown(Mail("text/plain; charset=shift_jis", std::string(kMostShownBytes - 3, 'x') + "\x93\xFAmore"))
          .text,
      "\r\n" + std::string(kMostShownBytes - 3, 'x'));
}

// Whatever the encoding and the limit, nothing but the beginning of the whole is shown.
TEST(TextToShow, IsTheBeginningOfTheWholeDecodedText) {
  std::string quoted, html, open_tag;
  while (quoted.size() < 500'000) quoted += "line=20with =\r\nsoft=3Dbreak=\r\n\r\n";
  while (html.size() < 500'000) html += "<p class=\"" + std::string(90, 'c') + "\">w&nbsp;<br>\r\n";
  open_tag = std::string(3000, 'a') + "<" + std::string(400'000, 'b') + ">" + std::string(200'000, 'c');
  std::string base64;
  while (base64.size() < 500'000) base64 += "SGVsbG8sIHRoaXMgaXMgYSBsaW5lIG9mIHRleHQu\r\n";
  const std::string mails[] = {
      Mail("text/plain", quoted, "quoted-printable"), Mail("text/html", html),
      Mail("text/html", quoted, "quoted-printable"),  Mail("text/html", open_tag),
      Mail("text/plain", base64, "base64"),           Mail("text/html", html, "quoted-printable"),
      "no header and " + std::string(50, 'x')};
  for (const std::string& mail : mails) {
    MailMessage message;
    message.ParseText(mail);
    std::string whole;
    ASSERT_TRUE(DecodeText(message, true, whole));
    EXPECT_EQ(TextToShow(message).text, whole.substr(0, kMostShownBytes)) << mail.substr(0, 80);
  }
}

TEST(TextToShow, TellsWhereLinksLead) {
  const ShownText shown = Shown(
      "Content-Type: multipart/alternative; boundary=b\r\n\r\n--b\r\nContent-Type: "
      "text/plain\r\n\r\nhttp://a.example"
      "\r\n--b\r\nContent-Type: text/html; charset=koi8-r\r\nContent-Transfer-Encoding: "
      "quoted-printable\r\n\r\n"
      "<a href=3D\"http://b.example/\">=F0</a> http://c.example\r\n--b--\r\n");
  ASSERT_EQ(shown.links.size(), 2u);
  EXPECT_EQ(shown.links[1].target, "http://a.example");
  EXPECT_EQ(shown.links[0], (MailLink{"\xD0\x9F", "http://b.example/", "b.example"}));
}

TEST(TextToShow, ShowsStoredTextAsItIs) {
  EXPECT_EQ(TextToShow("Subject: <b>x</b> \xC3\xBC http://a.example").text,
            "Subject: <b>x</b> \xC3\xBC http://a.example");
  EXPECT_EQ(TextToShow("http://a.example").links.size(), 1u);
}

}  // namespace
}  // namespace quillbeaker
