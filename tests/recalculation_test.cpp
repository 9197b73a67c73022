// The recalculation of plain variables after a plain assignment: in random
// sessions every variable holds what a plain model of the worksheet gives
// (each definition computed once by its own line and once more, in table
// order, after every plain assignment), and a wrong line with a target keeps
// every value.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "test_support.hpp"

namespace morvex::test {
namespace {

// Definitions as sums of signed terms, each a name or a small whole number:
// exact in doubles, so the model needs no rounding.
struct Term {
  int sign;
  std::string name;  // "" for the number
  int number;
};

class WorksheetModel {
 public:
  void Assign(const std::string& name, std::vector<Term> terms) {
    const double value = Evaluate(terms);
    if (!definitions_.count(name)) order_.push_back(name);
    definitions_[name] = std::move(terms);
    values_[name] = value;
    Recalculate();
  }
  void Recalculate() {
    for (const std::string& each : order_) values_[each] = Evaluate(definitions_[each]);
  }
  const std::map<std::string, double>& values() const { return values_; }
  const std::vector<std::string>& names() const { return order_; }

 private:
  double Evaluate(const std::vector<Term>& terms) {
    double sum = 0;
    for (const Term& t : terms) sum += t.sign * (t.name.empty() ? t.number : values_.at(t.name));
    return sum;
  }
  std::vector<std::string> order_;
  std::map<std::string, std::vector<Term>> definitions_;
  std::map<std::string, double> values_;
};

TEST(Recalculation, RandomSessionsFollowTheModel) {
  const std::vector<std::string> pool = {"len", "wid", "zap", "qa", "qb", "tot", "mv", "rr"};
  const std::vector<std::string> wrong = {"4+*2", "(*3", "2^^3", "*5", "7+*2", "1..2"};
  for (unsigned seed = 1; seed <= 30; ++seed) {
    std::mt19937 random(seed);
    auto pick = [&](size_t n) { return static_cast<size_t>(random() % n); };
    Calc calc;
    bool recalculated = false;
    calc.m.Events().UpdateVariables = [&](double share) { recalculated = recalculated || share == 1.0; };
    WorksheetModel model;
    for (int step = 0; step < 60; ++step) {
      recalculated = false;
      const std::string target = pool[pick(pool.size())];
      std::string line;
      if (pick(3) == 0) {
        line = wrong[pick(wrong.size())] + "=" + target;
        calc.Run(line);
        EXPECT_NE(calc.m.ErrNumber(), 0) << line;
        // A wrong line with a plain target still has the definitions computed
        // again (a definition that reads itself moves on); the values stay.
        if (recalculated) model.Recalculate();
      } else {
        std::vector<Term> terms;
        for (size_t k = 0, count = 1 + pick(3); k < count; ++k) {
          Term term{pick(2) == 0 ? 1 : -1, "", static_cast<int>(pick(9))};
          if (!model.names().empty() && pick(2) == 0) term.name = model.names()[pick(model.names().size())];
          line += (term.sign < 0 ? "-" : (k == 0 ? "" : "+")) + (term.name.empty() ? std::to_string(term.number) : term.name);
          terms.push_back(term);
        }
        line += "=" + target;
        calc.Run(line);
        ASSERT_EQ(calc.m.ErrNumber(), 0) << line;
        model.Assign(target, terms);
      }
      for (const auto& [name, value] : model.values()) {
        ASSERT_TRUE(calc.Has(name)) << name;
        ASSERT_EQ(calc.Var(name)->Value, value) << "seed " << seed << ", after «" << line << "», " << name;
      }
    }
  }
}

}  // namespace
}  // namespace morvex::test
