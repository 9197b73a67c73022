// The scanner: character and word classes, line cutting, folding, detection
// and the hand-over of the checked chain (echo, commas, target kinds).
// Stage tests drive the internal stages on a calculator's working chain;
// outcome tests go through Calculate and read the public properties.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "calculator/calculator.hpp"
#include "calculator/shared_state.hpp"
#include "morvex/morvex.hpp"
#include "scanner/classify.hpp"
#include "scanner/scanner.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

// A calculator in an empty program folder whose host answers no prompt.
struct Calc {
  test::TempFolder folder;
  clsMorvex m;
  Calc() {
    m.ProgramFolder(folder.str());
    m.Initialize();
    m.Events().InputBox = [](std::string& num) { num.clear(); };
  }
  detail::Calculator& in() { return m.Internals(); }
};

// Columns in the order of the successor table: BAns BChar BEnd BExtra BFirst
// BFunction BLast BNumber BOper BPlus BPower BPowerNum BSign BStart.
std::string FlagText(const Cell& cell) {
  const bool bits[14] = {cell.BAns(),  cell.BChar(),  cell.BEnd(),   cell.BExtra(),    cell.BFirst(),
                         cell.BFunction(), cell.BLast(), cell.BNumber(), cell.BOper(), cell.BPlus(),
                         cell.BPower(), cell.BPowerNum(), cell.BSign(), cell.BStart()};
  std::string text;
  for (bool bit : bits) text.push_back(bit ? '1' : '0');
  return text;
}

using Cells = std::vector<std::pair<std::string, int>>;

Cells CellsOf(const dna& chain) {
  Cells cells;
  for (const Cell& cell : chain) cells.emplace_back(std::string(cell.Value()), cell.NameStr());
  return cells;
}

std::vector<std::string> ValuesOf(const dna& chain) {
  std::vector<std::string> values;
  for (const Cell& cell : chain) values.emplace_back(cell.Value());
  return values;
}

// ---------------------------------------------------------------------------
// ClassifyChar and ClassifyWord.

TEST(ScannerClassify, KnownCharactersGetTheirClass) {
  const std::pair<char, int16_t> cases[] = {
      {',', 20}, {'=', 13}, {'A', 11}, {'Z', 11}, {'a', 11}, {'z', 11}, {'m', 11}, {'.', 1}, {'0', 1},
      {'9', 1},  {'+', 3},  {'-', 3},  {'*', 4},  {'/', 4},  {'^', 5},  {'(', 7},  {')', 8},  {'!', 16},
      {'<', 51}, {'>', 52}, {'?', 53}, {'[', 54}, {']', 55}, {'#', 56}, {'@', 57}, {':', 58}, {'|', 59},
  };
  for (auto [c, expected] : cases) {
    Shared().gCharClass = 99;
    ClassifyChar(c);
    EXPECT_EQ(Shared().gCharClass, expected) << "character '" << c << "'";
  }
}

TEST(ScannerClassify, UnknownCharactersKeepTheClassBeforeThem) {
  const char unknown[] = {' ', '\t', '`', '%', '&', '_', ';', '\\', '{', '}', '"', '\'', '~', '$',
                          static_cast<char>(0xE9), static_cast<char>(0x80), static_cast<char>(0xFF), '\0', '\x7f'};
  for (char before : {'(', '+', '1', 'x', '|'}) {
    for (char c : unknown) {
      ClassifyChar(before);
      const int16_t previous = Shared().gCharClass;
      ClassifyChar(c);
      EXPECT_EQ(Shared().gCharClass, previous) << "code " << int(static_cast<unsigned char>(c)) << " after '" << before << "'";
    }
  }
  ClassifyChar('(');
  ClassifyChar(' ');
  EXPECT_EQ(Shared().gCharClass, 7);
  ClassifyChar('+');
  ClassifyChar(' ');
  EXPECT_EQ(Shared().gCharClass, 3);
}

