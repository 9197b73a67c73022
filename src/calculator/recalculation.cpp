#include "calculator/recalculation.hpp"

#include <algorithm>
#include <bit>
#include <functional>
#include <queue>

#include "calculator/scan_and_detect.hpp"
#include "core/shared_state.hpp"
#include "core/text_case.hpp"
#include "evaluation/number_text.hpp"

namespace morvex::detail {
namespace {

// Letters longer than this are not cut into indexed pieces; a new name is
// tested against such a definition's text instead.
constexpr size_t kMaxIndexedLetters = 24;

CarriedScanState TakeCarriedState() {
  const SharedState& g = Shared();
  return {g.gNext, g.gCharClass, g.gParenDepth, g.gParenDepth2, g.gFoundVariable, g.gPowerRewritten};
}

void PutCarriedState(const CarriedScanState& state) {
  SharedState& g = Shared();
  g.gNext = state.next;
  g.gCharClass = state.charClass;
  g.gParenDepth = state.parenDepth;
  g.gParenDepth2 = state.parenDepth2;
  g.gFoundVariable = state.foundVariable;
  g.gPowerRewritten = state.powerRewritten;
}

DefinitionInput InputOf(const Class1& variable, int32_t position) {
  return {position, std::bit_cast<uint64_t>(variable.Value), variable.TypeVar};
}

// A byte that can never stand in a cell of letters, so no name is found across it.
bool EndsLetters(unsigned char c) {
  static constexpr std::string_view kNoLetters = "0123456789+-*/^()=,.!<>?[]#@:| \t\r\n\"'";
  return kNoLetters.find(static_cast<char>(c)) != std::string_view::npos;
}

void Unlist(std::vector<int32_t>& list, int32_t position) { std::erase(list, position); }

class Recalculation {
 public:
  explicit Recalculation(Calculator& c) : c_(c), d_(c.Definitions), g_(Shared()) {}

  void Run() {
    ansText_ = NumberToText(c_.Ans().Value);
    count_ = c_.Variables.Count();
    if (NeedsFullRun()) {
      RunFull();
    } else {
      RunChanged();
    }
    d_.lineage = c_.Variables.Lineage();
    d_.count = c_.Variables.Count();
    d_.angle = g_.gAngle.Degre;
  }

 private:
  bool NeedsFullRun() const {
    return d_.alwaysFull || d_.invalid || c_.Events.Change || c_.Events.Change2 || d_.lineage != c_.Variables.Lineage() ||
           d_.count > count_ || d_.angle != g_.gAngle.Degre;
  }

  void RunFull() {
    d_.invalid = false;
    d_.records.clear();
    d_.readers.clear();
    d_.nameKeys.clear();
    d_.longLetters.clear();
    d_.alwaysRun.clear();
    d_.changed.clear();
    d_.pending.clear();
    for (int32_t i = var_index::FirstUser; i <= count_; ++i) {
      bool failed = false;
      try {
        if (c_.Variables.Item(i).TypeVar == var_type::Plain) failed = !Compute(i);
      } catch (const Failure&) {
        failed = true;
      }
      if (!failed) c_.RaiseUpdateVariables(static_cast<double>(i) / c_.Variables.Count());
    }
  }

  // Only the definitions whose inputs may have changed are computed; the
  // others keep their values, and their UpdateVariables still come in order.
  void RunChanged() {
    d_.records.resize(static_cast<size_t>(count_) + 1);
    queued_.assign(static_cast<size_t>(count_) + 1, Mark::None);
    for (int32_t i : d_.pending) Queue(i, Mark::Check);
    d_.pending.clear();
    for (int32_t i : d_.alwaysRun) Queue(i, Mark::Run);
    if (auto readers = d_.readers.find(var_index::Ans); readers != d_.readers.end()) {
      for (int32_t i : readers->second) Queue(i, Mark::Check);
    }
    // What changed before this recalculation is read anew by every reader,
    // wherever it stands in the table.
    constexpr int32_t kBeforeAll = var_index::FirstUser - 1;
    for (int32_t i : d_.changed) {
      Queue(i, Mark::Run);
      QueueReaders(i, kBeforeAll);
    }
    d_.changed.clear();
    for (int32_t i = std::max(d_.count + 1, var_index::FirstUser); i <= count_; ++i) {
      Queue(i, Mark::Run);  // new variables, and definitions in whose letters the new name may stand
      FindNewName(c_.Variables.Item(i).Key);
      QueueReaders(i, kBeforeAll);
    }
    for (int32_t i = count_; i >= var_index::FirstUser; --i) {
      if (c_.Variables.Item(i).TypeVar != var_type::Plain) continue;
      Queue(i, Mark::Run);  // the last one leaves Ans, the chains and the scanner's state
      break;
    }

    const bool report = static_cast<bool>(c_.Events.UpdateVariables);
    for (int32_t i = var_index::FirstUser; i <= count_; ++i) {
      if (!report) {
        i = NextQueued(i);
        if (i > count_) break;
      }
      bool failed = false;
      try {
        if (c_.Variables.Item(i).TypeVar == var_type::Plain && queued_[static_cast<size_t>(i)] != Mark::None &&
            MustCompute(i)) {
          TakeOverFromPredecessor(i);
          failed = !ComputeAndPropagate(i);
          queued_[static_cast<size_t>(i)] = Mark::Computed;
        }
      } catch (const Failure&) {
        failed = true;
      }
      if (report && !failed) c_.RaiseUpdateVariables(static_cast<double>(i) / c_.Variables.Count());
    }
  }

