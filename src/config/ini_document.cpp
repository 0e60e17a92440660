// SPDX-License-Identifier: MIT
#include "config/ini_document.h"

#include <cstdint>
#include <utility>

#include "config/ascii.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\r\v\f";

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool IsQuoted(std::string_view value) {
  return value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
         value.back() == value.front();
}

// The name in a line "[ name ]", without the blanks: up to the last bracket, so that a name may hold one.
// Nothing when the line is none.
std::optional<std::string_view> SectionName(std::string_view line) {
  const std::string_view text = Trim(line);
  if (text.empty() || text.front() != '[') return std::nullopt;
  const std::size_t end = text.rfind(']');
  if (end == std::string_view::npos) return std::nullopt;
  return Trim(text.substr(1, end - 1));
}

bool CanBeKey(std::string_view key) {
  return !key.empty() && key.front() != ';' && key.front() != '[' && key.find('=') == std::string_view::npos;
}

}  // namespace

IniDocument::Line::Line(std::string line) : text(std::move(line)) {
  const std::string_view whole(text);
  const std::string_view content = Trim(whole);
  if (content.empty() || content.front() == ';') return;
  has_key = true;
  const std::size_t equals = whole.find('=');
  has_value = equals != std::string_view::npos;
  const auto place = [&](std::string_view part, std::size_t& begin, std::size_t& size) {
    const std::string_view trimmed = Trim(part);
    begin = trimmed.empty() ? static_cast<std::size_t>(part.data() + part.size() - whole.data())
                            : static_cast<std::size_t>(trimmed.data() - whole.data());
    size = trimmed.size();
  };
  place(whole.substr(0, equals), key_begin, key_size);
  if (has_value) place(whole.substr(equals + 1), value_begin, value_size);
}

std::size_t IniDocument::CaseInsensitiveHash::operator()(std::string_view text) const {
  std::uint64_t hash = 14695981039346656037u;  // FNV-1a
  for (const char c : text) {
    hash ^= static_cast<unsigned char>(ToLowerAscii(c));
    hash *= 1099511628211u;
  }
  return static_cast<std::size_t>(hash);
}

bool IniDocument::CaseInsensitiveEqual::operator()(std::string_view a, std::string_view b) const {
  return EqualsIgnoringCase(a, b);
}

void IniDocument::SectionText::Append(Line line) {
  if (line.has_key) {
    const std::size_t number = lines.size();
    const auto [place, is_new] = keys.try_emplace(std::string(line.Key()), FirstAndLast{number, number});
    if (!is_new) {
      lines[place->second.last].next_of_key = number;
      place->second.last = number;
    }
  }
  lines.push_back(std::move(line));
}

IniDocument::IniDocument(std::string_view bytes) {
  if (bytes.starts_with(kByteOrderMark)) {
    byte_order_mark_ = kByteOrderMark;
    bytes.remove_prefix(kByteOrderMark.size());
  }
  if (bytes.find('\n') != std::string_view::npos && bytes.find("\r\n") == std::string_view::npos) {
    line_end_ = "\n";
  }
  SectionText* section = &AddSection("", "");
  while (!bytes.empty()) {
    const std::size_t end = bytes.find('\n');
    std::string_view line = bytes.substr(0, end);
    bytes.remove_prefix(end == std::string_view::npos ? bytes.size() : end + 1);
    // All of them: a stray CR before a written line end would change which end the file seems to have.
    while (line.ends_with('\r')) line.remove_suffix(1);

    if (const auto name = SectionName(line)) {
      section = &AddSection(*name, std::string(line));
    } else if (Trim(line).empty()) {
      section->blank_end.emplace_back(line);
    } else {
      for (std::string& blank : section->blank_end) section->Append(Line(std::move(blank)));
      section->blank_end.clear();
      section->Append(Line(std::string(line)));
    }
  }
}

