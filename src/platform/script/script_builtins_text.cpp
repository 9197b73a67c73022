// Built-in functions on strings.
#include <algorithm>
#include <string>
#include <string_view>

#include "platform/script/script_builtin_functions.hpp"
#include "platform/script/script_convert.hpp"
#include "platform/script/script_error.hpp"

namespace morvex::script::builtins {
namespace {

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }
char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }

// The text of a string argument: strings as they are, other values as CStr.
class TextArg {
 public:
  explicit TextArg(const Value& v) {
    if (v.is_string()) {
      view_ = v.str();
    } else {
      own_ = ToText(v);
      view_ = own_;
    }
  }
  std::string_view view() const { return view_; }

 private:
  std::string own_;
  std::string_view view_;
};

// A count or position argument: a Long that must not be negative.
int64_t Count(const Value& v, const char* what) {
  int32_t n = ToLong(v);
  if (n < 0) Raise(error_code::InvalidCall, std::string(what) + " must not be negative");
  return n;
}

int64_t Position(const Value& v, const char* what) {
  int32_t n = ToLong(v);
  if (n < 1) Raise(error_code::InvalidCall, std::string(what) + " must be 1 or more");
  return n;
}

// 0: binary comparison, 1: text comparison (ASCII letters without regard to case).
bool TextCompare(const Value* args, size_t count, size_t index) {
  if (count <= index) return false;
  int32_t mode = ToLong(args[index]);
  if (mode != 0 && mode != 1) Raise(error_code::InvalidCall, "the comparison mode must be 0 or 1");
  return mode == 1;
}

}  // namespace

size_t SearchText(std::string_view hay, std::string_view needle, size_t from, bool text, Budget& budget) {
  if (needle.size() > hay.size() || from > hay.size() - needle.size()) return std::string_view::npos;
  // Every character compared is counted, so a search cannot take longer than
  // the run's budget allows, whatever the two strings are.
  size_t work = 0;
  size_t result = std::string_view::npos;
  for (size_t i = from; i + needle.size() <= hay.size(); ++i) {
    size_t k = 0;
    if (text) {
      while (k < needle.size() && Lower(hay[i + k]) == Lower(needle[k])) ++k;
    } else {
      while (k < needle.size() && hay[i + k] == needle[k]) ++k;
    }
    work += k + 1;
    if (work >= 4096) {
      budget.ChargeBytes(work);
      work = 0;
    }
    if (k == needle.size()) {
      result = i;
      break;
    }
  }
  budget.ChargeBytes(work);
  return result;
}

namespace {

size_t Find(std::string_view hay, std::string_view needle, size_t from, bool text, Budget& budget) {
  return SearchText(hay, needle, from, text, budget);
}

size_t FindLast(std::string_view hay, std::string_view needle, size_t last_start, bool text, Budget& budget) {
  if (needle.size() > hay.size()) return std::string_view::npos;
  size_t i = std::min(last_start, hay.size() - needle.size());
  size_t work = 0;
  while (true) {
    size_t k = 0;
    while (k < needle.size() && (text ? Lower(hay[i + k]) == Lower(needle[k]) : hay[i + k] == needle[k])) ++k;
    work += k + 1;
    if (work >= 4096) {
      budget.ChargeBytes(work);
      work = 0;
    }
    if (k == needle.size()) return i;
    if (i == 0) return std::string_view::npos;
    --i;
  }
}

Value Text(std::string text, Budget& budget) { return MakeString(std::move(text), budget); }

Value Repeat(int64_t n, char c, Budget& budget) {
  CheckStringLength(static_cast<size_t>(n));
  return Text(std::string(static_cast<size_t>(n), c), budget);
}

}  // namespace

Value Len(const Value* args, size_t, Budget&) {
  if (args[0].is_null()) return Value::Null();
  if (args[0].is_string()) return Value::Long(static_cast<int32_t>(args[0].str().size()));
  return Value::Long(static_cast<int32_t>(ToText(args[0]).size()));
}

Value Left(const Value* args, size_t, Budget& budget) {
  int64_t n = Count(args[1], "the length of Left");
  if (args[0].is_null()) return Value::Null();
  TextArg s(args[0]);
  return Text(std::string(s.view().substr(0, static_cast<size_t>(n))), budget);
}

