// Cuts a script text into tokens. Lines end at CR, LF or CR LF; " _" at the end
// of a line continues the statement on the next one; comments start with ' or
// Rem and run to the end of the line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/script/script_value.hpp"

namespace morvex::script {

enum class Tok : uint8_t {
  End,       // end of the text
  NewLine,   // end of a line
  Colon,     // ":" between statements
  Name,      // an identifier that is not a keyword
  Keyword,   // a reserved word, see Kw
  Number,    // a numeric literal
  String,    // a string literal
  Plus, Minus, Star, Slash, Backslash, Caret, Ampersand,
  Equal, NotEqual, Less, Greater, LessEqual, GreaterEqual,
  LeftParen, RightParen, Comma, Dot,
};

enum class Kw : uint8_t {
  None,
  And, ByRef, ByVal, Call, Case, Class, Const, Dim, Do, Each, Else, ElseIf, Empty, End, Eqv, Erase,
  Exit, False, For, Function, GoTo, If, Imp, In, Is, Let, Loop, Mod, New, Next, Not, Nothing, Null,
  On, Option, Or, Private, Public, ReDim, Select, Set, Stop, Sub, Then, To, True, Until, Wend, While,
  With, Xor, Property, Resume,
};

struct Token {
  Tok kind = Tok::End;
  Kw keyword = Kw::None;
  int32_t line = 1;
  std::string text;  // a name in lower case, or the characters of a string literal
  std::string spelling;  // a name as written
  Value number;      // a numeric literal: Integer, Long or Double
};

// The whole text as tokens, ending with Tok::End. Throws ScriptError with the
// line for a character that starts no token or an unterminated string.
std::vector<Token> Tokenize(std::string_view text);

// Lower case of an ASCII name.
std::string LowerName(std::string_view name);

}  // namespace morvex::script
