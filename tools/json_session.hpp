// The --json session: one JSON object per input line, on one line. The object
// starts with the line and its events, written out as each event comes, so
// that a line of many steps needs no more memory than one event; the
// calculator's properties after the line follow the events.
#pragma once

#include <string>

#include "host_session.hpp"
#include "json_writer.hpp"

namespace morvex::cli {

class JsonSession : public HostSession {
 public:
  JsonSession(clsMorvex& calculator, Options& options, LineInput& input, std::FILE* out);

 protected:
  void BeginLine(const std::string& line, const HostCommand& command) override;
  void Report(const LineOutcome& outcome) override;

 private:
  void InstallHandlers();
  // Starts the JSON object of one event; WriteEvent sends it out.
  JsonObject& NewEvent(std::string_view name);
  void WriteEvent();

  JsonObject event_;
  bool firstEvent_ = true;
  std::string text_;
};

// The start of a line's record, up to the opening of its event list.
std::string LineRecordHead(std::string_view line);
// The rest of the record after the events: the result, TText, the
// calculator's properties and the failure (null when none), and the line end.
std::string LineRecordTail(clsMorvex& calculator, const LineOutcome& outcome);

}  // namespace morvex::cli
