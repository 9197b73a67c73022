// The limits of the sandbox, the error numbers, and the budget of one run:
// whatever a script does, the engine stays within these bounds and fails with
// a ScriptError when a script would cross one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "script/script_engine.hpp"

namespace morvex::script {

namespace limits {
// Statements, expression nodes and loop passes one ExecuteStatement or Run may take.
inline constexpr int64_t kStepBudget = 5'000'000;
// Producing a string costs one step per this many bytes.
inline constexpr size_t kBytesPerStep = 32;
inline constexpr int32_t kMaxCallDepth = 200;
// The engine's own stack use below the entry of a run. Builds with the address
// sanitizer have frames several times larger.
#if defined(__SANITIZE_ADDRESS__)
#define MORVEX_SCRIPT_LARGE_FRAMES 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MORVEX_SCRIPT_LARGE_FRAMES 1
#endif
#endif
#ifdef MORVEX_SCRIPT_LARGE_FRAMES
inline constexpr size_t kMaxStackBytes = 4 * 1024 * 1024;
#else
inline constexpr size_t kMaxStackBytes = 768 * 1024;
#endif
inline constexpr size_t kMaxStringLength = 16u * 1024u * 1024u;
inline constexpr size_t kMaxScriptLength = 16u * 1024u * 1024u;
// Parser recursion (parentheses, unary operators), nesting of blocks, and the
// height of an expression tree (long chains of one operator included).
inline constexpr int32_t kMaxParseDepth = 400;
inline constexpr int32_t kMaxBlockDepth = 100;
inline constexpr int32_t kMaxExpressionDepth = 500;
inline constexpr int32_t kMaxParameters = 64;
}  // namespace limits

namespace error_code {
inline constexpr int32_t InvalidCall = 5;
inline constexpr int32_t Overflow = 6;
inline constexpr int32_t DivisionByZero = 11;
inline constexpr int32_t TypeMismatch = 13;
inline constexpr int32_t OutOfStringSpace = 14;
inline constexpr int32_t TooLong = 17;
inline constexpr int32_t OutOfStackSpace = 28;
inline constexpr int32_t UnknownName = 438;
inline constexpr int32_t WrongArgumentCount = 450;
inline constexpr int32_t IllegalAssignment = 501;
inline constexpr int32_t SyntaxError = 1002;
inline constexpr int32_t InvalidCharacter = 1014;
inline constexpr int32_t UnterminatedString = 1033;
inline constexpr int32_t NameRedefined = 1041;
inline constexpr int32_t ParenthesesOnSubCall = 1044;
}  // namespace error_code

// Fails with the usual name of `code` ("Division by zero", ...) and `detail`.
[[noreturn]] void Raise(int32_t code, std::string_view detail = {}, int32_t line = 0, Stop stop = Stop::Runtime);

// A script text for a message: quoted, cut short when long.
std::string Quoted(std::string_view text);

// Lower case of an ASCII name.
std::string LowerName(std::string_view name);

class Budget {
 public:
  // A full step budget, no calls, and the caller's frame as the base of the
  // stack measurement.
  void Start() {
    steps_left_ = limits::kStepBudget;
    call_depth_ = 0;
    stack_base_ = CurrentFrame();
  }
  void Step() {
    if (--steps_left_ < 0) Exhausted();
  }
  void Charge(int64_t steps) {
    steps_left_ -= steps;
    if (steps_left_ < 0) Exhausted();
  }
  void ChargeBytes(size_t bytes) { Charge(1 + static_cast<int64_t>(bytes / limits::kBytesPerStep)); }

  // Fails when the engine's recursion has used more stack than allowed.
  void CheckStack() const;
  void EnterCall();
  void LeaveCall() { --call_depth_; }

 private:
  [[noreturn]] static void Exhausted();
  [[gnu::noinline]] static uintptr_t CurrentFrame() {
    return reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  }

  int64_t steps_left_ = limits::kStepBudget;
  int32_t call_depth_ = 0;
  uintptr_t stack_base_ = 0;
};

}  // namespace morvex::script
