// The type codes of a cell (NameStr): what a cell is.
#pragma once

#include <cstdint>

namespace morvex {

// Type codes (NameStr). An integer in spite of the historical name.
enum TypeCode : int16_t {
  TypeNone = 0,
  TypeNumber = 1,
  TypeWord = 2,
  TypePlus = 3,
  TypeOper = 4,
  TypePower = 5,
  TypeSign = 6,
  TypeStart = 7,
  TypeEnd = 8,
  TypeAns = 9,
  TypeExtra = 10,
  TypeChar = 11,
  TypePowerNum = 12,
  TypeEquals = 13,
  TypeXVar = 14,
  TypeYVar = 15,
  TypeFactorial = 16,
  TypeComma = 20,
  TypeLess = 51,
  TypeGreater = 52,
  TypeQuestion = 53,
  TypeOpenBracket = 54,
  TypeCloseBracket = 55,
  TypeHash = 56,
  TypeAt = 57,
  TypeColon = 58,
  TypeBar = 59,
  TypeFormulaFile = 98,
  TypeVariable = 99,
};

}  // namespace morvex
