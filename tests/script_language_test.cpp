// Statements and procedures of the script language: If, the loops, Select
// Case, Exit, calls with ByRef and ByVal, recursion, variables, constants,
// arrays, Option Explicit, comments, continuation lines and separators.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "morvex/failure.hpp"
#include "platform/script/script_control.hpp"

namespace {

using morvex::Failure;
using morvex::script::ScriptControl;

// A script file with CR LF line ends reaches the engine with a CR between lines.
std::string Lines(std::initializer_list<std::string_view> lines) {
  std::string text;
  for (std::string_view line : lines) {
    text.append(line);
    text += '\r';
  }
  return text;
}

struct Case {
  const char* name;
  std::string script;
  const char* procedure;
  std::vector<std::string> args;
  const char* expected;  // result text; nullptr when `code` is expected
  int32_t code = 0;
};

void Check(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    std::vector<std::string> args = c.args;
    try {
      ScriptControl engine;
      engine.Language("vbscript");
      engine.ExecuteStatement(c.script);
      std::string result = engine.Run(c.procedure, args);
      if (c.expected == nullptr) {
        ADD_FAILURE() << c.name << ": expected failure " << c.code << ", got " << result;
      } else {
        EXPECT_EQ(result, c.expected) << c.name;
      }
    } catch (const Failure& failure) {
      if (c.expected != nullptr) {
        ADD_FAILURE() << c.name << ": failed with " << failure.code() << ": " << failure.what();
      } else {
        EXPECT_EQ(failure.code(), c.code) << c.name << ": " << failure.what();
      }
    }
  }
}

TEST(ScriptLanguage, IfInBlockAndSingleLineForms) {
  std::string block = Lines({
      "Function Grade(n)",
      "  If n >= 90 Then",
      "    Grade = \"A\"",
      "  ElseIf n >= 80 Then",
      "    Grade = \"B\"",
      "  ElseIf n >= 70 Then Grade = \"C\"",
      "  Else",
      "    Grade = \"F\"",
      "  End If",
      "End Function",
  });
  std::string single = Lines({
      "Function Sign(n)",
      "  If n > 0 Then Sign = \"+\" Else If n < 0 Then Sign = \"-\" Else Sign = \"0\"",
      "End Function",
      "Function Two(n)",
      "  If n > 0 Then Two = \"a\" : Two = Two & \"b\" Else Two = \"c\" : Two = Two & \"d\"",
      "End Function",
      "Function Colon(n)",
      "  If n Then: Colon = 1",
      "End Function",
  });
  Check({
      {"block first arm", block, "Grade", {"95"}, "A"},
      {"block ElseIf", block, "Grade", {"85"}, "B"},
      {"ElseIf with statement on its line", block, "Grade", {"75"}, "C"},
      {"block Else", block, "Grade", {"10"}, "F"},
      {"single line then", single, "Sign", {"3"}, "+"},
      {"nested single line", single, "Sign", {"-3"}, "-"},
      {"nested single line else", single, "Sign", {"0"}, "0"},
      {"several statements in then", single, "Two", {"1"}, "ab"},
      {"several statements in else", single, "Two", {"0"}, "cd"},
      {"colon after Then", single, "Colon", {"1"}, "1"},
      {"colon after Then, false", single, "Colon", {"0"}, ""},
  });
}

