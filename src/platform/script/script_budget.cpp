#include "platform/script/script_budget.hpp"

#include <string>

namespace morvex::script {

void Budget::Exhausted() {
  Raise(error_code::TooLong, "more than " + std::to_string(limits::kStepBudget) +
                                 " steps in one run (an endless loop?)");
}

}  // namespace morvex::script
