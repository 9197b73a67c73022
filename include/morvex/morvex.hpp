// Morvex: an engineering expression calculator that a host embeds in-process.
//
// A host creates a clsMorvex, calls Initialize once, then Calculate for each
// line, and reads the answer back from the properties: OutString, or ErrNumber,
// ErrDescription and the 0-based ErrFirst/ErrLength of the offending token.
// While a line is reduced the object raises events (Change, Change2, ...) that
// tell which characters of DNAString each step consumes and produces.
//
// Threading: the state that calculators share is kept per thread. A host may
// run one calculator per thread, all at once; nothing passes between threads.
// Within one thread all calculators (nested ones included) share it, and must
// not compute at the same time. What one calculator's line leaves there for
// another on the same thread:
//  - the angle unit: RADIANS or DEGREES on one calculator, and Initialize on
//    any (also the nested calculator of a formula inside a formula), set it
//    for every calculator of the thread;
//  - the class of the last character read: a character of no class of its own
//    (a blank, "%", ...) at the start of a line takes it.
// The rest is scratch state of a line, which each line sets before it reads
// it (the current error and report, the successor template, counters and
// flags of a run, the nesting depth), and caches that are rebuilt when they
// no longer fit (names sorted by length, folder listings, compiled scripts).
//
// Decisions where the calculator's rules leave a choice:
//  - Calculate before Initialize fails with Failure code 91 (ObjectNotSet).
//  - Reading DNAString before the first scan, DNAString2 before the first
//    sub-expression, or either on a record of DNAGroup, gives "".
//  - "NOTHING=Ans", "NOTHING=XVar" and "NOTHING=YVar" are refused silently, like
//    an unknown name: every later line needs these three variables.
//  - A target with an empty expression ("=x") does nothing: no variable is
//    made, and the result is empty.
//  - The program's folder (where StartUp.txt, vbscript.txt and formula files
//    are looked for) is the folder of the running executable unless the host
//    sets another with ProgramFolder(path). A line that names a formula file
//    runs the file of that name and the extension ".txt" in that folder, the
//    name compared without regard to case (also on a case-sensitive file
//    system); so is StartUp.txt. The script file must be spelled exactly
//    "vbscript.txt". Every line sees the folder as it is when the line
//    starts (a file created, changed or removed before it counts): a watch
//    on the folder (inotify on Linux, modification times elsewhere) makes
//    that cost no system call while nothing in the folder changes. On Linux
//    the kernel tells the change in memory it shares with the calculator's
//    thread (io_uring): a change the thread itself made, or learnt of through
//    a system call, counts at once; one made by another thread and told only
//    through shared memory counts once the kernel has interrupted this
//    thread, within microseconds. Where io_uring is refused, each line makes
//    one non-blocking check of the watch instead, and every change counts.
//  - Nesting has a fixed depth: line files that run one another, formula
//    words computed by nested calculators, and script calls whose arguments
//    are script calls («f(f(f(1)))») may nest 40 deep together; formula words
//    may expand 500 times, plus two per cell of the line, in one formula stage
//    (more only when a definition names itself). Past that the line ends with
//    a Failure of code 28 (out of stack space), which no handler of the
//    calculator keeps: it reaches the host also when a script file is present
//    and from the recomputation of plain variables after an assignment, which
//    otherwise skips a variable whose line fails. Kept there, a descent ended
//    at the limit would begin again for every later variable at every level,
//    and the line would not end. The calculator and its variables stay usable.
//  - The recomputation of plain variables after a plain assignment leaves the
//    line's properties as they are, ErrFirst included (a wrong formula text
//    met there would otherwise leave its cell position in ErrFirst).
//  - A script call's answer is in OutString; Calculate itself returns "" for it.
//  - The script engine is the calculator's own VBScript interpreter for user
//    procedures: Function/Sub (ByRef, ByVal), Dim, Const, If/ElseIf/Else,
//    For/Next, Do/Loop, While/Wend, Exit, Select Case, the operators, and the
//    math and string built-ins; numbers are Doubles. Arrays, Null, objects,
//    Option Explicit, On Error, dates and dialogs are refused. Every run is
//    bounded by a step budget, a call depth of 200, a stack allowance and a
//    16 MB cap on strings. The exact subset is listed in src/script/script_engine.hpp.
//  - ScriptFailure tells what stopped a script on the line, in one of these
//    forms ("f" the procedure that the line or one of its arguments called):
//      "f: stopped by the step budget"
//      "f: call depth over 200"
//      "f: nesting over the stack limit"
//      "f: string over the size cap"
//      "f: run-time error at line 3 of vbscript.txt: Division by zero"
//      "vbscript.txt does not compile: line 4: Syntax error: ..."
//      "vbscript.txt does not run: line 2: Type mismatch: ..." (its top level)
//    The last two are told once per change of the file's text (per thread),
//    not on every line. The line itself goes on as the script path has it
//    (an ordinary line). ScriptFailure is cleared when the host's line starts;
//    the lines a script call or a line file computes inside it add to it.
//  - Each level of nesting keeps its own nested calculator, so that a nested
//    run that meets a formula word of its own does not take the outer level's
//    calculator away.
//  - After a plain assignment every plain variable is computed again from its
//    definition, and each of those computations starts from a clean error
//    state, as a line does: a wrong line that carries a target («4+*2=zap»)
//    reports its error and leaves every variable's value as it was.
//  - Sign has no rule in the reducers of a word power: «Sign^2(3)» leaves the
//    word standing, as those reducers have always done.
//  - The outputs of a line (OutString, InString, ErrFirst, ErrLength,
//    ErrNumber, ErrDescription, StringTyping) are read-only to the host: only
//    the calculator writes them, and DNAGroup.Add, which sets all eleven
//    properties of a new record. Expression, StringVariable, DNAString and
//    DNAString2 stay writable (see their declarations). ClearOutputs empties
//    the outputs for a host that shows each line's own answer.
//  - A moved-from clsMorvex has no calculator behind it: every member but
//    the destructor, assignment and Terminate fails with Failure code 91
//    (ObjectNotSet), "the calculator was moved to another object".
//  - File names are compared without regard to case by the calculator's own
//    rule for its single-byte code page (Windows-1252), as words and
//    variable names are.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "morvex/export.h"
#include "morvex/failure.hpp"
#include "morvex/version.hpp"

