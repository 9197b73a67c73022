// The recalculation of plain variables. Every plain definition is a line of
// its own, computed in table order; what one computation leaves in the shared
// state (the successor template, the last character class, the counters, the
// result text) the next one reads. A definition is passed over only when
// everything its computation would read is as it was when it was last
// computed: then it would give the same value and leave the same state, and
// that state is put back in its place. Anything that could make a difference
// to the host (an event with a handler, a question, a file, a formula word, a
// failure) makes the definition compute as it always has.
#include "calculator/recalculation.hpp"

#include <algorithm>
#include <functional>
#include <queue>

#include "calculator/scan_and_detect.hpp"
#include "core/double_bits.hpp"
#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "evaluation/number_text.hpp"
#include "evaluation/reducer.hpp"

namespace morvex::detail {
namespace {

// One to three upper-cased name characters as an index key.
uint32_t Gram(std::string_view text, size_t at, size_t length) {
  uint32_t key = static_cast<uint32_t>(length) << 24;
  for (size_t k = 0; k < length; ++k) key |= static_cast<uint32_t>(static_cast<unsigned char>(text[at + k])) << (8 * k);
  return key;
}

// Copies a saved field from its live one (TakeField) or back (PutField). A
// double is saved as its bits, so that a comparison tells 0 from -0.
struct TakeField {
  template <class T>
  void operator()(T& saved, const T& live) const { saved = live; }
  void operator()(uint64_t& saved, double live) const { saved = BitsOf(live); }
};
struct PutField {
  template <class T>
  void operator()(const T& saved, T& live) const { live = saved; }
  void operator()(uint64_t saved, double& live) const { live = DoubleOf(saved); }
};

// The fields that one definition's computation leaves to the next, each
// beside its saved copy: taking and putting back walk the same list.
template <class Shared, class Calc, class Saved, class Copy>
void EachCarriedField(Shared& g, Calc& c, Saved& s, Copy copy) {
  copy(s.charClass, g.gCharClass);
  copy(s.parenDepth2, g.gParenDepth2);
  copy(s.foundVariable, g.gFoundVariable);
  copy(s.powerRewritten, g.gPowerRewritten);
  copy(s.formulaFileName, g.gFormulaFileName);
  auto& x = c.Variables.Item(var_index::XVar);
  auto& y = c.Variables.Item(var_index::YVar);
  copy(s.xBits, x.Value);
  copy(s.yBits, y.Value);
  copy(s.xType, x.TypeVar);
  copy(s.yType, y.TypeVar);
}

// Everything else a computation leaves.
template <class Shared, class Calc, class Saved, class Copy>
void EachOtherLeftField(Shared& g, Calc& c, Saved& s, Copy copy) {
  copy(s.parenDepth, g.gParenDepth);
  copy(s.errCode, g.gErrCode);
  copy(s.err, g.gErr);
  copy(s.report, g.gReport);
  copy(s.endText, g.gEndText);
  copy(s.echoText, c.EchoText);
  copy(s.stringVariable, c.StringVariable);
  auto& ans = c.Variables.Item(var_index::Ans);
  copy(s.ansBits, ans.Value);
  copy(s.ansType, ans.TypeVar);
}

CarriedState TakeCarried(const Calculator& c) {
  const SharedState& g = Shared();
  CarriedState s;
  s.nextFlags = g.gNext.GetFlags();
  s.nextDepth = g.gNext.StartNumber();
  s.resultEmpty = c.ResultText.empty();
  EachCarriedField(g, c, s, TakeField{});
  return s;
}

LeftState TakeLeft(const Calculator& c) {
  LeftState s;
  s.carried = TakeCarried(c);
  EachOtherLeftField(Shared(), c, s, TakeField{});
  return s;
}

// Puts back what a passed-over definition left, so that passing over is the
// same as computing for whatever the next computation reads, without arguing
// field by field which ones a line reads before it sets them (4,000 random
// sessions showed none today). ResultText has its text already. Ans's stored chain is not put back: nothing reads the chains of
// the first three variables (the listing, formula words and nested
// calculators begin with the user's).
void PutLeft(Calculator& c, const LeftState& s) {
  SharedState& g = Shared();
  g.gNext.SetFlags(s.carried.nextFlags);
  g.gNext.StartNumber(s.carried.nextDepth);
  EachCarriedField(g, c, s.carried, PutField{});
  EachOtherLeftField(g, c, s, PutField{});
}

class Recalculation {
 public:
  explicit Recalculation(Calculator& c) : c_(c), d_(c.Definitions) {}

