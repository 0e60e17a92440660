// SPDX-License-Identifier: MIT
#include "message/links.h"

#include <gtest/gtest.h>

#include <chrono>

namespace quillbeaker {
namespace {

std::vector<MailLink> InHtml(std::string_view html) {
  std::vector<MailLink> links;
  AddHtmlLinks(html, links);
  return links;
}

std::string FirstTarget(std::string_view html) {
  const std::vector<MailLink> links = InHtml(html);
  return links.empty() ? std::string() : links.front().target;
}

std::vector<std::string> InText(std::string_view text) {
  std::vector<MailLink> links;
  AddTextLinks(text, links);
  std::vector<std::string> targets;
  for (const MailLink& link : links) targets.push_back(link.target);
  return targets;
}

TEST(HtmlLinks, SayWhereTheyLeadAndWhatTheyShow) {
  const auto links = InHtml(
      "<p>Dear <A class=x HREF=\"http://evil.example/?a=1&amp;b=2\"><b>https://bank.example</b>\r\n now</A> "
      "and"
      " <a href='https://bank.example'>https://bank.example</a>");
  ASSERT_EQ(links.size(), 2u);
  EXPECT_EQ(links[0], (MailLink{"https://bank.example now", "http://evil.example/?a=1&b=2", "evil.example"}));
  EXPECT_EQ(links[1], (MailLink{"", "https://bank.example", "bank.example"}));
}

TEST(HtmlLinks, ShowTheServerThatATargetHides) {
  EXPECT_EQ(InHtml("<a href='https://bank.example@Evil.example:8080/x'>x</a>").at(0).server, "evil.example");
  EXPECT_EQ(InHtml("<a href='https:\\\\evil.example\\bank.example/'>x</a>").at(0).server, "evil.example");
  EXPECT_EQ(InHtml("<a href='//evil.example?x'>x</a>").at(0).server, "evil.example");
  EXPECT_EQ(InHtml("<a href='http://[::1]:80/'>x</a>").at(0).server, "[::1]");
  EXPECT_EQ(InHtml("<a href='mailto:ann@example.org'>x</a>").at(0).server, "");
}

TEST(HtmlLinks, ReadTargetsAsBrowsersDo) {
  EXPECT_EQ(FirstTarget("<a href=http://evil.example/x>y"), "http://evil.example/x");
  EXPECT_EQ(FirstTarget("<a title='>' href = \"http://evil.example\">y"), "http://evil.example");
  EXPECT_EQ(FirstTarget("<a href=\" ht\ntp&colon;//ev&#105;l&period;exam&#x70;le \">y"),
            "http://evil.example");
  EXPECT_EQ(FirstTarget("<a href='first' href='second'>y"), "first");
  EXPECT_EQ(FirstTarget("<a/href='x:y'>"), "x:y");
  EXPECT_EQ(FirstTarget("<area href='map'>"), "map");
  EXPECT_EQ(FirstTarget("<base href='http://evil.example/'>"), "http://evil.example/");
  EXPECT_EQ(FirstTarget("<form action='http://evil.example/'>"), "http://evil.example/");
}

TEST(HtmlLinks, LeaveOutWhatLeadsNowhere) {
  EXPECT_TRUE(
      InHtml("<a name=href>x</a><link href='style.css'><a href='#top'>x</a><a href=''>x</a>").empty());
  EXPECT_TRUE(InHtml("a < b href='x' <").empty());
  EXPECT_TRUE(InHtml("").empty());
}

TEST(HtmlLinks, AreListedOnce) {
  EXPECT_EQ(InHtml("<a href='x:1'>a</a><a href='x:1'>a</a><a href='x:1'>b</a>").size(), 2u);
}

TEST(HtmlLinks, AreBoundedInNumberAndLength) {
  std::string html;
  for (int i = 0; i < 1000; ++i) html += "<a href='x:" + std::to_string(i) + "'>y</a>";
  EXPECT_EQ(InHtml(html).size(), kMostLinks);
  EXPECT_EQ(FirstTarget("<a href='x:" + std::string(5000, 'y') + "'>").size(), kLongestTarget);
  // No character is cut in two.
  std::string umlauts = "x";
  for (int i = 0; i < 1500; ++i) umlauts += "\xC3\xBC";
  EXPECT_EQ(FirstTarget("<a href='" + umlauts + "'>").size(), kLongestTarget - 1);
}

TEST(HtmlLinks, TakeLinearTime) {
  const auto begin = std::chrono::steady_clock::now();
  for (const std::string_view piece :
       {"<a ", "<a \"", "<a href=", "<a href='", "<a href=x>", "<", "&#1", "<b "}) {
    std::string html;
    while (html.size() < 1'000'000) html += piece;
    InHtml(html);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST(TextLinks, AreTheAddressesOfTheText) {
  EXPECT_EQ(InText("See http://a.example/x?y=1, (https://b.example) or <www.c.example>. mailto:d@e.example!"),
            (std::vector<std::string>{"http://a.example/x?y=1", "https://b.example", "www.c.example",
                                      "mailto:d@e.example"}));
  EXPECT_EQ(InText("HTTP://A.EXAMPLE http:// www. xhttp://no.example 1www.no"),
            (std::vector<std::string>{"HTTP://A.EXAMPLE"}));
  EXPECT_TRUE(InText("").empty());
}

}  // namespace
}  // namespace quillbeaker
