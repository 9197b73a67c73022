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
    {K::Power},
    {K::Operator, F::Next, TypeLess},
    {K::Operator, F::Next, TypeGreater},
    {K::Operator, F::Next, TypeQuestion},
    {K::Operator, F::Next, TypeOpenBracket},
    {K::Operator, F::Next, TypeCloseBracket},
    {K::Operator, F::Next, TypeHash},
    {K::Operator, F::Next, TypeColon},
    {K::Operator, F::Next, TypeAt},
    {K::Operator, afterRemainder, TypeBar},
    {K::Adjacent, F::BackToWordsIfReduced},
    {K::Sign, F::BackToWordsIfReduced},
    {K::TimesDivide, F::BackToWordsIfReduced},
    {K::PlusMinus, F::BackToWordsIfReduced},
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
    {K::ExponentMark},
    {K::ExponentWord},
    {K::Factorial},
    {K::Words},
    {K::Power},
    {K::Adjacent},
    {K::Operator, F::Next, TypeLess},
    {K::Operator, F::Next, TypeGreater},
    {K::Operator, F::Next, TypeBar},
    {K::Operator, F::Next, TypeQuestion},
    {K::Operator, F::Next, TypeOpenBracket},
    {K::Operator, F::Next, TypeCloseBracket},
    {K::Operator, F::Next, TypeHash},
    {K::Operator, F::Next, TypeColon},
    {K::Operator, F::Next, TypeAt},
    {K::Sign, F::BackToWordsIfReduced},
    {K::TimesDivide, F::BackToWordsIfReduced},
    {K::PlusMinus, F::BackToWordsIfReduced},
}};

// The drivers of a line, silent and loud: what must not reach the general
// reduction is taken away first, in this order.
inline constexpr std::array<DriverStage, 12> kLineDriverStages = {{
    {DriverStageKind::Bind},
    {DriverStageKind::Pi},
    {DriverStageKind::Sign},
    {DriverStageKind::ExponentMark},
    {DriverStageKind::ExponentWord},
    {DriverStageKind::Factorial},
    {DriverStageKind::Groups},
    {DriverStageKind::WordPower},
    {DriverStageKind::Groups},
    {DriverStageKind::Power},
    {DriverStageKind::Sign},
    {DriverStageKind::General},
}};

}  // namespace morvex::detail::stages
