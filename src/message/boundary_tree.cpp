// SPDX-License-Identifier: MIT
#include "message/boundary_tree.h"

#include <algorithm>

#include "config/ascii.h"

namespace quillbeaker {

namespace {

std::size_t CommonPrefix(std::string_view a, std::string_view b) {
  const std::size_t limit = std::min(a.size(), b.size());
  std::size_t common = 0;
  while (common < limit && ToLowerAscii(a[common]) == ToLowerAscii(b[common])) ++common;
  return common;
}

}  // namespace

// Where the child whose label begins with `first` stands, or would be inserted.
std::size_t BoundaryTree::ChildPlace(const Node& node, char first) const {
  const auto place = std::lower_bound(
      node.children.begin(), node.children.end(), ToLowerAscii(first),
      [this](Index child, char key) { return ToLowerAscii(nodes_[child].label.front()) < key; });
  return static_cast<std::size_t>(place - node.children.begin());
}

bool BoundaryTree::IsChildFor(const Node& node, std::size_t place, char first) const {
  return place < node.children.size() &&
         ToLowerAscii(nodes_[node.children[place]].label.front()) == ToLowerAscii(first);
}

void BoundaryTree::Add(MessagePart& part) {
  if (nodes_.empty()) nodes_.emplace_back();
  std::string_view rest = part.boundary;
  Index at = 0;
  while (!rest.empty()) {
    const std::size_t place = ChildPlace(nodes_[at], rest.front());
    const auto slot = static_cast<std::ptrdiff_t>(place);
    const Index added = static_cast<Index>(nodes_.size());
    if (!IsChildFor(nodes_[at], place, rest.front())) {
      nodes_[at].children.insert(nodes_[at].children.begin() + slot, added);
      nodes_.emplace_back().label = rest;
      at = added;
      break;
    }
    const Index child = nodes_[at].children[place];
    const std::size_t common = CommonPrefix(nodes_[child].label, rest);
    if (common == nodes_[child].label.size()) {
      at = child;
    } else {
      // The label goes on differently: a node is put in where the two part.
      nodes_.emplace_back();
      nodes_[added].label = nodes_[child].label.substr(0, common);
      nodes_[added].children.push_back(child);
      nodes_[child].label.remove_prefix(common);
      nodes_[at].children[place] = added;
      at = added;
    }
    rest.remove_prefix(common);
  }
  const std::size_t rank = count_++;
  if (nodes_[at].part != nullptr) return;  // an equal one was there before
  nodes_[at].part = &part;
  nodes_[at].rank = rank;
}

BoundaryTree::Match BoundaryTree::Find(std::string_view line) const {
  Match best;
  if (nodes_.empty()) return best;
  std::size_t best_rank = count_;
  std::size_t length = 0;
  const Node* node = &nodes_.front();
  while (true) {
    if (node->part != nullptr && node->rank < best_rank) {
      best_rank = node->rank;
      best = {node->part, length};
    }
    if (length == line.size()) return best;
    const std::size_t place = ChildPlace(*node, line[length]);
    if (!IsChildFor(*node, place, line[length])) return best;
    node = &nodes_[node->children[place]];
    if (!StartsWithIgnoringCase(line.substr(length), node->label)) return best;
    length += node->label.size();
  }
}

}  // namespace quillbeaker
