// SPDX-License-Identifier: MIT
// The plain text of a mail and the single decoders below it.

#include "message/decoded_text.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace quillbeaker {
namespace {

std::string QuotedPrintable(std::string text) {
  DecodeQuotedPrintable(text);
  return text;
}

std::string Base64(std::string text) {
  DecodeBase64(text);
  return text;
}

std::string WithoutHtml(std::string text) {
  RemoveHtml(text);
  return text;
}

std::string TextOf(std::string message_text, bool strip_html = true) {
  MailMessage message;
  message.ParseText(std::move(message_text));
  std::string out = "left over";
  if (!DecodeText(message, strip_html, out)) return "(false)";
  return out;
}

TEST(DecodeQuotedPrintable, DecodesBytesAndSoftLineBreaks) {
  EXPECT_EQ(QuotedPrintable("a=3Db=\r\nc"), "a=bc");
  EXPECT_EQ(QuotedPrintable("Gr=FC=dfe"),
            "Gr\xFC\xDF"
            "e");
  EXPECT_EQ(QuotedPrintable("=\r\n=\r\n"), "");
  EXPECT_EQ(QuotedPrintable("line\r\nnext"), "line\r\nnext");
  EXPECT_EQ(QuotedPrintable(""), "");
}

TEST(DecodeQuotedPrintable, MakesEveryUnderscoreABlank) {
  EXPECT_EQ(QuotedPrintable("a_b__"), "a b  ");
}

TEST(DecodeQuotedPrintable, ValueZeroWritesNothingButAdvances) {
  EXPECT_EQ(QuotedPrintable("x=00y"), "x=y");
  EXPECT_EQ(QuotedPrintable("x=zzy"), "x=y");
  EXPECT_EQ(QuotedPrintable("=41=42=00z"), "AB1z");
  EXPECT_EQ(QuotedPrintable("=3D=00z"), "=3z");
  EXPECT_EQ(QuotedPrintable("x=0gy"), "x=y");
}

TEST(DecodeQuotedPrintable, TheHexNumberEndsAtTheFirstOtherByte) {
  EXPECT_EQ(QuotedPrintable("=4zq"), std::string("\x04q", 2));
  EXPECT_EQ(QuotedPrintable("=z4q"), "=q");
  EXPECT_EQ(QuotedPrintable("a==41"), "a=1");  // "=4" is no number
}

TEST(DecodeQuotedPrintable, ABareLineFeedBehindTheSignIsNoSoftLineBreak) {
  EXPECT_EQ(QuotedPrintable("a=\nbc"), "a=c");
  EXPECT_EQ(QuotedPrintable("a=\rbc"), "a=c");
}

TEST(DecodeQuotedPrintable, ASignAtTheEndIsCopied) {
  EXPECT_EQ(QuotedPrintable("a="), "a=");
  EXPECT_EQ(QuotedPrintable("a=4"), "a=4");
  EXPECT_EQ(QuotedPrintable("a=\r"), "a=\r");
  EXPECT_EQ(QuotedPrintable("="), "=");
  EXPECT_EQ(QuotedPrintable("a=41"), "aA");
}

TEST(DecodeQuotedPrintable, KeepsNulAndEightBitBytes) {
  EXPECT_EQ(QuotedPrintable(std::string("a\0=41\xE4", 6)), std::string("a\0A\xE4", 4));
}

TEST(DecodeQuotedPrintable, LeavesWhatStandsBeforeTheStart) {
  std::string text = "=41_=41_";
  DecodeQuotedPrintable(text, 4);
  EXPECT_EQ(text, "=41_A ");
}

TEST(DecodeBase64, DecodesFullAndPaddedGroups) {
  EXPECT_EQ(Base64("SGVsbG8="), "Hello");
  EXPECT_EQ(Base64("SGVsbA=="), "Hell");
  EXPECT_EQ(Base64("SGVs"), "Hel");
  EXPECT_EQ(Base64("+/+/"), "\xFB\xFF\xBF");
  EXPECT_EQ(Base64("AAAA"), std::string(3, '\0'));
  EXPECT_EQ(Base64(""), "");
}

TEST(DecodeBase64, SkipsForeignBytes) {
  EXPECT_EQ(Base64("SGVs bG8"), "Hello");
  EXPECT_EQ(Base64(std::string("S\r\nG-V_s\xE4\0bG8=", 14)), "Hello");
}

TEST(DecodeBase64, FillsUpAnUnfinishedLastGroup) {
  EXPECT_EQ(Base64("SGVsbG8"), "Hello");
  EXPECT_EQ(Base64("SGVsbG"), "Hell");
  EXPECT_EQ(Base64("SGVsb"), "Hel");
}

TEST(DecodeBase64, FillsUpAlsoWhenTheLastByteIsASkippedOne) {
  EXPECT_EQ(Base64("SGVsbG8\r\n"), "Hello");
  EXPECT_EQ(Base64("SGVsbG \n"), "Hell");
}

TEST(DecodeBase64, EndsAtTheFirstPad) {
  EXPECT_EQ(Base64("SGVsbG8=QUJD"), "Hello");
  EXPECT_EQ(Base64("SGVs=QUJDQUJD"), "Hel");
  EXPECT_EQ(Base64("Q=JDQUJD"), "");
  EXPECT_EQ(Base64("QU=DQUJD"), "A");
  EXPECT_EQ(Base64("===="), "");
}

TEST(DecodeBase64, LeavesWhatStandsBeforeTheStart) {
  std::string text = "QUJDQUJD";
  DecodeBase64(text, 4);
  EXPECT_EQ(text, "QUJDABC");
}

TEST(RemoveHtml, RemovesTagsAndReplacesBreaksAndBlanks) {
  EXPECT_EQ(WithoutHtml("<p>Hi<BR>there&nbsp;you</p>"), "Hi\r\nthere you");
  EXPECT_EQ(WithoutHtml("a<br>b<Br>c<bR>d"), "a\r\nb\r\nc\r\nd");
  EXPECT_EQ(WithoutHtml("&nbsp;x&NBSP;&Nbsp;"), " x  ");
  EXPECT_EQ(WithoutHtml("no markup"), "no markup");
  EXPECT_EQ(WithoutHtml(""), "");
}

TEST(RemoveHtml, OnlyTheBareBreakTagBecomesALineBreak) {
  EXPECT_EQ(WithoutHtml("a<br/>b<br >c<brx>d< br>e</br>f"), "abcdef");
}

TEST(RemoveHtml, DecodesNoOtherEntity) {
  EXPECT_EQ(WithoutHtml("&amp;&lt;&nbsp&#160;"), "&amp;&lt;&nbsp&#160;");
}

TEST(RemoveHtml, ASignWithoutEndStopsTheSearchForTagsOnly) {
  EXPECT_EQ(WithoutHtml("a < b"), "a < b");
  EXPECT_EQ(WithoutHtml("<b>x</b> a < b&nbsp;c"), "x a < b c");
}

TEST(RemoveHtml, ATagRunsToTheNextEndSign) {
  EXPECT_EQ(WithoutHtml("a<<b>>c"), "a>c");
  EXPECT_EQ(WithoutHtml("a<b title=\"x>y\">c"), "ay\">c");
  EXPECT_EQ(WithoutHtml("a<b\r\nc=d>e<><f>g"), "aeg");
  EXPECT_EQ(WithoutHtml("a>b"), "a>b");
}

TEST(RemoveHtml, JoinsEntitiesThatATagHadSplit) {
  EXPECT_EQ(WithoutHtml("x&nb<b>sp;y"), "x y");
  EXPECT_EQ(WithoutHtml("x&nbs&nbsp;p;y"), "x&nbs p;y");
}

TEST(RemoveHtml, LeavesWhatStandsBeforeTheStart) {
  std::string text = "<b>&nbsp;<b>&nbsp;";
  RemoveHtml(text, 9);
  EXPECT_EQ(text, "<b>&nbsp; ");
}

TEST(RemoveHtml, MillionsOfTagsCostLinearTime) {
  std::string text;
  for (int i = 0; i < 1'000'000; ++i) text += "x<b>";
  EXPECT_EQ(WithoutHtml(std::move(text)), std::string(1'000'000, 'x'));
  EXPECT_EQ(WithoutHtml(std::string(3'000'000, '<')).size(), 3'000'000u);
}

TEST(DecodeText, GivesNothingForAnEmptyRecordOrSizeZero) {
  const MailMessage empty;
  std::string out;
  EXPECT_FALSE(DecodeText(empty, true, out));
  EXPECT_EQ(TextOf(""), "(false)");
}

TEST(DecodeText, IsTheBodyFromTheEmptyLineOn) {
  EXPECT_EQ(TextOf("Subject: x\r\n\r\nHello\r\n"), "\r\nHello\r\n");
  EXPECT_EQ(TextOf("Content-Type: TEXT/plain\r\n\r\nHello"), "\r\nHello");
  EXPECT_EQ(TextOf("Subject: no body\r\n"), "");
}

TEST(DecodeText, SkipsPartsThatAreNotText) {
  EXPECT_EQ(TextOf("Content-Type: image/gif\r\n\r\nGIF89a"), "");
}

TEST(DecodeText, AnyTypeThatContainsTextSlashIsText) {
  EXPECT_EQ(TextOf("Content-Type: application/x; was=TEXT/foo\r\n\r\nHello"), "\r\nHello");
  EXPECT_EQ(TextOf("Content-Type: text\r\n\r\nHello"), "");
  EXPECT_EQ(TextOf("Content-Type:\r\n\r\nHello"), "");
}

TEST(DecodeText, UndoesTheTransferEncoding) {
  EXPECT_EQ(TextOf("Content-Transfer-Encoding: Quoted-Printable\r\n\r\na=3Db=\r\nc_d"), "\r\na=bc d");
  EXPECT_EQ(TextOf("content-transfer-encoding: BASE64\r\n\r\nSGVs\r\nbG8=\r\n"), "Hello");
}

TEST(DecodeText, OtherEncodingsAndUnequalOnesLeaveTheTextAsItIs) {
  EXPECT_EQ(TextOf("Content-Transfer-Encoding: 8bit\r\n\r\na=3D_\xE4"), "\r\na=3D_\xE4");
  EXPECT_EQ(TextOf("Content-Transfer-Encoding: quoted-printable; x\r\n\r\na=3D_"), "\r\na=3D_");
  EXPECT_EQ(TextOf("Content-Transfer-Encoding: xbase64\r\n\r\nSGVs"), "\r\nSGVs");
  EXPECT_EQ(TextOf("X: y\r\n\r\na=3D_"), "\r\na=3D_");
}

TEST(DecodeText, RemovesHtmlFromHtmlPartsWhenAsked) {
  const std::string html = "Content-Type: Text/HTML; charset=x\r\n\r\n<p>Hi<BR>there&nbsp;you</p>";
  EXPECT_EQ(TextOf(html, true), "\r\nHi\r\nthere you");
  EXPECT_EQ(TextOf(html, false), "\r\n<p>Hi<BR>there&nbsp;you</p>");
  EXPECT_EQ(TextOf("Content-Type: text/plain\r\n\r\n<p>Hi</p>", true), "\r\n<p>Hi</p>");
  EXPECT_EQ(TextOf("Subject: no type\r\n\r\n<p>Hi</p>", true), "\r\n<p>Hi</p>");
}

TEST(DecodeText, RemovesHtmlBehindTheTransferEncoding) {
  EXPECT_EQ(
      TextOf(
          "Content-Type: text/html\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n=3Cb=3Ex=3C/b=3E"),
      "\r\nx");
}

TEST(DecodeText, JoinsPartsInTreeOrderWithoutThePreamble) {
  EXPECT_EQ(TextOf("Content-Type: multipart/alternative; boundary=\"XY\"\r\n\r\nThis is a preamble.\r\n"
                   "--XY\r\nContent-Type: text/plain\r\n\r\nplain\r\n"
                   "--XY\r\nContent-Type: text/html\r\n\r\n<b>html</b>\r\n"
                   "--XY--\r\nepilogue"),
            "\r\nplain\r\nhtml");
}

TEST(DecodeText, WalksNestedPartsAndSkipsAttachments) {
  EXPECT_EQ(
      TextOf("Content-Type: multipart/mixed; boundary=out\r\n\r\n"
             "--out\r\nContent-Type: multipart/alternative; boundary=inner\r\n\r\n"
             "--inner\r\nContent-Type: text/plain\r\nContent-Transfer-Encoding: base64\r\n\r\nSGVsbG8=\r\n"
             "--inner\r\nContent-Type: text/html\r\n\r\n<i>there</i>\r\n"
             "--inner--\r\n"
             "--out\r\nContent-Type: application/pdf\r\n\r\nPDF\r\n"
             "--out\r\n\r\nno type\r\n"
             "--out--\r\n"),
      "Hello\r\nthere\r\nno type");
}

TEST(DecodeText, EachPartIsDecodedByItsOwnFields) {
  EXPECT_EQ(TextOf("Content-Type: multipart/mixed; boundary=b\r\nContent-Transfer-Encoding: base64\r\n\r\n"
                   "--b\r\n\r\na_b\r\n"
                   "--b\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\na_b\r\n"
                   "--b--\r\n"),
            "\r\na_b\r\na b");
}

TEST(DecodeText, AnUndividedInnerMultipartIsNoText) {
  EXPECT_EQ(TextOf("Content-Type: multipart/mixed; boundary=out\r\n\r\n"
                   "--out\r\n\r\nfirst\r\n"
                   "--out\r\nContent-Type: multipart/alternative; boundary=inner\r\n\r\n"
                   "--inner\r\nContent-Type: text/plain\r\n\r\nhidden\r\n--inner--\r\n"
                   "--out--\r\n"),
            "\r\nfirst");
}

TEST(DecodeText, IsAlwaysShorterThanTheMessage) {
  // The text of a message without header block is all of it but its last byte.
  MailMessage message;
  message.ParseBodyOnly("cheap pills ");
  std::string out;
  EXPECT_TRUE(DecodeText(message, true, out));
  EXPECT_EQ(out, "cheap pills");
  message.ParseText("\r\nabc ");
  EXPECT_TRUE(DecodeText(message, true, out));
  EXPECT_EQ(out, "\r\nabc");
}

TEST(DecodeText, TheLimitCutsTheEncodedText) {
  MailMessage message;
  message.ParseBodyOnly("QUJD");
  message.AddField("Content-Transfer-Encoding", "base64");
  std::string out;
  EXPECT_TRUE(DecodeText(message, true, out));
  EXPECT_EQ(out, "AB");  // "QUJ" is filled up
}

TEST(DecodeText, GoesOnBehindNulBytes) {
  EXPECT_EQ(TextOf(std::string("X: y\r\n\r\na\0b", 11)), std::string("\r\na\0b", 5));
}

TEST(DecodeText, KeepsTheBytesOfTheMailsCharacterSet) {
  EXPECT_EQ(TextOf("Content-Type: text/plain; charset=utf-8\r\n\r\nGr\xC3\xBC\xDF"), "\r\nGr\xC3\xBC\xDF");
}

TEST(DecodeText, ReplacesWhatTheStringHeld) {
  MailMessage message;
  message.ParseText("X: y\r\n\r\nfirst text, long");
  std::string out;
  ASSERT_TRUE(DecodeText(message, true, out));
  message.ParseText("X: y\r\n\r\nshort");
  ASSERT_TRUE(DecodeText(message, true, out));
  EXPECT_EQ(out, "\r\nshort");
}

}  // namespace
}  // namespace quillbeaker
