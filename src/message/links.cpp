// SPDX-License-Identifier: MIT
#include "message/links.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>

#include "config/ascii.h"
#include "message/utf8.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\f";

// A tag that is longer is skipped.
constexpr std::size_t kLongestTag = 16 * 1024;

bool IsBlank(char c) {
  return kBlanks.find(c) != std::string_view::npos;
}

bool IsLetter(char c) {
  const char lower = ToLowerAscii(c);
  return lower >= 'a' && lower <= 'z';
}

std::string_view WithoutEnd(std::string_view text, std::size_t most) {
  if (text.size() <= most) return text;
  while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0) == 0x80) --most;
  return text.substr(0, most);
}

struct Entity {
  std::string_view name;
  char character;
};
// Those that stand in addresses.
constexpr std::array<Entity, 15> kEntities{{{"amp", '&'},
                                            {"lt", '<'},
                                            {"gt", '>'},
                                            {"quot", '"'},
                                            {"apos", '\''},
                                            {"nbsp", ' '},
                                            {"colon", ':'},
                                            {"sol", '/'},
                                            {"period", '.'},
                                            {"commat", '@'},
                                            {"quest", '?'},
                                            {"equals", '='},
                                            {"num", '#'},
                                            {"Tab", '\t'},
                                            {"NewLine", '\n'}}};

// The character of "&name;" or "&#number;" (without "&"), and how long that is.
std::optional<std::pair<char32_t, std::size_t>> ReadEntity(std::string_view text) {
  if (text.empty()) return std::nullopt;
  if (text.front() == '#') {
    const bool is_hex = text.size() > 1 && ToLowerAscii(text[1]) == 'x';
    const std::string_view digits = is_hex ? "0123456789abcdef" : "0123456789";
    std::size_t at = is_hex ? 2 : 1;
    const std::size_t first = at;
    char32_t value = 0;
    for (; at < text.size(); ++at) {
      const std::size_t digit = digits.find(ToLowerAscii(text[at]));
      if (digit == std::string_view::npos) break;
      value = std::min<char32_t>(value * static_cast<char32_t>(digits.size()) + static_cast<char32_t>(digit),
                                 0x110000);
    }
    if (at == first || value == 0 || value >= 0x110000 || (value >= 0xD800 && value <= 0xDFFF)) {
      return std::nullopt;
    }
    return std::pair{value, at < text.size() && text[at] == ';' ? at + 1 : at};
  }
  for (const auto& [name, character] : kEntities) {
    if (text.starts_with(name) && text.size() > name.size() && text[name.size()] == ';') {
      return std::pair{static_cast<char32_t>(character), name.size() + 1};
    }
  }
  return std::nullopt;
}

std::string WithoutEntities(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    if (text[at] == '&') {
      if (const auto entity = ReadEntity(text.substr(at + 1))) {
        AppendUtf8(out, entity->first);
        at += 1 + entity->second;
        continue;
      }
    }
    out += text[at++];
  }
  return out;
}

// As a browser reads it: control characters and blanks around it are dropped, tabs and line ends everywhere.
std::string TargetFrom(std::string_view value) {
  const std::string decoded = WithoutEntities(WithoutEnd(value, 2 * kLongestTarget));
  std::string target;
  for (const char c : decoded) {
    if (c == '\t' || c == '\r' || c == '\n') continue;
    if (target.empty() && static_cast<unsigned char>(c) <= ' ') continue;
    target += c;
  }
  while (!target.empty() && static_cast<unsigned char>(target.back()) <= ' ') target.pop_back();
  return std::string(WithoutEnd(target, kLongestTarget));
}

// Of the target: what stands between "//" and the path, without user and port. Browsers take "\" for "/".
std::string ServerOf(std::string_view target) {
  const std::size_t slashes = target.find_first_of("/\\");
  if (slashes == std::string_view::npos || slashes + 1 >= target.size()) return {};
  if (target[slashes + 1] != '/' && target[slashes + 1] != '\\') return {};
  if (slashes > 0 && target[slashes - 1] != ':') return {};
  std::string_view rest = target.substr(std::min(target.find_first_not_of("/\\", slashes), target.size()));
  rest = rest.substr(0, rest.find_first_of("/\\?#"));
  if (const std::size_t at = rest.rfind('@'); at != std::string_view::npos) rest.remove_prefix(at + 1);
  const std::size_t after_brackets = rest.rfind(']');
  rest = rest.substr(0, rest.find(':', after_brackets == std::string_view::npos ? 0 : after_brackets));
  return LowerAscii(rest);
}

void Add(std::string text, std::string target, std::vector<MailLink>& links) {
  if (target.empty() || target.front() == '#' || links.size() >= kMostLinks) return;
  if (text == target) text.clear();
  MailLink link{std::move(text), std::move(target), {}};
  link.server = ServerOf(link.target);
  if (std::find(links.begin(), links.end(), link) == links.end()) links.push_back(std::move(link));
}