TEST(ScriptLanguage, ForLoops) {
  std::string script = Lines({
      "Function Sum(n)",
      "  Dim i",
      "  For i = 1 To n",
      "    Sum = Sum + i",
      "  Next",
      "End Function",
      "Function Down()",
      "  Dim i, s",
      "  For i = 10 To 1 Step -3 : s = s & i & \",\" : Next i",
      "  Down = s & i",
      "End Function",
      "Function Fraction()",
      "  Dim x, n",
      "  For x = 0 To 1 Step 0.25 : n = n + 1 : Next",
      "  Fraction = n & \" \" & x",
      "End Function",
      "Function Skip()",
      "  Dim i",
      "  For i = 5 To 1",
      "    Skip = \"ran\"",
      "  Next",
      "  Skip = Skip & i",
      "End Function",
      "Function FirstOver(limit)",
      "  Dim i",
      "  For i = 1 To 100",
      "    If i * i > CInt(limit) Then Exit For",
      "  Next",
      "  FirstOver = i",
      "End Function",
      "Function Nested()",
      "  Dim i, j",
      "  For i = 1 To 3",
      "    For j = 1 To 3",
      "      If j > i Then Exit For",
      "      Nested = Nested + 1",
      "    Next",
      "  Next",
      "End Function",
      "Function Bounds(a, b)",
      "  Dim i",
      "  For i = a To b : Bounds = Bounds & i : Next",
      "End Function",
      "Function Changed()",
      "  Dim i, n",
      "  For i = 1 To 10 : i = i + 1 : n = n + 1 : Next",
      "  Changed = n",
      "End Function",
  });
  Check({
      {"sum", script, "Sum", {"100"}, "5050"},
      {"negative step and counter after the loop", script, "Down", {}, "10,7,4,1,-2"},
      {"fractional step", script, "Fraction", {}, "5 1.25"},
      {"loop that never runs", script, "Skip", {}, "5"},
      {"Exit For", script, "FirstOver", {"50"}, "8"},
      {"Exit For leaves the inner loop only", script, "Nested", {}, "6"},
      {"string bounds are numbers", script, "Bounds", {"2", "4"}, "234"},
      {"the body may change the counter", script, "Changed", {}, "5"},
  });
}

TEST(ScriptLanguage, ForEachOverArrays) {
  std::string script = Lines({
      "Function Total()",
      "  Dim v",
      "  For Each v In Array(1, 2, 3.5)",
      "    Total = Total + v",
      "  Next",
      "End Function",
      "Function Grid()",
      "  Dim g(1, 2), v, i, j",
      "  For i = 0 To 1 : For j = 0 To 2 : g(i, j) = i & j : Next : Next",
      "  For Each v In g : Grid = Grid & v & \" \" : Next",
      "End Function",
      "Function Snapshot()",
      "  Dim a, v",
      "  a = Array(1, 2, 3)",
      "  For Each v In a",
      "    a(2) = 100",
      "    Snapshot = Snapshot + v",
      "  Next",
      "  Snapshot = Snapshot & \"/\" & a(2)",
      "End Function",
      "Function FirstBig()",
      "  Dim v",
      "  For Each v In Array(1, 5, 9, 12)",
      "    If v > 4 Then Exit For",
      "  Next",
      "  FirstBig = v",
      "End Function",
      "Function NotArray()",
      "  Dim v",
      "  For Each v In 5 : Next",
      "End Function",
  });
  Check({
      {"sum of elements", script, "Total", {}, "6.5"},
      {"two dimensions, first index fastest", script, "Grid", {}, "00 10 01 11 02 12 "},
      {"runs over the array as it was", script, "Snapshot", {}, "6/100"},
      {"Exit For", script, "FirstBig", {}, "5"},
      {"not an array", script, "NotArray", {}, nullptr, 451},
  });
}

TEST(ScriptLanguage, DoAndWhileLoops) {
  std::string script = Lines({
      "Function WhileTop(n)",
      "  Do While n > 1 : n = n / 2 : WhileTop = WhileTop + 1 : Loop",
      "End Function",
      "Function UntilTop(n)",
      "  Do Until n <= 1",
      "    n = n / 2 : UntilTop = UntilTop + 1",
      "  Loop",
      "End Function",
      "Function WhileBottom()",
      "  Dim k",
      "  Do : k = k + 1 : Loop While k < 0",
      "  WhileBottom = k",
      "End Function",
      "Function UntilBottom()",
      "  Dim k",
      "  Do",
      "    k = k + 2",
      "  Loop Until k >= 7",
      "  UntilBottom = k",
      "End Function",
      "Function Forever()",
      "  Dim k",
      "  Do",
      "    k = k + 1",
      "    If k = 13 Then Exit Do",
      "  Loop",
      "  Forever = k",
      "End Function",
      "Function Wend_(n)",
      "  While n > 0",
      "    Wend_ = Wend_ & n",
      "    n = n - 1",
      "  Wend",
      "End Function",
      "Function ExitDoFromWhile()",
      "  Dim k",
      "  Do",
      "    While True",
      "      k = k + 1",
      "      If k > 3 Then Exit Do",
      "    Wend",
      "  Loop",
      "  ExitDoFromWhile = k",
      "End Function",
  });
  Check({
      {"Do While at the top", script, "WhileTop", {"8"}, "3"},
      {"Do While that never runs", script, "WhileTop", {"1"}, ""},
      {"Do Until at the top", script, "UntilTop", {"16"}, "4"},
      {"Loop While runs once", script, "WhileBottom", {}, "1"},
      {"Loop Until", script, "UntilBottom", {}, "8"},
      {"Exit Do", script, "Forever", {}, "13"},
      {"While Wend", script, "Wend_", {"3"}, "321"},
      {"Exit Do through a While", script, "ExitDoFromWhile", {}, "4"},
  });
}

