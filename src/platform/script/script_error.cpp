#include "platform/script/script_error.hpp"

namespace morvex::script {

std::string_view ErrorName(int32_t code) {
  switch (code) {
    case error_code::InvalidCall: return "Invalid procedure call or argument";
    case error_code::Overflow: return "Overflow";
    case error_code::OutOfMemory: return "Out of memory";
    case error_code::SubscriptOutOfRange: return "Subscript out of range";
    case error_code::ArrayFixed: return "This array is fixed or temporarily locked";
    case error_code::DivisionByZero: return "Division by zero";
    case error_code::TypeMismatch: return "Type mismatch";
    case error_code::OutOfStringSpace: return "Out of string space";
    case error_code::TooLong: return "Script ran too long";
    case error_code::OutOfStackSpace: return "Out of stack space";
    case error_code::InvalidUseOfNull: return "Invalid use of Null";
    case error_code::WrongArgumentCount: return "Wrong number of arguments";
    case error_code::NotACollection: return "Object not a collection";
    case error_code::UnknownName: return "Unknown procedure or function";
    case error_code::VariableUndefined: return "Variable is undefined";
    case error_code::IllegalAssignment: return "Illegal assignment";
    case error_code::SyntaxError: return "Syntax error";
    case error_code::InvalidCharacter: return "Invalid character";
    case error_code::UnterminatedString: return "Unterminated string constant";
    case error_code::NameRedefined: return "Name redefined";
    case error_code::ParenthesesOnSubCall: return "Cannot use parentheses when calling a Sub";
    default: return "Script error";
  }
}

void Raise(int32_t code, std::string detail, int32_t line) {
  std::string message(ErrorName(code));
  if (!detail.empty()) {
    message += ": ";
    message += detail;
  }
  throw ScriptError(code, std::move(message), line);
}

std::string Quoted(std::string_view text) {
  constexpr size_t kShown = 40;
  std::string out = "\"";
  if (text.size() > kShown) {
    out.append(text.substr(0, kShown));
    out += "...";
  } else {
    out.append(text);
  }
  out += '"';
  return out;
}

}  // namespace morvex::script
