// The filter that tells which user variable names occur in a line, against a
// plain search of every name of the table: the same names in the same order
// (longest first, equal lengths in table order), names inside longer runs of
// letters and in another case included, while the table grows, loses records,
// is respelled and copied under it.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <tuple>

#include "core/name_finder.hpp"
#include "core/text_case.hpp"

namespace morvex {
namespace {

// Every user name that occurs in the upper-cased text, and every name holding
// "$" (a gathered name is spelled "$" in the text), longest first.
std::vector<int32_t> PlainSearch(const VariableString& table, const std::string& upperText) {
  std::vector<int32_t> found;
  for (int32_t position = var_index::FirstUser; position <= table.Count(); ++position) {
    const std::string& key = table.Item(position).Key;
    if (key.empty()) continue;
    if (key.find('$') != std::string::npos || upperText.find(ToUpper(key)) != std::string::npos) found.push_back(position);
  }
  std::stable_sort(found.begin(), found.end(), [&](int32_t a, int32_t b) {
    return table.Item(a).Key.size() > table.Item(b).Key.size();
  });
  return found;
}

std::string Names(const VariableString& table, const std::vector<int32_t>& positions) {
  std::ostringstream out;
  for (int32_t position : positions) out << (out.tellp() > 0 ? " " : "") << table.Item(position).Key;
  return out.str();
}

VariableString TableOf(const std::vector<std::string>& names) {
  VariableString table;
  for (const char* fixed : {"Ans", "XVar", "YVar"}) table.Add(fixed, fixed);
  for (const std::string& name : names) table.Add(name, name);
  return table;
}

TEST(NameSearch, FindsTheNamesOfTheLine) {
  // The table's user names, the line, and the names found in it.
  const std::tuple<std::vector<std::string>, std::string, std::string> cases[] = {
      {{"b", "ab", "abc"}, "xABCx", "abc ab b"},          // longest first, inside a longer run
      {{"abcd", "cd"}, "abc", ""},                        // a prefix of a name is no name
      {{"vb"}, "ANS*XVAR*YVAR", ""},                      // Ans, XVar and YVar are no user names
      {{"\xe9t\xe9", "t"}, "\xc9T\xc9", "\xe9t\xe9 t"},  // accented letters fold too
  };
  for (const auto& [names, line, found] : cases) {
    VariableString table = TableOf(names);
    NameFinder finder;
    finder.Follow(table);
    std::vector<int32_t> positions;
    finder.Find(ToUpper(line), positions);
    EXPECT_EQ(Names(table, positions), found) << line;
  }
}

// Random short names over few letters in both cases, so that names lie inside
// and across each other, followed through every kind of change of the table.
TEST(NameSearch, AgreesWithThePlainSearchWhileTheTableChanges) {
  std::mt19937 random(20240611);
  const std::string letters = "abABc$";
  auto word = [&](size_t longest) {
    std::string text(1 + random() % longest, ' ');
    for (char& c : text) c = letters[random() % (random() % 8 == 0 ? letters.size() : 5)];
    return text;
  };
  VariableString table = TableOf({});
  NameFinder finder;
  std::vector<int32_t> positions;
  for (int step = 0; step < 3000; ++step) {
    // Up to three changes between two lines: a removal may be made up for by
    // appends before the finder sees the table again.
    for (uint32_t changes = 1 + random() % 3; changes > 0; --changes) {
      const uint32_t change = random() % 10;
      if (change < 6) {
        const std::string name = word(4);
        if (table.IndexOfKey(name) == 0) table.Add(name, name);
      } else if (change == 6 && table.Count() >= var_index::FirstUser) {
        table.Remove(var_index::FirstUser + static_cast<int32_t>(random() % (table.Count() - 3)));
      } else if (change == 7 && table.Count() >= var_index::FirstUser) {
        const int32_t at = var_index::FirstUser + static_cast<int32_t>(random() % (table.Count() - 3));
        std::string respelled = table.Item(at).Key;
        for (char& c : respelled) c = static_cast<char>(random() % 2 ? UpperChar(static_cast<unsigned char>(c)) : std::tolower(c));
        table.Respell(at, respelled);
      } else if (change == 8) {
        const VariableString copy = table;
        table = copy;  // a copy assigned over the table
      }
    }
    finder.Follow(table);
    const std::string upperLine = ToUpper(word(12) + "+" + word(6));
    finder.Find(upperLine, positions);
    ASSERT_EQ(Names(table, positions), Names(table, PlainSearch(table, upperLine)))
        << "step " << step << ", line " << upperLine;
  }
}

}  // namespace
}  // namespace morvex