Value Right(const Value* args, size_t, Budget& budget) {
  int64_t n = Count(args[1], "the length of Right");
  if (args[0].is_null()) return Value::Null();
  TextArg s(args[0]);
  std::string_view v = s.view();
  size_t take = std::min(v.size(), static_cast<size_t>(n));
  return Text(std::string(v.substr(v.size() - take)), budget);
}

Value Mid(const Value* args, size_t count, Budget& budget) {
  int64_t start = Position(args[1], "the start of Mid");
  int64_t length = count > 2 ? Count(args[2], "the length of Mid") : INT32_MAX;
  if (args[0].is_null()) return Value::Null();
  TextArg s(args[0]);
  std::string_view v = s.view();
  if (static_cast<size_t>(start) > v.size()) return Value::Str(std::string());
  return Text(std::string(v.substr(static_cast<size_t>(start - 1), static_cast<size_t>(length))), budget);
}

Value InStr(const Value* args, size_t count, Budget& budget) {
  // InStr(s1, s2) or InStr(start, s1, s2[, compare]).
  int64_t start = 1;
  size_t first = 0;
  if (count >= 3) {
    if (args[0].is_null()) Raise(error_code::InvalidUseOfNull, "the start of InStr");
    start = Position(args[0], "the start of InStr");
    first = 1;
  }
  const Value& hay_value = args[first];
  const Value& needle_value = args[first + 1];
  bool text = TextCompare(args, count, 3);
  if (hay_value.is_null() || needle_value.is_null()) return Value::Null();
  TextArg hay(hay_value);
  TextArg needle(needle_value);
  if (static_cast<size_t>(start) > hay.view().size()) return Value::Long(0);
  if (needle.view().empty()) return Value::Long(static_cast<int32_t>(start));
  size_t at = Find(hay.view(), needle.view(), static_cast<size_t>(start - 1), text, budget);
  return Value::Long(at == std::string_view::npos ? 0 : static_cast<int32_t>(at + 1));
}

Value InStrRev(const Value* args, size_t count, Budget& budget) {
  // InStrRev(s1, s2[, start[, compare]]); start -1 is the end of s1.
  int32_t start = count > 2 ? ToLong(args[2]) : -1;
  if (start == 0 || start < -1) Raise(error_code::InvalidCall, "the start of InStrRev must be 1 or more, or -1");
  bool text = TextCompare(args, count, 3);
  if (args[0].is_null() || args[1].is_null()) return Value::Null();
  TextArg hay(args[0]);
  TextArg needle(args[1]);
  size_t size = hay.view().size();
  size_t end = start == -1 ? size : static_cast<size_t>(start);
  if (needle.view().empty()) return Value::Long(end > size ? 0 : static_cast<int32_t>(end));
  if (end > size || needle.view().size() > end) return Value::Long(0);
  size_t at = FindLast(hay.view(), needle.view(), end - needle.view().size(), text, budget);
  return Value::Long(at == std::string_view::npos ? 0 : static_cast<int32_t>(at + 1));
}

Value UCase(const Value* args, size_t, Budget& budget) {
  if (args[0].is_null()) return Value::Null();
  std::string s{TextArg(args[0]).view()};
  for (char& c : s) c = Upper(c);
  return Text(std::move(s), budget);
}

Value LCase(const Value* args, size_t, Budget& budget) {
  if (args[0].is_null()) return Value::Null();
  std::string s{TextArg(args[0]).view()};
  for (char& c : s) c = Lower(c);
  return Text(std::move(s), budget);
}

namespace {

Value Trimmed(const Value& v, bool left, bool right, Budget& budget) {
  if (v.is_null()) return Value::Null();
  TextArg s(v);
  std::string_view view = s.view();
  while (left && !view.empty() && view.front() == ' ') view.remove_prefix(1);
  while (right && !view.empty() && view.back() == ' ') view.remove_suffix(1);
  return Text(std::string(view), budget);
}

}  // namespace

Value Trim(const Value* args, size_t, Budget& budget) { return Trimmed(args[0], true, true, budget); }
Value LTrim(const Value* args, size_t, Budget& budget) { return Trimmed(args[0], true, false, budget); }
Value RTrim(const Value* args, size_t, Budget& budget) { return Trimmed(args[0], false, true, budget); }

