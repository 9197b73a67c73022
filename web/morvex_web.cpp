// The calculator in the browser: one clsMorvex behind a few C functions that
// the page's JavaScript API (morvex-api.js) calls through ccall.
//
// Text crosses the border as bytes, one byte per character, as the calculator
// counts them: the API sends each character of the line as one byte (Latin-1)
// and the records come back as JSON in plain ASCII (bytes above 127 written as
// \u00XX), so every position of an event or an error points at the same
// character on both sides.
//
// Asking for an unknown word. The calculator's InputBox event is a synchronous
// call that wants the answer on return, but an in-page prompt answers later,
// from the browser's event loop. The module is built with Asyncify: AskForWord
// below awaits the page's promise, and Asyncify unwinds the WebAssembly stack
// to the caller of mv_calculate, lets the browser run, and rewinds it when the
// promise settles. The calculator sees an ordinary synchronous call that
// returned the answer, so it behaves exactly as under any other host; the
// JavaScript side sees mv_calculate as a call that returns a promise.
#include <emscripten.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "json_writer.hpp"
#include "morvex/morvex.hpp"

namespace {

using morvex::cli::JsonObject;

// Line files, formula files, StartUp.txt and vbscript.txt live in the program's
// folder. The browser has no such folder: the calculator gets an empty one in
// the module's memory, so those lines find nothing and stay ordinary lines.
constexpr const char* kProgramFolder = "/morvex";

// Awaits the page's answer for `word`: a malloc'd byte string to free, or null
// when the user declined. Bytes are Latin-1 characters, as in the line.
EM_ASYNC_JS(char*, AskForWord, (const char* word, int length), {
  let text = "";
  for (let i = 0; i < length; i++) text += String.fromCharCode(HEAPU8[word + i]);
  const ask = Module["askWord"];
  const answer = ask ? await ask(text) : null;
  if (answer === null || answer === undefined) return 0;
  const value = String(answer);
  const bytes = _malloc(value.length + 1);
  for (let i = 0; i < value.length; i++) {
    const code = value.charCodeAt(i);
    HEAPU8[bytes + i] = code < 256 ? code : 63;  // '?' for what one byte cannot hold
  }
  HEAPU8[bytes + value.length] = 0;
  return bytes;
});

class WebHost {
 public:
  WebHost() {
    std::error_code ignored;
    std::filesystem::create_directories(kProgramFolder, ignored);
    calculator_.ProgramFolder(kProgramFolder);
    calculator_.Initialize();
    InstallHandlers();
  }

  // Runs one line and describes it: the properties after the line, the events
  // raised during it, a failure if the library threw one, and the listing.
  const std::string& Calculate(std::string line) {
    events_.clear();
    std::string failure = "null";
    std::string result;
    std::string ttext = line;
    try {
      result = calculator_.Calculate(ttext);
    } catch (const morvex::Failure& error) {
      failure = FailureJson(error.code(), error.what());
    } catch (const std::exception& error) {
      failure = FailureJson(-1, error.what());
    }
    JsonObject record;
    record.String("line", line)
        .String("result", result)
        .String("tText", ttext)
        .String("outString", calculator_.OutString())
        .String("inString", calculator_.InString())
        .Integer("errNumber", calculator_.ErrNumber())
        .String("errDescription", calculator_.ErrDescription())
        .Integer("errFirst", calculator_.ErrFirst())
        .Integer("errLength", calculator_.ErrLength())
        .String("errFormula", calculator_.ErrFormula())
        .String("expression", calculator_.Expression())
        .String("stringTyping", calculator_.StringTyping())
        .String("stringVariable", calculator_.StringVariable())
        .String("dnaString", calculator_.DNAString())
        .String("dnaString2", calculator_.DNAString2())
        .String("scriptFailure", calculator_.ScriptFailure())
        .Raw("events", "[" + events_ + "]")
        .Raw("failure", failure)
        .Raw("listing", Listing());
    record_ = record.Finish();
    return record_;
  }

