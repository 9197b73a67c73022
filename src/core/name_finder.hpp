// Which user variable names occur in a line, without trying every name of the
// table: a trie over the upper-cased names, walked from each position of the
// text. The finder follows one table; appended records extend it, any other
// change of the table (a new lineage) rebuilds it.
#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/variable_table.hpp"

namespace morvex {

class NameFinder {
 public:
  // Brings the finder in step with `table` (its user names, from position 4 on).
  void Follow(const VariableString& table);
  // The table positions of the names that occur in `upperText` (or may occur
  // there once gathered names are spelled "$"), in the order in which the
  // names are tried: the longest first, names of equal length in table order.
  void Find(std::string_view upperText, std::vector<int32_t>& positions) const;
  // True while the table has no user name that Find could report.
  bool Empty() const noexcept { return edges_.empty() && dollarNames_.empty(); }

 private:
  void Insert(std::string_view name, int32_t position);
  void Clear();

  struct Node {
    int32_t position = 0;  // the table position of the name that ends here, 0 for none
    int32_t depth = 0;     // the length of the name that ends here
  };
  std::vector<Node> nodes_{Node{}};
  std::unordered_map<uint64_t, int32_t> edges_;  // (node << 8 | byte) -> child node
  std::vector<int32_t> dollarNames_;  // positions of names holding "$": always tried
  std::vector<int32_t> lengths_;      // name length by table position
  uint64_t lineage_ = 0;
  int32_t count_ = 0;  // table records followed so far
};

}  // namespace morvex
