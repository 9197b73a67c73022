#include "script/script_lexer.hpp"

#include <utility>

#include "script/script_limits.hpp"
#include "script/script_values.hpp"

namespace morvex::script {
namespace {

constexpr std::pair<std::string_view, Kw> kKeywords[] = {
    {"and", Kw::And},       {"byref", Kw::ByRef},     {"byval", Kw::ByVal},   {"call", Kw::Call},
    {"case", Kw::Case},     {"const", Kw::Const},     {"dim", Kw::Dim},       {"do", Kw::Do},
    {"else", Kw::Else},     {"elseif", Kw::ElseIf},   {"empty", Kw::Empty},   {"end", Kw::End},
    {"eqv", Kw::Eqv},       {"exit", Kw::Exit},       {"false", Kw::False},   {"for", Kw::For},
    {"function", Kw::Function}, {"if", Kw::If},       {"imp", Kw::Imp},       {"is", Kw::Is},
    {"loop", Kw::Loop},     {"mod", Kw::Mod},         {"next", Kw::Next},     {"not", Kw::Not},
    {"or", Kw::Or},         {"private", Kw::Private}, {"public", Kw::Public}, {"select", Kw::Select},
    {"sub", Kw::Sub},       {"then", Kw::Then},       {"to", Kw::To},         {"true", Kw::True},
    {"until", Kw::Until},   {"wend", Kw::Wend},       {"while", Kw::While},   {"xor", Kw::Xor},
};

// Reserved words of VBScript that the subset leaves out: a script using them
// is refused by name rather than read as a call of an unknown procedure.
constexpr std::string_view kRefused[] = {
    "class", "each", "erase", "goto", "let", "new", "nothing", "null", "on", "option",
    "property", "redim", "resume", "set", "stop", "with",
};

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsNameChar(char c) { return IsLetter(c) || IsDigit(c) || c == '_'; }
bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\f' || c == '\v'; }

class Lexer {
 public:
  explicit Lexer(std::string_view text) : text_(text) {}

  std::vector<Token> Run() {
    while (true) {
      while (pos_ < text_.size() && IsBlank(text_[pos_])) ++pos_;
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
      } else {
        LexOperator(c);
      }
    }
    Add(Tok::End);
    return std::move(tokens_);
  }

 private:
  Token& Add(Tok kind) {
    Token& token = tokens_.emplace_back();
    token.kind = kind;
    token.line = line_;
    return token;
  }

  char At(size_t p) const { return p < text_.size() ? text_[p] : '\0'; }

  void EatLineEnd() {
    if (text_[pos_] == '\r' && At(pos_ + 1) == '\n') ++pos_;
    ++pos_;
    ++line_;
  }

  void SkipComment() {
    while (pos_ < text_.size() && text_[pos_] != '\r' && text_[pos_] != '\n') ++pos_;
  }

  bool TryContinuation() {
    size_t p = pos_ + 1;
    while (IsBlank(At(p))) ++p;
    if (At(p) != '\r' && At(p) != '\n') return false;
    pos_ = p;
    EatLineEnd();
    return true;
  }

  void LexName() {
    size_t start = pos_;
    while (IsNameChar(At(pos_))) ++pos_;
    std::string_view spelling = text_.substr(start, pos_ - start);
    std::string lower = LowerName(spelling);
    if (lower == "rem") return SkipComment();
    Token& token = Add(Tok::Name);
    for (const auto& [word, kw] : kKeywords) {
      if (word == lower) token.keyword = kw;
    }
    for (std::string_view word : kRefused) {
      if (word == lower) token.keyword = Kw::Refused;
    }
    if (token.keyword != Kw::None) token.kind = Tok::Keyword;
    token.spelling = std::string(spelling);
    token.text = std::move(lower);
  }

  void LexNumber() {
    size_t start = pos_;
    while (IsDigit(At(pos_))) ++pos_;
    if (At(pos_) == '.') {
      ++pos_;
      while (IsDigit(At(pos_))) ++pos_;
    }
    if (At(pos_) == 'e' || At(pos_) == 'E') {
      size_t p = pos_ + 1;
      if (At(p) == '+' || At(p) == '-') ++p;
      if (IsDigit(At(p))) {
        pos_ = p;
        while (IsDigit(At(pos_))) ++pos_;
      }
    }
    std::string_view digits = text_.substr(start, pos_ - start);
    if (IsNameChar(At(pos_))) {
      Raise(error_code::SyntaxError, "a number runs into a name: " + Quoted(text_.substr(start, pos_ - start + 1)),
            line_);
    }
    try {
      ParseNumber(digits, Add(Tok::Number).number);
    } catch (ScriptError& error) {
      error.set_line(line_);
      throw;
    }
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
        if (At(pos_) != '"') break;
        ++pos_;
      }
      content += c;
    }
    Add(Tok::String).text = std::move(content);
  }

  void LexOperator(char c) {
    static constexpr std::pair<std::string_view, Tok> kOperators[] = {
        {"<>", Tok::NotEqual}, {"<=", Tok::LessEqual}, {">=", Tok::GreaterEqual}, {"+", Tok::Plus},
        {"-", Tok::Minus},     {"*", Tok::Star},       {"/", Tok::Slash},         {"\\", Tok::Backslash},
        {"^", Tok::Caret},     {"&", Tok::Ampersand},  {"=", Tok::Equal},         {"<", Tok::Less},
        {">", Tok::Greater},   {"(", Tok::LeftParen},  {")", Tok::RightParen},    {",", Tok::Comma},
        {":", Tok::Colon},
    };
    for (const auto& [spelling, kind] : kOperators) {
      if (text_.substr(pos_, spelling.size()) == spelling) {
        Add(kind);
        pos_ += spelling.size();
        return;
      }
    }
    unsigned char u = static_cast<unsigned char>(c);
    Raise(error_code::InvalidCharacter, u >= 32 && u < 127 ? std::string("'") + c + "'" : "code " + std::to_string(u),
          line_);
  }

  std::string_view text_;
  size_t pos_ = 0;
  int32_t line_ = 1;
  std::vector<Token> tokens_;
};

}  // namespace

std::vector<Token> Tokenize(std::string_view text) { return Lexer(text).Run(); }

}  // namespace morvex::script
