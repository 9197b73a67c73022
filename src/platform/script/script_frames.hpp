// Storage for the frames of procedure calls: slots that never move while in
// use, so a by-reference parameter can point at a caller's variable, and that
// are reused from call to call without allocating.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/script/script_value.hpp"

namespace morvex::script {

class SlotStack {
 public:
  // `count` Empty slots on top of the stack.
  Value* Push(size_t count);
  // Frees the top `count` slots (the last Push), clearing their values.
  void Pop(size_t count);
  // Clears every slot.
  void Clear();

 private:
  struct Chunk {
    std::unique_ptr<Value[]> data;
    size_t capacity = 0;
    size_t used = 0;
  };
  static constexpr size_t kChunkSize = 1024;

  std::vector<Chunk> chunks_;
  size_t current_ = 0;
};

// Pops a frame when the call ends, also when it ends by an error.
class FrameGuard {
 public:
  FrameGuard(SlotStack& stack, size_t count) : stack_(stack), count_(count), slots_(stack.Push(count)) {}
  ~FrameGuard() { stack_.Pop(count_); }
  FrameGuard(const FrameGuard&) = delete;
  FrameGuard& operator=(const FrameGuard&) = delete;
  Value* slots() const { return slots_; }

 private:
  SlotStack& stack_;
  size_t count_;
  Value* slots_;
};

}  // namespace morvex::script
