#include "files/script_path.hpp"

#include "calculator/shared_state.hpp"
#include "platform/file_system.hpp"

namespace morvex::detail {

bool ScriptFileExists(const Calculator& c) {
  return platform::FileExists(platform::JoinPath(c.ProgramFolder, "vbscript.txt"));
}

// Until the script engine is built in, every line is declined: the calculator
// then behaves as a build without an engine, and a line goes on as an ordinary line.
std::string RunScriptLine(Calculator&, const std::string&) {
  Shared().gScriptDeclined = true;
  return "";
}

}  // namespace morvex::detail
