#include "evaluation/passes.hpp"

#include <cmath>
#include <string>

#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "evaluation/function_words.hpp"
#include "evaluation/number_text.hpp"

namespace morvex::detail {
namespace {

double Value(const Reduction& r, int32_t i) { return ReadNumber(r.chain[i].Value()); }

// The cell becomes a number with this value.
void WriteNumber(Cell& cell, double value) {
  NumberText text = FormatNumber(value);
  cell.Value(text.view());
  cell.NameStr(TypeNumber);
}

void WriteNumberText(Cell& cell, std::string_view text) {
  cell.Value(text);
  cell.NameStr(TypeNumber);
}

void RemoveCells(Reduction& r, int32_t i, int32_t count) {
  r.chain.Remove(i, count);
  r.last -= count;
}

bool IsWhole(double magnitude) { return magnitude == std::floor(magnitude); }

bool IsType(const Reduction& r, int32_t i, int16_t type) { return r.chain[i].NameStr() == type; }

// The cell before "!" and the "!" are given up.
void GiveUpFactorial(Reduction& r, int32_t i) {
  r.chain[i + 1].Value("!");
  r.chain[i + 1].NameStr(TypeNone);
  r.chain[i].NameStr(TypeNone);
}

// n! in double precision: magnitudes below 171 (170! is the largest).
Step DoubleFactorial(Reduction& r, int32_t i) {
  Cell& cell = r.chain[i];
  const double strict = std::fabs(ReadNumberStrict(cell.Value()));
  const double x = ReadNumber(cell.Value());
  if (!IsWhole(strict) || !(std::fabs(x) < 171)) {
    GiveUpFactorial(r, i);
    return Step::Reduced;
  }
  r.Notify(2, i);
  double product = 1;
  for (double k = std::fabs(x); k >= 1; k -= 1) product = CheckedMultiply(product, k);
  WriteNumber(r.chain[i + 1], x < 0 ? -product : product);
  RemoveCells(r, i, 1);
  r.Notify(1, i);
  return Step::Reduced;
}

// n! in a 32-bit product: 13! is the overflow failure.
Step Int32Factorial(Reduction& r, int32_t i) {
  Cell& cell = r.chain[i];
  const double magnitude = std::fabs(ReadNumberStrict(cell.Value()));
  if (!IsWhole(magnitude)) {
    GiveUpFactorial(r, i);
    return Step::Marked;
  }
  r.Notify(2, i);
  int32_t product = 1;
  for (int32_t k = RoundToLong(magnitude); k >= 1; --k) {
    if (__builtin_mul_overflow(product, k, &product)) FailOverflow("overflow: a factorial beyond 12! in a whole-number product");
  }
  Cell& result = r.chain[i + 1];
  WriteNumberText(result, std::to_string(product));
  if (ReadNumber(cell.Value()) < 0) WriteNumber(result, -ReadNumber(result.Value()));
  RemoveCells(r, i, 1);
  r.Notify(1, i);
  return Step::Reduced;
}

Step FactorialStep(Reduction& r, int32_t i) {
  if (r.chain[i + 1].Value() != "!") return Step::None;
  const int16_t type = r.chain[i].NameStr();
  if (type == TypeNone) return Step::None;
  r.arity = 2;
  r.position = i;
  if (type != TypeNumber) {
    GiveUpFactorial(r, i);
    return Step::Reduced;
  }
  return r.factorial == FactorialRule::DoubleForward ? DoubleFactorial(r, i) : Int32Factorial(r, i);
}

// The factorial pass that runs from the end of the range to its start.
bool BackwardFactorialPass(Reduction& r) {
  bool reduced = false;
  for (;;) {
    bool restart = false;
    for (int32_t i = std::min(r.last, r.chain.Count()) - 1; i >= r.first + 1; --i) {
      Step outcome = FactorialStep(r, i);
      if (outcome == Step::Marked) reduced = true;
      if (outcome == Step::Reduced) {
        reduced = true;
        restart = true;
        break;
      }
    }
    if (!restart) return reduced;
  }
}

bool WordHasRow(const Reduction& r, std::string_view word) {
  if (!IsFunctionWord(word)) return false;
  return r.signWordHasRow || !EqualsIgnoreCase(word, "SIGN");
}

Step ApplyWordAt(Reduction& r, int32_t i) {
  Cell& word = r.chain[i];
  if (word.NameStr() != TypeWord) return Step::None;
  const bool numberFollows = IsType(r, i + 1, TypeNumber);
  if (numberFollows && WordHasRow(r, word.Value())) {
    r.arity = 2;
    r.position = i;
    WordResult result = ApplyWordRule(word.Value(), r.chain[i + 1].Value(), Shared().gAngle.Degre);
    switch (result.outcome) {
      case WordOutcome::Value:
      case WordOutcome::ArgumentText: {
        r.Notify(2, i);
        std::string argument(r.chain[i + 1].Value());
        WriteNumberText(word, result.outcome == WordOutcome::Value ? result.text.view() : std::string_view(argument));
        RemoveCells(r, i + 1, 1);
        r.Notify(1, i);
        return Step::Reduced;
      }
      case WordOutcome::Pole:
        if (i > 1 && IsType(r, i - 1, TypeNumber)) r.chain[i - 1].NameStr(TypeNone);
        GiveUp(r.chain, i, 2);
        return Step::Reduced;
      case WordOutcome::Domain:
        GiveUp(r.chain, i, 2);
        return Step::Reduced;
      case WordOutcome::None:
        break;
    }
  }
  switch (r.loneWords) {
    case LoneWordRule::Skip:
      return Step::None;
    case LoneWordRule::ZeroNumber:
      if (numberFollows) return Step::None;
      WriteNumberText(word, "0");
      return Step::Reduced;
    case LoneWordRule::ZeroKeepWord:
      r.Notify(2, i);
      word.Value("0");
      return Step::None;
  }
  return Step::None;
}

// The operands of a binary step, read (leniently) from the cells beside the operator.
struct Operands {
  double left;
  double right;
};

// What a binary step reports to the host: a Change over its three cells, then
// one over the result; or a single Change over the left cell before the
// operands are read (the comparisons, selections and the remainder).
enum class BinaryChanges : uint8_t { Around, LeftCellFirst };

// One operator of the binary pass. `refuse` gives up the step's cells when the
// operands have no result (returning how the pass goes on), or returns None.
struct BinaryOperator {
  int16_t type;
  BinaryChanges changes;
  Step (*refuse)(Reduction& r, int32_t i, Operands operands);
  NumberText (*result)(Reduction& r, int32_t i, Operands operands);
};

Step RefusePower(Reduction& r, int32_t i, Operands operands) {
  const int32_t rounded = RoundToLong(operands.right);
  if (operands.left <= 0 && (!IsWhole(std::fabs(operands.right)) || (operands.left == 0 && rounded < 0))) {
    GiveUp(r.chain, i, 3);
    return Step::EndPass;
  }
  return Step::None;
}

bool IsTimes(const Reduction& r, int32_t i) { return r.chain[i + 1].Value() == "*"; }

Step RefuseDivisionByZero(Reduction& r, int32_t i, Operands operands) {
  if (IsTimes(r, i) || operands.right != 0) return Step::None;
  GiveUp(r.chain, i, 3);
  return Step::ReducedHere;
}

Step RefuseNothing(Reduction&, int32_t, Operands) { return Step::None; }

NumberText Power(Reduction&, int32_t, Operands o) { return FormatNumber(CheckedPower(o.left, o.right)); }

NumberText TimesDivide(Reduction& r, int32_t i, Operands o) {
  return FormatNumber(IsTimes(r, i) ? CheckedMultiply(o.left, o.right) : CheckedDivide(o.left, o.right));
}

NumberText PlusMinus(Reduction& r, int32_t i, Operands o) {
  const bool plus = r.chain[i + 1].Value() == "+";
  return FormatNumber(plus ? CheckedAdd(o.left, o.right) : CheckedSubtract(o.left, o.right));
}

NumberText Literal(bool one) {
  NumberText text;
  text.chars[0] = one ? '1' : '0';
  text.length = 1;
  return text;
}

template <int16_t Type>
NumberText Compare(Reduction&, int32_t, Operands o) {
  switch (Type) {
    case TypeLess: return Literal(o.left < o.right);
    case TypeGreater: return Literal(o.left > o.right);
    case TypeQuestion: return Literal(o.left == o.right);
    case TypeOpenBracket: return Literal(o.left <= o.right);
    case TypeCloseBracket: return Literal(o.left >= o.right);
    case TypeHash: return Literal(o.left != o.right);
    default: return Literal(false);
  }
}

// a : b is b when a is 1, a @ b is b when a is 0; else 0.
template <int LeftThatSelects>
NumberText Select(Reduction&, int32_t, Operands o) {
  return o.left == LeftThatSelects ? FormatNumber(o.right) : Literal(false);
}

// The remainder of a division that cuts towards zero, with the sign of the left operand.
NumberText Remainder(Reduction& r, int32_t i, Operands o) {
  if (o.left == 0) return FormatNumber(o.right);
  const double quotient = CheckedDivide(o.left, ReadNumberStrict(r.chain[i + 2].Value()));
  const double whole = quotient >= 0 ? WholePart(quotient) : CheckedAdd(WholePart(quotient), 1);
  return FormatNumber(CheckedSubtract(o.left, CheckedMultiply(whole, o.right)));
}

using enum BinaryChanges;
constexpr BinaryOperator kBinaryOperators[] = {
    {.type = TypePower, .changes = Around, .refuse = RefusePower, .result = Power},
    {.type = TypeOper, .changes = Around, .refuse = RefuseDivisionByZero, .result = TimesDivide},
    {.type = TypePlus, .changes = Around, .refuse = RefuseNothing, .result = PlusMinus},
    {.type = TypeLess, .changes = LeftCellFirst, .refuse = RefuseNothing, .result = Compare<TypeLess>},
    {.type = TypeGreater, .changes = LeftCellFirst, .refuse = RefuseNothing, .result = Compare<TypeGreater>},
    {.type = TypeQuestion, .changes = LeftCellFirst, .refuse = RefuseNothing, .result = Compare<TypeQuestion>},
    {.type = TypeOpenBracket, .changes = LeftCellFirst, .refuse = RefuseNothing, .result = Compare<TypeOpenBracket>},
    {.type = TypeCloseBracket, .changes = LeftCellFirst, .refuse = RefuseNothing, .result = Compare<TypeCloseBracket>},
    {.type = TypeHash, .changes = LeftCellFirst, .refuse = RefuseNothing, .result = Compare<TypeHash>},
    {.type = TypeColon, .changes = LeftCellFirst, .refuse = RefuseNothing, .result = Select<1>},
    {.type = TypeAt, .changes = LeftCellFirst, .refuse = RefuseNothing, .result = Select<0>},
    {.type = TypeBar, .changes = LeftCellFirst, .refuse = RefuseNothing, .result = Remainder},
};

const BinaryOperator& BinaryOperatorOf(int16_t type) {
  for (const BinaryOperator& op : kBinaryOperators) {
    if (op.type == type) return op;
  }
  Fail(failure_code::InvalidCall, "no binary operator of code " + std::to_string(type));
}

// A step turns its three cells into one number, or gives them up: the cells
// before it stay, and none of them can begin a step now that did not before,
// so the pass goes on from the step's place.
Step BinaryStep(Reduction& r, const BinaryOperator& op, int32_t i) {
  if (!IsType(r, i + 1, op.type) || !IsType(r, i, TypeNumber) || !IsType(r, i + 2, TypeNumber)) return Step::None;
  r.arity = 3;
  r.position = i;
  if (op.changes == LeftCellFirst) r.Notify(1, i);
  const Operands operands{Value(r, i), Value(r, i + 2)};
  if (const Step refused = op.refuse(r, i, operands); refused != Step::None) return refused;
  if (op.changes == Around) r.Notify(3, i);
  WriteNumberText(r.chain[i], op.result(r, i, operands).view());
  RemoveCells(r, i + 1, 2);
  if (op.changes == Around) r.Notify(1, i);
  return Step::ReducedHere;
}

}  // namespace

void BindVariables(Reduction& r, bool noteFound, bool plainOnly, bool changeAfter) {
  SharedState& g = Shared();
  if (noteFound) g.gFoundVariable = false;
  for (int32_t i = 1; i <= r.chain.Count(); ++i) {
    Cell& cell = r.chain[i];
    const int32_t index = r.c.VariableIndex(cell.Value());
    if (index == 0) continue;
    const Class1& variable = r.c.Variables.Item(index);
    if (plainOnly && variable.TypeVar != var_type::Plain) continue;
    if (noteFound) g.gFoundVariable = true;
    if (variable.TypeVar == var_type::Plain) {
      r.Notify(1, i);
      WriteNumber(cell, variable.Value);
      if (changeAfter) r.Notify(1, i);
    }
  }
}

void BindPi(Reduction& r, bool anyCase) {
  for (int32_t i = 1; i <= r.chain.Count(); ++i) {
    Cell& cell = r.chain[i];
    if (anyCase ? EqualsIgnoreCase(cell.Value(), "PI") : cell.Value() == "PI") {
      r.Notify(1, i);
      WriteNumber(cell, std::atan(1.0) * 4);
    }
  }
}

bool SignPass(Reduction& r) {
  if (!r.MayHold(TypeSign)) return false;
  return RunPass(r, 1, [&](int32_t i) {
    if (!IsType(r, i, TypeSign) || !IsType(r, i + 1, TypeNumber)) return Step::None;
    Cell& number = r.chain[i + 1];
    const std::string_view sign = r.chain[i].Value();
    if (sign == "-") {
      WriteNumber(number, -ReadNumber(number.Value()));
      RemoveCells(r, i, 1);
    } else if (sign == "+") {
      r.Notify(2, i);
      WriteNumber(number, ReadNumber(number.Value()));
      RemoveCells(r, i, 1);
      r.Notify(1, i);
    } else {
      RemoveCells(r, i, 1);
    }
    return Step::Reduced;
  });
}

bool ExponentPass(Reduction& r, bool word) {
  // A cell spelled "E" or "Exp" is a word, a letter, a variable's name or a given-up cell.
  if (!r.MayHold(TypeWord) && !r.MayHold(TypeChar) && !r.MayHold(TypeVariable) && !r.MayHold(TypeNone)) return false;
  return RunPass(r, 1, [&](int32_t i) {
    const std::string_view text = r.chain[i].Value();
    const bool hit = word ? EqualsIgnoreCase(text, "EXP") : text == "E";
    if (!hit || !IsType(r, i + 1, TypeNumber)) return Step::None;
    r.arity = 2;
    r.position = i;
    if (i > 1 && IsType(r, i - 1, TypeNumber)) {
      r.Notify(3, i - 1);
      const double power = CheckedPower(10, Value(r, i + 1));
      WriteNumber(r.chain[i], CheckedMultiply(Value(r, i - 1), power));
      RemoveCells(r, i + 1, 1);
      RemoveCells(r, i - 1, 1);
      r.Notify(1, i - 1);
    } else {
      r.Notify(2, i);
      WriteNumber(r.chain[i], CheckedPower(10, Value(r, i + 1)));
      RemoveCells(r, i + 1, 1);
      r.Notify(1, i);
    }
    return Step::Reduced;
  });
}

bool FactorialPass(Reduction& r) {
  // A cell spelled "!" is a factorial or a given-up cell.
  if (!r.MayHold(TypeFactorial) && !r.MayHold(TypeNone)) return false;
  if (r.factorial == FactorialRule::Int32Backward) return BackwardFactorialPass(r);
  return RunPass(r, 1, [&](int32_t i) { return FactorialStep(r, i); });
}

bool WordPass(Reduction& r) {
  if (!r.MayHold(TypeWord)) return false;
  bool reduced = false;
  while (RunPass(r, 1, [&](int32_t i) { return ApplyWordAt(r, i); })) reduced = true;
  return reduced;
}

bool OpenNamesPass(Reduction& r) {
  if (!r.MayHold(TypeChar) && !r.MayHold(TypeXVar) && !r.MayHold(TypeYVar)) return false;
  bool changed = false;
  const int32_t limit = std::min(r.last, r.chain.Count());
  for (int32_t i = r.first + 1; i <= limit; ++i) {
    Cell& cell = r.chain[i];
    const int16_t type = cell.NameStr();
    if (type != TypeChar && type != TypeXVar && type != TypeYVar) continue;
    cell.NameStr(TypeNumber);
    r.Notify(1, i);
    cell.Value("0");
    changed = true;
  }
  return changed;
}

bool WordPowerPass(Reduction& r, bool& failed) {
  failed = false;
  if (!r.MayHold(TypePowerNum)) return false;
  return RunPass(r, 2, [&](int32_t i) {
    if (i <= 1 || i + 2 > r.chain.Count()) return Step::None;
    if (!IsType(r, i, TypePowerNum) || !IsType(r, i + 1, TypeNumber)) return Step::None;
    if (!IsType(r, i + 2, TypeNumber)) {
      GiveUp(r.chain, i - 1, 3);
      Shared().gErr.NumError = error_number::Unfinished;
      failed = true;
      return Step::EndPass;
    }
    r.arity = 2;
    r.position = i;
    r.Notify(3, i - 1);
    // w ^ n a becomes ( w a ) ^ n.
    dna group;
    auto addCell = [&](const Cell& like, int16_t type, std::string_view value) {
      Cell& cell = group.Add(like.GetFlags());
      cell.NameStr(type);
      cell.Value(value);
    };
    const Cell w = r.chain[i - 1];
    const Cell p = r.chain[i];
    const Cell n = r.chain[i + 1];
    const Cell a = r.chain[i + 2];
    Cell open;
    open.SetFlags(flag::AddPattern);
    addCell(open, TypeStart, "(");
    addCell(w, w.NameStr(), w.Value());
    addCell(a, a.NameStr(), a.Value());
    addCell(open, TypeEnd, ")");
    addCell(p, TypePower, p.Value());
    addCell(n, n.NameStr(), n.Value());
    for (int k = 0; k < 3; ++k) r.chain.Remove(i - 1);
    SpliceChain(r.chain, group, i - 1);
    r.last += 2;
    r.Notify(2, i);
    Shared().gPowerRewritten = true;
    return Step::Reduced;
  });
}

bool BinaryPass(Reduction& r, int16_t type) {
  if (!r.MayHold(type)) return false;
  const BinaryOperator& op = BinaryOperatorOf(type);
  return RunPass(r, 2, [&](int32_t i) { return BinaryStep(r, op, i); });
}

bool AdjacentPass(Reduction& r) {
  return RunPass(r, 1, [&](int32_t i) {
    if (!IsType(r, i, TypeNumber) || !IsType(r, i + 1, TypeNumber)) return Step::None;
    r.arity = 1;
    r.position = i;
    r.Notify(1, i);
    r.Notify(1, i + 1);
    WriteNumber(r.chain[i], CheckedMultiply(Value(r, i), Value(r, i + 1)));
    RemoveCells(r, i + 1, 1);
    r.Notify(1, i);
    return Step::ReducedHere;  // the cell before it was no number, or it would have been the step
  });
}

GroupOutcome ReduceGroup(Reduction& r, const GroupRule& rule, int32_t open, int32_t close) {
  SharedState& g = Shared();
  r.Notify(close - open + 1, open);
  int32_t first = open;
  int32_t last = close;
  rule.reduce(r.c, first, last);
  if (rule.doneMarker) r.NotifyRaw(0, 1);
  if (rule.endUnlessOneCell && last - open > 2) return GroupOutcome::Ended;
  if (HasGivenUpCell(r.chain)) {
    if (rule.givenUpIsUnfinished) g.gErr.NumError = error_number::Unfinished;
    return GroupOutcome::Ended;
  }
  bool remove = !g.gFoundVariable;
  if (rule.removal == GroupRemoval::WhileChainLonger) remove = r.chain.Count() > 1;
  if (rule.removal == GroupRemoval::Always) remove = true;
  if (remove) {
    r.chain.Remove(open);
    r.chain.Remove(open + 1);
    if (rule.changeOnRemoval) r.Notify(1, open);
  }
  if (rule.forgetsVariable) g.gFoundVariable = false;
  return remove ? GroupOutcome::Removed : GroupOutcome::Kept;
}

GroupRounds ReduceRewrittenGroups(Reduction& r, const GroupRoundRules& rules) {
  GroupRounds rounds;
  int32_t open = 0;
  int32_t close = 0;
  const int32_t downTo = rules.searchToFirst ? r.first : r.first + 1;
  while ((!rules.searchToFirst || r.last - r.first > 0) && FindGroup(r.chain, r.last, downTo, open, close)) {
    const int32_t before = r.chain.Count();
    const GroupOutcome outcome = ReduceGroup(r, rules.group, open, close);
    rounds.treated = true;
    if (outcome == GroupOutcome::Ended) break;
    rounds.removed = rounds.removed || outcome == GroupOutcome::Removed;
    r.last -= before - r.chain.Count();
  }
  return rounds;
}

bool FindGroup(const dna& chain, int32_t from, int32_t downTo, int32_t& open, int32_t& close) {
  for (int32_t k = std::min(from, chain.Count()); k >= std::max(downTo, 1); --k) {
    if (chain[k].NameStr() != TypeStart) continue;
    for (int32_t m = k + 1; m <= chain.Count(); ++m) {
      if (chain[m].NameStr() == TypeEnd) {
        open = k;
        close = m;
        return true;
      }
    }
    return false;
  }
  return false;
}

}  // namespace morvex::detail
