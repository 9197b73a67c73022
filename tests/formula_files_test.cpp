// Formula files where a line alone cannot show it: file runs seen from the
// host, folders that change under the calculator, the nesting limit of files
// that name themselves or each other, and the gathering of user variable names
// into single cells (longest first, no word boundaries) that runs before the
// file test. What lines give is in golden/files.lines.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "core/shared_state.hpp"
#include "scanner/scanner.hpp"
#include "test_support.hpp"
#include "variables/formula_stage.hpp"

namespace morvex {
namespace {

namespace fs = std::filesystem;

// A calculator whose host also records the result of each line of a file
// run, at its Change(0, 1).
struct Calc : test::Calc {
  std::vector<std::string> fileLineResults;
  Calc() {
    m.Events().Change = [this](int16_t length, int16_t first) {
      if (length == 0 && first == 1) fileLineResults.push_back(m.OutString());
    };
  }
};

// A formula file whose one counted line makes the variable "ran".
const std::string kMarkerFile = "1=ran\n\n\n";

using test::FailureCode;

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

// The chain that the formula stage leaves: the file's one cell of code 98,
// named as the file is, whatever the case of the line. Which lines run which
// files is in golden/files.lines.
TEST(FormulaFiles, FindFormulaFileLeavesOneCell) {
  Calc calc;
  calc.folder.Write("Notes.txt", kMarkerFile);
  detail::CutLine(calc.in(), "nOTES");
  EXPECT_EQ(detail::FindFormulaFile(calc.in()), "Notes");
  EXPECT_EQ(test::CellsText(calc.in().WorkingChain), "Notes:" + std::to_string(TypeFormulaFile));
  EXPECT_EQ(Shared().gFormulaFileName, "Notes");
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
  // Cells as "value:code": 1 a number, 3 a plus, 11 a letter, 99 a variable.
  for (auto [line, cells] : {std::pair{"1_b+c_b", "1:1 _:1 b:11 +:3 c:11 _:11 b:11"},
                             std::pair{"c_b+1_b", "c:11 _b:99 +:3 1:1 _:1 b:11"}}) {
    detail::CutLine(in, line);
    detail::SortVariables(in);
    detail::MarkVariables(in);
    EXPECT_EQ(test::CellsText(in.WorkingChain), cells) << line;
  }
}

}  // namespace
}  // namespace morvex