  // The scanner state that the plain definition before i would have left,
  // had it been computed: the state its record holds.
  void TakeOverFromPredecessor(int32_t i) {
    for (int32_t p = i - 1; p >= var_index::FirstUser; --p) {
      if (c_.Variables.Item(p).TypeVar != var_type::Plain) continue;
      const DefinitionRecord& record = d_.records[static_cast<size_t>(p)];
      if (queued_[static_cast<size_t>(p)] != Mark::Computed && record.known) PutCarriedState(record.after);
      return;
    }
  }

  // What a definition is to undergo in this recalculation.
  enum class Mark : char { None, Check, Run, Computed };

  void Queue(int32_t i, Mark mark) {
    if (i < var_index::FirstUser || i > count_) return;
    Mark& queued = queued_[static_cast<size_t>(i)];
    if (queued == Mark::None) heap_.push(i);
    queued = std::max(queued, mark);
  }

  // The definitions that read `i` are looked at after it, in this
  // recalculation if they come later in the table, else in the next.
  void QueueReaders(int32_t i, int32_t at) {
    auto readers = d_.readers.find(i);
    if (readers == d_.readers.end()) return;
    for (int32_t reader : readers->second) {
      if (reader > at) {
        Queue(reader, Mark::Check);
      } else {
        d_.pending.push_back(reader);
      }
    }
  }

  void FindNewName(const std::string& name) {
    const std::string upper = ToUpper(name);
    if (auto found = d_.nameKeys.find(upper); found != d_.nameKeys.end()) {
      for (int32_t i : found->second) Queue(i, Mark::Run);
    }
    for (int32_t i : d_.longLetters) {
      if (d_.records[static_cast<size_t>(i)].text.find(upper) != std::string::npos) Queue(i, Mark::Run);
    }
  }

  int32_t NextQueued(int32_t from) {
    while (!heap_.empty() && heap_.top() < from) heap_.pop();
    if (heap_.empty()) return count_ + 1;
    const int32_t next = heap_.top();
    heap_.pop();
    return next;
  }

  bool MustCompute(int32_t i) const {
    const DefinitionRecord& record = d_.records[static_cast<size_t>(i)];
    if (queued_[static_cast<size_t>(i)] == Mark::Run || !record.known || record.alwaysRun) return true;
    for (const DefinitionInput& input : record.inputs) {
      if (input.position > c_.Variables.Count() ||
          !(InputOf(c_.Variables.Item(input.position), input.position) == input)) {
        return true;
      }
    }
    return false;
  }

  bool ComputeAndPropagate(int32_t i) {
    const DefinitionInput before = InputOf(c_.Variables.Item(i), i);
    const bool computed = Compute(i);
    if (!(InputOf(c_.Variables.Item(i), i) == before)) QueueReaders(i, i);
    return computed;
  }

  // Computes definition i as a line of its own and records what it read.
  // False when it failed.
  bool Compute(int32_t i) {
    if (d_.records.size() <= static_cast<size_t>(i)) d_.records.resize(static_cast<size_t>(i) + 1);
    const std::string line = c_.StoredChain(i).Join() + "=" + c_.Variables.Item(i).Key;
    c_.StringVariable.clear();
    c_.Ans().Value = ReadNumber(ansText_);
    g_.gErr.Reset();  // each variable starts clean, as a line does: a wrong line costs no value
    const DefinitionInput ans = InputOf(c_.Ans(), var_index::Ans);
    const uint64_t questions = c_.QuestionsAsked;
    const int32_t variables = c_.Variables.Count();
    d_.listening = true;
    d_.heard.clear();
    d_.heardFileOrLetters = false;
    bool failed = false;
    try {
      ScanAndDetect(c_, line);
    } catch (const Failure&) {
      failed = true;
    }
    const bool heard = !d_.listening;
    d_.listening = false;
    std::vector<DefinitionInput> inputs = d_.heard;
    if (ToUpper(line).find("ANS") != std::string::npos) inputs.push_back(ans);
    SortInputs(inputs);
    const bool alwaysRun = failed || !heard || d_.heardFileOrLetters || c_.QuestionsAsked != questions ||
                           c_.Variables.Count() != variables || ReadsFormula(inputs);
    Record(i, line, std::move(inputs), alwaysRun);
    return !failed;
  }