  // nested: a recalculation of this calculator started inside a definition's
  // computation (a line file): it computes everything and records nothing.
  void Run(bool nested) {
    const std::string ansText = NumberToText(c_.Ans().Value);
    kept_ = ReadNumber(ansText);
    count_ = c_.Variables.Count();
    lineage_ = c_.Variables.Lineage();
    recording_ = FastRecalculation() && !nested;
    const bool fast = recording_ && d_.trusted && d_.lineage == lineage_ && d_.count <= count_;
    d_.trusted = false;  // until this recalculation ends as it should
    if (!recording_) {
      RunAll();
      return;
    }
    if (!fast) Forget();
    d_.records.resize(static_cast<size_t>(count_) + 1);
    d_.passText.resize(static_cast<size_t>(count_) + 1);
    Join();
    if (d_.readers.size() < static_cast<size_t>(count_) + 1) d_.readers.resize(static_cast<size_t>(count_) + 1);
    marked_.assign(static_cast<size_t>(count_) + 2, 0);
    examineAll_ = !fast || c_.HandledEvents() != 0 || static_cast<bool>(c_.Events.UpdateVariables);
    handled_ = c_.HandledEvents();
    at_ = var_index::FirstUser - 1;
    lastPlain_ = LastPlain();
    angle_ = Shared().gAngle.Degre;
    if (!MarkStart()) spoilt_ = true;
    d_.toExamine.clear();
    Walk();
    d_.trusted = !spoilt_;
    d_.lineage = lineage_;
    d_.count = count_;
    d_.angle = angle_;
  }

 private:
  // Every definition computed, nothing recorded: the recalculation as the
  // comparison runs it, and inside a definition's own computation. A variable
  // whose line fails is skipped and the next one follows: one bad definition
  // must not make every later assignment fail. Nesting too deep is the
  // exception: it reaches the host, as everywhere else. Kept here, a descent
  // that ends at the depth limit would start again for every later variable,
  // at every level of nested calculators, and the line would not end in any
  // time a user waits.
  void RunAll() {
    for (int32_t i = var_index::FirstUser; i <= count_; ++i) {
      try {
        if (c_.Variables.Item(i).TypeVar == var_type::Plain) ComputeLine(i);
        c_.RaiseUpdateVariables(static_cast<double>(i) / c_.Variables.Count());
      } catch (const Failure& failure) {
        if (IsFatal(failure)) throw;
        // this variable is skipped, its UpdateVariables too
      }
    }
  }

  // The computation of definition i as the line "expression=name".
  void ComputeLine(int32_t i) {
    SharedState& g = Shared();
    std::string line = c_.StoredChain(i).Join() + "=" + c_.Variables.Item(i).Key;
    c_.StringVariable.clear();
    c_.Ans().Value = kept_;
    g.gErr.Reset();  // each variable starts clean, as a line does: a wrong line costs no value
    ++d_.computed;
    ScanAndDetect(c_, line);
  }

  void Forget() {
    d_.records.clear();
    d_.passText.clear();
    d_.joined.clear();
    d_.joinedAt.clear();
    d_.lastText.clear();
    d_.joinedFrom = var_index::FirstUser;
    d_.readers.clear();
    d_.grams.clear();
    d_.toExamine.clear();
    d_.angleReaders.clear();
  }

