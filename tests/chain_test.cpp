// Cells, the successor template and the chain container: how assigning a
// parenthesis code moves the template's depth, the keyed chain,
// the character-position helpers and the splice that moves cells.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "chain/dna.hpp"
#include "core/shared_state.hpp"
#include "morvex/failure.hpp"
#include "test_support.hpp"

namespace morvex {
namespace {

using test::FailureCode;

void ResetTemplate() {
  SharedState& g = Shared();
  g.gNext = SuccessorTemplate();
  g.gParenDepth = 0;
  g.gParenDepth2 = 0;
}

// Every test starts and ends with an empty template at depth 0.
class ChainTest : public ::testing::Test {
 protected:
  void SetUp() override { ResetTemplate(); }
  void TearDown() override { ResetTemplate(); }
};
using ChainSuccessorTable = ChainTest;
using ChainDna = ChainTest;

TEST_F(ChainSuccessorTable, OpenParenthesisCountsFirstAndCloseParenthesisAfterItsRow) {
  struct Case {
    int16_t code;
    int16_t depthBefore;
    bool bEnd;
    int16_t depthAfter;
  };
  const Case cases[] = {
      {8, 0, false, -1},  // a close parenthesis with no partner
      {8, 1, true, 0},    // with a partner
      {8, 3, true, 2},
      {8, -2, false, -3},  // counters may go below 0
      {7, 0, false, 1},   // row 7 has BEnd 0 whatever the depth
      {7, -1, false, 0},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE("code " + std::to_string(tc.code) + " from depth " + std::to_string(tc.depthBefore));
    SharedState& g = Shared();
    g.gNext.StartNumber(tc.depthBefore);
    g.gParenDepth = 5;
    g.gParenDepth2 = 7;
    Cell cell;
    cell.NameStr(tc.code);
    EXPECT_EQ(g.gNext.Has(flag::BEnd), tc.bEnd);
    EXPECT_EQ(g.gNext.StartNumber(), tc.depthAfter);
    // The scanner's counters are the scanner's: a code assigned leaves them.
    EXPECT_EQ(g.gParenDepth, 5);
    EXPECT_EQ(g.gParenDepth2, 7);
  }
}

TEST_F(ChainSuccessorTable, NumberRowSeesTheDepthLeftByEarlierParentheses) {
  // "(" then "1": the number inside the group may be followed by ")".
  Cell open;
  open.NameStr(TypeStart);
  Cell number;
  number.NameStr(TypeNumber);
  EXPECT_TRUE(Shared().gNext.Has(flag::BEnd));
  Cell close;
  close.NameStr(TypeEnd);
  EXPECT_TRUE(Shared().gNext.Has(flag::BEnd));  // decided before the close parenthesis is counted
  number.NameStr(TypeNumber);
  EXPECT_FALSE(Shared().gNext.Has(flag::BEnd));
  EXPECT_EQ(Shared().gNext.StartNumber(), 0);
}

// ---------------------------------------------------------------------------
// The container.

dna ChainOf(const std::vector<std::string>& values, int16_t code = TypeChar) {
  dna chain;
  for (const std::string& value : values) {
    Cell& cell = chain.Add(0);
    cell.Value(value);
    cell.NameStr(code);
  }
  return chain;
}


TEST_F(ChainDna, KeysAreFoundWithoutRegardToCaseAndMayNotBeUsedTwice) {
  dna chain;
  chain.Add(0).Value("a");
  chain.Add(0, "EndVer").Value(" ");
  EXPECT_EQ(chain.Item("endver").Value(), " ");
  EXPECT_EQ(chain.Item("ENDVER").Value(), " ");
  EXPECT_EQ(FailureCode([&] { chain.Add(0, "ENDver"); }), failure_code::KeyInUse);
  EXPECT_EQ(chain.Count(), 2);
  // Empty keys are no keys: any number of cells may have none.
  chain.Add(0, "");
  chain.Add(0, "");
  EXPECT_EQ(chain.Count(), 4);
}

TEST_F(ChainDna, PositionsAndKeysThatTheChainDoesNotHoldFail) {
  dna chain = ChainOf({"a", "b"});
  EXPECT_EQ(FailureCode([&] { chain.Item(0); }), failure_code::SubscriptOutOfRange);
  EXPECT_EQ(FailureCode([&] { chain.Item(3); }), failure_code::SubscriptOutOfRange);
  EXPECT_EQ(FailureCode([&] { chain.Item(-1); }), failure_code::SubscriptOutOfRange);
  EXPECT_EQ(FailureCode([&] { chain.Item("nokey"); }), failure_code::InvalidCall);
  EXPECT_EQ(FailureCode([&] { chain.Remove(3); }), failure_code::SubscriptOutOfRange);
  EXPECT_EQ(FailureCode([&] { chain.Remove("nokey"); }), failure_code::InvalidCall);
  EXPECT_EQ(test::Values(chain), (std::vector<std::string>{"a", "b"}));
}

TEST_F(ChainDna, RemovingMovesLaterCellsDown) {
  dna chain = ChainOf({"a", "b", "c", "d"});
  chain.Item(3).ContainerKey("k");
  chain.Remove(2);
  EXPECT_EQ(test::Values(chain), (std::vector<std::string>{"a", "c", "d"}));
  EXPECT_EQ(chain.Item("K").Value(), "c");
  chain.Remove("k");
  EXPECT_EQ(test::Values(chain), (std::vector<std::string>{"a", "d"}));
  EXPECT_EQ(chain.Item(2).Value(), "d");
}

TEST_F(ChainDna, AChainHoldsAtMost32767Cells) {
  dna chain;
  for (int i = 0; i < 32767; ++i) chain.Add(0);
  EXPECT_EQ(chain.Count(), 32767);
  EXPECT_EQ(FailureCode([&] { chain.Add(0); }), failure_code::Overflow);
  EXPECT_EQ(chain.Count(), 32767);
}

TEST_F(ChainDna, CellTextOffsetCountsCharactersBeforeTheCell) {
  const dna chain = ChainOf({"12", "+", "3"});
  EXPECT_EQ(CellTextOffset(dna(), 1), 1);
  const int16_t offsets[] = {1, 3, 4, 5};  // the last is just past the text
  for (int i = 1; i <= 4; ++i) EXPECT_EQ(CellTextOffset(chain, i), offsets[i - 1]) << "cell " << i;
  // The offset of cell 5 sums cells 1 to 4; a chain of three cells has no cell 4.
  EXPECT_EQ(FailureCode([&] { CellTextOffset(chain, 5); }), failure_code::SubscriptOutOfRange);
  EXPECT_EQ(FailureCode([&] { CellTextOffset(dna(), 3); }), failure_code::SubscriptOutOfRange);
}

TEST_F(ChainDna, CellTextLengthSumsTheCountCellsFromFirst) {
  const dna chain = ChainOf({"12", "+", "Sin", ""});
  struct Case {
    int32_t first, count;
    int16_t length;
  };
  for (Case tc : {Case{2, 0, 0}, Case{1, 1, 2}, Case{1, 3, 6}, Case{3, 2, 3}, Case{4, 1, 0}, Case{1, 4, 6}}) {
    EXPECT_EQ(CellTextLength(chain, tc.first, tc.count), tc.length) << tc.first << "," << tc.count;
  }
  EXPECT_EQ(FailureCode([&] { CellTextLength(chain, 3, 3); }), failure_code::SubscriptOutOfRange);
}

TEST_F(ChainDna, CellAtPositionFindsTheCellThatHoldsACharacter) {
  const dna chain = ChainOf({"12", "+", "Sin"});
  struct Case {
    int32_t position;
    int16_t cell;
  };
  for (Case tc : {Case{0, 1}, Case{1, 1}, Case{2, 1}, Case{3, 2}, Case{4, 3}, Case{6, 3}, Case{7, 0}, Case{100, 0}}) {
    EXPECT_EQ(CellAtPosition(chain, tc.position), tc.cell) << "position " << tc.position;
  }
  EXPECT_EQ(CellAtPosition(dna(), 0), 0);
  EXPECT_EQ(CellAtPosition(dna(), 1), 0);
}

TEST_F(ChainDna, PositionsBeyond32767AreTheOverflowFailure) {
  dna chain;
  chain.Add(0).Value(std::string(20000, '1'));
  chain.Add(0).Value(std::string(20000, '2'));
  chain.Add(0).Value("+");
  EXPECT_EQ(FailureCode([&] { CellTextOffset(chain, 3); }), failure_code::Overflow);
  EXPECT_EQ(FailureCode([&] { CellTextLength(chain, 1, 2); }), failure_code::Overflow);
  EXPECT_EQ(CellTextLength(chain, 2, 2), 20001);
}

// ---------------------------------------------------------------------------
// SpliceChain.

TEST_F(ChainDna, SpliceReplacesTheCellAtThePositionByTheInsertedCells) {
  struct Case {
    std::vector<std::string> inserted;
    int32_t position;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {{"X"}, 2, {"a", "X", "c"}},
      {{"X", "Y", "Z"}, 2, {"a", "X", "Y", "Z", "c"}},
      {{}, 2, {"a", "c"}},
      {{"X", "Y"}, 1, {"X", "Y", "b", "c"}},
      {{"X", "Y"}, 3, {"a", "b", "X", "Y"}},
      {{}, 3, {"a", "b"}},
  };
  for (const Case& tc : cases) {
    dna target = ChainOf({"a", "b", "c"});
    SpliceChain(target, ChainOf(tc.inserted), tc.position);
    EXPECT_EQ(test::Values(target), tc.expected) << "position " << tc.position;
  }
}

TEST_F(ChainDna, SpliceCopiesFlagsValueCodeAndKeyValButNotTheDepth) {
  dna target = ChainOf({"a", "b", "c"}, TypeNumber);
  target.Item(3).SetFlags(flag::BPowerNum | flag::BLast);
  target.Item(3).StartNumber(4);
  target.Item(3).KeyVal("tail");
  dna inserted;
  Cell& source = inserted.Add(flag::BExtra | flag::BSign);
  source.Value("Sin");
  source.NameStr(TypeWord);
  source.KeyVal("f");
  source.StartNumber(3);

  SpliceChain(target, inserted, 2);
  ASSERT_EQ(target.Count(), 3);
  const Cell& moved = target.Item(2);
  EXPECT_EQ(moved.Value(), "Sin");
  EXPECT_EQ(moved.NameStr(), TypeWord);
  EXPECT_EQ(moved.KeyVal(), "f");
  EXPECT_EQ(moved.GetFlags(), (flag::BExtra | flag::BSign));
  EXPECT_EQ(moved.StartNumber(), 0);
  const Cell& tail = target.Item(3);
  EXPECT_EQ(tail.Value(), "c");
  EXPECT_EQ(tail.NameStr(), TypeNumber);
  EXPECT_EQ(tail.KeyVal(), "tail");
  EXPECT_EQ(tail.GetFlags(), (flag::BPowerNum | flag::BLast));
  EXPECT_EQ(tail.StartNumber(), 0);
  // The inserted chain is left as it was.
  EXPECT_EQ(test::Values(inserted), (std::vector<std::string>{"Sin"}));
}

TEST_F(ChainDna, SpliceRunsTheCodeAssignmentOfEveryCopiedCellInChainOrder) {
  // Target "(" "1" ")": the cells from position 2 on are copied out and back,
  // so ")" is counted twice, and the inserted "(" once: net -1.
  dna target;
  for (auto [value, code] : {std::pair{"(", TypeStart}, std::pair{"1", TypeNumber}, std::pair{")", TypeEnd}}) {
    Cell& cell = target.Add(0);
    cell.Value(value);
    cell.NameStr(code);
  }
  dna inserted;
  Cell& open = inserted.Add(0);
  open.Value("(");
  open.NameStr(TypeStart);
  ResetTemplate();

  SpliceChain(target, inserted, 2);
  EXPECT_EQ(test::Values(target), (std::vector<std::string>{"(", "(", ")"}));
  EXPECT_EQ(Shared().gNext.StartNumber(), -1);
  // The last copy was ")" from depth 0: nothing more may close.
  EXPECT_FALSE(Shared().gNext.Has(flag::BEnd));
}

TEST_F(ChainDna, SpliceAtAPositionOutsideTheChainFails) {
  dna target = ChainOf({"a", "b"});
  EXPECT_EQ(FailureCode([&] { SpliceChain(target, ChainOf({"X"}), 3); }), failure_code::SubscriptOutOfRange);
  EXPECT_EQ(FailureCode([&] { SpliceChain(target, ChainOf({"X"}), 0); }), failure_code::SubscriptOutOfRange);
  dna empty;
  EXPECT_EQ(FailureCode([&] { SpliceChain(empty, ChainOf({"X"}), 1); }), failure_code::SubscriptOutOfRange);
  EXPECT_EQ(test::Values(target), (std::vector<std::string>{"a", "b"}));
}

TEST_F(ChainDna, WholeChainCopyKeepsEverythingAndReplaysTheCodes) {
  dna source;
  for (auto [value, code] : {std::pair{"(", TypeStart}, std::pair{"(", TypeStart}, std::pair{"2", TypeNumber}}) {
    Cell& cell = source.Add(flag::BSign);
    cell.Value(value);
    cell.NameStr(code);
    cell.StartNumber(9);
  }
  source.Item(1).ContainerKey("EndVer");
  source.Item(2).KeyVal("v");
  ResetTemplate();
  dna copy = CopyChain(source);
  ASSERT_EQ(copy.Count(), 3);
  for (int32_t i = 1; i <= 3; ++i) {
    EXPECT_EQ(copy.Item(i).Value(), source.Item(i).Value());
    EXPECT_EQ(copy.Item(i).NameStr(), source.Item(i).NameStr());
    EXPECT_EQ(copy.Item(i).StartNumber(), 9);
    EXPECT_EQ(copy.Item(i).GetFlags(), flag::BSign);
  }
  EXPECT_EQ(copy.Item(2).KeyVal(), "v");
  EXPECT_EQ(Shared().gNext.StartNumber(), 2);
  EXPECT_TRUE(Shared().gNext.Has(flag::BEnd));  // the number row at depth 2
}

}  // namespace
}  // namespace morvex
