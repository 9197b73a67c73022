// The way from a public clsMorvex to the calculator behind it, for the
// library's own classes (DNAGroup) and for tests. Hosts have no such way.
#pragma once

#include "morvex/morvex.hpp"
#include "workspace/calculator.hpp"

namespace morvex::detail {

struct CalculatorAccess {
  // Fails with code 91 on a moved-from object.
  static Calculator& Of(const clsMorvex& calculator) { return calculator.Impl(); }
};

}  // namespace morvex::detail