  void Mark(int32_t i) {
    if (i < var_index::FirstUser || i > count_ || marked_[static_cast<size_t>(i)]) return;
    marked_[static_cast<size_t>(i)] = 1;
    queue_.push(i);
  }

  // Marks i for this recalculation if the walk has not passed it, else for the next.
  void MarkAhead(int32_t i) {
    if (i > at_) {
      Mark(i);
    } else {
      d_.toExamine.push_back(i);
    }
  }

  void MarkReaders(int32_t i) {
    if (static_cast<size_t>(i) >= d_.readers.size()) return;
    for (int32_t reader : d_.readers[static_cast<size_t>(i)]) MarkAhead(reader);
  }

  // The definitions to look at: those the last recalculation or a line left
  // for this one, the first (the line before it left the shared state), the
  // readers of Ans, the new variables and the definitions in whose letters a
  // new name stands, and the last (its computation leaves the chains).
  // False when a new name cannot be looked up: then every definition is.
  bool MarkStart() {
    for (int32_t i : d_.toExamine) Mark(i);
    for (int32_t i : unjoined_) Mark(i);
    Mark(var_index::FirstUser);
    MarkReaders(var_index::Ans);
    if (d_.angle != angle_) {
      for (int32_t i : d_.angleReaders) Mark(i);
    }
    for (int32_t i = std::max(d_.count + 1, var_index::FirstUser); i <= count_; ++i) {
      Mark(i);
      if (!MarkHolders(c_.Variables.Item(i).Key)) return false;
    }
    Mark(lastPlain_);
    return true;
  }

  int32_t LastPlain() const {
    for (int32_t i = count_; i >= var_index::FirstUser; --i) {
      if (c_.Variables.Item(i).TypeVar == var_type::Plain) return i;
    }
    return 0;
  }

  // A new name may be found in the letters of a definition that holds it.
  bool MarkHolders(const std::string& name) {
    if (name.empty()) return true;
    for (char ch : name) {
      if (!IsNameChar(static_cast<unsigned char>(ch))) return false;
    }
    const std::string upper = ToUpper(name);
    auto found = d_.grams.find(Gram(upper, 0, std::min<size_t>(upper.size(), 3)));
    if (found == d_.grams.end()) return true;
    for (int32_t i : found->second) {
      if (i > count_) continue;
      DefinitionRecord& record = d_.records[static_cast<size_t>(i)];
      if (record.spelled.find(upper) == std::string::npos) continue;
      Invalidate(i);  // its letters may now be read otherwise
      MarkAhead(i);
    }
    return true;
  }

  void Walk() {
    at_ = var_index::FirstUser - 1;
    for (;;) {
      int32_t next = count_ + 1;
      if (examineAll_) {
        next = at_ + 1;
      } else {
        while (!queue_.empty() && queue_.top() <= at_) queue_.pop();
        if (!queue_.empty()) next = queue_.top();
      }
      PassOver(at_ + 1, std::min(next, count_ + 1));
      if (next > count_) break;
      at_ = next;
      Examine(next);
    }
  }

  // The definitions first..end-1 lie between the marked ones: their reads are
  // as they were, and none has changed since the join was made.
  void PassOver(int32_t first, int32_t end) {
    if (first >= end) return;
    const size_t from = d_.joinedAt[static_cast<size_t>(first)];
    c_.ResultText.append(d_.joined, from, d_.joinedAt[static_cast<size_t>(end)] - from);
    const int32_t last = d_.lastText[static_cast<size_t>(end - 1)];
    if (last >= first) pending_ = last;
    at_ = end - 1;
  }

