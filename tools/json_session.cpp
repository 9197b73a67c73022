#include "json_session.hpp"

namespace morvex::cli {

JsonSession::JsonSession(clsMorvex& calculator, const Options& options, std::istream& in, std::FILE* out)
    : HostSession(calculator, options, in, out) {
  InstallHandlers();
}

JsonObject& JsonSession::NewEvent(std::string_view name) {
  event_.Clear();
  event_.String("name", name);
  return event_;
}

void JsonSession::CloseEvent() {
  if (!events_.empty()) events_ += ',';
  events_ += event_.Finish();
}

void JsonSession::InstallHandlers() {
  EventHandlers& events = calculator_.Events();
  events.Change = [this](int16_t length, int16_t firstChar) {
    // The text the positions point into is the chain at this moment.
    const std::string text = calculator_.DNAString();
    NewEvent("Change").Integer("Length", length).Integer("FirstChar", firstChar).String("DNAString", text);
    CloseEvent();
  };
  events.Change2 = [this](int16_t length, int16_t firstChar) {
    const std::string text = calculator_.DNAString2();
    NewEvent("Change2").Integer("Length", length).Integer("FirstChar", firstChar).String("DNAString2", text);
    CloseEvent();
  };
  events.Wait = [this] {
    NewEvent("Wait");
    CloseEvent();
  };
  events.Progress = [this](double percent) {
    NewEvent("Progress").Number("Percent", percent);
    CloseEvent();
  };
  events.InternalCalc = [this](double percent) {
    NewEvent("InternalCalc").Number("Percent", percent);
    CloseEvent();
  };
  events.UpdateVariables = [this](double percent) {
    NewEvent("UpdateVariables").Number("Percent", percent);
    CloseEvent();
  };
  events.VBSProgress = [this](double percent) {
    NewEvent("VBSProgress").Number("Percent", percent);
    CloseEvent();
  };
  events.GetFunctions = [this](const std::string& name, const std::string& expression) {
    NewEvent("GetFunctions").String("FuncName", name).String("Expression", expression);
    CloseEvent();
  };
  events.InputBox = [this](std::string& num) {
    const std::string word = num;
    num = options_.AnswerFor(word).value_or(std::string());
    NewEvent("InputBox").String("Num", word).String("answer", num);
    CloseEvent();
  };
}

void JsonSession::BeginLine() { events_.clear(); }

void JsonSession::Report(const LineOutcome& outcome) {
  record_ = FormatLineRecord(calculator_, outcome, events_);
  record_ += '\n';
  Write(record_);
  events_.clear();
}

std::string FormatLineRecord(clsMorvex& calculator, const LineOutcome& outcome, std::string_view eventsJson) {
  std::string events;
  events.reserve(eventsJson.size() + 2);
  events += '[';
  events += eventsJson;
  events += ']';

  std::string failure = "null";
  if (outcome.failure) {
    JsonObject object;
    object.Integer("code", outcome.failure->code).String("message", outcome.failure->message);
    failure = object.Finish();
  }

  JsonObject record;
  record.String("line", outcome.line)
      .String("result", outcome.result)
      .String("TText", outcome.ttext)
      .String("OutString", calculator.OutString())
      .String("InString", calculator.InString())
      .Integer("ErrNumber", calculator.ErrNumber())
      .Integer("ErrFirst", calculator.ErrFirst())
      .Integer("ErrLength", calculator.ErrLength())
      .String("ErrDescription", calculator.ErrDescription())
      .String("Expression", calculator.Expression())
      .String("StringTyping", calculator.StringTyping())
      .String("StringVariable", calculator.StringVariable())
      .String("DNAString", calculator.DNAString())
      .Raw("events", events)
      .Raw("failure", failure);
  return record.Finish();
}

}  // namespace morvex::cli