TEST(ScannerClassify, ReservedWordsAnyCase) {
  const std::pair<const char*, int16_t> cases[] = {
      {"sIn", 21},    {"COS", 22},    {"tan", 23},  {"Cot", 24},     {"arcsin", 25}, {"ARCCOS", 26},
      {"ARCTAN", 27}, {"log", 28},    {"Ln", 29},   {"xp", 30},      {"XP", 30},     {"E", 31},
      {"e", 31},      {"sqr", 32},    {"pI", 33},   {"ans", 34},     {"ArcCot", 35}, {"fix", 36},
      {"xvar", 37},   {"YVAR", 38},   {"sign", 39}, {"zrtoon", 40},  {"abs", 41},    {"INT", 42},
      {"EX", 0},      {"sinh", 0},    {"si", 0},    {"", 0},         {"arcsinh", 0}, {"exp", 0},
      {"x", 0},       {"ZRTOONS", 0}, {"a_b", 0},
  };
  Calc calc;
  for (auto [word, expected] : cases) {
    EXPECT_EQ(ClassifyWord(word, calc.in().Variables), expected) << "word \"" << word << "\"";
  }
}

TEST(ScannerClassify, UserVariableHidesAReservedWordOfExactlyItsSpelling) {
  Calc calc;
  calc.in().Variables.Add("log", "log");
  calc.in().Variables.Add("xvar1", "xvar1");
  EXPECT_EQ(ClassifyWord("log", calc.in().Variables), 0);
  EXPECT_EQ(ClassifyWord("LOG", calc.in().Variables), 28);
  EXPECT_EQ(ClassifyWord("Log", calc.in().Variables), 28);
  // XVar and YVar cannot be hidden, and the built-in Ans at position 1 hides nothing.
  Calc other;
  other.in().Variables.Add("xvar", "");  // the key XVar is taken by the built-in
  EXPECT_EQ(ClassifyWord("xvar", other.in().Variables), 37);
  EXPECT_EQ(ClassifyWord("Ans", other.in().Variables), 34);
}

// ---------------------------------------------------------------------------
// Line cutting.

struct CutCase {
  const char* line;
  std::vector<std::string> cells;
  const char* target;
  const char* endText;
};

TEST(ScannerLineCutting, ExpressionTargetAndTrailingText) {
  const CutCase cases[] = {
      {"2+3", {"2", "+", "3"}, "", ""},
      {"2+3=x", {"2", "+", "3"}, "x", ""},
      {"2+3=x1 cm", {"2", "+", "3"}, "x", "1cm"},
      {"2+3 metres", {"2", "+", "3"}, "", "metres"},
      {"2+3 in total", {"2", "+", "3"}, "", "in total"},
      {"2+3  two", {"2", "+", "3"}, "", " two"},
      {"2+3\"metres\"", {"2", "+", "3"}, "", "metres"},
      {"2+3\"metres\" ignored", {"2", "+", "3"}, "", "metres"},
      {"2+3\"abc def", {"2", "+", "3"}, "", "abc def"},
      {"2+3'note", {"2", "+", "3"}, "", ""},
      {"2+3 a'note", {"2", "+", "3"}, "", "a"},
      {"2\"a'b", {"2"}, "", "a"},
      {"2 a\"b\"c", {"2"}, "", "a b"},
      {"2 +3=x", {"2", " ", "+", "3"}, "", "+3=x"},
      {"2+3=x\"note\"", {"2", "+", "3"}, "x", "note"},
      {"=x", {}, "x", ""},
      {" 5", {}, "", "5"},
      {"'", {}, "", ""},
      {"'2+3", {}, "", ""},
      {"2+3=", {"2", "+", "3"}, "", ""},
      {"1=a=b", {"1"}, "a", "=b"},
      {"1=1x", {"1"}, "", "1x"},
      {"1=a_b", {"1"}, "a", "_b"},
      {"1=Zz[", {"1"}, "Zz", "["},
      {"1=a{|}~b", {"1"}, "a{|}~b", ""},
      {"1=a\xAC\xAD", {"1"}, "a\xAC", "\xAD"},
      {"1=x y", {"1"}, "x", "y"},
  };
  for (const CutCase& tc : cases) {
    SCOPED_TRACE(std::string("line \"") + tc.line + "\"");
    Calc calc;
    detail::CutLine(calc.in(), tc.line);
    EXPECT_EQ(ValuesOf(calc.in().WorkingChain), tc.cells);
    EXPECT_EQ(calc.in().StringVariable, tc.target);
    EXPECT_EQ(Shared().gEndText, tc.endText);
    EXPECT_EQ(Shared().gReport.StrEnd, tc.endText);
    EXPECT_EQ(Shared().gReport.StrVariable, tc.target);
  }
}