  // Brings the join up to the texts as they stand. A plain definition without
  // a text to append (none is expected there) is marked, to be looked at.
  void Join() {
    const size_t end = static_cast<size_t>(count_) + 1;
    const int32_t known = static_cast<int32_t>(d_.joinedAt.size()) - 1;  // the last position joined before, plus one
    int32_t from = std::max<int32_t>(var_index::FirstUser, std::min(d_.joinedFrom, known));
    if (d_.joinedAt.size() <= static_cast<size_t>(var_index::FirstUser)) from = var_index::FirstUser;
    d_.joinedAt.resize(end + 1);
    d_.lastText.resize(end);
    d_.joined.resize(from == var_index::FirstUser ? 0 : d_.joinedAt[static_cast<size_t>(from)]);
    for (int32_t k = from; k <= count_; ++k) {
      const std::string& text = d_.passText[static_cast<size_t>(k)];
      d_.joinedAt[static_cast<size_t>(k)] = d_.joined.size();
      d_.joined.append(text);
      d_.lastText[static_cast<size_t>(k)] = !text.empty() ? k : (k > var_index::FirstUser ? d_.lastText[static_cast<size_t>(k - 1)] : 0);
      if (text.empty() && c_.Variables.Item(k).TypeVar == var_type::Plain) unjoined_.push_back(k);
    }
    d_.joinedAt[end] = d_.joined.size();
    d_.joinedFrom = count_ + 1;
  }

  void Invalidate(int32_t i) {
    d_.records[static_cast<size_t>(i)].valid = false;
    d_.passText[static_cast<size_t>(i)].clear();
    d_.joinedFrom = std::min(d_.joinedFrom, i);
  }

  const CarriedState& CurrentCarried() {
    if (pending_ != 0) return d_.records[static_cast<size_t>(pending_)].after.carried;
    current_ = TakeCarried(c_);
    return current_;
  }

  bool SameInputs(const DefinitionRecord& record) const {
    for (const DefinitionInput& input : record.inputs) {
      if (input.position > c_.Variables.Count()) return false;
      const Class1& variable = c_.Variables.Item(input.position);
      const double value = input.position == var_index::Ans ? kept_ : variable.Value;
      if (BitsOf(value) != input.valueBits || variable.TypeVar != input.typeVar) return false;
    }
    return true;
  }

  void Examine(int32_t i) {
    DefinitionRecord& record = d_.records[static_cast<size_t>(i)];
    bool failed = false;
    try {
      const Class1& variable = c_.Variables.Item(i);
      if (variable.TypeVar != var_type::Plain) {
        // Not computed: the state reaches the next definition as it came, so
        // whatever made this one be looked at holds for the next.
        Invalidate(i);
        Mark(i + 1);
      } else if (!spoilt_ && record.valid && record.passable && (record.events & handled_) == 0 &&
                 i != lastPlain_ && SameInputs(record) &&
                 (!record.readsAngle || record.angle == Shared().gAngle.Degre) && CurrentCarried() == record.before) {
        c_.ResultText.append(record.appended);
        pending_ = i;
      } else {
        failed = !Compute(i);
      }
    } catch (const Failure& failure) {
      if (IsFatal(failure)) {
        spoilt_ = true;
        throw;
      }
      failed = true;
      Invalidate(i);
      d_.toExamine.push_back(i);
      Mark(i + 1);
    }
    if (!failed) c_.RaiseUpdateVariables(static_cast<double>(i) / c_.Variables.Count());
  }

