// The calculation run: the loud run that gives a line its value, raising
// Change around each step so that a host can animate the reduction.
#pragma once

#include <cstdint>

#include "workspace/calculator.hpp"

namespace morvex::detail {

// Reduces the working chain to its value; the result goes to ResultText, Ans
// and a plain target.
void RunChain(Calculator& c);
// Reduces first..last of the working chain (first 0: the whole chain) with Change events.
void RunReduce(Calculator& c, int32_t& first, int32_t& last);
// The reducer of the group of a rewritten word power on the working chain.
void ReduceRange(Calculator& c, int32_t& first, int32_t& last);

}  // namespace morvex::detail
