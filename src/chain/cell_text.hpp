// The text of a cell. Nearly every cell holds one character, a number text of
// at most 22 characters or a short word, so the text lives inline and only a
// long word or a joined result goes to the heap.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace morvex {

class CellText {
 public:
  static constexpr uint32_t kInlineCapacity = 30;

  CellText() noexcept { inline_[0] = '\0'; }
  CellText(std::string_view text) { inline_[0] = '\0'; assign(text); }  // NOLINT: implicit on purpose
  CellText(const CellText& other) { inline_[0] = '\0'; assign(other.view()); }
  CellText(CellText&& other) noexcept { StealFrom(other); }
  CellText& operator=(const CellText& other) {
    if (this != &other) assign(other.view());
    return *this;
  }
  CellText& operator=(CellText&& other) noexcept {
    if (this != &other) {
      Release();
      StealFrom(other);
    }
    return *this;
  }
  CellText& operator=(std::string_view text) {
    assign(text);
    return *this;
  }
  ~CellText() { Release(); }

  void assign(std::string_view text) {
    // The source may alias this text (an append of its own view): reserve keeps it alive.
    if (text.size() > capacity()) Grow(static_cast<uint32_t>(text.size()), false);
    std::memmove(data(), text.data(), text.size());
    size_ = static_cast<uint32_t>(text.size());
  }
  void append(std::string_view text) {
    uint32_t needed = size_ + static_cast<uint32_t>(text.size());
    if (needed > capacity()) {
      std::string copy(text);  // text may point into this buffer
      Grow(needed, true);
      std::memcpy(data() + size_, copy.data(), copy.size());
    } else {
      std::memmove(data() + size_, text.data(), text.size());
    }
    size_ = needed;
  }
  void prepend(std::string_view text) {
    const uint32_t needed = size_ + static_cast<uint32_t>(text.size());
    const bool aliases = text.data() >= data() && text.data() < data() + capacity();
    if (needed <= capacity() && !aliases) {
      std::memmove(data() + text.size(), data(), size_);
      std::memcpy(data(), text.data(), text.size());
      size_ = needed;
      return;
    }
    std::string joined;
    joined.reserve(text.size() + size_);
    joined.append(text).append(view());
    assign(joined);
  }

  std::string_view view() const noexcept { return {data(), size_}; }
  std::string str() const { return std::string(view()); }
  uint32_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  operator std::string_view() const noexcept { return view(); }  // NOLINT: implicit on purpose
  friend bool operator==(const CellText& a, std::string_view b) noexcept { return a.view() == b; }

 private:
  char* data() noexcept { return heap_ ? heap_ : inline_; }
  const char* data() const noexcept { return heap_ ? heap_ : inline_; }
  uint32_t capacity() const noexcept { return heap_ ? heapCapacity_ : kInlineCapacity; }
  void Grow(uint32_t needed, bool keep) {
    uint32_t capacity = needed < 64 ? 64 : needed + needed / 2;
    char* fresh = new char[capacity];
    if (keep) std::memcpy(fresh, data(), size_);
    Release();
    heap_ = fresh;
    heapCapacity_ = capacity;
  }
  void Release() noexcept {
    delete[] heap_;
    heap_ = nullptr;
  }
  void StealFrom(CellText& other) noexcept {
    size_ = other.size_;
    heap_ = other.heap_;
    heapCapacity_ = other.heapCapacity_;
    // The whole inline buffer, a fixed size: a few register moves where a
    // copy of `size_` bytes would be a call. Chains move cells at every edit.
    if (!heap_) std::memcpy(inline_, other.inline_, kInlineCapacity);
    other.heap_ = nullptr;
    other.size_ = 0;
  }

  char* heap_ = nullptr;
  uint32_t heapCapacity_ = 0;
  uint32_t size_ = 0;
  char inline_[kInlineCapacity] = {};
};

}  // namespace morvex