  // The angle unit and the user's variables in table order: for each, its
  // name, its kind, its value and the text of its stored chain, as
  // FetchFunctions hands them over.
  const std::string& Listing() {
    listed_.clear();
    try {
      calculator_.FetchFunctions();
    } catch (const morvex::Failure&) {
      // A listing that fails shows what was gathered; the calculator goes on.
    }
    const auto table = calculator_.VariableList();
    std::string variables = "[";
    for (const auto& [name, expression] : listed_) {
      JsonObject entry;
      entry.String("name", name).String("expression", expression);
      for (const auto& variable : table) {
        if (variable.Key != name) continue;
        entry.Integer("typeVar", variable.TypeVar).Number("value", variable.Value);
        break;
      }
      if (variables.size() > 1) variables += ',';
      variables += entry.Finish();
    }
    variables += ']';
    listing_ = JsonObject().String("angleUnit", calculator_.AngleUnit()).Raw("variables", variables).Finish();
    return listing_;
  }

  void UnloadVariables() { calculator_.UnLoadVars(); }

 private:
  void InstallHandlers() {
    morvex::EventHandlers& events = calculator_.Events();
    events.Change = [this](int16_t length, int16_t firstChar) {
      AddEvent(JsonObject().String("name", "Change").Integer("length", length)
                   .Integer("first", firstChar).String("text", calculator_.DNAString()));
    };
    events.Change2 = [this](int16_t length, int16_t firstChar) {
      AddEvent(JsonObject().String("name", "Change2").Integer("length", length)
                   .Integer("first", firstChar).String("text", calculator_.DNAString2()));
    };
    events.Wait = [this] { AddEvent(JsonObject().String("name", "Wait")); };
    events.InternalCalc = [this](double percent) { AddShare("InternalCalc", percent); };
    events.UpdateVariables = [this](double percent) { AddShare("UpdateVariables", percent); };
    events.Progress = [this](double percent) { AddShare("Progress", percent); };
    events.VBSProgress = [this](double percent) { AddShare("VBSProgress", percent); };
    events.GetFunctions = [this](const std::string& name, const std::string& expression) {
      listed_.emplace_back(name, expression);
    };
    events.InputBox = [this](std::string& num) {
      const std::string word = num;
      char* answer = AskForWord(word.data(), static_cast<int>(word.size()));
      num = answer ? answer : "";
      std::free(answer);
      AddEvent(JsonObject().String("name", "InputBox").String("word", word).String("answer", num));
    };
  }

  void AddShare(std::string_view name, double percent) {
    AddEvent(JsonObject().String("name", name).Number("percent", percent));
  }

  void AddEvent(JsonObject& event) {
    if (!events_.empty()) events_ += ',';
    events_ += event.Finish();
  }

  static std::string FailureJson(int32_t code, const char* message) {
    return JsonObject().Integer("code", code).String("message", message).Finish();
  }

  morvex::clsMorvex calculator_;
  std::string events_;
  std::string record_;
  std::string listing_;
  std::vector<std::pair<std::string, std::string>> listed_;  // GetFunctions of one listing
};

WebHost& Host() {
  static WebHost host;
  return host;
}

}  // namespace

extern "C" {

// Computes one line given as `length` bytes; returns its JSON record, valid
// until the next call.
EMSCRIPTEN_KEEPALIVE const char* mv_calculate(const char* bytes, int length) {
  return Host().Calculate(std::string(bytes, static_cast<size_t>(length))).c_str();
}

// The angle unit and the user's variables, as JSON.
EMSCRIPTEN_KEEPALIVE const char* mv_listing() { return Host().Listing().c_str(); }

// Forgets every user variable.
EMSCRIPTEN_KEEPALIVE void mv_unload_variables() { Host().UnloadVariables(); }
}