TEST(ScannerLineCutting, EveryCellTakesTheClassAndTheTemplateOfItsCharacter) {
  Calc calc;
  Shared().gCharClass = 0;
  detail::CutLine(calc.in(), "(2 +x)");
  // The space takes the class of the digit before it; the template's flags are copied on each cell.
  const Cells expected = {{"(", 7}, {"2", 1}};
  EXPECT_EQ(CellsOf(calc.in().WorkingChain), expected);
  const Cell& two = calc.in().WorkingChain.Item(2);
  EXPECT_EQ(FlagText(two), "11101111111001");  // the number row inside a parenthesis
  EXPECT_EQ(Shared().gEndText, "+x)");
}

TEST(ScannerLineCutting, FirstCharacterUnknownTakesTheClassLeftBehind) {
  Calc calc;
  Shared().gCharClass = 0;
  detail::CutLine(calc.in(), "%");
  ASSERT_EQ(calc.in().WorkingChain.Count(), 1);
  EXPECT_EQ(calc.in().WorkingChain.Item(1).NameStr(), 0);  // the very first line of a process
  detail::CutLine(calc.in(), "1+(");
  detail::CutLine(calc.in(), "%");
  EXPECT_EQ(calc.in().WorkingChain.Item(1).NameStr(), 7);
  // The apostrophe that ends a line is classified too, as an unknown character.
  detail::CutLine(calc.in(), "2*'");
  detail::CutLine(calc.in(), "%");
  EXPECT_EQ(calc.in().WorkingChain.Item(1).NameStr(), 4);
}

TEST(ScannerLineCutting, LineLongerThan32767CharactersIsTheOverflowFailure) {
  Calc calc;
  try {
    detail::CutLine(calc.in(), std::string(40000, '1'));
    ADD_FAILURE() << "no failure";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), failure_code::Overflow);
  }
}

// ---------------------------------------------------------------------------
// Folding, through the stages up to the folded working chain.

Cells FoldedCells(Calc& calc, const std::string& line) {
  detail::CutLine(calc.in(), line);
  detail::RunFormulaStage(calc.in());
  detail::FoldChain(calc.in());
  return CellsOf(calc.in().WorkingChain);
}

TEST(ScannerFolding, CellsAndCodesOfTheFoldedChain) {
  const std::pair<const char*, Cells> cases[] = {
      {"12.5+3", {{"12.5", 1}, {"+", 3}, {"3", 1}}},
      {"2E-5", {{"2", 1}, {"E", 2}, {"-", 3}, {"5", 1}}},
      {"2E5", {{"2", 1}, {"E", 2}, {"5", 1}}},
      {"2exp3", {{"2", 1}, {"Exp", 2}, {"3", 1}}},
      {"2EXP3", {{"2", 1}, {"Exp", 2}, {"3", 1}}},
      {"2Exp3", {{"2", 1}, {"Exp", 2}, {"3", 1}}},
      {"sin(pi)", {{"Sin", 2}, {"(", 7}, {"PI", 2}, {")", 8}}},
      {"sIN(1)", {{"Sin", 2}, {"(", 7}, {"1", 1}, {")", 8}}},
      {"SIN(1)", {{"Sin", 2}, {"(", 7}, {"1", 1}, {")", 8}}},
      {"ANS+1", {{"Ans", 2}, {"+", 3}, {"1", 1}}},
      {"5!", {{"5", 1}, {"!", 16}}},
      {"xvar^2", {{"XVar", 14}, {"^", 5}, {"2", 1}}},
      {"yVaR", {{"YVar", 15}}},
      {"sinh(1)", {{"Sin", 2}, {"h", 11}, {"(", 7}, {"1", 1}, {")", 8}}},
      {"pix", {{"PI", 2}, {"x", 11}}},
      {"logx", {{"Log", 2}, {"x", 11}}},
      {"1.2.3", {{"1.2.3", 1}}},
      {"2 3=x", {{"2 3", 1}}},
      {"xp", {{"xp", 11}}},
      {"2*xp", {{"2", 1}, {"*", 4}, {"xp", 11}}},
      {"e", {{"e", 2}}},
      {"abc", {{"abc", 11}}},
      {"a_b", {{"a_b", 11}}},
      {"arccot(abs(zrtoon(1)))",
       {{"ArcCot", 2}, {"(", 7}, {"ABS", 2}, {"(", 7}, {"ZrToOn", 2}, {"(", 7}, {"1", 1}, {")", 8}, {")", 8}, {")", 8}}},
      {"fix(int(sign(sqr(ln(4)))))",
       {{"Fix", 2}, {"(", 7}, {"Int", 2}, {"(", 7}, {"Sign", 2}, {"(", 7}, {"Sqr", 2}, {"(", 7}, {"Ln", 2}, {"(", 7},
        {"4", 1}, {")", 8}, {")", 8}, {")", 8}, {")", 8}, {")", 8}}},
      {"cos1+tan2+cot3", {{"Cos", 2}, {"1", 1}, {"+", 3}, {"Tan", 2}, {"2", 1}, {"+", 3}, {"Cot", 2}, {"3", 1}}},
      {"arcsin1-arccos1*arctan1",
       {{"ArcSin", 2}, {"1", 1}, {"-", 3}, {"ArcCos", 2}, {"1", 1}, {"*", 4}, {"ArcTan", 2}, {"1", 1}}},
      // An e inside a word breaks it: "sec" is s, the mark e, c.
      {"sec", {{"s", 11}, {"e", 2}, {"c", 11}}},
  };
  for (const auto& [line, expected] : cases) {
    Calc calc;
    EXPECT_EQ(FoldedCells(calc, line), expected) << "line \"" << line << "\"";
  }
}