  // Computes definition i and records it. False when its computation failed.
  bool Compute(int32_t i) {
    if (pending_ != 0) {
      PutLeft(c_, d_.records[static_cast<size_t>(pending_)].after);
      pending_ = 0;
    }
    DefinitionRecord& old = d_.records[static_cast<size_t>(i)];
    const bool wasValid = old.valid;
    const uint64_t valueBefore = BitsOf(c_.Variables.Item(i).Value);
    const CarriedState carriedBefore = old.after.carried;
    Invalidate(i);

    SharedState& g = Shared();
    DefinitionRecord record;
    const std::string line = c_.StoredChain(i).Join() + "=" + c_.Variables.Item(i).Key;
    c_.StringVariable.clear();
    c_.Ans().Value = kept_;
    g.gErr.Reset();  // each variable starts clean, as a line does: a wrong line costs no value
    record.before = TakeCarried(c_);
    const size_t resultBefore = c_.ResultText.size();
    d_.listening = true;
    d_.heardFolder = false;
    d_.heardInputs.clear();
    d_.heardSpelling.clear();
    d_.computing = i;
    c_.RaisedEvents = 0;
    ++d_.computed;
    bool failed = false;
    bool heard = false;
    struct Unlisten {
      DefinitionRecords& d;
      ~Unlisten() {
        d.listening = false;
        d.computing = 0;
      }
    } unlisten{d_};
    try {
      ScanAndDetect(c_, line);
      heard = !d_.listening;
    } catch (const Failure& failure) {
      failed = true;
      if (IsFatal(failure)) {
        spoilt_ = true;
        throw;
      }
    }
    // A line file may have changed the table, the definitions or the angle unit.
    if (c_.Variables.Lineage() != lineage_ || d_.disturbed || g.gAngle.Degre != angle_) spoilt_ = true;

    record.events = c_.RaisedEvents;
    record.inputs = d_.heardInputs;
    record.spelled = d_.heardSpelling;
    record.readsAngle = ReadsAngle(record.spelled);
    record.angle = g.gAngle.Degre;
    if (record.readsAngle && !(wasValid && old.readsAngle)) d_.angleReaders.push_back(i);
    record.after = TakeLeft(c_);
    record.valueBits = BitsOf(c_.Variables.Item(i).Value);
    // Only a line file (heard as the folder) empties ResultText on the way.
    const bool appendedOnly = c_.ResultText.size() > resultBefore;
    if (appendedOnly) record.appended = c_.ResultText.substr(resultBefore);
    record.passable = !failed && heard && !d_.heardFolder && appendedOnly && (record.events & Calculator::kInputBox) == 0 &&
                      g.gErr.NumError == 0 && g.gErrCode == 0 && c_.Variables.Count() == count_ &&
                      ReadsOnlyPlain(record.inputs);
    record.valid = true;
    record.known = true;
    Index(i, old.known ? &old : nullptr, record);
    const bool carriedChanged = !wasValid || !(record.after.carried == carriedBefore);
    const bool valueChanged = failed || !wasValid || record.valueBits != valueBefore;
    const bool passable = record.passable;
    d_.passText[static_cast<size_t>(i)] = passable ? record.appended : std::string();
    d_.joinedFrom = std::min(d_.joinedFrom, i);
    d_.records[static_cast<size_t>(i)] = std::move(record);

    if (valueChanged) MarkReaders(i);
    if (carriedChanged) Mark(i + 1);
    if (!passable) d_.toExamine.push_back(i);
    // New names, from a question the computation put to the host.
    for (int32_t k = count_ + 1; k <= c_.Variables.Count(); ++k) {
      if (!MarkHolders(c_.Variables.Item(k).Key)) spoilt_ = true;
    }
    if (spoilt_) examineAll_ = true;
    return !failed;
  }

  // The trigonometric words and their inverses answer by the angle unit.
  static bool ReadsAngle(const std::string& spelled) {
    for (std::string_view word : {"SIN", "COS", "TAN", "COT"}) {
      if (spelled.find(word) != std::string::npos) return true;
    }
    return false;
  }

  // Ans is read as the value the line left; XVar and YVar belong to the
  // carried state and a formula word is computed from its text.
  static bool ReadsOnlyPlain(const std::vector<DefinitionInput>& inputs) {
    return std::all_of(inputs.begin(), inputs.end(), [](const DefinitionInput& input) {
      return input.position != var_index::XVar && input.position != var_index::YVar &&
             input.typeVar == var_type::Plain;
    });
  }

