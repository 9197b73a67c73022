// Cuts a script text into tokens. Lines end at CR, LF or CR LF; " _" at the end
// of a line continues the statement on the next one; comments start with ' or
// Rem and run to the end of the line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace morvex::script {

enum class Tok : uint8_t {
  End, NewLine, Colon, Name, Keyword, Number, String,
  Plus, Minus, Star, Slash, Backslash, Caret, Ampersand,
  Equal, NotEqual, Less, Greater, LessEqual, GreaterEqual,
  LeftParen, RightParen, Comma,
};

enum class Kw : uint8_t {
  None, And, ByRef, ByVal, Call, Case, Const, Dim, Do, Else, ElseIf, Empty, End, Eqv, Exit, False, For,
  Function, If, Imp, Is, Loop, Mod, Next, Not, Or, Private, Public, Select, Sub, Then, To, True, Until,
  Wend, While, Xor,
  Refused,  // a word of VBScript outside the subset this engine takes
};

struct Token {
  Tok kind = Tok::End;
  Kw keyword = Kw::None;
  int32_t line = 1;
  std::string text;      // a name in lower case, or the characters of a string literal
  std::string spelling;  // a name as written
  double number = 0;
};

// The whole text as tokens, ending with Tok::End. Fails with the line for a
// character that starts no token or a string without its closing quote.
std::vector<Token> Tokenize(std::string_view text);

}  // namespace morvex::script
