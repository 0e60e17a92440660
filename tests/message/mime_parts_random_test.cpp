// SPDX-License-Identifier: MIT
// The tree of parts against a plain reading of the rules, line by line and boundary by boundary, on random
// messages of nested, repeated, unclosed and overlapping multiparts.

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ascii.h"
#include "message/mail_message.h"

namespace quillbeaker {
namespace {

struct PlainPart {
  std::vector<std::pair<std::string, std::string>> fields;
  std::string body;
  std::string boundary;
  bool has_boundary = false;
  std::vector<std::unique_ptr<PlainPart>> children;
};

class PlainParser {
 public:
  explicit PlainParser(std::string_view text) : text_(text) {
    PlainPart* current = &root;
    if (!ReadHeader(*current)) return;
    std::size_t body_start = at_;
    int nested = 0;
    at_ += 2;
    while (at_ < text_.size()) {
      const std::size_t line_start = at_;
      const std::string_view line = TakeLine();
      PlainPart* matched = line.substr(0, 2) == "--" ? Matching(line.substr(2)) : nullptr;
      if (matched == nullptr) continue;
      if (current != nullptr) current->body = text_.substr(body_start, line_start - 2 - body_start);
      current = nullptr;
      if (line.substr(2 + matched->boundary.size(), 2) == "--") {
        if (nested-- == 0) return;
        continue;
      }
      ++nested;
      matched->children.push_back(std::make_unique<PlainPart>());
      current = matched->children.back().get();
      if (!ReadHeader(*current)) return;
      body_start = at_;
      at_ += 2;
    }
    if (current != nullptr) current->body = text_.substr(body_start);
  }

  PlainPart root;

 private:
  // The line at the reading position, which goes behind its CR LF.
  std::string_view TakeLine() {
    const std::size_t end = text_.find("\r\n", at_);
    const std::string_view line = text_.substr(at_, end == std::string_view::npos ? end : end - at_);
    at_ = end == std::string_view::npos ? text_.size() : end + 2;
    return line;
  }

  // False when the text ended before an empty line.
  bool ReadHeader(PlainPart& part) {
    bool found_body = false;
    while (at_ < text_.size()) {
      if (text_.substr(at_, 2) == "\r\n") {
        found_body = true;
        break;
      }
      std::string line(TakeLine());
      while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t')) {
        ++at_;
        line += ' ';
        line += TakeLine();
      }
      const std::size_t colon = line.find(':');
      if (colon == std::string::npos) continue;
      part.fields.emplace_back(TrimBlanks(std::string_view(line).substr(0, colon)),
                               TrimBlanks(std::string_view(line).substr(colon + 1)));
    }
    for (const auto& [name, value] : part.fields) {
      if (!EqualsIgnoringCase(name, "Content-Type")) continue;
      const std::size_t word = FindIgnoringCase(value, "boundary=");
      if (FindIgnoringCase(value, "multipart") != std::string::npos && word != std::string::npos) {
        part.boundary = TrimBlanks(std::string_view(value).substr(word + 9));
        part.has_boundary = true;
      }
      break;
    }
    return found_body;
  }

  PlainPart* Matching(std::string_view rest) {
    for (PlainPart* part = &root; part->has_boundary; part = part->children[0].get()) {
      if (StartsWithIgnoringCase(rest, part->boundary)) return part;
      if (part->children.empty()) break;
    }
    return nullptr;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

// Both trees in one notation.
void Show(const PlainPart& part, std::string& out) {
  out += "{";
  for (const auto& [name, value] : part.fields) out += name + "=" + value + "|";
  out += part.has_boundary ? "boundary '" + part.boundary + "' " : "";
  out += "body '" + part.body + "'";
  for (const auto& child : part.children) Show(*child, out);
  out += "}";
}

void Show(const MessagePart& part, std::string& out) {
  out += "{";
  for (const HeaderField& field : part.fields)
    out += std::string(field.name) + "=" + std::string(field.value) + "|";
  out += part.has_boundary ? "boundary '" + std::string(part.boundary) + "' " : "";
  out += "body '" + std::string(part.body) + "'";
  for (const MessagePart* child = part.first_child; child != nullptr; child = child->next) Show(*child, out);
  out += "}";
}

TEST(MimePartsRandomTest, TheTreeIsThatOfThePlainRules) {
  constexpr std::string_view kPieces[] = {"Content-Type: multipart/x; boundary=a\r\n",
                                          "Content-Type: multipart/x; boundary=ab\r\n",
                                          "Content-Type: multipart/x; boundary=b\r\n",
                                          "Content-Type: multipart/x; boundary=\r\n",
                                          "Content-Type: text/plain\r\n",
                                          "X:y\r\n",
                                          " z\r\n",
                                          "\r\n",
                                          "\r\n",
                                          "--a\r\n",
                                          "--a\r\n\r\n",
                                          "--A--\r\n",
                                          "--ab\r\n\r\n",
                                          "--ab--\r\n",
                                          "--b\r\nContent-Type: multipart/x; boundary=c\r\n\r\n",
                                          "--a\r\nContent-Type: multipart/x; boundary=b\r\n\r\n",
                                          "--b\r\n\r\n",
                                          "--b--\r\n",
                                          "--c\r\n\r\n",
                                          "--c--",
                                          "--",
                                          "text\r\n",
                                          "loose"};
  std::mt19937 random(20030208);
  std::uniform_int_distribution<std::size_t> piece(0, std::size(kPieces) - 1);
  int with_children = 0;
  int nested = 0;
  for (int round = 0; round < 40'000; ++round) {
    std::string text = "";
    if (round % 2 == 0) text = "Content-Type: multipart/x; boundary=a\r\n\r\n";
    for (std::size_t left = piece(random); left > 0; --left) text += kPieces[piece(random)];
    MailMessage message;
    message.ParseText(text);
    const PlainParser plain(text);
    std::string expected;
    Show(plain.root, expected);
    std::string actual;
    Show(*message.root(), actual);
    ASSERT_EQ(actual, expected) << text;
    with_children += plain.root.children.empty() ? 0 : 1;
    nested += !plain.root.children.empty() && !plain.root.children[0]->children.empty() ? 1 : 0;
  }
  // The random texts do reach what they are meant to reach.
  EXPECT_GT(with_children, 10'000);
  EXPECT_GT(nested, 1'000);
}

}  // namespace
}  // namespace quillbeaker
