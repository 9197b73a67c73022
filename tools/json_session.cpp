#include "json_session.hpp"

namespace morvex::cli {

JsonSession::JsonSession(clsMorvex& calculator, Options& options, LineInput& input, std::FILE* out)
    : HostSession(calculator, options, input, out) {
  InstallHandlers();
}

JsonObject& JsonSession::NewEvent(std::string_view name) {
  event_.Clear();
  event_.String("name", name);
  return event_;
}

void JsonSession::WriteEvent() {
  if (!firstEvent_) Write(",");
  firstEvent_ = false;
  Write(event_.Finish());
}

void JsonSession::InstallHandlers() {
  EventHandlers& events = calculator_.Events();
  events.Change = [this](int16_t length, int16_t firstChar) {
    // The text the positions point into is the chain at this moment.
    NewEvent("Change").Integer("Length", length).Integer("FirstChar", firstChar).String("DNAString",
                                                                                          calculator_.DNAString());
    WriteEvent();
  };
  events.Change2 = [this](int16_t length, int16_t firstChar) {
    NewEvent("Change2").Integer("Length", length).Integer("FirstChar", firstChar).String("DNAString2",
                                                                                           calculator_.DNAString2());
    WriteEvent();
  };
  events.Wait = [this] {
    NewEvent("Wait");
    WriteEvent();
  };
  auto share = [this](std::string_view name) {
    return [this, name](double percent) {
      NewEvent(name).Number("Percent", percent);
      WriteEvent();
    };
  };
  events.Progress = share("Progress");
  events.InternalCalc = share("InternalCalc");
  events.UpdateVariables = share("UpdateVariables");
  events.VBSProgress = share("VBSProgress");
  events.GetFunctions = [this](const std::string& name, const std::string& expression) {
    NewEvent("GetFunctions").String("FuncName", name).String("Expression", expression);
    WriteEvent();
  };
  events.InputBox = [this](std::string& num) {
    const std::string word = num;
    num = options_.AnswerFor(word).value_or(std::string());
    NewEvent("InputBox").String("Num", word).String("answer", num);
    WriteEvent();
  };
}

void JsonSession::BeginLine(const std::string& line, const HostCommand& /*command*/) {
  firstEvent_ = true;
  Write(LineRecordHead(line));
}

void JsonSession::Report(const LineOutcome& outcome) { Write(LineRecordTail(calculator_, outcome)); }

std::string LineRecordHead(std::string_view line) {
  std::string head = "{\"line\":";
  AppendJsonString(head, line);
  head += ",\"events\":[";
  return head;
}

std::string LineRecordTail(clsMorvex& calculator, const LineOutcome& outcome) {
  std::string failure = "null";
  if (outcome.failure) {
    JsonObject object;
    object.Integer("code", outcome.failure->code).String("message", outcome.failure->message);
    failure = object.Finish();
  }
  JsonObject members;
  members.String("result", outcome.result)
      .String("TText", outcome.ttext)
      .String("OutString", calculator.OutString())
      .String("InString", calculator.InString())
      .Integer("ErrNumber", calculator.ErrNumber())
      .Integer("ErrFirst", calculator.ErrFirst())
      .Integer("ErrLength", calculator.ErrLength())
      .String("ErrDescription", calculator.ErrDescription())
      .String("ErrFormula", calculator.ErrFormula())
      .String("Expression", calculator.Expression())
      .String("ScriptFailure", calculator.ScriptFailure())
      .String("StringTyping", calculator.StringTyping())
      .String("StringVariable", calculator.StringVariable())
      .String("DNAString", calculator.DNAString())
      .String("DNAString2", calculator.DNAString2())
      .Raw("failure", failure);
  // The members continue the object that the head opened: its "{" gives way
  // to the close of the event list.
  std::string tail = "],";
  tail.append(members.Finish(), 1);
  tail += '\n';
  return tail;
}

}  // namespace morvex::cli