  static void SortInputs(std::vector<DefinitionInput>& inputs) {
    std::sort(inputs.begin(), inputs.end(), [](const auto& a, const auto& b) { return a.position < b.position; });
    inputs.erase(std::unique(inputs.begin(), inputs.end(),
                             [](const auto& a, const auto& b) { return a.position == b.position; }),
                 inputs.end());
  }

  bool ReadsFormula(const std::vector<DefinitionInput>& inputs) const {
    return std::any_of(inputs.begin(), inputs.end(), [](const DefinitionInput& input) {
      return input.position != var_index::Ans && input.typeVar != var_type::Plain;
    });
  }

  void Record(int32_t i, const std::string& line, std::vector<DefinitionInput> inputs, bool alwaysRun) {
    DefinitionRecord& record = d_.records[static_cast<size_t>(i)];
    const std::string text = ToUpper(std::string_view(line).substr(0, line.rfind('=')));
    if (!record.known || record.text != text) IndexLetters(i, record, text);
    if (!record.known || !SamePositions(record.inputs, inputs)) {
      for (const DefinitionInput& input : record.inputs) Unlist(d_.readers[input.position], i);
      for (const DefinitionInput& input : inputs) d_.readers[input.position].push_back(i);
    }
    if (alwaysRun && !record.alwaysRun) d_.alwaysRun.push_back(i);
    if (!alwaysRun && record.alwaysRun) Unlist(d_.alwaysRun, i);
    record.alwaysRun = alwaysRun;
    record.inputs = std::move(inputs);
    record.after = TakeCarriedState();
    record.known = true;
  }

  static bool SamePositions(const std::vector<DefinitionInput>& a, const std::vector<DefinitionInput>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const auto& x, const auto& y) { return x.position == y.position; });
  }

  // Every piece of every run of letters of the definition, so that a new
  // name finds the definitions it could stand in.
  void IndexLetters(int32_t i, DefinitionRecord& record, const std::string& text) {
    for (const std::string& key : record.nameKeys) Unlist(d_.nameKeys[key], i);
    if (record.longLetters) Unlist(d_.longLetters, i);
    record.nameKeys.clear();
    record.longLetters = false;
    record.text = text;
    for (size_t start = 0; start < text.size();) {
      size_t end = start;
      while (end < text.size() && !EndsLetters(static_cast<unsigned char>(text[end]))) ++end;
      if (end - start > kMaxIndexedLetters) {
        record.longLetters = true;
      } else {
        for (size_t a = start; a < end; ++a) {
          for (size_t b = a + 1; b <= end; ++b) record.nameKeys.push_back(text.substr(a, b - a));
        }
      }
      start = end + 1;
    }
    std::sort(record.nameKeys.begin(), record.nameKeys.end());
    record.nameKeys.erase(std::unique(record.nameKeys.begin(), record.nameKeys.end()), record.nameKeys.end());
    for (const std::string& key : record.nameKeys) d_.nameKeys[key].push_back(i);
    if (record.longLetters) d_.longLetters.push_back(i);
  }

  Calculator& c_;
  DefinitionRecords& d_;
  SharedState& g_;
  std::string ansText_;
  int32_t count_ = 0;
  std::vector<Mark> queued_;
  std::priority_queue<int32_t, std::vector<int32_t>, std::greater<>> heap_;
};

}  // namespace

void RecalculateVariables(Calculator& c) {
  SharedState& g = Shared();
  if (!g.gRecalculate) return;
  struct ClearFlag {
    SharedState& g;
    ~ClearFlag() { g.gRecalculate = false; }
  } clearFlag{g};
  DefinitionRecords& definitions = c.Definitions;
  if (definitions.running) {
    // A line file run by a definition assigns in the middle of a recalculation:
    // this one computes everything, and so does the next.
    const bool alwaysFull = definitions.alwaysFull;
    definitions.alwaysFull = true;
    Recalculation(c).Run();
    definitions.alwaysFull = alwaysFull;
    definitions.invalid = true;
  } else {
    definitions.running = true;
    struct Done {
      DefinitionRecords& d;
      ~Done() {
        d.running = false;
        d.changed.clear();  // the definitions stored again by their own computation
      }
    } done{definitions};
    Recalculation(c).Run();
  }
  c.RaiseUpdateVariables(1.0);
}

}  // namespace morvex::detail
