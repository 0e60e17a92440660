// SPDX-License-Identifier: MIT
#include "message/message_part.h"

#include "config/ascii.h"

namespace quillbeaker {

namespace {

// Names of one length are few, so the length decides what there is to compare.
HeaderKind KindOf(std::string_view name) {
  switch (name.size()) {
    case 2:
      if (EqualsIgnoringCase(name, "To")) return kHeaderTo;
      return EqualsIgnoringCase(name, "CC") ? kHeaderCc : kHeaderOther;
    case 3:
      return EqualsIgnoringCase(name, "BCC") ? kHeaderBcc : kHeaderOther;
    case 4:
      if (EqualsIgnoringCase(name, "From")) return kHeaderFrom;
      return EqualsIgnoringCase(name, "Date") ? kHeaderDate : kHeaderOther;
    case 7:
      return EqualsIgnoringCase(name, "Subject") ? kHeaderSubject : kHeaderOther;
    case 12:
      return EqualsIgnoringCase(name, "Content-Type") ? kHeaderContentType : kHeaderOther;
    default:
      return kHeaderOther;
  }
}

// What stands before the colon, and what look-ups see of it: cut first, then trimmed, so that leading blanks
// count towards the limit. The same holds for values.
std::string_view LookUpName(std::string_view full) {
  return TrimBlanks(full.substr(0, kMaxHeaderName));
}

std::string_view LookUpNameOfLine(std::string_view line) {
  return LookUpName(line.substr(0, line.find(':')));
}

// The field of the first line whose name, as look-ups see it, is wanted. Most are not, and only their names
// are read.
std::optional<HeaderField> FirstFieldWhose(const MessagePart& part, const auto& name_is_wanted) {
  for (const std::string_view line : part.fields.lines()) {
    if (name_is_wanted(LookUpNameOfLine(line))) return ParseHeaderLine(line);
  }
  return std::nullopt;
}

std::optional<std::string_view> ValueOf(const std::optional<HeaderField>& field) {
  if (!field) return std::nullopt;
  return field->value;
}

}  // namespace

std::optional<HeaderField> ParseHeaderLine(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::string_view name = line.substr(0, colon);
  const std::string_view value = line.substr(colon + 1);
  HeaderField field;
  field.full_name = TrimBlanks(name);
  field.name = LookUpName(name);
  field.full_value = TrimBlanks(value);
  field.value = TrimBlanks(value.substr(0, kMaxHeaderValue));
  field.kind = KindOf(field.name);
  return field;
}

void HeaderFields::Add(std::string_view line) {
  if (line.find(':') != std::string_view::npos) lines_.push_back(line);
}

void HeaderFields::ShrinkToFit() {
  lines_.shrink_to_fit();
}

std::optional<HeaderField> FirstField(const MessagePart& part, HeaderKind mask) {
  return FirstFieldWhose(part, [mask](std::string_view name) { return (KindOf(name) & mask) == mask; });
}

std::optional<std::string_view> FindPartField(const MessagePart& part, HeaderKind mask) {
  return ValueOf(FirstField(part, mask));
}

std::optional<std::string_view> FindPartField(const MessagePart& part, std::string_view name) {
  return ValueOf(FirstFieldWhose(
      part, [name](std::string_view candidate) { return EqualsIgnoringCase(candidate, name); }));
}

const MessagePart* NextPart(const MessagePart* part) {
  if (part->first_child != nullptr) return part->first_child;
  while (part != nullptr && part->next == nullptr) part = part->parent;
  return part != nullptr ? part->next : nullptr;
}

}  // namespace quillbeaker
