// The chain container: the keyed chain and its limit, the character-position
// helpers, and the splice and the copy that replay the codes on the template.
#include <gtest/gtest.h>

#include "chain/dna.hpp"
#include "core/shared_state.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

using test::FailureCode;
using Texts = std::vector<std::string>;

// Every test starts and ends with an empty template at depth 0.
class Chain : public ::testing::Test {
 protected:
  static void ResetTemplate() {
    Shared().gNext = SuccessorTemplate();
    Shared().gParenDepth = Shared().gParenDepth2 = 0;
  }
  void SetUp() override { ResetTemplate(); }
  void TearDown() override { ResetTemplate(); }
};

dna ChainOf(const Texts& values, int16_t code = TypeChar) {
  dna chain;
  for (const std::string& value : values) {
    Cell& cell = chain.Add(0);
    cell.Value(value);
    cell.NameStr(code);
  }
  return chain;
}

TEST_F(Chain, KeysPositionsAndTheLimitOfCells) {
  dna chain = ChainOf({"a", "b", "c", "d"});
  chain.Item(3).ContainerKey("EndVer");
  EXPECT_EQ(FailureCode([&] { chain.Add(0, "ENDver"); }), failure_code::KeyInUse);
  chain.Add(0, "");
  chain.Add(0, "");  // empty keys are no keys
  for (int32_t index : {0, 7}) EXPECT_EQ(FailureCode([&] { chain.Item(index); }), failure_code::SubscriptOutOfRange);
  EXPECT_EQ(FailureCode([&] { chain.Remove("nokey"); }), failure_code::InvalidCall);
  chain.Remove(2);
  EXPECT_EQ(chain.Item("ENDVER").Value(), "c") << "later cells move down with their keys";
  chain.Remove("endver");
  EXPECT_EQ(test::Values(chain), (Texts{"a", "d", "", ""}));
  dna full;
  for (int i = 0; i < 32767; ++i) full.Add(0);
  EXPECT_EQ(FailureCode([&] { full.Add(0); }), failure_code::Overflow);
}

TEST_F(Chain, CharacterPositionsOfCells) {
  const dna chain = ChainOf({"12", "+", "Sin", ""});
  // CellTextOffset: the place of a cell's first character, up to one past the text.
  for (auto [cell, offset] : {std::pair{2, 3}, {4, 7}, {5, 7}}) EXPECT_EQ(CellTextOffset(chain, cell), offset) << cell;
  // CellTextLength: the characters of `count` cells from `first`.
  for (auto [first, count, length] : {std::tuple{2, 0, 0}, {1, 3, 6}, {3, 2, 3}}) {
    EXPECT_EQ(CellTextLength(chain, first, count), length) << first << "," << count;
  }
  // CellAtPosition: the cell that holds a character, 0 past the text.
  for (auto [position, cell] : {std::pair{0, 1}, {2, 1}, {3, 2}, {6, 3}, {7, 0}}) {
    EXPECT_EQ(CellAtPosition(chain, position), cell) << "position " << position;
  }
  EXPECT_EQ(FailureCode([&] { CellTextOffset(chain, 6); }), failure_code::SubscriptOutOfRange);
  EXPECT_EQ(FailureCode([&] { CellTextLength(chain, 3, 3); }), failure_code::SubscriptOutOfRange);
  dna wide = ChainOf({std::string(20000, '1'), std::string(20000, '2'), "+"});
  EXPECT_EQ(FailureCode([&] { CellTextOffset(wide, 3); }), failure_code::Overflow);
  EXPECT_EQ(FailureCode([&] { CellTextLength(wide, 1, 2); }), failure_code::Overflow);
  EXPECT_EQ(CellTextLength(wide, 2, 2), 20001);
}

TEST_F(Chain, SpliceReplacesTheCellAtThePositionByTheInsertedCells) {
  const std::tuple<Texts, int32_t, Texts> cases[] = {
      {{"X", "Y", "Z"}, 2, {"a", "X", "Y", "Z", "c"}}, {{}, 2, {"a", "c"}}, {{"X", "Y"}, 1, {"X", "Y", "b", "c"}},
      {{"X", "Y"}, 3, {"a", "b", "X", "Y"}}};
  for (const auto& [inserted, position, expected] : cases) {
    dna target = ChainOf({"a", "b", "c"});
    SpliceChain(target, ChainOf(inserted), position);
    EXPECT_EQ(test::Values(target), expected) << "position " << position;
  }
  dna target = ChainOf({"a", "b"});
  for (int32_t position : {0, 3}) {
    EXPECT_EQ(FailureCode([&] { SpliceChain(target, ChainOf({"X"}), position); }), failure_code::SubscriptOutOfRange);
  }
  EXPECT_EQ(test::Values(target), (Texts{"a", "b"}));
}