TEST(ScriptLanguage, SelectCase) {
  std::string script = Lines({
      "Function Kind(n)",
      "  Select Case CDbl(n)",
      "    Case 0",
      "      Kind = \"zero\"",
      "    Case 1, 2, 3",
      "      Kind = \"small\"",
      "    Case 4 To 9.5",
      "      Kind = \"medium\"",
      "    Case Is >= 100, Is < 0",
      "      Kind = \"extreme\"",
      "    Case Else",
      "      Kind = \"large\"",
      "  End Select",
      "End Function",
      "Function Word(w)",
      "  Select Case LCase(w)",
      "    Case \"a\" To \"f\" : Word = \"early\"",
      "    Case \"x\", \"y\" : Word = \"late\"",
      "  End Select",
      "End Function",
  });
  Check({
      {"single value", script, "Kind", {"0"}, "zero"},
      {"list", script, "Kind", {"3"}, "small"},
      {"range", script, "Kind", {"9.5"}, "medium"},
      {"Is above", script, "Kind", {"150"}, "extreme"},
      {"second Is of a list", script, "Kind", {"-1"}, "extreme"},
      {"Case Else", script, "Kind", {"50"}, "large"},
      {"string range", script, "Word", {"Cat"}, "early"},
      {"string list", script, "Word", {"Y"}, "late"},
      {"no case matches", script, "Word", {"m"}, ""},
  });
}

TEST(ScriptLanguage, ProceduresCallsAndRecursion) {
  std::string script = Lines({
      "Function Fact(n)",
      "  If n <= 1 Then",
      "    Fact = 1",
      "  Else",
      "    Fact = n * Fact(n - 1)",
      "  End If",
      "End Function",
      "Function Fib(n)",
      "  If n < 2 Then Fib = n Else Fib = Fib(n - 1) + Fib(n - 2)",
      "End Function",
      "Function IsEven(n)",
      "  If n = 0 Then IsEven = True Else IsEven = IsOdd(n - 1)",
      "End Function",
      "Function IsOdd(n)",
      "  If n = 0 Then IsOdd = False Else IsOdd = IsEven(n - 1)",
      "End Function",
      "Sub Twice(ByRef x)",
      "  x = x * 2",
      "End Sub",
      "Sub Keep(ByVal x)",
      "  x = 0",
      "End Sub",
      "Function ByRefDefault()",
      "  Dim v : v = 5",
      "  Twice v",
      "  Call Twice(v)",
      "  ByRefDefault = v",
      "End Function",
      "Function ByValParam()",
      "  Dim v : v = 5",
      "  Keep v",
      "  ByValParam = v",
      "End Function",
      "Function Parenthesised()",
      "  Dim v : v = 5",
      "  Twice (v)",
      "  Call Twice((v))",
      "  Parenthesised = v",
      "End Function",
      "Function Expression()",
      "  Dim v : v = 5",
      "  Twice v + 1",
      "  Expression = v",
      "End Function",
      "Function Chain()",
      "  Dim v : v = 3",
      "  Outer v",
      "  Chain = v",
      "End Function",
      "Sub Outer(a)",
      "  Twice a",
      "End Sub",
      "Function Early(n)",
      "  Early = \"small\"",
      "  If n < 10 Then Exit Function",
      "  Early = \"big\"",
      "End Function",
      "Dim log_",
      "Sub Note(text)",
      "  log_ = log_ & text",
      "  If Len(log_) > 2 Then Exit Sub",
      "  log_ = log_ & \"!\"",
      "End Sub",
      "Function Notes()",
      "  log_ = \"\"",
      "  Note \"a\"",
      "  Note \"b\"",
      "  Notes = log_",
      "End Function",
      "Function Running()",
      "  Running = 1",
      "  Running = Running + 1",
      "  Running = Running * 10",
      "End Function",
      "Function Seven",
      "  Seven = 7",
      "End Function",
      "Function UsesSeven()",
      "  UsesSeven = Seven + Seven() + 1",
      "End Function",
      "Public Function Pub(x) : Pub = \"pub\" & x : End Function",
      "Private Sub Nothing_() : End Sub",
  });
  Check({
      {"recursion", script, "Fact", {"10"}, "3628800"},
      {"double recursion", script, "Fib", {"15"}, "610"},
      {"mutual recursion with a forward reference", script, "IsEven", {"10"}, "True"},
      {"ByRef is the default", script, "ByRefDefault", {}, "20"},
      {"ByVal keeps the caller's variable", script, "ByValParam", {}, "5"},
      {"a variable in parentheses is passed by value", script, "Parenthesised", {}, "5"},
      {"an expression is passed by value", script, "Expression", {}, "5"},
      {"ByRef through two calls", script, "Chain", {}, "6"},
      {"Exit Function", script, "Early", {"3"}, "small"},
      {"Exit Function not taken", script, "Early", {"30"}, "big"},
      {"Exit Sub", script, "Notes", {}, "a!b"},
      {"the function's name holds its result so far", script, "Running", {}, "20"},
      {"no parameters, with and without parentheses", script, "UsesSeven", {}, "15"},
      {"Public Function", script, "Pub", {"1"}, "pub1"},
      {"a Sub gives an empty result", script, "Nothing_", {}, ""},
  });
}