namespace morvex {

namespace detail {
class Calculator;
struct CalculatorAccess;  // the library's own way to a calculator's internals
}  // namespace detail

// Callbacks of the host. Every one is optional; all are called synchronously
// on the thread of the call in progress.
struct EventHandlers {
  // Characters FirstChar (1-based) for Length of DNAString are about to be, or
  // have been, replaced.
  std::function<void(int16_t Length, int16_t FirstChar)> Change;
  // The same for DNAString2, the text of a formula being worked out.
  std::function<void(int16_t Length, int16_t FirstChar)> Change2;
  // A pause that the line "$" or a line file asked for.
  std::function<void()> Wait;
  // Share of a line file done, from 0 to 1.
  std::function<void(double Percent)> Progress;
  // Share of the replay of definitions into a nested calculator done.
  std::function<void(double Percent)> InternalCalc;
  // One user variable and the text of its stored chain (FetchFunctions).
  std::function<void(const std::string& FuncName, const std::string& Expression)> GetFunctions;
  // Share of the recalculation of plain variables done.
  std::function<void(double Percent)> UpdateVariables;
  // The host is asked for the value of an unknown word: Num holds the word on
  // entry and the answer (or "" to decline) on return.
  std::function<void(std::string& Num)> InputBox;
  // Share of a script procedure's work done.
  std::function<void(double Percent)> VBSProgress;
  // Not an event: the turn that the calculator gives the host's event loop
  // after each line (and each line of a file). A host with an event loop lets
  // its pending events run here; without it the turn does nothing.
  std::function<void()> HostTurn;
};

class MORVEX_API clsMorvex {
 public:
  clsMorvex();
  ~clsMorvex();
  clsMorvex(clsMorvex&&) noexcept;
  clsMorvex& operator=(clsMorvex&&) noexcept;
  clsMorvex(const clsMorvex&) = delete;
  clsMorvex& operator=(const clsMorvex&) = delete;

  // Lists the user variables through GetFunctions.
  void FetchFunctions();

