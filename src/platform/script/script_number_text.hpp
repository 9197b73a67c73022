// Text of numbers as VBScript writes and reads it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace morvex::script {

// Appends the text of a double: at most 15 significant digits, no trailing
// zeros, "1E+15" style exponents from 1E+15 up and below 1 when the plain form
// would need more than 15 decimals; -0 is "0".
void AppendDouble(std::string& out, double value);
void AppendInteger(std::string& out, int64_t value);

enum class NumberParse { Ok, NotANumber, Overflow };

// Reads a whole text as a number: surrounding blanks, a sign, digits with one
// point, an exponent with E or D; or &H / &O followed by hexadecimal or octal
// digits (an Integer's or a Long's bit pattern, so "&HFFFF" is -1). A text
// of more than 4096 characters is no number.
NumberParse ParseNumber(std::string_view text, double& value);

}  // namespace morvex::script
