// The depth of line files and nested calculators running inside one another.
// A definition or a file that names itself would otherwise descend until the
// stack is used up; past a fixed depth the descent ends with failure 28.
#pragma once

#include <string_view>

#include "core/errors.hpp"
#include "core/shared_state.hpp"

namespace morvex::detail {

inline constexpr int32_t kMaxNestingDepth = 40;

class NestingGuard {
 public:
  explicit NestingGuard(std::string_view what) {
    if (Shared().gNestingDepth >= kMaxNestingDepth) {
      Fail(failure_code::OutOfStackSpace,
           "out of stack space: " + std::string(what) + " nested more than " + std::to_string(kMaxNestingDepth) +
               " deep");
    }
    ++Shared().gNestingDepth;
  }
  ~NestingGuard() { --Shared().gNestingDepth; }
  NestingGuard(const NestingGuard&) = delete;
  NestingGuard& operator=(const NestingGuard&) = delete;
};

}  // namespace morvex::detail