TEST(ScriptLanguage, VariablesConstantsAndTopLevel) {
  std::string script = Lines({
      "Option Explicit",
      "Const Rate = 0.5, Name_ = \"rate\"",
      "Const Twice_ = -4",
      "Dim counter, table(2)",
      "counter = 10",
      "table(1) = \"one\"",
      "Function Scaled(x)",
      "  Const Local_ = 3",
      "  Scaled = x * Rate * Local_",
      "End Function",
      "Function Counter_()",
      "  counter = counter + 1",
      "  Counter_ = counter & table(1)",
      "End Function",
      "Function Undeclared()",
      "  Dim known",
      "  known = 1",
      "  If known = 2 Then unknown = 1",
      "  Undeclared = known",
      "End Function",
      "Function UsesUndeclared()",
      "  unknown = 1",
      "End Function",
      "Function Negative()",
      "  Negative = Twice_ & Name_",
      "End Function",
  });
  std::string implicit = Lines({
      "total = 5",
      "Function AddTo(x)",
      "  total = total + x",
      "  fresh = 2",
      "  AddTo = total + fresh",
      "End Function",
      "Function Shadow()",
      "  Dim total",
      "  total = 1",
      "  Shadow = total",
      "End Function",
      "Function MIXED_case()",
      "  mixed_CASE = \"ok\"",
      "End Function",
  });
  Check({
      {"constants, global and local", script, "Scaled", {"4"}, "6"},
      {"top-level code runs first", script, "Counter_", {}, "11one"},
      {"Option Explicit checks only the statements that run", script, "Undeclared", {}, "1"},
      {"Option Explicit and an undeclared variable", script, "UsesUndeclared", {}, nullptr, 500},
      {"negative constant", script, "Negative", {}, "-4rate"},
      {"implicit variables", implicit, "AddTo", {"3"}, "10"},
      {"a local hides a global", implicit, "Shadow", {}, "1"},
      {"names without regard to case", implicit, "mixed_case", {}, "ok"},
  });
}