TEST(ScannerFolding, FlagRowsThatFoldingWrites) {
  struct Case {
    const char* line;
    int32_t cell;
    const char* flags;  // BAns BChar BEnd BExtra BFirst BFunction BLast BNumber BOper BPlus BPower BPowerNum BSign BStart
  };
  const Case cases[] = {
      {"2E5", 2, "00001001000010"},      // capital mark: a number or a sign must follow
      {"2exp3", 2, "00001001000010"},    // Exp is a capital mark too
      {"e", 1, "11001101000011"},        // small mark: a function word that may not end a line
      {"pi", 1, "11101111111001"},       // value word
      {"ans", 1, "11101111111001"},
      {"xvar", 1, "11101111111001"},     // XVar, YVar row
      {"yvar", 1, "11101111111001"},
      {"sin", 1, "11111101000111"},      // the row of code 2
      {"abs", 1, "11111101000111"},
      {"xp", 1, "11d01111111001"},       // an open word: the row of its last letter
      {"12.5", 1, "11d01111111001"},
  };
  for (const Case& tc : cases) {
    Calc calc;
    FoldedCells(calc, tc.line);
    std::string expected = tc.flags;
    for (char& c : expected) {
      if (c == 'd') c = '0';
    }
    EXPECT_EQ(FlagText(calc.in().WorkingChain.Item(tc.cell)), expected) << "line \"" << tc.line << "\"";
  }
}

// ---------------------------------------------------------------------------
// Detection outcomes, through Calculate and the public properties.

struct ErrorCase {
  const char* line;
  int16_t number;
  int16_t first;  // 0-based
  int16_t length;
};

TEST(ScannerDetection, ErrorNumberPositionAndLength) {
  const ErrorCase cases[] = {
      {"2+*3", 5, 2, 1},   {"2+", 1, 1, 1},     {"*3", 1, 0, 1},    {")", 1, 0, 1},    {"^2", 1, 0, 1},
      {"!3", 1, 0, 1},     {"!", 1, 0, 1},      {"2^*3", 5, 2, 1},  {"2**3", 5, 2, 1}, {"1.2.3+1", 2, 0, 5},
      {"1+2.3.4", 2, 2, 5}, {"1+2..", 2, 2, 3}, {"2)", 7, 1, 1},    {"()", 7, 1, 1},   {"(2+)", 7, 3, 1},
      {"(2))", 7, 3, 1},   {"(", 1, 0, 1},      {"sin(", 1, 3, 1},  {"sIN(", 1, 3, 1}, {"sin", 1, 0, 3},
      {"(3)!", 1, 3, 1},   {"3!!", 1, 2, 1},    {"2E", 1, 1, 1},    {"E", 1, 0, 1},    {"e", 1, 0, 1},
      {"2Ex", 4, 2, 1},    {"2exp*3", 5, 4, 1}, {"-", 1, 0, 1},     {"pi sin", 0, 0, 2}, {"2E*5", 5, 2, 1},
      {"2+(3*)", 7, 5, 1}, {"(1))+((2", 7, 3, 1},
  };
  for (const ErrorCase& tc : cases) {
    SCOPED_TRACE(std::string("line \"") + tc.line + "\"");
    Calc calc;
    calc.m.Calculate(std::string_view(tc.line));
    EXPECT_EQ(calc.m.ErrNumber(), tc.number);
    EXPECT_EQ(calc.m.ErrFirst(), tc.first);
    EXPECT_EQ(calc.m.ErrLength(), tc.length);
    if (tc.number != 0) {
      EXPECT_EQ(calc.m.OutString(), std::string(ErrorName(tc.number)));
      EXPECT_EQ(calc.m.ErrDescription(), std::string(ErrorName(tc.number)));
    }
  }
}

