#include "platform/script/script_frames.hpp"

#include <algorithm>

namespace morvex::script {

Value* SlotStack::Push(size_t count) {
  if (chunks_.empty()) {
    chunks_.push_back({std::make_unique<Value[]>(std::max(count, kChunkSize)), std::max(count, kChunkSize), 0});
    current_ = 0;
  }
  while (true) {
    Chunk& chunk = chunks_[current_];
    if (chunk.capacity - chunk.used >= count) {
      Value* slots = chunk.data.get() + chunk.used;
      chunk.used += count;
      return slots;
    }
    // The chunks above the current one are all unused: take the next one if
    // it is large enough, else put a larger one in its place.
    if (current_ + 1 < chunks_.size() && chunks_[current_ + 1].capacity >= count) {
      ++current_;
      continue;
    }
    chunks_.resize(current_ + 1);
    size_t capacity = std::max(count, kChunkSize);
    chunks_.push_back({std::make_unique<Value[]>(capacity), capacity, 0});
    ++current_;
  }
}

void SlotStack::Pop(size_t count) {
  Chunk& chunk = chunks_[current_];
  for (size_t i = chunk.used - count; i < chunk.used; ++i) chunk.data[i] = Value();
  chunk.used -= count;
  // An emptied chunk hands over to the one below, whose frames are older.
  while (chunks_[current_].used == 0 && current_ > 0) --current_;
}

void SlotStack::Clear() {
  for (Chunk& chunk : chunks_) {
    for (size_t i = 0; i < chunk.used; ++i) chunk.data[i] = Value();
    chunk.used = 0;
  }
  current_ = 0;
}

}  // namespace morvex::script