// The splice copies flags, value, code and KeyVal but not the depth, and
// assigns the codes of the cells from the position on, then of the inserted
// cells, then of the moved cells again; a whole copy assigns every cell's code
// once, in chain order, and keeps everything else.
TEST_F(Chain, CopiesKeepTheCellsAndReplayTheCodesOnTheTemplate) {
  dna target;
  test::LayOut(target, {{"(", TypeStart}, {"1", TypeNumber}, {")", TypeEnd}});
  target.Item(3).SetFlags(flag::BPowerNum | flag::BLast);
  target.Item(3).KeyVal("tail");
  target.Item(3).StartNumber(4);
  dna inserted;
  test::LayOut(inserted, {{"(", TypeStart}});
  inserted.Item(1).SetFlags(flag::BExtra | flag::BSign);
  inserted.Item(1).KeyVal("f");
  inserted.Item(1).StartNumber(3);
  ResetTemplate();
  SpliceChain(target, inserted, 2);
  EXPECT_EQ(test::CellsText(target), "(:7 (:7 ):8");
  for (auto [index, key, flags] : {std::tuple{2, "f", flag::BExtra | flag::BSign}, {3, "tail", flag::BPowerNum | flag::BLast}}) {
    EXPECT_EQ(target.Item(index).KeyVal(), key);
    EXPECT_EQ(target.Item(index).GetFlags(), flags) << index;
    EXPECT_EQ(target.Item(index).StartNumber(), 0) << index;
  }
  EXPECT_EQ(inserted.Item(1).StartNumber(), 3) << "the inserted chain is left as it was";
  EXPECT_EQ(Shared().gNext.StartNumber(), -1);
  EXPECT_FALSE(Shared().gNext.Has(flag::BEnd)) << "the last code was \")\" from depth 0";

  dna source;
  test::LayOut(source, {{"(", TypeStart}, {"(", TypeStart}, {"2", TypeNumber}});
  for (Cell& cell : source) {
    cell.SetFlags(flag::BSign);
    cell.StartNumber(9);
  }
  source.Item(1).ContainerKey("EndVer");
  source.Item(2).KeyVal("v");
  ResetTemplate();
  const dna copy = CopyChain(source);
  EXPECT_EQ(test::CellsText(copy), test::CellsText(source));
  for (const Cell& cell : copy) EXPECT_EQ(cell.GetFlags() * 100 + cell.StartNumber(), flag::BSign * 100 + 9);
  EXPECT_EQ(copy.Item(2).KeyVal(), "v");
  EXPECT_EQ(Shared().gNext.StartNumber(), 2);
  EXPECT_TRUE(Shared().gNext.Has(flag::BEnd)) << "the number row at depth 2";
}

// Replaying copies leaves the template as making them does, from any depth.
TEST_F(Chain, ReplayedCopiesLeaveTheTemplateAsCopies) {
  dna chain;
  test::LayOut(chain, {{"2", TypeNumber}, {")", TypeEnd}, {"(", TypeStart}, {")", TypeEnd}, {"a", TypeNone}});
  for (auto [depth, times] : {std::pair{0, 1}, {0, 2}, {1, 2}, {-1, 2}, {2, 2}}) {
    auto after = [&, depth = depth, times = times](auto replay) {
      Shared().gNext = SuccessorTemplate();
      Shared().gNext.StartNumber(static_cast<int16_t>(depth));
      replay(times);
      return Shared().gNext.GetFlags() * 100 + Shared().gNext.StartNumber();
    };
    EXPECT_EQ(after([&](int n) { ReplayCopy(chain, n); }), after([&](int n) { while (n-- > 0) CopyChain(chain); })) << depth << " " << times;
  }
}

}  // namespace
}  // namespace morvex
