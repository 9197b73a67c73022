// The calculator's speed: a mix of typical engineering lines on a warm object
// (with no handler and with a Change handler), the growth of the cost with the
// length of a line and with the size of the variable table, and the same
// arithmetic parsed and evaluated by muparser, a widely used C++ expression
// library, for comparison. Ends with a summary table of ns per line.
#include <benchmark/benchmark.h>
#include <muParser.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "calculator/recalculation.hpp"
#include "morvex/morvex.hpp"

namespace {

// Typical lines of an engineering session.
const std::vector<std::string> kMix = {
    "2+3",           "2*3+4",         "(1+2)*(3+4)",   "2^10",          "-2^2",          "2^3^2",
    "8/2/2",         "1.5E3*2",       "2E-3",          "3Exp2",         "5!",            "10!/3!",
    "Sin30",         "Cos60",         "Tan45",         "sin(30)+cos(60)", "ArcSin0.5",   "ArcTan1",
    "Sqr16+Sqr9",    "Log1000",       "Ln2",           "e1",            "ABS-3.5",       "Int-2.5",
    "Fix-2.5",       "PI*2",          "2PI",           "2(3+4)",        "Sqr4Sqr9",      "Sin^2(30)",
    "3<5",           "2+3<4",         "7|3",           "1:7",           "Ans*2",         "r*r*PI",
    "a+b",           "3.3=a",         "a*2=b",         "sq3",           "2sq3",          "10minus4",
    "2+*3",          "1/0",           "(2+3",          "((1+2)*3)^2/4", "1,000+1",       "0.1+0.2",
};

// The same arithmetic in both languages (our spelling, muparser's spelling).
const std::vector<std::pair<std::string, std::string>> kArithmetic = {
    {"2+3", "2+3"},
    {"2*3+4", "2*3+4"},
    {"(1+2)*(3+4)", "(1+2)*(3+4)"},
    {"2^10", "2^10"},
    {"8/2/2", "8/2/2"},
    {"1.5E3*2", "1.5e3*2"},
    {"((1+2)*3)^2/4", "((1+2)*3)^2/4"},
    {"0.1+0.2", "0.1+0.2"},
    {"10/4-3", "10/4-3"},
    {"3*(4+5)-6/2", "3*(4+5)-6/2"},
    {"2.5*2.5*2.5", "2.5*2.5*2.5"},
    {"100-99+98-97", "100-99+98-97"},
    {"Sqr16+Sqr9", "sqrt(16)+sqrt(9)"},
    {"Sin30+Cos60", "sin(30)+cos(60)"},
    {"(2+3)*(4-1)^2", "(2+3)*(4-1)^2"},
};

morvex::clsMorvex MakeSessionCalculator() {
  morvex::clsMorvex calc;
  calc.Initialize();
  calc.Events().InputBox = [](std::string& num) { num = "2"; };
  for (const char* line : {"2=r", "3=a", "4=b", "XVar^2=sq", "YVar-XVar=minus"}) calc.Calculate(std::string_view(line));
  return calc;
}

void RunLines(benchmark::State& state, morvex::clsMorvex& calc, const std::vector<std::string>& lines) {
  size_t next = 0;
  std::string line;
  for (auto _ : state) {
    line = lines[next];
    next = next + 1 == lines.size() ? 0 : next + 1;
    try {
      benchmark::DoNotOptimize(calc.Calculate(line));
    } catch (const morvex::Failure&) {
    }
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_MixNoHandler(benchmark::State& state) {
  auto calc = MakeSessionCalculator();
  RunLines(state, calc, kMix);
}

void BM_MixWithChange(benchmark::State& state) {
  auto calc = MakeSessionCalculator();
  int64_t changes = 0;
  calc.Events().Change = [&](int16_t length, int16_t first) { changes += length + first; };
  RunLines(state, calc, kMix);
  benchmark::DoNotOptimize(changes);
}

std::vector<std::string> ArithmeticOurs() {
  std::vector<std::string> lines;
  for (const auto& pair : kArithmetic) lines.push_back(pair.first);
  return lines;
}

void BM_ArithmeticMorvex(benchmark::State& state) {
  morvex::clsMorvex calc;
  calc.Initialize();
  RunLines(state, calc, ArithmeticOurs());
}

void BM_ArithmeticMuparser(benchmark::State& state) {
  mu::Parser parser;
  size_t next = 0;
  for (auto _ : state) {
    parser.SetExpr(kArithmetic[next].second);
    next = next + 1 == kArithmetic.size() ? 0 : next + 1;
    benchmark::DoNotOptimize(parser.Eval());
  }
  state.SetItemsProcessed(state.iterations());
}

// One line of `cells` cells: 1+2+3+... (numbers and operators alternate).
void BM_LineLength(benchmark::State& state) {
  const int64_t cells = state.range(0);
  std::string line = "1";
  for (int64_t k = 1; 2 * k < cells; ++k) line += "+1";
  morvex::clsMorvex calc;
  calc.Initialize();
  std::string text;
  for (auto _ : state) {
    text = line;
    benchmark::DoNotOptimize(calc.Calculate(text));
  }
  state.counters["cells"] = static_cast<double>(cells);
}

// A line that uses one variable, with `count` user variables in the table.
// The variables come from one line of unknown words that the host answers,
// which makes them without recalculating the table after each.
void BM_VariableTable(benchmark::State& state) {
  const int64_t count = state.range(0);
  morvex::clsMorvex calc;
  calc.Initialize();
  calc.Events().InputBox = [](std::string& num) { num = "3"; };
  std::string words;
  for (int64_t k = 0; k < count; ++k) {
    std::string name = "v";
    for (int64_t n = k; n >= 0; n = n / 26 - 1) name += static_cast<char>('a' + n % 26);
    words += (k == 0 ? "" : "+") + name;
  }
  calc.Calculate(std::string_view(words));
  std::string text;
  for (auto _ : state) {
    text = "va*2+1";
    benchmark::DoNotOptimize(calc.Calculate(text));
  }
  state.counters["variables"] = static_cast<double>(calc.VariableList().size() - 3);
}

// The name of the k-th variable of a chain: letters only, so that it is
// found as one name in the letters of the next definition.
std::string ChainName(int64_t k) {
  std::string name = "q";
  for (int64_t n = k; n >= 0; n = n / 26 - 1) name += static_cast<char>('a' + n % 26);
  return name;
}

// Defines a chain of `count` dependent variables (1=qa, qa+1=qb, ...).
void DefineChain(morvex::clsMorvex& calc, int64_t count) {
  calc.Calculate(std::string_view("1=" + ChainName(0)));
  for (int64_t k = 1; k < count; ++k) {
    calc.Calculate(std::string_view(ChainName(k - 1) + "+1=" + ChainName(k)));
  }
}

// Second argument 1: the recalculation computes every definition after each
// assignment (the comparison the pass-over of unchanged definitions is
// measured against).
struct RecalculationMode {
  explicit RecalculationMode(int64_t everyDefinition) { morvex::detail::FastRecalculation() = everyDefinition == 0; }
  ~RecalculationMode() { morvex::detail::FastRecalculation() = true; }
};

// The whole chain of N variables, defined line by line; the counter gives the
// time per added variable.
void BM_DefineChain(benchmark::State& state) {
  const int64_t count = state.range(0);
  const RecalculationMode mode(state.range(1));
  for (auto _ : state) {
    morvex::clsMorvex calc;
    calc.Initialize();
    DefineChain(calc, count);
  }
  state.counters["us_per_variable"] = benchmark::Counter(
      static_cast<double>(count) * 1e-6, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// A new value for the head of a chain of N, then the last variable read.
void BM_RedefineChainHead(benchmark::State& state) {
  const int64_t count = state.range(0);
  const RecalculationMode mode(state.range(1));
  morvex::clsMorvex calc;
  calc.Initialize();
  DefineChain(calc, count);
  int64_t value = 2;
  const std::string last = ChainName(count - 1);
  for (auto _ : state) {
    calc.Calculate(std::string_view(std::to_string(value++) + "=" + ChainName(0)));
    benchmark::DoNotOptimize(calc.Calculate(std::string_view(last)));
  }
}

BENCHMARK(BM_MixNoHandler);
BENCHMARK(BM_MixWithChange);
BENCHMARK(BM_ArithmeticMorvex);
BENCHMARK(BM_ArithmeticMuparser);
BENCHMARK(BM_LineLength)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_VariableTable)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DefineChain)
    ->Args({100, 0})->Args({300, 0})->Args({1000, 0})->Args({3000, 0})->Args({10000, 0})
    ->Args({300, 1})->Args({1000, 1})->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_RedefineChainHead)
    ->Args({300, 0})->Args({3000, 0})->Args({10000, 0})->Args({300, 1})->Args({3000, 1})
    ->Unit(benchmark::kMillisecond)->Iterations(3);

// Collects ns per iteration of every run for the summary.
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration) nsPerLine[run.benchmark_name()] = run.GetAdjustedRealTime() * Scale(run);
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> nsPerLine;