Value Replace(const Value* args, size_t count, Budget& budget) {
  // Replace(expression, find, replacement[, start[, count[, compare]]]): the
  // result starts at `start`, and at most `count` (-1: all) finds are replaced.
  for (size_t i = 0; i < 3; ++i) {
    if (args[i].is_null()) Raise(error_code::InvalidUseOfNull, "an argument of Replace");
  }
  int64_t start = count > 3 ? Position(args[3], "the start of Replace") : 1;
  int32_t limit = count > 4 ? ToLong(args[4]) : -1;
  if (limit < -1) Raise(error_code::InvalidCall, "the count of Replace must be -1 or more");
  bool text = TextCompare(args, count, 5);
  TextArg source(args[0]);
  TextArg find(args[1]);
  TextArg replacement(args[2]);
  std::string_view s = source.view();
  if (static_cast<size_t>(start) > s.size()) return Value::Str(std::string());
  s.remove_prefix(static_cast<size_t>(start - 1));
  std::string_view f = find.view();
  std::string_view r = replacement.view();
  std::string out;
  if (f.empty() || limit == 0) return Text(std::string(s), budget);
  size_t from = 0;
  int32_t done = 0;
  while (limit == -1 || done < limit) {
    size_t at = Find(s, f, from, text, budget);
    if (at == std::string_view::npos) break;
    size_t piece = at - from;
    CheckStringLength(out.size() + piece + r.size());
    out.append(s.substr(from, piece)).append(r);
    budget.ChargeBytes(piece + r.size());
    from = at + f.size();
    ++done;
  }
  CheckStringLength(out.size() + (s.size() - from));
  out.append(s.substr(from));
  return Text(std::move(out), budget);
}

Value Space(const Value* args, size_t, Budget& budget) {
  return Repeat(Count(args[0], "the length of Space"), ' ', budget);
}

Value String(const Value* args, size_t, Budget& budget) {
  int64_t n = Count(args[0], "the length of String");
  const Value& c = args[1];
  if (c.is_null()) return Value::Null();
  char ch;
  if (c.is_string()) {
    if (c.str().empty()) Raise(error_code::InvalidCall, "String needs a character");
    ch = c.str()[0];
  } else {
    int32_t code = ToLong(c);
    ch = static_cast<char>(static_cast<unsigned char>(((code % 256) + 256) % 256));
  }
  return Repeat(n, ch, budget);
}

Value StrReverse(const Value* args, size_t, Budget& budget) {
  if (args[0].is_null()) Raise(error_code::InvalidUseOfNull, "the argument of StrReverse");
  std::string s{TextArg(args[0]).view()};
  std::reverse(s.begin(), s.end());
  return Text(std::move(s), budget);
}

Value StrComp(const Value* args, size_t count, Budget& budget) {
  bool text = TextCompare(args, count, 2);
  if (args[0].is_null() || args[1].is_null()) return Value::Null();
  TextArg a(args[0]);
  TextArg b(args[1]);
  budget.ChargeBytes(a.view().size() + b.view().size());
  int c;
  if (text) {
    std::string x(a.view());
    std::string y(b.view());
    for (char& ch : x) ch = Lower(ch);
    for (char& ch : y) ch = Lower(ch);
    c = x.compare(y);
  } else {
    c = a.view().compare(b.view());
  }
  return Value::Int(static_cast<int16_t>(c < 0 ? -1 : (c > 0 ? 1 : 0)));
}

Value Chr(const Value* args, size_t, Budget& budget) {
  int32_t code = ToLong(args[0]);
  if (code < 0 || code > 255) Raise(error_code::InvalidCall, "Chr takes a code from 0 to 255");
  return Text(std::string(1, static_cast<char>(static_cast<unsigned char>(code))), budget);
}

Value Asc(const Value* args, size_t, Budget&) {
  if (args[0].is_null()) Raise(error_code::InvalidUseOfNull, "the argument of Asc");
  TextArg s(args[0]);
  if (s.view().empty()) Raise(error_code::InvalidCall, "Asc of an empty string");
  return Value::Int(static_cast<unsigned char>(s.view()[0]));
}

}  // namespace morvex::script::builtins
