// Limits of the script sandbox: whatever a script does, the engine stays
// within these bounds and fails cleanly when a script would cross one.
#pragma once

#include <cstddef>
#include <cstdint>

namespace morvex::script::limits {

// Statements, expression nodes and loop passes one ExecuteStatement or one Run may take.
inline constexpr int64_t kStepBudget = 5'000'000;
// Producing a string costs one step per this many bytes, so a run cannot
// copy or allocate without bound.
inline constexpr size_t kBytesPerStep = 32;
// Nested calls of script procedures.
inline constexpr int32_t kMaxCallDepth = 200;
// The engine's own stack use below the entry of a run; deeper recursion fails
// with "out of stack space" long before the thread's stack runs out. Builds
// with the address sanitizer have frames several times larger, so the same
// script needs more room there.
#if defined(__SANITIZE_ADDRESS__)
#define MORVEX_SCRIPT_LARGE_FRAMES 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MORVEX_SCRIPT_LARGE_FRAMES 1
#endif
#endif
#ifdef MORVEX_SCRIPT_LARGE_FRAMES
inline constexpr size_t kMaxStackBytes = 4 * 1024 * 1024;
#else
inline constexpr size_t kMaxStackBytes = 768 * 1024;
#endif
// Characters in one string.
inline constexpr size_t kMaxStringLength = 16u * 1024u * 1024u;
// Elements in one array, and arrays nested inside arrays.
inline constexpr size_t kMaxArrayElements = 1u << 20;
inline constexpr int32_t kMaxArrayNesting = 32;
inline constexpr int32_t kMaxArrayDimensions = 60;
// Length of a script text.
inline constexpr size_t kMaxScriptLength = 16u * 1024u * 1024u;
// Parser recursion (parentheses, unary operators) and nesting of blocks.
inline constexpr int32_t kMaxParseDepth = 400;
inline constexpr int32_t kMaxBlockDepth = 100;
// Depth of an expression tree, including long chains of one operator.
inline constexpr int32_t kMaxExpressionDepth = 500;
// Parameters of one procedure.
inline constexpr int32_t kMaxParameters = 64;

}  // namespace morvex::script::limits
