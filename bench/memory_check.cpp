// Computes a million lines on one calculator and reports the resident size at
// intervals: it must stay flat (no growth per line). Exits 1 when the size at
// the end exceeds the size after the warm-up by more than 4 MiB.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "morvex/morvex.hpp"

namespace {

long ResidentKiB() {
  std::ifstream status("/proc/self/status");
  std::string key;
  while (status >> key) {
    if (key == "VmRSS:") {
      long kib = 0;
      status >> kib;
      return kib;
    }
    status.ignore(4096, '\n');
  }
  return -1;
}

}  // namespace

int main(int argc, char** argv) {
  const long lines = argc > 1 ? std::atol(argv[1]) : 1000000;
  morvex::clsMorvex calc;
  calc.Initialize();
  calc.Events().Change = [](int16_t, int16_t) {};
  const char* session[] = {"2+3*4", "Sin30+Cos60", "3=a", "a*2=b", "XVar^2=sq", "sq3+b", "1/0", "2+*3", "10^400", "Ans+1"};
  long warm = 0;
  for (long k = 0; k < lines; ++k) {
    std::string line = session[k % 10];
    try {
      calc.Calculate(line);
    } catch (const morvex::Failure&) {
    }
    if (k == 10000) warm = ResidentKiB();
    if (k % (lines / 10 > 0 ? lines / 10 : 1) == 0) std::printf("%9ld lines: %ld KiB resident\n", k, ResidentKiB());
  }
  const long end = ResidentKiB();
  std::printf("%9ld lines: %ld KiB resident (after warm-up %ld KiB)\n", lines, end, warm);

  // A calculator with 10,000 variables: one line of unknown words, each
  // answered by the host, makes them without a recalculation after each.
  {
    morvex::clsMorvex sheet;
    sheet.Initialize();
    sheet.Events().InputBox = [](std::string& num) { num = "3"; };
    std::string words;  // lines of 2,000 names, well within a chain's cells
    for (long k = 0; k < 10000; ++k) {
      // Names of one length, so that none is found inside another.
      const std::string name = {'w', static_cast<char>('a' + k / 676), static_cast<char>('a' + k / 26 % 26),
                                static_cast<char>('a' + k % 26)};
      words += (words.empty() ? "" : "+") + name;
      if ((k + 1) % 2000 == 0) {
        sheet.Calculate(std::string_view(words));
        words.clear();
      }
    }
    std::printf("a calculator with %zu variables: %ld KiB resident (%ld KiB more)\n", sheet.VariableList().size() - 3,
                ResidentKiB(), ResidentKiB() - end);
  }
  return warm > 0 && end - warm > 4096 ? 1 : 0;
}
