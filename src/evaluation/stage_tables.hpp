// The stage orders that several reducers share: the tail of the reducers of a
// line and of a formula (from the power pass on), and the order of the range
// reducers of a word power.
#pragma once

#include <array>

#include "evaluation/reducer.hpp"

namespace morvex::detail::stages {

using K = StageKind;
using F = Flow;

// From the power pass on: the comparisons, each a level of its own, the
// selections, the remainder (which leads back to the words in the loud
// reducers only), then the passes that lead back to the words.
constexpr std::array<Stage, 14> Tail(Flow afterRemainder) {
  return {{
    {.kind = K::Binary, .operatorType = TypePower},
    {.kind = K::Binary, .operatorType = TypeLess},
    {.kind = K::Binary, .operatorType = TypeGreater},
    {.kind = K::Binary, .operatorType = TypeQuestion},
    {.kind = K::Binary, .operatorType = TypeOpenBracket},
    {.kind = K::Binary, .operatorType = TypeCloseBracket},
    {.kind = K::Binary, .operatorType = TypeHash},
    {.kind = K::Binary, .operatorType = TypeColon},
    {.kind = K::Binary, .operatorType = TypeAt},
    {.kind = K::Binary, .flow = afterRemainder, .operatorType = TypeBar},
    {.kind = K::Adjacent, .flow = F::BackToWordsIfReduced},
    {.kind = K::Sign, .flow = F::BackToWordsIfReduced},
    {.kind = K::Binary, .flow = F::BackToWordsIfReduced, .operatorType = TypeOper},
    {.kind = K::Binary, .flow = F::BackToWordsIfReduced, .operatorType = TypePlus},
  }};
}

template <size_t N, size_t M>
constexpr std::array<Stage, N + M> Join(const std::array<Stage, N>& head, const std::array<Stage, M>& tail) {
  std::array<Stage, N + M> all{};
  for (size_t i = 0; i < N; ++i) all[i] = head[i];
  for (size_t i = 0; i < M; ++i) all[N + i] = tail[i];
  return all;
}

// The range reducers of a word power: the exponent passes, the factorial
// (backward, 32-bit), the words, the power, adjacent numbers, the operators in
// the order < > | ? [ ] # : @, none leading back, then sign, * /, + -.
inline constexpr std::array<Stage, 18> kRangeStages = {{
    {.kind = K::ExponentMark},
    {.kind = K::ExponentWord},
    {.kind = K::Factorial},
    {.kind = K::Words},
    {.kind = K::Binary, .operatorType = TypePower},
    {.kind = K::Adjacent},
    {.kind = K::Binary, .operatorType = TypeLess},
    {.kind = K::Binary, .operatorType = TypeGreater},
    {.kind = K::Binary, .operatorType = TypeBar},
    {.kind = K::Binary, .operatorType = TypeQuestion},
    {.kind = K::Binary, .operatorType = TypeOpenBracket},
    {.kind = K::Binary, .operatorType = TypeCloseBracket},
    {.kind = K::Binary, .operatorType = TypeHash},
    {.kind = K::Binary, .operatorType = TypeColon},
    {.kind = K::Binary, .operatorType = TypeAt},
    {.kind = K::Sign, .flow = F::BackToWordsIfReduced},
    {.kind = K::Binary, .flow = F::BackToWordsIfReduced, .operatorType = TypeOper},
    {.kind = K::Binary, .flow = F::BackToWordsIfReduced, .operatorType = TypePlus},
}};

// The drivers of a line, silent and loud: what must not reach the general
// reduction is taken away first, in this order.
inline constexpr std::array<Stage, 12> kLineDriverStages = {{
    {.kind = K::Bind},
    {.kind = K::Pi},
    {.kind = K::Sign},
    {.kind = K::ExponentMark},
    {.kind = K::ExponentWord},
    {.kind = K::Factorial},
    {.kind = K::Groups},
    {.kind = K::WordPower},
    {.kind = K::Groups},
    {.kind = K::Binary, .operatorType = TypePower},
    {.kind = K::Sign},
    {.kind = K::General},
}};

}  // namespace morvex::detail::stages
