// A session for the robustness checks: the lines a host hands to one
// calculator, and the program folder it runs in (StartUp.txt, a line file
// "lines.txt", a script file "vbscript.txt"). The same form is the fuzz
// target's input, as text, and the random session generator makes it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace morvex::fuzz {

struct Session {
  std::vector<std::string> lines;
  // File name ("StartUp.txt", "lines.txt", "vbscript.txt") to its lines.
  std::map<std::string, std::vector<std::string>> files;
};

// The files a session may put into its program folder.
inline constexpr std::string_view kFileNames[] = {"StartUp.txt", "lines.txt", "vbscript.txt"};

// The text form: the session's lines, one a line; a line "::NAME" (NAME one of
// kFileNames) starts that file, whose lines follow up to the next such line;
// "::session" goes back to the session's lines. Any other text is a line.
std::string ToText(const Session& session);
Session FromText(std::string_view text);

// Writes the session's files into `folder` (each line ended by CR LF, and two
// empty entries after the last, which a line file leaves unread) and removes
// those of kFileNames that the session does not have.
void WriteProgramFolder(const Session& session, const std::string& folder);

// A random session in the style of a user who defines variables from reserved
// words («r=sin», «Ans=sin»), formula words whose texts name other variables,
// and formulas inside formulas, mixed with commands, script calls and the
// name of the line file. The same seed gives the same session.
Session RandomSession(uint32_t seed);

// CPU time of the calling thread, in seconds: unlike wall time, it does not
// grow when other work loads the machine.
double ThreadCpuSeconds();

// The most CPU time one line may take before it counts as a hang: a second,
// scaled by the slowdown of the sanitizers this code is built with.
double LineCpuBoundSeconds();

}  // namespace morvex::fuzz