TEST(ScriptLanguage, Arrays) {
  std::string script = Lines({
      "Function Fixed()",
      "  Dim a(3), i",
      "  For i = 0 To 3 : a(i) = i * i : Next",
      "  Fixed = a(3) & \" \" & UBound(a) & \" \" & LBound(a)",
      "End Function",
      "Function OutOfRange()",
      "  Dim a(3)",
      "  a(4) = 1",
      "End Function",
      "Function TwoDimensions()",
      "  Dim m(2, 3)",
      "  m(2, 3) = \"corner\"",
      "  TwoDimensions = m(2, 3) & UBound(m, 1) & UBound(m, 2)",
      "End Function",
      "Function Grow()",
      "  Dim a()",
      "  ReDim a(2)",
      "  a(0) = \"x\" : a(2) = \"z\"",
      "  ReDim Preserve a(4)",
      "  a(4) = \"w\"",
      "  Grow = a(0) & a(2) & a(4) & UBound(a)",
      "End Function",
      "Function Shrink()",
      "  ReDim a(5)",
      "  a(1) = 1",
      "  ReDim a(1)",
      "  Shrink = IsEmpty(a(1))",
      "End Function",
      "Function ReDimFixed()",
      "  Dim a(3)",
      "  ReDim a(5)",
      "End Function",
      "Function Copies()",
      "  Dim a, b",
      "  a = Array(1, 2, 3)",
      "  b = a",
      "  b(0) = 100",
      "  Copies = a(0) & \" \" & b(0)",
      "End Function",
      "Sub SetFirst(arr)",
      "  arr(0) = \"set\"",
      "End Sub",
      "Function PassedByRef()",
      "  Dim a",
      "  a = Array(1, 2)",
      "  SetFirst a",
      "  PassedByRef = a(0)",
      "End Function",
      "Function Erased()",
      "  Dim a(2), b",
      "  a(1) = 5",
      "  Erase a",
      "  b = Array(1)",
      "  Erase b",
      "  Erased = IsEmpty(a(1)) & UBound(a)",
      "End Function",
      "Function UnsizedBound()",
      "  Dim a()",
      "  UnsizedBound = UBound(a)",
      "End Function",
      "Function Nested()",
      "  Dim a",
      "  a = Array(Array(1, 2), Array(3, 4))",
      "  Nested = UBound(a(1))",
      "End Function",
      "Function NotAnArray()",
      "  Dim a",
      "  a = 5",
      "  NotAnArray = a(0)",
      "End Function",
      "Function WrongDimensions()",
      "  Dim m(2, 2)",
      "  WrongDimensions = m(1)",
      "End Function",
      "Function Empty_()",
      "  Empty_ = UBound(Array())",
      "End Function",
      "Function NoElements()",
      "  Dim a(-1)",
      "  ReDim b(-1)",
      "  NoElements = UBound(a) & UBound(b)",
      "End Function",
  });
  Check({
      {"fixed array", script, "Fixed", {}, "9 3 0"},
      {"index out of range", script, "OutOfRange", {}, nullptr, 9},
      {"two dimensions", script, "TwoDimensions", {}, "corner23"},
      {"ReDim Preserve", script, "Grow", {}, "xzw4"},
      {"ReDim without Preserve empties", script, "Shrink", {}, "True"},
      {"ReDim of a fixed array", script, "ReDimFixed", {}, nullptr, 10},
      {"assignment copies an array", script, "Copies", {}, "1 100"},
      {"an array passed ByRef", script, "PassedByRef", {}, "set"},
      {"Erase", script, "Erased", {}, "True2"},
      {"UBound of an unsized array", script, "UnsizedBound", {}, nullptr, 9},
      {"arrays in arrays", script, "Nested", {}, "1"},
      {"indexing a number", script, "NotAnArray", {}, nullptr, 13},
      {"wrong number of indexes", script, "WrongDimensions", {}, nullptr, 9},
      {"empty array", script, "Empty_", {}, "-1"},
      {"arrays of bound -1", script, "NoElements", {}, "-1-1"},
  });
}

TEST(ScriptLanguage, CommentsContinuationsAndSeparators) {
  std::string script = Lines({
      "' a comment line",
      "Rem another comment",
      "Function F(x) ' a trailing comment",
      "  Dim s : s = \"it's \"\"quoted\"\"\" ' quote marks inside a string",
      "  F = s & _",
      "      x + _",
      "      1",
      "  Rem : F = \"hidden\"",
      "  Dim remark : remark = 1 : F = F & remark",
      "End Function",
  });
  Check({{"comments, continuations, colons", script, "F", {"1"}, "it's \"quoted\"21"}});

  // Line ends may be CR, LF or CR LF.
  std::string body = "Function G()|  G = 1|  G = G + 1|End Function|";
  for (std::string_view end : {"\r", "\n", "\r\n"}) {
    std::string text;
    for (char c : body) {
      if (c == '|') {
        text.append(end);
      } else {
        text += c;
      }
    }
    Check({{"line ends", text, "G", {}, "2"}});
  }
}

}  // namespace
