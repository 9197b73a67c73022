#include "files/function_listing.hpp"

#include "evaluation/reducer.hpp"

namespace morvex::detail {

void FetchFunctions(Calculator& c) {
  const int32_t count = c.Variables.Count();
  for (int32_t i = var_index::FirstUser; i <= count; ++i) {
    try {
      std::string text = c.StoredChain(i).Join();
      std::string name = c.Variables.Item(i).Key;
      c.RaiseGetFunctions(name, text);
    } catch (const Failure& failure) {
      if (IsFatal(failure)) throw;
      // a variable whose chain cannot be read is skipped
    }
  }
}

}  // namespace morvex::detail