  // Expression, StringVariable and the two DNAString properties may be
  // written by the host (a Wait handler may change the first two; a write of
  // a DNAString is kept until the next read joins the chain again).
  const std::string& Expression() const;
  void Expression(std::string value);
  // Read: the Values of all cells of the second chain, joined.
  std::string DNAString2();
  void DNAString2(std::string value);
  // Read: the Values of all cells of the working chain, joined.
  std::string DNAString();
  void DNAString(std::string value);
  const std::string& StringVariable() const;
  void StringVariable(std::string value);

  // The outputs of the last line, read-only to the host.
  const std::string& StringTyping() const;
  const std::string& ErrDescription() const;

  // Runs a text file line by line; no path (or "") means StartUp.txt in the
  // program's folder.
  void LoadHText();
  void LoadHText(std::string& Path);

  int16_t ErrNumber() const;
  int16_t ErrLength() const;
  int16_t ErrFirst() const;
  const std::string& InString() const;
  const std::string& OutString() const;
  // Which text ErrFirst and ErrLength point into. "" when the error lies in
  // the line (InString). Otherwise the name of the variable whose stored text
  // holds the error: a formula word of the line, or a variable met while its
  // text was worked out. ErrNumber and the place are then those found in that
  // text as it was scanned (commas gone, open parentheses closed), which
  // DNAString2 holds after the line; for a formula word computed by a nested
  // calculator it is the nested calculator's answer. Set with ErrNumber 1 to
  // 9 only, and cleared with the other error properties.
  const std::string& ErrFormula() const;
  // The last failure of a script procedure during the last line (the
  // procedure's name and what stopped it, in the forms listed at the top of
  // this header); "" when none.
  const std::string& ScriptFailure() const;

  // The one door: computes a line. TText comes back as the line was
  // understood (its canonical spelling) on most paths.
  std::string Calculate(std::string& TText);
  // For a constant line, which the host does not need back.
  std::string Calculate(std::string_view line);
  // Empties the outputs of the last line (OutString, InString, Expression,
  // StringTyping, StringVariable and the four Err properties), as Calculate
  // does before an expression or command. Lines that answer nothing ("",
  // "$", "NOTHING=" an unknown name) leave the outputs of the line before: a
  // host that shows each line's own answer clears them first.
  void ClearOutputs();

  void Initialize();
  void UnLoadVars();
  void Terminate() noexcept;

  EventHandlers& Events();

  // The folder where StartUp.txt, vbscript.txt and formula files live.
  const std::string& ProgramFolder() const;
  void ProgramFolder(std::string folder);

  // Read-only views for hosts: the angle unit ("Degree" or "Radian") and the
  // variable table, in table order (Ans, XVar, YVar first).
  std::string AngleUnit() const;
  struct VariableView {
    std::string Key;
    int16_t TypeVar;
    double Value;
  };
  std::vector<VariableView> VariableList() const;

 private:
  friend struct detail::CalculatorAccess;
  // The calculator behind the object; a moved-from object has none and fails
  // with code 91 (ObjectNotSet).
  detail::Calculator& Impl() const;
  std::unique_ptr<detail::Calculator> impl_;
};

// An ordered keyed collection of clsMorvex records (positions from 1, keys
// compared without regard to case).
class MORVEX_API DNAGroup {
 public:
  // Makes a new, not initialised calculator with these eleven properties set,
  // appends it (under sKey if that is not empty) and returns it.
  clsMorvex& Add(std::string& OutString, std::string& InString, int16_t& ErrFirst,
                 int16_t& ErrLength, int16_t& ErrNumber, std::string& ErrDescription,
                 std::string& StringTyping, std::string& StringVariable, std::string& DNAString,
                 std::string& DNAString2, std::string& Expression, const std::string& sKey = "");
  clsMorvex& Item(int32_t index);
  clsMorvex& Item(std::string_view key);
  int32_t Count() const noexcept;
  void Remove(int32_t index);
  void Remove(std::string_view key);

  auto begin() noexcept { return records_.begin(); }
  auto end() noexcept { return records_.end(); }

 private:
  struct Record {
    std::string key;
    std::unique_ptr<clsMorvex> calculator;
  };
  std::vector<Record> records_;
  int32_t IndexOfKey(std::string_view key) const;
};

}  // namespace morvex
