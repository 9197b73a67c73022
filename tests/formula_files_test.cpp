// Formula files: a line that is the whole name of a text file in the program's
// folder runs that file. Also the gathering of user variable names into single
// cells (longest first, no word boundaries) that runs before the file test, and
// the nesting limit of files that name themselves or each other.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>
#include <functional>
#include <string>
#include <vector>

#include "calculator/calculator.hpp"
#include "calculator/shared_state.hpp"
#include "morvex/morvex.hpp"
#include "scanner/scanner.hpp"
#include "test_support.hpp"
#include "variables/formula_stage.hpp"

namespace morvex {
namespace {

namespace fs = std::filesystem;

// A calculator in a folder of its own; the host declines every prompt and
// records the words it was asked about and the results of file lines.
struct Calc {
  test::TempFolder folder;
  clsMorvex m;
  std::vector<std::string> asked;
  std::vector<std::string> fileLineResults;  // OutString at each Change(0, 1)

  Calc() {
    m.ProgramFolder(folder.str());
    m.Initialize();
    m.Events().InputBox = [this](std::string& num) {
      asked.push_back(num);
      num.clear();
    };
    m.Events().Change = [this](int16_t length, int16_t first) {
      if (length == 0 && first == 1) fileLineResults.push_back(m.OutString());
    };
  }
  detail::Calculator& in() { return m.Internals(); }
  std::string Run(const std::string& line) {
    std::string text = line;
    return m.Calculate(text);
  }
  bool Has(const std::string& name) const {
    for (const auto& v : m.VariableList()) {
      if (v.Key == name) return true;
    }
    return false;
  }
};

// A formula file whose one counted line makes the variable "ran".
const std::string kMarkerFile = "1=ran\n\n\n";

// One cell of a chain: its text and its type code.
struct Seen {
  std::string value;
  int16_t type;
  bool operator==(const Seen&) const = default;
};

void PrintTo(const Seen& c, std::ostream* os) { *os << "(\"" << c.value << "\"," << c.type << ")"; }

std::vector<Seen> CellsOf(const dna& chain) {
  std::vector<Seen> cells;
  for (const auto& cell : chain) cells.push_back({std::string(cell.Value()), cell.NameStr()});
  return cells;
}

int32_t FailureCode(const std::function<void()>& action) {
  try {
    action();
  } catch (const Failure& failure) {
    EXPECT_STRNE(failure.what(), "");
    return failure.code();
  }
  return 0;
}

// Runs `body` in a child process and waits at most `limit` for it. Gives the
// child's exit status (the value of `body`; 99 for an exception), or -1 when
// it was still running and has been killed: a calculation that does not end
// fails the test instead of hanging it.
int StatusWithin(std::chrono::seconds limit, const std::function<int()>& body) {
  const pid_t child = fork();
  if (child < 0) {
    ADD_FAILURE() << "fork failed";
    return -2;
  }
  if (child == 0) {
    int status = 99;
    try {
      status = body();
    } catch (...) {
    }
    _exit(status);
  }
  const auto deadline = std::chrono::steady_clock::now() + limit;
  int status = 0;
  while (waitpid(child, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(child, SIGKILL);
      waitpid(child, &status, 0);
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -3;
}

TEST(FormulaFiles, WhichLinesRunAFile) {
  struct Case {
    const char* label;
    std::vector<std::string> files;  // each holds kMarkerFile
    std::string line;
    bool runs;
  };
  const std::vector<Case> cases = {
      {"same name", {"a.txt"}, "a", true},
      {"name in another case", {"a.txt"}, "A", true},
      {"extension in capitals", {"notes.TXT"}, "Notes", true},
      {"extension in mixed case", {"b.TxT"}, "b", true},
      {"digits after the first letter", {"RUN1.TXT"}, "Run1", true},
      {"a digit first is no name", {"1RUN.TXT"}, "1run", false},
      {"a name inside a longer line", {"A.TXT"}, "a+b", false},
      {"a longer line after the name", {"a.txt"}, "ab", false},
      {"the start-up file is a formula file too", {"STARTUP.TXT"}, "startup", true},
      {"trailing text after a space", {"a.txt"}, "a metres", true},
      {"a comment after an apostrophe", {"a.txt"}, "a'note", true},
      {"an equals sign with no name", {"a.txt"}, "a=", true},
      {"only the first cell must be a letter", {"a+b.txt"}, "a+b", true},
      {"another extension", {"a.csv", "a.txt.bak"}, "a", false},
      {"the name less its extension only", {"a.txt"}, "a.txt", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    Calc calc;
    for (const std::string& name : c.files) calc.folder.Write(name, kMarkerFile);
    const std::string result = calc.Run(c.line);
    EXPECT_EQ(calc.Has("ran"), c.runs);
    if (c.runs) {
      EXPECT_EQ(result, "");
      EXPECT_TRUE(calc.asked.empty()) << "the words of a file's name are not put to the host";
    }
  }
}

TEST(FormulaFiles, FolderEntriesThatAreNoFiles) {
  Calc calc;
  fs::create_directory(calc.folder.path() / "sub.txt");
  fs::create_directory(calc.folder.path() / "inner");
  calc.folder.Write("inner/deep.txt", kMarkerFile);
  calc.Run("sub");
  calc.Run("deep");
  EXPECT_FALSE(calc.Has("ran"));
  EXPECT_EQ(calc.asked, (std::vector<std::string>{"sub", "deep"}));
}

// A file that ends in TXT without a point counts under its name less four
// characters; the line of that name then looks for that name and ".txt",
// finds no such file and runs nothing, and is no expression either.
TEST(FormulaFiles, FileEndingInTxtWithoutAPoint) {
  {
    Calc calc;
    calc.folder.Write("ABTXT", kMarkerFile);
    EXPECT_EQ(calc.Run("a"), "");
    EXPECT_FALSE(calc.Has("ran")) << "the file ABTXT is not what runs";
    EXPECT_TRUE(calc.asked.empty()) << "the line named a file, so its word is not put to the host";
    EXPECT_FALSE(calc.Has("a"));
    EXPECT_EQ(calc.m.OutString(), "");
    calc.Run("ab");
    EXPECT_EQ(calc.asked, (std::vector<std::string>{"ab"})) << "ab is an ordinary word";
  }
  {
    Calc calc;
    calc.folder.Write("ABTXT", "2=wrong\n\n\n");
    calc.folder.Write("a.txt", kMarkerFile);
    calc.Run("a");
    EXPECT_TRUE(calc.Has("ran"));
    EXPECT_FALSE(calc.Has("wrong"));
  }
}

TEST(FormulaFiles, VariableHidesAFileOfTheSameName) {
  Calc calc;
  calc.folder.Write("a.txt", kMarkerFile);
  calc.Run("7=a");
  EXPECT_EQ(calc.Run("a"), "7");
  EXPECT_EQ(calc.Run("A*2"), "14");
  EXPECT_FALSE(calc.Has("ran"));
  calc.Run("NOTHING=a");
  calc.Run("a");
  EXPECT_TRUE(calc.Has("ran")) << "with the variable gone the file runs";
}

TEST(FormulaFiles, TargetOfANamingLineIsDropped) {
  Calc calc;
  calc.folder.Write("name.txt", kMarkerFile);
  calc.Run("name=x");
  EXPECT_TRUE(calc.Has("ran"));
  EXPECT_FALSE(calc.Has("x"));
}

// The file's lines are seen at their Change; the naming line itself goes on
// with the cleared state the run leaves: an empty result, and as its echo the
// echo of the file's last line, which the run does not clear.
TEST(FormulaFiles, NamingLineHasAnEmptyResult) {
  Calc calc;
  calc.folder.Write("calc.txt", "2+3\n4=q cm\n\n\n");
  std::string line = "calc";
  EXPECT_EQ(calc.m.Calculate(line), "");
  EXPECT_EQ(calc.fileLineResults, (std::vector<std::string>{"5", "4"}));
  EXPECT_EQ(calc.m.OutString(), "");
  EXPECT_EQ(line, "4");
  EXPECT_EQ(calc.m.InString(), "4");
  EXPECT_EQ(calc.m.Expression(), "");
  EXPECT_EQ(calc.m.StringVariable(), "\r\n");
  EXPECT_EQ(calc.m.ErrNumber(), 0);
  EXPECT_TRUE(calc.Has("q"));

  // A file none of whose lines run: the line ends at once, with an empty result.
  calc.folder.Write("short.txt", "9=never\n\n");
  calc.fileLineResults.clear();
  std::string shortLine = "short";
  EXPECT_EQ(calc.m.Calculate(shortLine), "");
  EXPECT_EQ(shortLine, "short") << "the line ends before its echo is taken";
  EXPECT_EQ(calc.m.InString(), "");
  EXPECT_TRUE(calc.fileLineResults.empty());
  EXPECT_FALSE(calc.Has("never"));
  EXPECT_EQ(calc.m.OutString(), "");
  EXPECT_TRUE(calc.asked.empty());
}

TEST(FormulaFiles, FilesCanNameEachOther) {
  Calc calc;
  calc.folder.Write("StartUp.txt", "lib\n\n\n");
  calc.folder.Write("lib.txt", "3=k\nmore\n\n\n");
  calc.folder.Write("more.txt", "k*2=m\n\n\n");
  calc.m.LoadHText();
  EXPECT_TRUE(calc.Has("k"));
  EXPECT_TRUE(calc.Has("m"));
  EXPECT_EQ(calc.Run("m"), "6");
}

// Files that name themselves or each other end with failure 28 after a fixed
// depth; the calculator, its variables and the file mechanism stay usable.
TEST(FormulaFiles, EndlessNestingEndsWithFailure28) {
  struct Case {
    const char* label;
    std::vector<std::pair<std::string, std::string>> files;
    std::string line;
  };
  const std::vector<Case> cases = {
      {"a file that names itself", {{"self.txt", "1=k\nself\n\n\n\n"}}, "self"},
      {"a file that names itself twice", {{"self.txt", "self\nself\n\n\n\n"}}, "self"},
      {"two files that name each other", {{"ping.txt", "pong\n\n\n"}, {"pong.txt", "PING\n\n\n"}}, "pong"},
      {"the start-up file that names itself", {{"StartUp.txt", "startup\n\n\n"}}, "StartUp"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    Calc calc;
    for (const auto& [name, bytes] : c.files) calc.folder.Write(name, bytes);
    calc.Run("5=before");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(FailureCode([&] { calc.Run(c.line); }), failure_code::OutOfStackSpace);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));

    EXPECT_EQ(calc.Run("before+1"), "6");
    EXPECT_EQ(calc.Run("2+3=after"), "5");
    EXPECT_EQ(calc.Run("after*2"), "10");
    EXPECT_EQ(calc.m.ErrNumber(), 0);
    calc.folder.Write("fine.txt", kMarkerFile);
    EXPECT_EQ(calc.Run("fine"), "");
    EXPECT_TRUE(calc.Has("ran")) << "a file still runs after the failure";
  }
}

// Beside a script file a failing statement of a line does not end the line, so
// the depth limit is met at the innermost file and the outer files go on. A
// file that names itself twice must still end in bounded time, and leave the
// calculator usable.
TEST(FormulaFiles, EndlessNestingEndsInTimeBesideAScriptFile) {
  struct Case {
    const char* label;
    std::string bytes;
  };
  const std::vector<Case> cases = {
      {"names itself once", "self\n\n\n"},
      {"names itself twice", "self\nself\n\n\n\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    Calc calc;
    calc.folder.Write("vbscript.txt", "");
    calc.folder.Write("self.txt", c.bytes);
    // 0: ended and usable; 1: a failure of another code; 2: not usable after;
    // -1: still running after the limit.
    EXPECT_EQ(StatusWithin(std::chrono::seconds(10),
                           [&] {
                             try {
                               calc.Run("self");
                             } catch (const Failure& failure) {
                               if (failure.code() != failure_code::OutOfStackSpace) return 1;
                             }
                             return calc.Run("2+3") == "5" ? 0 : 2;
                           }),
              0);
  }
}

// The folder is looked at for every line: a file added, changed, renamed or
// removed shows at the very next line.
TEST(FormulaFiles, FolderChangesShowAtTheNextLine) {
  for (bool oldFolder : {false, true}) {
    SCOPED_TRACE(oldFolder ? "folder time long past" : "folder time now");
    Calc calc;
    if (oldFolder) fs::last_write_time(calc.folder.path(), fs::file_time_type::clock::now() - std::chrono::hours(1));
    calc.Run("zz");
    EXPECT_EQ(calc.asked, (std::vector<std::string>{"zz"}));

    calc.folder.Write("zz.txt", "1=first\n\n\n");
    calc.Run("zz");
    EXPECT_TRUE(calc.Has("first"));

    calc.folder.Write("zz.txt", "2=second\n\n\n");
    calc.Run("zz");
    EXPECT_TRUE(calc.Has("second")) << "the file is read anew";

    fs::rename(calc.folder.path() / "zz.txt", calc.folder.path() / "yy.txt");
    calc.asked.clear();
    calc.Run("zz");
    EXPECT_EQ(calc.asked, (std::vector<std::string>{"zz"})) << "a renamed file no longer answers to its old name";
    calc.Run("yy");
    EXPECT_EQ(calc.asked, (std::vector<std::string>{"zz"}));

    fs::remove(calc.folder.path() / "yy.txt");
    calc.Run("yy");
    EXPECT_EQ(calc.asked, (std::vector<std::string>{"zz", "yy"}));
    EXPECT_EQ(calc.Run("2+3"), "5");
  }
}

TEST(FormulaFiles, ProgramFolderChangeShowsAtTheNextLine) {
  Calc calc;
  test::TempFolder other;
  other.Write("elsewhere.txt", kMarkerFile);
  calc.Run("elsewhere");
  EXPECT_FALSE(calc.Has("ran"));
  calc.m.ProgramFolder(other.str());
  calc.Run("elsewhere");
  EXPECT_TRUE(calc.Has("ran"));
}

// The chain that the formula stage leaves: the file's one cell of code 98.
TEST(FormulaFiles, FindFormulaFileLeavesOneCell) {
  struct Case {
    std::string file, line, name;
  };
  const std::vector<Case> cases = {
      {"RUN1.TXT", "run1", "RUN1"},
      {"a.txt", "A", "a"},
      {"Notes.txt", "nOTES", "Notes"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    Calc calc;
    calc.folder.Write(c.file, kMarkerFile);
    detail::CutLine(calc.in(), c.line);
    EXPECT_EQ(detail::FindFormulaFile(calc.in()), c.name);
    EXPECT_EQ(CellsOf(calc.in().WorkingChain), (std::vector<Seen>{{c.name, TypeFormulaFile}}));
    EXPECT_EQ(Shared().gFormulaFileName, c.name);
  }
  Calc calc;
  calc.folder.Write("a.txt", kMarkerFile);
  detail::CutLine(calc.in(), "a+1");
  EXPECT_EQ(detail::FindFormulaFile(calc.in()), "");
  EXPECT_EQ(calc.in().WorkingChain.Count(), 3);
}

// The file test reads one character per cell: a gathered variable name counts
// by its first letter only, so with the variable bc the line «abc» spells AB.
TEST(FormulaFiles, GatheredNameCountsByItsFirstLetter) {
  Calc calc;
  calc.folder.Write("ab.txt", kMarkerFile);
  calc.Run("4=bc");
  EXPECT_EQ(calc.Run("abc"), "");
  EXPECT_TRUE(calc.Has("ran"));
  EXPECT_TRUE(calc.asked.empty());
}

// User variable names are gathered into one cell each, the longest names
// first, with no test of word boundaries.
TEST(FormulaFiles, MarkVariablesGathersNames) {
  const int16_t V = TypeVariable, C = TypeChar, P = TypePlus, O = TypeOper;
  struct Case {
    const char* label;
    std::vector<std::string> definitions;
    std::string line;
    std::vector<Seen> cells;
  };
  const std::vector<Case> cases = {
      {"longer name first", {"1=x", "2=xy"}, "xy+x", {{"xy", V}, {"+", P}, {"x", V}}},
      {"longer name first, defined first", {"2=xy", "1=x"}, "x+xy", {{"x", V}, {"+", P}, {"xy", V}}},
      {"table spelling", {"2=xy"}, "XY", {{"xy", V}}},
      {"inside a reserved word", {"3=in"}, "sin(in)", {{"s", C}, {"in", V}, {"(", TypeStart}, {"in", V}, {")", TypeEnd}}},
      {"inside a longer word", {"1=a"}, "ab", {{"a", V}, {"b", C}}},
      {"inside a run of letters", {"1=ab"}, "xaby", {{"x", C}, {"ab", V}, {"y", C}}},
      {"every occurrence", {"1=x"}, "x*x+x", {{"x", V}, {"*", O}, {"x", V}, {"+", P}, {"x", V}}},
      {"three letters before two", {"1=ab", "1=abc"}, "abcab", {{"abc", V}, {"ab", V}}},
      {"no user variables", {}, "ab", {{"a", C}, {"b", C}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    Calc calc;
    for (const std::string& d : c.definitions) calc.Run(d);
    detail::CutLine(calc.in(), c.line);
    detail::SortVariables(calc.in());
    detail::MarkVariables(calc.in());
    EXPECT_EQ(CellsOf(calc.in().WorkingChain), c.cells);
  }
}

// A match that lies over a cell that is no letter ends the search for that
// name: its later occurrences in the line stay letters.
TEST(FormulaFiles, MatchOverANonLetterEndsTheName) {
  Calc calc;
  // A name that only a prompt can make: "_" takes the class of a letter before it.
  detail::Calculator& in = calc.in();
  in.Variables.Add("_b", "_b");
  in.ResizeVariableChains();
  in.VariableChains.back() = detail::MakeValueChain("2");
  struct Case {
    std::string line;
    std::vector<Seen> cells;
  };
  const int16_t V = TypeVariable, C = TypeChar, N = TypeNumber, P = TypePlus;
  const std::vector<Case> cases = {
      {"1_b+c_b", {{"1", N}, {"_", N}, {"b", C}, {"+", P}, {"c", C}, {"_", C}, {"b", C}}},
      {"c_b+1_b", {{"c", C}, {"_b", V}, {"+", P}, {"1", N}, {"_", N}, {"b", C}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    detail::CutLine(in, c.line);
    detail::SortVariables(in);
    detail::MarkVariables(in);
    EXPECT_EQ(CellsOf(in.WorkingChain), c.cells);
  }
}

TEST(FormulaFiles, SortVariablesLongestFirstThenTableOrder) {
  Calc calc;
  detail::SortVariables(calc.in());
  EXPECT_EQ(Shared().gSortedVariables.Count(), 0);
  for (const char* d : {"1=ab", "1=c", "1=xyz", "1=de"}) calc.Run(d);
  detail::SortVariables(calc.in());
  std::vector<std::string> sorted;
  for (const auto& v : Shared().gSortedVariables) sorted.push_back(v.Key);
  EXPECT_EQ(sorted, (std::vector<std::string>{"xyz", "ab", "de", "c"}));

  // A second calculator with other names: the list follows the calculator at hand.
  Calc other;
  other.Run("1=pq");
  detail::SortVariables(other.in());
  sorted.clear();
  for (const auto& v : Shared().gSortedVariables) sorted.push_back(v.Key);
  EXPECT_EQ(sorted, (std::vector<std::string>{"pq"}));
  // After a removal and a respelling the list is rebuilt too.
  calc.Run("NOTHING=xyz");
  calc.Run("2=AB");
  detail::SortVariables(calc.in());
  sorted.clear();
  for (const auto& v : Shared().gSortedVariables) sorted.push_back(v.Key);
  EXPECT_EQ(sorted, (std::vector<std::string>{"AB", "de", "c"}));
}

// Through Calculate: names gathered before the host is asked about words.
TEST(FormulaFiles, MarkedNamesAreNotPutToTheHost) {
  struct Case {
    std::vector<std::string> definitions;
    std::string line;
    std::vector<std::string> asked;
  };
  const std::vector<Case> cases = {
      {{"1=a"}, "ab", {"b"}},
      {{"1=x", "2=xy"}, "xy+x", {}},
      {{"2=xy"}, "XY*2", {}},
      {{}, "ab+ab", {"ab", "ab"}},  // a declined word is asked again
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    Calc calc;
    for (const std::string& d : c.definitions) calc.Run(d);
    calc.asked.clear();
    calc.Run(c.line);
    EXPECT_EQ(calc.asked, c.asked);
  }
  Calc calc;
  calc.Run("1=x");
  calc.Run("2=xy");
  EXPECT_EQ(calc.Run("xy+x"), "3");
  EXPECT_EQ(calc.Run("XY*10"), "20");
}

}  // namespace
}  // namespace morvex
