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

}  // namespace

std::optional<HeaderField> ParseHeaderLine(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::string_view name = line.substr(0, colon);
  const std::string_view value = line.substr(colon + 1);
  HeaderField field;
  // Cut first, then trimmed: leading blanks count towards the limit.
  field.full_name = TrimBlanks(name);
  field.name = name.size() > kMaxHeaderName ? TrimBlanks(name.substr(0, kMaxHeaderName)) : field.full_name;
  field.full_value = TrimBlanks(value);
  field.value =
      value.size() > kMaxHeaderValue ? TrimBlanks(value.substr(0, kMaxHeaderValue)) : field.full_value;
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
  for (const HeaderField& field : part.fields) {
    if ((field.kind & mask) == mask) return field;
  }
  return std::nullopt;
}

std::optional<std::string_view> FindPartField(const MessagePart& part, HeaderKind mask) {
  const std::optional<HeaderField> field = FirstField(part, mask);
  if (!field) return std::nullopt;
  return field->value;
}

std::optional<std::string_view> FindPartField(const MessagePart& part, std::string_view name) {
  for (const HeaderField& field : part.fields) {
    if (EqualsIgnoringCase(field.name, name)) return field.value;
  }
  return std::nullopt;
}

const MessagePart* NextPart(const MessagePart* part) {
  if (part->first_child != nullptr) return part->first_child;
  while (part != nullptr && part->next == nullptr) part = part->parent;
  return part != nullptr ? part->next : nullptr;
}

}  // namespace quillbeaker