  // The readers of each variable and the letters of each definition, for the
  // marks of later recalculations. Entries that no longer hold only cost a look.
  void Index(int32_t i, const DefinitionRecord* old, const DefinitionRecord& record) {
    auto samePositions = [&] {
      return old != nullptr &&
             std::equal(old->inputs.begin(), old->inputs.end(), record.inputs.begin(), record.inputs.end(),
                        [](const DefinitionInput& a, const DefinitionInput& b) { return a.position == b.position; });
    };
    if (!samePositions()) {
      std::vector<int32_t> positions;
      for (const DefinitionInput& input : record.inputs) positions.push_back(input.position);
      std::sort(positions.begin(), positions.end());
      positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
      for (int32_t position : positions) {
        if (d_.readers.size() <= static_cast<size_t>(position)) d_.readers.resize(static_cast<size_t>(position) + 1);
        std::vector<int32_t>& readers = d_.readers[static_cast<size_t>(position)];
        if (std::find(readers.begin(), readers.end(), i) == readers.end()) readers.push_back(i);
      }
    }
    if (old != nullptr && old->spelled == record.spelled) return;
    std::vector<uint32_t> keys;
    const std::string& text = record.spelled;
    for (size_t start = 0; start < text.size(); ++start) {
      for (size_t length = 1; length <= 3 && start + length <= text.size(); ++length) {
        if (!IsNameChar(static_cast<unsigned char>(text[start + length - 1]))) break;
        if (IsNameChar(static_cast<unsigned char>(text[start]))) keys.push_back(Gram(text, start, length));
      }
    }
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    for (uint32_t key : keys) {
      std::vector<int32_t>& holders = d_.grams[key];
      // A definition's first text in this table adds itself; a new text of
      // one that was indexed before may find itself there from an older one.
      if (old == nullptr || std::find(holders.begin(), holders.end(), i) == holders.end()) holders.push_back(i);
    }
  }

  Calculator& c_;
  DefinitionRecords& d_;
  double kept_ = 0;  // the value Ans gets back before each definition
  int32_t count_ = 0;
  uint64_t lineage_ = 0;
  bool recording_ = false;
  bool examineAll_ = false;
  bool spoilt_ = false;  // something outside the records changed: compute everything from here on
  uint32_t handled_ = 0;
  std::string angle_;  // the angle unit the recalculation runs in
  int32_t at_ = 0;
  int32_t pending_ = 0;  // the passed-over definition whose state is not yet put back
  int32_t lastPlain_ = 0;
  CarriedState current_;
  std::vector<char> marked_;
  std::vector<int32_t> unjoined_;  // plain definitions the join has no text for
  std::priority_queue<int32_t, std::vector<int32_t>, std::greater<>> queue_;
};

}  // namespace

void RecalculateVariables(Calculator& c) {
  SharedState& g = Shared();
  if (!g.gRecalculate) return;
  struct ClearFlag {
    SharedState& g;
    ~ClearFlag() { g.gRecalculate = false; }
  } clearFlag{g};
  DefinitionRecords& d = c.Definitions;
  if (d.running) {
    Recalculation(c).Run(true);
    d.disturbed = true;  // tells the outer recalculation that its records no longer hold
  } else {
    d.running = true;
    d.disturbed = false;
    struct Done {
      DefinitionRecords& d;
      ~Done() { d.running = false; }
    } done{d};
    Recalculation(c).Run(false);
  }
  c.RaiseUpdateVariables(1.0);
}

bool& FastRecalculation() {
  thread_local bool on = true;
  return on;
}

void NoteDefinitionStored(Calculator& c, int32_t index) {
  DefinitionRecords& d = c.Definitions;
  if (d.running) {
    if (index != d.computing) d.disturbed = true;  // a line file stored it: the records no longer hold
    return;
  }
  if (!d.trusted || static_cast<size_t>(index) >= d.records.size() || static_cast<size_t>(index) >= d.passText.size()) return;
  d.records[static_cast<size_t>(index)].valid = false;
  d.passText[static_cast<size_t>(index)].clear();
  d.joinedFrom = std::min(d.joinedFrom, index);
  d.toExamine.push_back(index);
  if (static_cast<size_t>(index) < d.readers.size()) {
    for (int32_t reader : d.readers[static_cast<size_t>(index)]) d.toExamine.push_back(reader);
  }
}

}  // namespace morvex::detail
