#include "evaluation/function_words.hpp"

#include <cmath>
#include <cstddef>

namespace morvex {
namespace {

enum class Word {
  Unknown,
  Sign, ZrToOn, Abs, Fix, Int,
  Sin, Cos, Tan, Cot,
  ArcSin, ArcCos, ArcTan, ArcCot,
  Exp, E, Sqr, Ln, Log,
};

struct WordRow {
  std::string_view spelling;  // upper case where `any_case`, else the exact spelling
  bool any_case;
  Word word;
};

constexpr WordRow kWords[] = {
    {"SIGN", true, Word::Sign},     {"ZRTOON", true, Word::ZrToOn}, {"ABS", true, Word::Abs},
    {"FIX", true, Word::Fix},       {"INT", true, Word::Int},       {"SIN", true, Word::Sin},
    {"COS", true, Word::Cos},       {"TAN", true, Word::Tan},       {"COT", true, Word::Cot},
    {"ARCSIN", true, Word::ArcSin}, {"ARCCOS", true, Word::ArcCos}, {"ARCTAN", true, Word::ArcTan},
    {"ARCCOT", true, Word::ArcCot}, {"Exp", false, Word::Exp},      {"e", false, Word::E},
    {"Sqr", false, Word::Sqr},      {"Ln", false, Word::Ln},        {"Log", false, Word::Log},
};

constexpr char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool EqualsUpper(std::string_view text, std::string_view upper) {
  if (text.size() != upper.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (Upper(text[i]) != upper[i]) return false;
  }
  return true;
}

Word Recognize(std::string_view text) {
  if (text.empty()) return Word::Unknown;
  const char first = Upper(text[0]);
  for (const WordRow& row : kWords) {
    // The length and the first letter tell most rows apart before the spelling is compared.
    if (row.spelling.size() != text.size() || Upper(row.spelling[0]) != first) continue;
    if (row.any_case ? EqualsUpper(text, row.spelling) : text == row.spelling) return row.word;
  }
  return Word::Unknown;
}

WordResult Value(double z) { return {WordOutcome::Value, FormatNumber(z)}; }

WordResult Literal(std::string_view text) {
  WordResult result{WordOutcome::Value, NumberText{}};
  for (char c : text) result.text.chars[result.text.length++] = c;
  return result;
}

WordResult Give(WordOutcome outcome) { return {outcome, NumberText{}}; }

// Shorthands of the checked arithmetic, so that each row reads as written.
double Add(double a, double b) { return CheckedAdd(a, b); }
double Sub(double a, double b) { return CheckedSubtract(a, b); }
double Mul(double a, double b) { return CheckedMultiply(a, b); }
double Div(double a, double b) { return CheckedDivide(a, b); }

double M(double z) { return std::fabs(z); }
double W(double z) { return WholePart(z); }
// The value after a round trip through the number text.
double N(double z) { return ReadNumber(FormatNumber(z).view()); }
// Whole in the sense of the angle tests: the magnitude of the whole part equals
// the magnitude.
bool IsWhole(double y) { return M(W(y)) == M(y); }

// Sine, cosine, tangent and cotangent, with the argument in degrees.
WordResult DegreeRule(Word word, double v, double a) {
  // The argument in radians, computed only where a row needs it.
  auto radians = [&] { return Div(Mul(Mul(v, 4), a), 180); };
  switch (word) {
    case Word::Sin:
      if (IsWhole(Div(Add(v, 180), 180))) return Literal("0");
      return Value(std::sin(radians()));
    case Word::Cos:
      if (IsWhole(Div(Add(v, 90), 180))) return Literal("0");
      return Value(std::cos(radians()));
    case Word::Tan:
      if (IsWhole(Div(Add(v, 90), 180))) return Give(WordOutcome::Pole);
      if (IsWhole(Div(Add(v, 180), 180))) return Literal("0");
      return Value(std::tan(radians()));
    case Word::Cot:
      if (IsWhole(Div(Add(v, 180), 180))) return Give(WordOutcome::Pole);
      if (IsWhole(Div(Add(v, 90), 180))) return Literal("0");
      return Value(Div(1, std::tan(radians())));
    default:
      return Give(WordOutcome::None);
  }
}

// Sine, cosine, tangent and cotangent, with the argument in radians. The tests
// compare values after their round trip through text; they are one-sided by
// design (Sin of -3.14159265358979 is not caught).
WordResult RadianRule(Word word, double v, double a) {
  constexpr double kBelow = 1E-16;
  switch (word) {
    case Word::Sin: {
      const double y = Div(Div(Add(v, Mul(a, 4)), 4), a);
      if (N(M(y)) == Add(N(M(W(y))), 1)) return Literal("0");
      return Value(std::sin(v));
    }
    case Word::Cos: {
      const double y = Div(Add(v, Add(a, a)), Mul(a, 4));
      if (N(M(y)) == N(M(W(y)))) return Literal("0");
      return Value(std::cos(v));
    }
    case Word::Tan: {
      double y = Div(Add(v, Add(a, a)), Mul(a, 4));
      if (M(Sub(N(M(W(y))), N(M(y)))) < kBelow) return Give(WordOutcome::Pole);
      y = Div(Div(Add(v, Mul(a, 4)), 4), a);
      if (M(Sub(Add(N(M(W(y))), 1), N(M(y)))) < kBelow) return Literal("0");
      return Value(std::tan(v));
    }
    case Word::Cot: {
      double y = Div(Div(Add(v, Add(a, a)), 4), a);
      if (M(Sub(Sub(N(M(W(y))), 1), N(M(y)))) < kBelow) return Literal("0");
      y = Div(Add(v, Mul(a, 4)), Mul(a, 4));
      if (M(Sub(N(M(W(y))), N(M(y)))) < kBelow) return Give(WordOutcome::Pole);
      return Value(Div(1, std::tan(v)));
    }
    default:
      return Give(WordOutcome::None);
  }
}

// In degrees an inverse function first writes its value in radians as text,
// reads that back strictly and converts it: the rounding to 15 digits happens
// twice, and the last place shows it (ArcCos 0.5 is 60.0000000000001).
WordResult FromRadianText(double radians, double a) {
  const NumberText t = FormatNumber(radians);
  const double c = Div(180, Mul(a, 4));
  return Value(Mul(ReadNumberStrict(t.view()), c));
}

// The arcsine by way of the arctangent, for -1 < v < 1.
double ArcSinCore(double v) { return std::atan(Div(v, CheckedSqrt(Add(Mul(-v, v), 1)))); }

WordResult InverseRule(Word word, std::string_view argument, bool degree, double a) {
  const double v = ReadNumber(argument);
  switch (word) {
    case Word::ArcSin: {
      const double x = ReadNumberStrict(argument);
      if (x > 1 || x < -1) return Give(WordOutcome::Pole);
      if (degree) {
        if (v == -1) return Literal("-90");
        if (v == 1) return Literal("90");
        return FromRadianText(ArcSinCore(v), a);
      }
      if (v == -1) return Value(Mul(a, -2));
      if (v == 1) return Value(Add(a, a));
      return Value(ArcSinCore(v));
    }
    case Word::ArcCos: {
      if (v > 1 || v < -1) return Give(WordOutcome::Pole);
      if (degree) {
        if (v == -1) return Literal("180");
        if (v == 1) return Literal("0");
        if (v == 0) return Literal("90");
        const double s = std::atan(Div(-v, CheckedSqrt(Add(Mul(-v, v), 1))));
        return FromRadianText(Add(s, Add(a, a)), a);
      }
      if (v == -1) return Value(Mul(a, 4));
      if (v == 1) return Literal("0");
      if (v == 0) return Value(Add(a, a));
      const double s = std::atan(Div(CheckedSqrt(Sub(1, CheckedPower(v, 2))), v));
      if (v > 0) return Value(s);
      return Value(Add(s, Mul(a, 4)));
    }
    case Word::ArcTan:
      if (degree) return FromRadianText(std::atan(v), a);
      return Value(std::atan(v));
    case Word::ArcCot: {
      // The range is -90 to 90 degrees: the arccotangent of a negative number
      // is negative.
      const double s = std::atan(v);
      double radians;
      if (s < 0) {
        radians = Mul(Add(Add(a, a), s), -1);
      } else if (v == 0) {
        if (degree) return Literal("90");
        radians = Add(a, a);
      } else {
        radians = degree ? Add(-s, Add(a, a)) : Sub(Add(a, a), s);
      }
      if (degree) return FromRadianText(radians, a);
      return Value(radians);
    }
    default:
      return Give(WordOutcome::None);
  }
}

}  // namespace

bool IsFunctionWord(std::string_view word) { return Recognize(word) != Word::Unknown; }

bool IsTotalFunctionWord(std::string_view word) {
  const Word which = Recognize(word);
  return which != Word::Unknown && which != Word::Ln;
}

WordResult ApplyWordRule(std::string_view word, std::string_view argument, std::string_view angleUnit) {
  const Word which = Recognize(word);
  switch (which) {
    case Word::Unknown:
      return Give(WordOutcome::None);

    case Word::Sign:
      return Literal(ReadNumber(argument) >= 0 ? "1" : "-1");

    case Word::ZrToOn:
      if (ReadNumber(argument) != 0) return Give(WordOutcome::ArgumentText);
      return Literal("1");

    case Word::Abs:
      // The square root of the square: the square overflows from about 1.34E+154 on.
      return Value(CheckedSqrt(CheckedPower(ReadNumber(argument), 2)));

    case Word::Int:
      return Value(W(ReadNumberStrict(argument)));

    case Word::Fix: {
      // Towards zero: a negative number with a fraction goes one up from its whole part.
      const double v = ReadNumber(argument);
      if (v >= 0) return Value(W(ReadNumberStrict(argument)));
      if (M(v) != W(M(v))) return Value(Add(W(ReadNumberStrict(argument)), 1));
      return Value(W(ReadNumberStrict(argument)));
    }

    case Word::Exp:  // a power of ten, not of e
      return Value(CheckedPower(10, ReadNumber(argument)));

    case Word::E:
      return Value(CheckedExp(ReadNumber(argument)));

    case Word::Sqr: {
      const double v = ReadNumber(argument);
      if (v < 0) return Give(WordOutcome::Domain);
      return Value(CheckedSqrt(v));
    }

    case Word::Ln: {
      // 0 is not tested: it is the failure of the logarithm itself.
      const double v = ReadNumber(argument);
      if (v < 0) return Give(WordOutcome::Domain);
      return Value(CheckedLog(v));
    }

    case Word::Log: {
      const double v = ReadNumber(argument);
      if (v <= 0) return Give(WordOutcome::Domain);
      const double log10 = CheckedLog(10);
      return Value(Div(CheckedLog(v), log10));
    }

    case Word::Sin:
    case Word::Cos:
    case Word::Tan:
    case Word::Cot: {
      const bool degree = angleUnit == "Degree";
      if (!degree && angleUnit != "Radian") return Give(WordOutcome::None);
      const double v = ReadNumber(argument);
      const double a = std::atan(1.0);
      return degree ? DegreeRule(which, v, a) : RadianRule(which, v, a);
    }

    case Word::ArcSin:
    case Word::ArcCos:
    case Word::ArcTan:
    case Word::ArcCot:
      return InverseRule(which, argument, angleUnit == "Degree", std::atan(1.0));
  }
  return Give(WordOutcome::None);
}

}  // namespace morvex
