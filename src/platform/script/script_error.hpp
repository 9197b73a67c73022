// Errors of the script engine.
//
// Inside the engine every failure is a ScriptError: a VBScript-style error
// number, a message and, where known, the script line. The public ScriptControl
// turns it into morvex::Failure with a message that names the line.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace morvex::script {

namespace error_code {
inline constexpr int32_t InvalidCall = 5;              // bad argument of a built-in function
inline constexpr int32_t Overflow = 6;                 // a result beyond the range of its type
inline constexpr int32_t OutOfMemory = 7;              // an array too large
inline constexpr int32_t SubscriptOutOfRange = 9;      // an index or dimension an array does not have
inline constexpr int32_t ArrayFixed = 10;              // ReDim or assignment of a fixed-size array
inline constexpr int32_t DivisionByZero = 11;          // a number divided by zero
inline constexpr int32_t TypeMismatch = 13;            // a value of the wrong kind
inline constexpr int32_t OutOfStringSpace = 14;        // a string too long
inline constexpr int32_t TooLong = 17;                 // the step budget of one run is used up
inline constexpr int32_t OutOfStackSpace = 28;         // calls or nesting too deep
inline constexpr int32_t InvalidUseOfNull = 94;        // Null where a value is needed
inline constexpr int32_t WrongArgumentCount = 450;     // a call with the wrong number of arguments
inline constexpr int32_t NotACollection = 451;         // For Each over something that is not an array
inline constexpr int32_t UnknownName = 438;            // a procedure or function the engine does not know
inline constexpr int32_t VariableUndefined = 500;      // Option Explicit and an undeclared variable
inline constexpr int32_t IllegalAssignment = 501;      // assignment to a constant or a procedure
inline constexpr int32_t SyntaxError = 1002;           // a text that is not VBScript, or a construct refused
inline constexpr int32_t InvalidCharacter = 1014;      // a character that cannot start a token
inline constexpr int32_t UnterminatedString = 1033;    // a string literal without its closing quote
inline constexpr int32_t NameRedefined = 1041;         // a name declared twice in one scope
inline constexpr int32_t ParenthesesOnSubCall = 1044;  // "Foo(a, b)" as a statement
inline constexpr int32_t LanguageNotSet = 5;           // ExecuteStatement before Language
}  // namespace error_code

// A failure inside the engine. `line` is 0 while unknown; the interpreter fills
// it in from the statement that was running.
class ScriptError : public std::exception {
 public:
  ScriptError(int32_t code, std::string message, int32_t line = 0)
      : code_(code), message_(std::move(message)), line_(line) {}
  int32_t code() const noexcept { return code_; }
  const std::string& message() const noexcept { return message_; }
  int32_t line() const noexcept { return line_; }
  void set_line(int32_t line) noexcept { line_ = line; }
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  int32_t code_;
  std::string message_;
  int32_t line_;
};

// The usual name of an error number ("Type mismatch", ...), or "Script error".
std::string_view ErrorName(int32_t code);

[[noreturn]] void Raise(int32_t code, std::string detail = {}, int32_t line = 0);

// Quotes a script text for a message, shortened when long.
std::string Quoted(std::string_view text);

}  // namespace morvex::script