 private:
  static double Scale(const Run& run) {
    switch (run.time_unit) {
      case benchmark::kSecond: return 1e9;
      case benchmark::kMillisecond: return 1e6;
      case benchmark::kMicrosecond: return 1e3;
      default: return 1;
    }
  }
};

void PrintSummary(const std::map<std::string, double>& ns) {
  auto get = [&](const std::string& name) {
    auto it = ns.find(name);
    return it == ns.end() ? 0.0 : it->second;
  };
  // A line of ours against muparser's fresh parse and evaluation of one line.
  const double peer = get("BM_ArithmeticMuparser");
  std::printf("\n%-44s %16s %12s\n", "workload", "ns per iteration", "x muparser");
  std::printf("%-44s %16s %12s\n", "--------------------------------------------", "----------------", "----------");
  for (const auto& [name, value] : ns) {
    const bool perLine = name.rfind("BM_DefineChain", 0) != 0 && name.rfind("BM_RedefineChainHead", 0) != 0;
    if (perLine && peer > 0) {
      std::printf("%-44s %16.0f %12.2f\n", name.c_str(), value, value / peer);
    } else {
      std::printf("%-44s %16.0f %12s\n", name.c_str(), value, "");
    }
  }
  auto exponent = [&](const std::string& small, const std::string& large, double ratio) {
    const double a = get(small);
    const double b = get(large);
    if (a > 0 && b > 0) std::printf("growth %s -> %s: exponent %.2f\n", small.c_str(), large.c_str(), std::log(b / a) / std::log(ratio));
  };
  std::printf("\n");
  exponent("BM_DefineChain/300/0/iterations:1", "BM_DefineChain/3000/0/iterations:1", 10);
  exponent("BM_RedefineChainHead/300/0/iterations:3", "BM_RedefineChainHead/3000/0/iterations:3", 10);
  const double table10 = get("BM_VariableTable/10");
  const double table1000 = get("BM_VariableTable/1000");
  if (table10 > 0 && table1000 > 0) std::printf("variable table 1000 / 10: %.2f\n", table1000 / table10);
  const double ours = get("BM_ArithmeticMorvex");
  if (ours > 0 && peer > 0) {
    std::printf("\nSame arithmetic, fresh line each time: morvex %.0f ns, muparser %.0f ns, ratio %.2f\n", ours, peer,
                ours / peer);
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  PrintSummary(reporter.nsPerLine);
  return 0;
}