TEST(ScannerDetection, LinesThatPassDetection) {
  const char* lines[] = {"-3",   "+3",   "2*-3", "2+-3", "2^-3", "2+--3", "(1+2", "((1",   "3!",    "2E5",
                         "2E-5", "2E+5", "sin^2(1)", "2,3", "sin+1", "e1", "2exp3", "pi", "(2)(3)", "2(3)"};
  for (const char* line : lines) {
    SCOPED_TRACE(std::string("line \"") + line + "\"");
    Calc calc;
    calc.m.Calculate(std::string_view(line));
    EXPECT_EQ(calc.m.ErrNumber(), 0) << calc.m.OutString();
    EXPECT_EQ(calc.m.ErrFirst(), 0);
    EXPECT_EQ(calc.m.ErrLength(), static_cast<int16_t>(calc.m.InString().size()));
    EXPECT_FALSE(calc.m.OutString().empty());
  }
}

TEST(ScannerDetection, UnknownWordDeclinedByTheHostIsNoPositionError) {
  Calc calc;
  calc.m.Calculate(std::string_view("a"));
  EXPECT_TRUE(calc.m.ErrNumber() == 0 || calc.m.ErrNumber() == 13) << calc.m.ErrNumber();
  EXPECT_FALSE(calc.in().VariableExists("a"));
}

TEST(ScannerDetection, SignsAndPowersAreRecodedOnTheChain) {
  struct Case {
    const char* line;
    Cells cells;
  };
  const Case cases[] = {
      {"-3", {{"-", 6}, {"3", 1}}},
      {"2*-3", {{"2", 1}, {"*", 4}, {"-", 6}, {"3", 1}}},
      {"2+--3", {{"2", 1}, {"+", 3}, {"-", 6}, {"-", 6}, {"3", 1}}},
      {"sin+1", {{"Sin", 2}, {"+", 6}, {"1", 1}}},
      {"sin^2(1)", {{"Sin", 2}, {"^", 12}, {"2", 1}, {"(", 7}, {"1", 1}, {")", 8}}},
      {"2^3", {{"2", 1}, {"^", 5}, {"3", 1}}},
      {"(1+2", {{"(", 7}, {"1", 1}, {"+", 3}, {"2", 1}, {")", 8}}},
      {"((1", {{"(", 7}, {"(", 7}, {"1", 1}, {")", 8}, {")", 8}}},
      {"2+*3", {{"2", 1}, {"+", 3}, {"*", 4}, {"3", 1}}},  // an error leaves the chain as it stands
      {"(2+*3", {{"(", 7}, {"2", 1}, {"+", 3}, {"*", 4}, {"3", 1}}},
  };
  for (const Case& tc : cases) {
    Calc calc;
    FoldedCells(calc, tc.line);
    detail::DetectChain(calc.in());
    EXPECT_EQ(CellsOf(calc.in().WorkingChain), tc.cells) << "line \"" << tc.line << "\"";
  }
}

TEST(ScannerDetection, AddedCloseParenthesesCarryTheAddPatternFlags) {
  Calc calc;
  FoldedCells(calc, "(1");
  detail::DetectChain(calc.in());
  ASSERT_EQ(calc.in().WorkingChain.Count(), 3);
  EXPECT_EQ(FlagText(calc.in().WorkingChain.Item(3)), "01101010000110");
}

TEST(ScannerDetection, VariablesAreBoundOnlyOnALineWithoutTarget) {
  Calc calc;
  calc.m.Calculate(std::string_view("5=Rate"));
  ASSERT_TRUE(calc.in().VariableExists("rate"));
  FoldedCells(calc, "rate*2");
  detail::DetectChain(calc.in());
  EXPECT_EQ(CellsOf(calc.in().WorkingChain), (Cells{{"Rate", 2}, {"*", 4}, {"2", 1}}));
  EXPECT_EQ(FlagText(calc.in().WorkingChain.Item(1)), "11101111111001");
  FoldedCells(calc, "rate*2=y");
  detail::DetectChain(calc.in());
  EXPECT_EQ(CellsOf(calc.in().WorkingChain), (Cells{{"Rate", 99}, {"*", 4}, {"2", 1}}));
}

