// SPDX-License-Identifier: MIT
#include "extras/senders/vcard_senders.h"

#include <algorithm>
#include <array>
#include <utility>

#include "config/ascii.h"
#include "message/decoded_text.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr int kPropertiesAtOnce = 1000;

// "group.NAME;PARAMETER;PARAMETER=value:value", RFC 6350, section 3.3.
struct Property {
  std::string_view name;
  bool quoted_printable = false;
  bool other_charset = false;  // one is named that is not UTF-8
  std::string_view value;
};

bool IsOneOf(std::string_view text, std::string_view one, std::string_view other) {
  return EqualsIgnoringCase(text, one) || EqualsIgnoringCase(text, other);
}

// Where the value begins, or npos. A parameter in quotation marks may hold a colon.
std::size_t FindColon(std::string_view line) {
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"') quoted = !quoted;
    if (line[i] == ':' && !quoted) return i;
  }
  return line.find(':');
}

void ReadParameter(std::string_view parameter, Property& property) {
  const std::size_t equals = parameter.find('=');
  const std::string_view key = TrimBlanks(parameter.substr(0, equals));
  const std::string_view value =
      equals == std::string_view::npos ? key : TrimBlanks(parameter.substr(equals + 1));
  // 2.1 allows the encoding without its parameter's name.
  if (equals == std::string_view::npos || EqualsIgnoringCase(key, "ENCODING")) {
    if (IsOneOf(value, "QUOTED-PRINTABLE", "Q")) property.quoted_printable = true;
  } else if (EqualsIgnoringCase(key, "CHARSET")) {
    property.other_charset = !IsOneOf(value, "UTF-8", "UTF8");
  }
}

std::optional<Property> ReadProperty(std::string_view line) {
  const std::size_t colon = FindColon(line);
  if (colon == std::string_view::npos) return std::nullopt;
  Property property;
  property.value = line.substr(colon + 1);
  std::string_view head = line.substr(0, colon);
  const std::size_t name_end = head.find(';');
  property.name = TrimBlanks(head.substr(0, name_end));
  if (const std::size_t dot = property.name.rfind('.'); dot != std::string_view::npos)
    property.name.remove_prefix(dot + 1);
  while (head.find(';') != std::string_view::npos) {
    head.remove_prefix(head.find(';') + 1);
    ReadParameter(head.substr(0, head.find(';')), property);
  }
  return property;
}

// "\n" is a line end, "\" before anything else stands for that (RFC 6350, section 3.4).
std::string WithoutEscapes(std::string_view value) {
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '\\' && i + 1 < value.size()) {
      ++i;
      text += value[i] == 'n' || value[i] == 'N' ? ' ' : value[i];
    } else {
      text += value[i];
    }
  }
  return text;
}

// Undoes the transfer encoding; the escapes stay.
std::string DecodedValue(const Property& property) {
  std::string value(property.value);
  if (property.quoted_printable) DecodeQuotedPrintable(value);
  // As a typed name would be stored; bytes of another character set stay.
  return property.other_charset ? value : Latin1FromTyped(value);
}

std::string PlainText(std::string_view escaped) {
  return std::string(TrimBlanks(WithoutControlBytes(WithoutEscapes(escaped))));
}

// The part of a structured value up to the next ";" that no backslash precedes, taken off it.
std::string TakePart(std::string_view& value) {
  std::size_t end = 0;
  while (end < value.size() && value[end] != ';') end += value[end] == '\\' ? 2 : 1;
  const std::string part = PlainText(value.substr(0, end));
  value.remove_prefix(std::min(end + 1, value.size()));
  return part;
}

// "Family;Given;Additional;Prefixes;Suffixes" as people write it.
std::string NameOfParts(std::string_view value) {
  std::array<std::string, 5> parts;
  for (std::string& part : parts) part = TakePart(value);
  std::string name;
  for (const std::size_t i : {3U, 1U, 2U, 0U, 4U}) {
    if (parts[i].empty()) continue;
    if (!name.empty()) name += ' ';
    name += parts[i];
  }
  return name;
}

std::string AddressOf(std::string_view value) {
  std::string address = PlainText(value);
  constexpr std::string_view kScheme = "mailto:";
  if (StartsWithIgnoringCase(address, kScheme)) address.erase(0, kScheme.size());
  return address;
}

}  // namespace