// What a reader sees of the HTML up to the end of the link, on one line.
std::string ShownText(std::string_view html) {
  constexpr std::size_t kLookedAt = 500;  // bytes, tags included
  html = html.substr(0, kLookedAt);
  std::string text;
  bool in_tag = false;
  for (std::size_t at = 0; at < html.size() && text.size() < 2 * kLongestLinkText; ++at) {
    const char c = html[at];
    if (c == '<') {
      const std::string_view tag = html.substr(at + 1);
      if (StartsWithIgnoringCase(tag, "/a") || StartsWithIgnoringCase(tag, "a ")) break;
      in_tag = true;
    } else if (c == '>' && in_tag) {
      in_tag = false;
    } else if (!in_tag && !IsBlank(c)) {
      text += c;
    } else if (!in_tag && !text.empty() && text.back() != ' ') {
      text += ' ';
    }
  }
  const std::string decoded = WithoutEntities(text);
  return std::string(WithoutEnd(TrimBlanks(decoded), kLongestLinkText));
}

// One attribute of a tag.
struct Attribute {
  std::string_view name;
  std::string_view value;
};

// Takes the next attribute off `rest`, which stands in a tag. Nothing at the tag's end: `rest` begins with
// ">" then, or is empty.
std::optional<Attribute> TakeAttribute(std::string_view& rest) {
  const auto skip = [&rest](std::string_view characters) {
    rest.remove_prefix(std::min(rest.find_first_not_of(characters), rest.size()));
  };
  const auto take = [&rest](std::size_t size) {
    const std::string_view taken = rest.substr(0, size);
    rest.remove_prefix(taken.size());
    return taken;
  };
  skip(" \t\r\n\f/");
  if (rest.empty() || rest.front() == '>') return std::nullopt;
  Attribute attribute;
  // A "=" that comes first is part of the name, as browsers have it.
  attribute.name = take(std::max<std::size_t>(rest.find_first_of(" \t\r\n\f/>=", 1), 1));
  skip(kBlanks);
  if (rest.empty() || rest.front() != '=') return attribute;
  rest.remove_prefix(1);
  skip(kBlanks);
  if (!rest.empty() && (rest.front() == '"' || rest.front() == '\'')) {
    const char quote = rest.front();
    rest.remove_prefix(1);
    attribute.value = take(rest.find(quote));
    if (!rest.empty()) rest.remove_prefix(1);
  } else {
    attribute.value = take(rest.find_first_of(" \t\r\n\f>"));
  }
  return attribute;
}

bool NamesATarget(std::string_view tag, std::string_view attribute) {
  if (EqualsIgnoringCase(attribute, "href")) return !EqualsIgnoringCase(tag, "link");
  return EqualsIgnoringCase(attribute, "action") || EqualsIgnoringCase(attribute, "formaction");
}

constexpr std::string_view kEndOfSentence = ".,;:!?)]}*_";

bool BeginsAddress(std::string_view text) {
  constexpr std::array<std::string_view, 5> kBeginnings{"http://", "https://", "ftp://", "mailto:", "www."};
  return std::any_of(kBeginnings.begin(), kBeginnings.end(), [text](std::string_view beginning) {
    if (!StartsWithIgnoringCase(text, beginning) || text.size() == beginning.size()) return false;
    const char next = text[beginning.size()];
    return static_cast<unsigned char>(next) > ' ' && kEndOfSentence.find(next) == std::string_view::npos;
  });
}

std::string_view AddressAt(std::string_view text) {
  std::string_view address = text.substr(0, std::min(text.find_first_of(" \t\r\n\f\v<>\"'"), text.size()));
  address = address.substr(0, address.find('\0'));
  const std::size_t last = address.find_last_not_of(kEndOfSentence);
  return address.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

}  // namespace

void AddHtmlLinks(std::string_view html, std::vector<MailLink>& links) {
  while (links.size() < kMostLinks) {
    html.remove_prefix(std::min(html.find('<'), html.size()));
    if (html.size() < 2) return;
    html.remove_prefix(1);
    if (!IsLetter(html.front())) continue;
    std::string_view rest = html.substr(0, kLongestTag);
    const std::size_t whole = rest.size();
    const std::string_view tag = rest.substr(0, rest.find_first_of(" \t\r\n\f/>"));
    rest.remove_prefix(tag.size());
    std::string_view value;
    while (const auto attribute = TakeAttribute(rest)) {
      // Of several the first counts.
      if (value.empty() && NamesATarget(tag, attribute->name)) value = attribute->value;
    }
    html.remove_prefix(whole - rest.size() + (rest.starts_with('>') ? 1 : 0));
    if (!value.empty()) Add(EqualsIgnoringCase(tag, "a") ? ShownText(html) : "", TargetFrom(value), links);
  }
}

void AddTextLinks(std::string_view text, std::vector<MailLink>& links) {
  for (std::size_t at = 0; at < text.size() && links.size() < kMostLinks;) {
    const char before = at == 0 ? ' ' : text[at - 1];
    if (IsLetter(before) || (before >= '0' && before <= '9') || !BeginsAddress(text.substr(at))) {
      ++at;
      continue;
    }
    const std::string_view address = AddressAt(text.substr(at));
    Add({}, TargetFrom(address), links);
    at += std::max<std::size_t>(address.size(), 1);
  }
}

}  // namespace quillbeaker