// ---------------------------------------------------------------------------
// Hand-over: echo, commas, targets.

TEST(ScannerHandOver, EchoShowsCanonicalSpellingAndClosedParentheses) {
  const std::pair<const char*, const char*> cases[] = {
      {"(1+2", "(1+2)"},         {"((1", "((1))"},          {"sIN(1)", "Sin(1)"},     {"sin(0", "Sin(0)"},
      {"pi", "PI"},              {"ans+1", "Ans+1"},        {"abs(-1)", "ABS(-1)"},   {"2EXP3", "2Exp3"},
      {"arccos(1)", "ArcCos(1)"}, {"1,000+1", "1,000+1"},   {"xvar^2=f", "XVar^2"},   {"2+3 cm", "2+3"},
      {"2+*3", "2+*3"},          {"sin", "Sin"},            {"zrtoon(2)", "ZrToOn(2)"}, {"(sqr(4", "(Sqr(4))"},
  };
  for (auto [line, echo] : cases) {
    Calc calc;
    std::string text = line;
    calc.m.Calculate(text);
    EXPECT_EQ(calc.m.InString(), echo) << "line \"" << line << "\"";
    EXPECT_EQ(text, echo) << "TText of \"" << line << "\"";
  }
}

TEST(ScannerHandOver, EchoShowsAVariableInItsOwnSpelling) {
  Calc calc;
  calc.m.Calculate(std::string_view("5=Rate"));
  calc.m.Calculate(std::string_view("RATE*2"));
  EXPECT_EQ(calc.m.InString(), "Rate*2");
  EXPECT_EQ(calc.m.OutString(), "10");
}

TEST(ScannerHandOver, CommasLeaveTheChainBeforeAnyValueIsComputed) {
  struct Case {
    const char* line;
    const char* firstComputed;
  };
  for (Case tc : {Case{"1,000+1", "1000+1"}, Case{"2,-3", "2-3"}, Case{"2+3,", "2+3,"}}) {
    Calc calc;
    std::string firstSeen;
    bool seen = false;
    calc.m.Events().Change = [&](int16_t, int16_t) {
      if (!seen) firstSeen = calc.m.DNAString();
      seen = true;
    };
    calc.m.Calculate(std::string_view(tc.line));
    EXPECT_TRUE(seen || calc.m.ErrNumber() != 0) << tc.line;
    if (seen) {
      EXPECT_EQ(firstSeen, tc.firstComputed) << tc.line;
    }
  }
}

TEST(ScannerHandOver, SignAfterACommaIsUnary) {
  // As a binary minus "2,-3" would be 2-3; as a sign it is 2 times -3.
  Calc calc;
  calc.m.Calculate(std::string_view("2,-3"));
  EXPECT_EQ(calc.m.ErrNumber(), 0);
  EXPECT_EQ(calc.m.OutString(), "-6");
  EXPECT_EQ(calc.m.InString(), "2,-3");
}

TEST(ScannerHandOver, TargetKindsAndStoredChains) {
  struct Case {
    const char* line;
    const char* name;
    int16_t typeVar;
    const char* out;
    const char* stored;
  };
  const Case cases[] = {
      {"XVar^2=f", "f", 2, "f", "XVar^2"},
      {"YVar+XVar=g", "g", 4, "g", "YVar+XVar"},
      {"yvar*2=h", "h", 3, "h", "YVar*2"},
      {"2+3=x", "x", 1, "5", "2+3"},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE(tc.line);
    Calc calc;
    calc.m.Calculate(std::string_view(tc.line));
    EXPECT_EQ(calc.m.OutString(), tc.out);
    EXPECT_EQ(calc.m.Expression(), std::string("New Variable ") + tc.name + " Added");
    detail::Calculator& in = calc.in();
    const int32_t index = in.VariableIndex(tc.name);
    ASSERT_EQ(index, 4);
    EXPECT_EQ(in.Variables.Item(index).TypeVar, tc.typeVar);
    dna& stored = in.StoredChain(index);
    EXPECT_EQ(stored.Join(), tc.stored);
    EXPECT_EQ(stored.Item(tc.name).Value(), stored.Item(1).Value());  // the first cell under the name
    for (const Cell& cell : stored) {
      EXPECT_EQ(cell.KeyVal(), tc.name);
      EXPECT_EQ(cell.NameStr(), 0);
    }
  }
}