bool IsVCard(std::string_view head) {
  head.remove_prefix(std::min(head.find_first_not_of(kBlanks), head.size()));
  const std::optional<Property> property = ReadProperty(head.substr(0, head.find('\n')));
  return property && EqualsIgnoringCase(property->name, "BEGIN") &&
         EqualsIgnoringCase(TrimBlanks(WithoutControlBytes(property->value)), "VCARD");
}

VCardSenders::VCardSenders(std::unique_ptr<TextLines> lines) : lines_(std::move(lines)) {}

bool VCardSenders::NextProperty(std::string& property) {
  const auto read = [this](std::string& line) {
    if (ahead_) {
      line = std::move(*ahead_);
      ahead_.reset();
      return true;
    }
    if (!lines_->Next(line, kMaxVCardProperty)) return false;
    if (line.ends_with('\r')) line.pop_back();
    return true;
  };
  if (!read(property)) return false;
  const std::optional<Property> first = ReadProperty(property);
  const bool quoted_printable = first && first->quoted_printable;
  // A "=" at the end of a line goes on with the next one in this encoding (RFC 2045, section 6.7), and is
  // part of the value in all others.
  bool soft = quoted_printable && property.ends_with('=');
  std::string line;
  for (;;) {
    if (!read(line)) return !lines_->failed();  // it might have gone on
    const bool folded = line.starts_with(' ') || line.starts_with('\t');
    if (!folded && !soft) {
      ahead_ = std::move(line);
      return true;
    }
    if (soft && property.ends_with('=')) property.pop_back();
    // 2.1 folds where a blank is and keeps it; the later ones put a blank there that goes.
    const std::size_t from = folded && !soft && !old_version_ ? 1 : 0;
    property += std::string_view(line).substr(from, kMaxVCardProperty - property.size());
    soft = quoted_printable && line.ends_with('=');
  }
}

void VCardSenders::Begin() {
  // Deliberate: without an AGENT before it a card begins where others, one inside the other, have not ended:
  // the ends are missing, and what follows shall not be lost for that.
  if (card_ && agent_begins_) {
    ++inner_cards_;
    return;
  }
  End();
  card_.emplace();
  old_version_ = false;
}

void VCardSenders::End() {
  inner_cards_ = 0;
  if (!card_) return;
  for (std::string& address : card_->addresses) {
    const std::string& name = !card_->formatted_name.empty() ? card_->formatted_name
                              : !card_->name.empty()         ? card_->name
                              : !card_->organisation.empty() ? card_->organisation
                                                             : address;
    found_.push_back({name, address});
  }
  card_.reset();
}

void VCardSenders::Take(std::string_view line) {
  const std::optional<Property> property = ReadProperty(line);
  if (!property) return;
  const auto is = [&](std::string_view name) { return EqualsIgnoringCase(property->name, name); };
  const bool of_card = EqualsIgnoringCase(TrimBlanks(property->value), "VCARD");
  if (is("BEGIN") && of_card) {
    Begin();
  } else if (is("END") && of_card) {
    if (inner_cards_ > 0) {
      --inner_cards_;
    } else {
      End();
    }
  } else if (card_ && inner_cards_ == 0) {
    if (is("VERSION")) {
      old_version_ = TrimBlanks(property->value) == "2.1";
    } else if (is("FN") && card_->formatted_name.empty()) {
      card_->formatted_name = PlainText(DecodedValue(*property));
    } else if (is("N") && card_->name.empty()) {
      card_->name = NameOfParts(DecodedValue(*property));
    } else if (is("ORG") && card_->organisation.empty()) {
      const std::string value = DecodedValue(*property);
      std::string_view parts = value;
      card_->organisation = TakePart(parts);
    } else if (is("EMAIL") && card_->addresses.size() < kMaxVCardAddresses) {
      std::string address = AddressOf(DecodedValue(*property));
      // An address of another network (X.400) has none; here it could only match by accident.
      if (address.find('@') != std::string::npos) card_->addresses.push_back(std::move(address));
    }
  }
  agent_begins_ = is("AGENT") && TrimBlanks(property->value).empty();
}

std::optional<FoundSender> VCardSenders::Next() {
  std::string property;
  int left = kPropertiesAtOnce;
  for (; found_.empty() && left > 0 && NextProperty(property); --left) Take(property);
  if (found_.empty() && left == 0) return FoundSender{};  // a file without addresses may be long
  if (found_.empty()) End();                              // of the file, which may lack the card's
  if (found_.empty()) return std::nullopt;
  FoundSender found = std::move(found_.front());
  found_.pop_front();
  return found;
}

}  // namespace quillbeaker
