// The budget of one run: steps, call depth and stack use.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/script/script_error.hpp"
#include "platform/script/script_limits.hpp"

namespace morvex::script {

class Budget {
 public:
  // Starts a run: a full step budget, no calls, and the caller's frame as the
  // base of the stack measurement.
  void Start(int64_t steps = limits::kStepBudget) {
    steps_left_ = steps;
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
  // The cost of producing `bytes` bytes of string or array data.
  void ChargeBytes(size_t bytes) { Charge(1 + static_cast<int64_t>(bytes / limits::kBytesPerStep)); }

  // Fails with "out of stack space" when the engine's recursion has used more
  // stack than allowed since Start.
  void CheckStack() const {
    uintptr_t here = CurrentFrame();
    uintptr_t used = here < stack_base_ ? stack_base_ - here : here - stack_base_;
    if (used > limits::kMaxStackBytes) Raise(error_code::OutOfStackSpace, "expressions or blocks nested too deeply");
  }

  void EnterCall() {
    if (++call_depth_ > limits::kMaxCallDepth) {
      --call_depth_;
      Raise(error_code::OutOfStackSpace, "more than 200 nested procedure calls");
    }
    CheckStack();
  }
  void LeaveCall() { --call_depth_; }
  int32_t call_depth() const { return call_depth_; }
  int64_t steps_left() const { return steps_left_; }

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