TEST(ScannerHandOver, AssigningAgainReplacesTheChainWithoutMessage) {
  Calc calc;
  calc.m.Calculate(std::string_view("3=x"));
  EXPECT_EQ(calc.m.Expression(), "New Variable x Added");
  EXPECT_EQ(calc.in().Variables.Item("x").Value, 3);
  EXPECT_EQ(calc.in().Variables.Item("x").TypeVar, 1);
  calc.m.Calculate(std::string_view("4+1=X"));
  EXPECT_EQ(calc.m.Expression(), "");
  EXPECT_EQ(calc.in().Variables.Count(), 4);
  EXPECT_EQ(calc.in().Variables.Item("x").Value, 5);
  EXPECT_EQ(calc.in().StoredChain(4).Join(), "4+1");
}

TEST(ScannerHandOver, WrongLineDropsItsTargetButStillAsksForRecalculation) {
  Calc calc;
  std::vector<double> updates;
  calc.m.Events().UpdateVariables = [&](double percent) { updates.push_back(percent); };
  calc.m.Calculate(std::string_view("2+=x"));
  EXPECT_EQ(calc.m.ErrNumber(), 1);
  EXPECT_EQ(calc.m.ErrFirst(), 1);
  EXPECT_FALSE(calc.in().VariableExists("x"));
  EXPECT_EQ(calc.m.StringVariable(), "\r\n");
  ASSERT_FALSE(updates.empty());
  EXPECT_EQ(updates.back(), 1.0);
  EXPECT_FALSE(Shared().gRecalculate);
}


// ---------------------------------------------------------------------------
// Any line: an answer, or an error whose place lies inside the echoed line.

TEST(ScannerRobustness, RandomLinesGetAnAnswerOrAnErrorInsideTheEcho) {
  const std::string known = "0123456789.+-*/^()!,=<>?[]#@:|eEsinpxXvarlog";
  const std::string unknown = " \"'%_\t";
  std::mt19937 random(20240611);
  int errors = 0;
  int answers = 0;
  for (int batch = 0; batch < 40; ++batch) {
    Calc calc;
    for (int n = 0; n < 60; ++n) {
      std::string line;
      const int length = static_cast<int>(random() % 14);
      bool plain = true;
      for (int k = 0; k < length; ++k) {
        if (random() % 10 == 0) {
          line.push_back(unknown[random() % unknown.size()]);
          plain = false;
        } else {
          line.push_back(known[random() % known.size()]);
        }
      }
      SCOPED_TRACE("line \"" + line + "\"");
      std::string text = line;
      try {
        calc.m.Calculate(text);
      } catch (const Failure& failure) {
        EXPECT_NE(std::string(failure.what()), "");
        continue;
      }
      if (line.empty()) continue;
      const int16_t number = calc.m.ErrNumber();
      EXPECT_EQ(text, calc.m.InString());
      if (number >= 1 && number <= 9) {
        ++errors;
        EXPECT_EQ(calc.m.OutString(), std::string(ErrorName(number)));
        EXPECT_GE(calc.m.ErrFirst(), 0);
        EXPECT_GE(calc.m.ErrLength(), 1);
        EXPECT_LE(calc.m.ErrFirst() + calc.m.ErrLength(), static_cast<int>(calc.m.InString().size()));
      } else {
        ++answers;
        EXPECT_TRUE(number == 0 || number == 13) << number;
        EXPECT_EQ(calc.m.ErrFirst(), 0);
        EXPECT_EQ(calc.m.ErrLength(), static_cast<int16_t>(calc.m.InString().size()));
        if (plain) {
          // Open parentheses were closed, and a surplus one is an error.
          const std::string& echo = calc.m.InString();
          EXPECT_EQ(std::count(echo.begin(), echo.end(), '('), std::count(echo.begin(), echo.end(), ')')) << echo;
        }
      }
    }
  }
  // The mix covers both outcomes.
  EXPECT_GT(errors, 100);
  EXPECT_GT(answers, 100);
}

}  // namespace
}  // namespace morvex