const IniDocument::SectionText* IniDocument::FindSection(std::string_view name) const {
  const auto found = first_of_name_.find(Trim(name));
  return found == first_of_name_.end() ? nullptr : &sections_[found->second];
}

IniDocument::SectionText& IniDocument::AddSection(std::string_view name, std::string header) {
  first_of_name_.try_emplace(std::string(name), sections_.size());
  SectionText& section = sections_.emplace_back();
  section.header = std::move(header);
  return section;
}

std::optional<std::string_view> IniDocument::Find(std::string_view section, std::string_view key) const {
  const SectionText* text = FindSection(section);
  if (!text) return std::nullopt;
  const auto found = text->keys.find(Trim(key));
  if (found == text->keys.end()) return std::nullopt;
  const Line& line = text->lines[found->second.first];
  if (!line.has_value) return std::nullopt;
  const std::string_view value = line.Value();
  return IsQuoted(value) ? value.substr(1, value.size() - 2) : value;
}

std::vector<IniEntry> IniDocument::Section(std::string_view section) const {
  std::vector<IniEntry> entries;
  const SectionText* text = FindSection(section);
  if (!text) return entries;
  entries.reserve(text->lines.size());
  for (const Line& line : text->lines) {
    if (!line.has_key || line.removed) continue;
    if (line.has_value) {
      entries.push_back({line.Key(), line.Value(), true});
    } else {
      entries.push_back({line.Key(), {}, false});
    }
  }
  return entries;
}

bool IniDocument::CanHoldKey(std::string_view key) {
  return CanBeKey(Trim(WithoutControlBytes(key)));
}

bool IniDocument::Set(std::string_view section, std::string_view key, std::string_view value) {
  const std::string clean_key = WithoutControlBytes(key);
  const std::string_view name = Trim(clean_key);
  if (!CanBeKey(name)) return false;

  const std::string clean_value = WithoutControlBytes(value);
  std::string written(Trim(clean_value));
  if (IsQuoted(written)) written = '"' + written + '"';

  const std::string clean_section = WithoutControlBytes(section);
  const std::string section_name(Trim(clean_section));
  const auto found_section = first_of_name_.find(section_name);
  if (found_section == first_of_name_.end()) {
    AddSection(section_name, '[' + section_name + ']').Append(Line(std::string(name) + '=' + written));
    return true;
  }
  SectionText& text = sections_[found_section->second];
  const auto found_key = text.keys.find(name);
  if (found_key == text.keys.end()) {
    text.Append(Line(std::string(name) + '=' + written));
    return true;
  }
  // The key's own spelling and the blanks around "=" stay as the person wrote them.
  Line& line = text.lines[found_key->second.first];
  const std::size_t next_of_key = line.next_of_key;
  line = Line(line.has_value ? line.text.substr(0, line.value_begin) + written : line.text + '=' + written);
  line.next_of_key = next_of_key;
  return true;
}

bool IniDocument::Remove(std::string_view section, std::string_view key) {
  const auto found_section = first_of_name_.find(Trim(section));
  if (found_section == first_of_name_.end()) return false;
  SectionText& text = sections_[found_section->second];
  const auto found_key = text.keys.find(Trim(key));
  if (found_key == text.keys.end()) return false;
  Line& line = text.lines[found_key->second.first];
  line.removed = true;
  if (line.next_of_key == kNone) {
    text.keys.erase(found_key);
  } else {
    found_key->second.first = line.next_of_key;
  }
  return true;
}

std::string IniDocument::Serialise() const {
  std::string bytes = byte_order_mark_;
  const auto add = [this, &bytes](std::string_view line) {
    bytes.append(line);
    bytes.append(line_end_);
  };
  for (const SectionText& section : sections_) {
    if (!section.header.empty()) add(section.header);
    for (const Line& line : section.lines) {
      if (!line.removed) add(line.text);
    }
    for (const std::string& blank : section.blank_end) add(blank);
  }
  return bytes;
}

}  // namespace quillbeaker
