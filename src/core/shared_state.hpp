// The state that all calculators of a thread share: the successor template,
// the angle unit, the current error and report, the scanner's counters and the
// flags of a run. Every name here begins with g. It is kept per thread, so that
// within one thread every calculator (nested ones included) sees the same
// state, and a host can run one calculator per thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/errors.hpp"
#include "core/successor_flags.hpp"
#include "core/variable_table.hpp"

namespace morvex {

class DNAGroup;

// The angle unit: Degre is "Degree" or "Radian"; the reductions compare it
// with these two texts.
struct DNAProp {
  std::string Degre = "Degree";
};

struct SharedState {
  SuccessorTemplate gNext;       // the successor template; StartNumber is the depth
  DNAProp gAngle;                // the angle unit
  CErrOcur gErr;                 // the current error
  Report gReport;                // side texts of the line
  int32_t gErrCode = 0;          // the number of the error found
  int16_t gCharClass = 0;        // the last class of ClassifyChar; never reset
  std::string gEndText;          // the trailing text of the line
  int16_t gParenDepth = 0;       // open parentheses the scanner counted in its last balance
  int16_t gParenDepth2 = 0;      // its twin, read by the scan of a formula's text
  bool gFoundVariable = false;   // a variable was met in this run
  bool gRecalculate = false;     // recompute plain variables after this line
  bool gPowerRewritten = false;  // a word power was rewritten in this cycle
  std::string gFormulaFileName;  // the line named a formula file
  bool gScriptDeclined = true;   // the line was no call of a script procedure
  std::string gScriptName;       // the procedure's name as the engine gives it
  VariableString gFormulaFiles;     // the text files of the program's folder
  std::string gFormulaFilesFolder;  // the folder gFormulaFiles was listed from,
  uint64_t gFormulaFilesVersion = 0;  // under this platform::ListingVersion (0: never)
  DNAGroup* gNestedCalculators = nullptr;  // the nested calculator of the moment
  int32_t gNestingDepth = 0;     // line files and nested calculators inside one another
};

// The shared state of the calling thread.
inline SharedState& Shared() noexcept {
  static thread_local SharedState state;
  return state;
}

}  // namespace morvex
