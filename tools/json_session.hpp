// The --json session: one JSON object per input line, on one line, with the
// calculator's properties after the line and every event raised during it.
#pragma once

#include <string>

#include "host_session.hpp"
#include "json_writer.hpp"

namespace morvex::cli {

class JsonSession : public HostSession {
 public:
  JsonSession(clsMorvex& calculator, const Options& options, std::istream& in, std::FILE* out);

 protected:
  void BeginLine() override;
  void Report(const LineOutcome& outcome) override;

 private:
  void InstallHandlers();
  // Starts the JSON object of one event in the list of the current line.
  JsonObject& NewEvent(std::string_view name);
  void CloseEvent();

  std::string events_;  // the events of the current line, as JSON objects separated by commas
  JsonObject event_;
  std::string record_;
};

// Writes the record of one line: the keys line, result, TText, the
// calculator's properties, events (`eventsJson`, the inside of the array) and
// failure, in this order.
std::string FormatLineRecord(clsMorvex& calculator, const LineOutcome& outcome, std::string_view eventsJson);

}  // namespace morvex::cli
