// SPDX-License-Identifier: MIT
#pragma once

// Finds which multipart's boundary a delimiter line carries (RFC 2046, section 5.1.1). Deliberate: boundaries
// are compared over their own length only, whatever follows on the line, and without regard to case, and of
// several that match the one added first counts; a stricter look would split other mails. A hostile mail can
// nest thousands of multiparts whose boundaries begin alike, so they stand in a prefix tree: a look-up reads
// each byte of the line at most once, however many there are.

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "message/message_part.h"

namespace quillbeaker {

class BoundaryTree {
 public:
  struct Match {
    MessagePart* part = nullptr;  // null: no boundary matches
    std::size_t length = 0;       // of its boundary
  };

  // The part's boundary must live as long as the tree.
  void Add(MessagePart& part);
  // `line` is what stands behind the "--" of a delimiter line.
  Match Find(std::string_view line) const;
  bool empty() const { return nodes_.empty(); }

 private:
  using Index = std::uint32_t;

  struct Node {
    std::string_view label;       // the bytes between the parent node and this one, empty at the root only
    MessagePart* part = nullptr;  // whose boundary ends here
    std::size_t rank = 0;         // order of adding, meaningful with `part` only
    std::vector<Index> children;  // by the first byte of their labels, in lower case
  };

  std::size_t ChildPlace(const Node& node, char first) const;
  bool IsChildFor(const Node& node, std::size_t place, char first) const;

  std::vector<Node> nodes_;  // the root of the tree first
  std::size_t count_ = 0;
};

}  // namespace quillbeaker
