#include "platform/script/script_lexer.hpp"

#include <charconv>
#include <utility>

#include "platform/script/script_error.hpp"
#include "platform/script/script_number_text.hpp"

namespace morvex::script {
namespace {

constexpr std::pair<std::string_view, Kw> kKeywords[] = {
    {"and", Kw::And},       {"byref", Kw::ByRef},   {"byval", Kw::ByVal},     {"call", Kw::Call},
    {"case", Kw::Case},     {"class", Kw::Class},   {"const", Kw::Const},     {"dim", Kw::Dim},
    {"do", Kw::Do},         {"each", Kw::Each},     {"else", Kw::Else},       {"elseif", Kw::ElseIf},
    {"empty", Kw::Empty},   {"end", Kw::End},       {"eqv", Kw::Eqv},         {"erase", Kw::Erase},
    {"exit", Kw::Exit},     {"false", Kw::False},   {"for", Kw::For},         {"function", Kw::Function},
    {"goto", Kw::GoTo},     {"if", Kw::If},         {"imp", Kw::Imp},         {"in", Kw::In},
    {"is", Kw::Is},         {"let", Kw::Let},       {"loop", Kw::Loop},       {"mod", Kw::Mod},
    {"new", Kw::New},       {"next", Kw::Next},     {"not", Kw::Not},         {"nothing", Kw::Nothing},
    {"null", Kw::Null},     {"on", Kw::On},         {"option", Kw::Option},   {"or", Kw::Or},
    {"private", Kw::Private}, {"public", Kw::Public}, {"redim", Kw::ReDim},    {"select", Kw::Select},
    {"set", Kw::Set},       {"stop", Kw::Stop},     {"sub", Kw::Sub},         {"then", Kw::Then},
    {"to", Kw::To},         {"true", Kw::True},     {"until", Kw::Until},     {"wend", Kw::Wend},
    {"while", Kw::While},   {"with", Kw::With},     {"xor", Kw::Xor},         {"property", Kw::Property},
    {"resume", Kw::Resume},
};

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsNameChar(char c) { return IsLetter(c) || IsDigit(c) || c == '_'; }
bool IsHexDigit(char c) { return IsDigit(c) || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f'); }
bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\f' || c == '\v'; }

class Lexer {
 public:
  explicit Lexer(std::string_view text) : text_(text) {}

  std::vector<Token> Run() {
    while (true) {
      SkipBlanks();
      if (pos_ >= text_.size()) break;
      char c = text_[pos_];
      if (c == '\r' || c == '\n') {
        Add(Tok::NewLine);
        EatLineEnd();
      } else if (c == '\'') {
        SkipComment();
      } else if (c == '_' && TryContinuation()) {
        // the statement goes on at the next line
      } else if (IsLetter(c)) {
        LexName();
      } else if (IsDigit(c) || (c == '.' && pos_ + 1 < text_.size() && IsDigit(text_[pos_ + 1]))) {
        LexNumber();
      } else if (c == '"') {
        LexString();
      } else if (c == '&' && pos_ + 1 < text_.size() && IsRadixStart()) {
        LexRadixNumber();
      } else {
        LexOperator(c);
      }
    }
    Add(Tok::End);
    return std::move(tokens_);
  }

 private:
  Token& Add(Tok kind) {
    tokens_.emplace_back();
    tokens_.back().kind = kind;
    tokens_.back().line = line_;
    return tokens_.back();
  }

  void SkipBlanks() {
    while (pos_ < text_.size() && IsBlank(text_[pos_])) ++pos_;
  }

  void EatLineEnd() {
    if (text_[pos_] == '\r' && pos_ + 1 < text_.size() && text_[pos_ + 1] == '\n') ++pos_;
    ++pos_;
    ++line_;
  }

  void SkipComment() {
    while (pos_ < text_.size() && text_[pos_] != '\r' && text_[pos_] != '\n') ++pos_;
  }

  // "_" followed by blanks and a line end joins the two lines.
  bool TryContinuation() {
    size_t p = pos_ + 1;
    while (p < text_.size() && IsBlank(text_[p])) ++p;
    if (p >= text_.size() || (text_[p] != '\r' && text_[p] != '\n')) return false;
    pos_ = p;
    EatLineEnd();
    return true;
  }

  void LexName() {
    size_t start = pos_;
    while (pos_ < text_.size() && IsNameChar(text_[pos_])) ++pos_;
    std::string_view spelling = text_.substr(start, pos_ - start);
    std::string lower = LowerName(spelling);
    if (lower == "rem") {
      SkipComment();
      return;
    }
    Token& token = Add(Tok::Name);
    for (const auto& [word, kw] : kKeywords) {
      if (word == lower) {
        token.kind = Tok::Keyword;
        token.keyword = kw;
        break;
      }
    }
    token.spelling = std::string(spelling);
    token.text = std::move(lower);
  }

  void LexNumber() {
    size_t start = pos_;
    bool whole = true;
    while (pos_ < text_.size() && IsDigit(text_[pos_])) ++pos_;
    if (pos_ < text_.size() && text_[pos_] == '.') {
      whole = false;
      ++pos_;
      while (pos_ < text_.size() && IsDigit(text_[pos_])) ++pos_;
    }
    if (pos_ < text_.size() && (text_[pos_] == 'e' || text_[pos_] == 'E')) {
      size_t p = pos_ + 1;
      if (p < text_.size() && (text_[p] == '+' || text_[p] == '-')) ++p;
      if (p < text_.size() && IsDigit(text_[p])) {
        whole = false;
        pos_ = p;
        while (pos_ < text_.size() && IsDigit(text_[pos_])) ++pos_;
      }
    }
    if (pos_ < text_.size() && IsNameChar(text_[pos_])) {
      Raise(error_code::SyntaxError, "a number runs into a name: " + Quoted(text_.substr(start, pos_ - start + 1)),
            line_);
    }
    std::string_view digits = text_.substr(start, pos_ - start);
    Token& token = Add(Tok::Number);
    if (whole) {
      uint64_t n = 0;
      auto result = std::from_chars(digits.data(), digits.data() + digits.size(), n);
      if (result.ec == std::errc() && n <= 2147483647u) {
        token.number = Value::Whole(static_cast<int64_t>(n));
        return;
      }
    }
    double value = 0;
    if (ParseNumber(digits, value) != NumberParse::Ok) {
      Raise(error_code::Overflow, "the number " + Quoted(digits) + " is beyond the range of a Double", line_);
    }
    token.number = Value::Dbl(value);
  }

  bool IsRadixStart() const {
    char k = static_cast<char>(text_[pos_ + 1] | 0x20);
    size_t digit = pos_ + 2;
    if (k == 'h') {
      return digit < text_.size() && IsHexDigit(text_[digit]);
    }
    if (k == 'o') return digit < text_.size() && text_[digit] >= '0' && text_[digit] <= '7';
    return false;
  }

  void LexRadixNumber() {
    size_t start = pos_;
    pos_ += 2;
    while (pos_ < text_.size() && IsHexDigit(text_[pos_])) ++pos_;
    if (pos_ < text_.size() && text_[pos_] == '&') ++pos_;
    std::string_view literal = text_.substr(start, pos_ - start);
    double value = 0;
    NumberParse parsed = ParseNumber(literal, value);
    if (parsed == NumberParse::Overflow) Raise(error_code::Overflow, "the number " + Quoted(literal), line_);
    if (parsed != NumberParse::Ok) Raise(error_code::SyntaxError, "bad number " + Quoted(literal), line_);
    bool is_long = value < -32768 || value > 32767 || literal.back() == '&';
    Add(Tok::Number).number = is_long ? Value::Long(static_cast<int32_t>(value))
                                      : Value::Int(static_cast<int16_t>(value));
  }

  void LexString() {
    int32_t start_line = line_;
    ++pos_;
    std::string content;
    while (true) {
      if (pos_ >= text_.size() || text_[pos_] == '\r' || text_[pos_] == '\n') {
        Raise(error_code::UnterminatedString, {}, start_line);
      }
      char c = text_[pos_++];
      if (c == '"') {
        if (pos_ < text_.size() && text_[pos_] == '"') {
          content += '"';
          ++pos_;
          continue;
        }
        break;
      }
      content += c;
    }
    Add(Tok::String).text = std::move(content);
  }

  void LexOperator(char c) {
    char next = pos_ + 1 < text_.size() ? text_[pos_ + 1] : '\0';
    Tok kind;
    size_t length = 1;
    switch (c) {
      case '+': kind = Tok::Plus; break;
      case '-': kind = Tok::Minus; break;
      case '*': kind = Tok::Star; break;
      case '/': kind = Tok::Slash; break;
      case '\\': kind = Tok::Backslash; break;
      case '^': kind = Tok::Caret; break;
      case '&': kind = Tok::Ampersand; break;
      case '=': kind = Tok::Equal; break;
      case '(': kind = Tok::LeftParen; break;
      case ')': kind = Tok::RightParen; break;
      case ',': kind = Tok::Comma; break;
      case '.': kind = Tok::Dot; break;
      case ':': kind = Tok::Colon; break;
      case '<':
        if (next == '>') {
          kind = Tok::NotEqual;
          length = 2;
        } else if (next == '=') {
          kind = Tok::LessEqual;
          length = 2;
        } else {
          kind = Tok::Less;
        }
        break;
      case '>':
        if (next == '=') {
          kind = Tok::GreaterEqual;
          length = 2;
        } else {
          kind = Tok::Greater;
        }
        break;
      default: {
        std::string shown;
        unsigned char u = static_cast<unsigned char>(c);
        if (u >= 32 && u < 127) {
          shown = std::string("'") + c + "'";
        } else {
          shown = "code " + std::to_string(u);
        }
        Raise(error_code::InvalidCharacter, shown, line_);
      }
    }
    Add(kind);
    pos_ += length;
  }

  std::string_view text_;
  size_t pos_ = 0;
  int32_t line_ = 1;
  std::vector<Token> tokens_;
};

}  // namespace

std::string LowerName(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  return lower;
}

std::vector<Token> Tokenize(std::string_view text) { return Lexer(text).Run(); }

}  // namespace morvex::script
