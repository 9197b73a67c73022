#include "core/name_finder.hpp"

#include <algorithm>

#include "core/text_case.hpp"

namespace morvex {
namespace {

uint64_t EdgeKey(int32_t node, char c) {
  return static_cast<uint64_t>(node) << 8 | static_cast<unsigned char>(c);
}

}  // namespace

void NameFinder::Clear() {
  nodes_.assign(1, Node{});
  edges_.clear();
  dollarNames_.clear();
  lengths_.clear();
  count_ = 0;
}

void NameFinder::Follow(const VariableString& table) {
  if (table.Lineage() != lineage_ || table.Count() < count_) {
    Clear();
    lineage_ = table.Lineage();
  }
  for (int32_t position = std::max(count_ + 1, var_index::FirstUser); position <= table.Count(); ++position) {
    Insert(table.Item(position).Key, position);
  }
  count_ = table.Count();
}

void NameFinder::Insert(std::string_view name, int32_t position) {
  if (lengths_.size() <= static_cast<size_t>(position)) lengths_.resize(static_cast<size_t>(position) + 1, 0);
  lengths_[static_cast<size_t>(position)] = static_cast<int32_t>(name.size());
  if (name.empty()) return;  // an empty name is never found
  if (name.find('$') != std::string_view::npos) {
    dollarNames_.push_back(position);
    return;
  }
  int32_t node = 0;
  for (char c : name) {
    const char upper = static_cast<char>(UpperChar(static_cast<unsigned char>(c)));
    auto [edge, added] = edges_.try_emplace(EdgeKey(node, upper), static_cast<int32_t>(nodes_.size()));
    if (added) nodes_.push_back(Node{0, nodes_[static_cast<size_t>(node)].depth + 1});
    node = edge->second;
  }
  // Names are unique in any case, so no other name ends on this node.
  nodes_[static_cast<size_t>(node)].position = position;
}

void NameFinder::Find(std::string_view upperText, std::vector<int32_t>& positions) const {
  positions.assign(dollarNames_.begin(), dollarNames_.end());
  if (!edges_.empty()) {
    for (size_t start = 0; start < upperText.size(); ++start) {
      int32_t node = 0;
      for (size_t i = start; i < upperText.size(); ++i) {
        auto edge = edges_.find(EdgeKey(node, upperText[i]));
        if (edge == edges_.end()) break;
        node = edge->second;
        if (nodes_[static_cast<size_t>(node)].position != 0) positions.push_back(nodes_[static_cast<size_t>(node)].position);
      }
    }
  }
  std::sort(positions.begin(), positions.end(), [&](int32_t a, int32_t b) {
    const int32_t lengthA = lengths_[static_cast<size_t>(a)];
    const int32_t lengthB = lengths_[static_cast<size_t>(b)];
    return lengthA != lengthB ? lengthA > lengthB : a < b;
  });
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
}

}  // namespace morvex
