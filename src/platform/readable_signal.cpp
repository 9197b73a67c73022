#include "platform/readable_signal.hpp"

#if defined(__linux__) && __has_include(<linux/io_uring.h>)
#include <linux/io_uring.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#if defined(__NR_io_uring_setup) && defined(__NR_io_uring_enter)
#define MORVEX_HAS_IO_URING 1
#endif
#endif

namespace morvex::platform {

#if defined(MORVEX_HAS_IO_URING)

namespace {

// One standing request; the completion ring holds the wake-ups between two
// lines, and a fuller one only means the ring is set up anew.
constexpr unsigned kRingEntries = 4;

template <class T>
T* At(void* base, uint32_t offset) {
  return reinterpret_cast<T*>(static_cast<char*>(base) + offset);
}

void* Map(int ring, size_t size, off_t offset) {
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, ring, offset);
  return memory == MAP_FAILED ? nullptr : memory;
}

}  // namespace

struct ReadableSignal::Ring {
  int fd = -1;
  void* sqMemory = nullptr;
  size_t sqSize = 0;
  void* cqMemory = nullptr;  // the same as sqMemory when the kernel maps both rings at once
  size_t cqSize = 0;
  io_uring_sqe* sqes = nullptr;
  size_t sqesSize = 0;
  uint32_t* sqTail = nullptr;
  uint32_t* sqMask = nullptr;
  uint32_t* sqArray = nullptr;
  uint32_t* sqFlags = nullptr;
  uint32_t* cqHead = nullptr;
  uint32_t* cqTail = nullptr;
  uint32_t* cqMask = nullptr;
  io_uring_cqe* cqes = nullptr;

  ~Ring() {
    if (sqes != nullptr) munmap(sqes, sqesSize);
    if (cqMemory != nullptr && cqMemory != sqMemory) munmap(cqMemory, cqSize);
    if (sqMemory != nullptr) munmap(sqMemory, sqSize);
    if (fd >= 0) close(fd);
  }

  // A ring polling `watched`, or nullptr where the kernel refuses one.
  static std::unique_ptr<Ring> Open(int watched) {
    auto ring = std::make_unique<Ring>();
    return ring->Map() && ring->SubmitPoll(watched) && !ring->Refused() ? std::move(ring) : nullptr;
  }

  bool Map() {
    io_uring_params params{};
    fd = static_cast<int>(syscall(__NR_io_uring_setup, kRingEntries, &params));
    if (fd < 0) return false;
    sqSize = params.sq_off.array + params.sq_entries * sizeof(uint32_t);
    cqSize = params.cq_off.cqes + params.cq_entries * sizeof(io_uring_cqe);
    const bool oneMap = (params.features & IORING_FEAT_SINGLE_MMAP) != 0;
    if (oneMap) sqSize = cqSize = std::max(sqSize, cqSize);
    sqMemory = platform::Map(fd, sqSize, IORING_OFF_SQ_RING);
    if (sqMemory == nullptr) return false;
    cqMemory = oneMap ? sqMemory : platform::Map(fd, cqSize, IORING_OFF_CQ_RING);
    if (cqMemory == nullptr) return false;
    sqesSize = params.sq_entries * sizeof(io_uring_sqe);
    sqes = static_cast<io_uring_sqe*>(platform::Map(fd, sqesSize, IORING_OFF_SQES));
    if (sqes == nullptr) return false;
    sqTail = At<uint32_t>(sqMemory, params.sq_off.tail);
    sqMask = At<uint32_t>(sqMemory, params.sq_off.ring_mask);
    sqArray = At<uint32_t>(sqMemory, params.sq_off.array);
    sqFlags = At<uint32_t>(sqMemory, params.sq_off.flags);
    cqHead = At<uint32_t>(cqMemory, params.cq_off.head);
    cqTail = At<uint32_t>(cqMemory, params.cq_off.tail);
    cqMask = At<uint32_t>(cqMemory, params.cq_off.ring_mask);
    cqes = At<io_uring_cqe>(cqMemory, params.cq_off.cqes);
    return true;
  }

  // A poll that stays armed after each completion, so that every wake-up of
  // the descriptor writes one completion.
  bool SubmitPoll(int watched) {
    const uint32_t tail = *sqTail;
    const uint32_t index = tail & *sqMask;
    io_uring_sqe& entry = sqes[index];
    std::memset(&entry, 0, sizeof entry);
    entry.opcode = IORING_OP_POLL_ADD;
    entry.fd = watched;
    entry.poll32_events = POLLIN;
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    entry.poll32_events = (entry.poll32_events << 16) | (entry.poll32_events >> 16);  // read as swapped halves
#endif
    entry.len = IORING_POLL_ADD_MULTI;
    sqArray[index] = index;
    __atomic_store_n(sqTail, tail + 1, __ATOMIC_RELEASE);
    return syscall(__NR_io_uring_enter, fd, 1, 0, 0, nullptr, 0) == 1;
  }

  // A kernel without standing polls refuses the request at once.
  bool Refused() const {
    const uint32_t head = *cqHead;
    return __atomic_load_n(cqTail, __ATOMIC_ACQUIRE) != head && cqes[head & *cqMask].res < 0;
  }

  // Takes the completions; false when nothing arrived. `standing` tells
  // whether the poll is still armed after them.
  bool Take(bool& standing) {
    uint32_t head = *cqHead;
    const uint32_t tail = __atomic_load_n(cqTail, __ATOMIC_ACQUIRE);
    // Completions the ring had no room for wait in the kernel, and the
    // standing request may have ended with them.
    const bool overflowed = (__atomic_load_n(sqFlags, __ATOMIC_ACQUIRE) & IORING_SQ_CQ_OVERFLOW) != 0;
    if (head == tail && !overflowed) return false;
    standing = !overflowed;
    for (; head != tail; ++head) {
      const io_uring_cqe& completion = cqes[head & *cqMask];
      if (completion.res < 0 || (completion.flags & IORING_CQE_F_MORE) == 0) standing = false;
    }
    __atomic_store_n(cqHead, head, __ATOMIC_RELEASE);
    return true;
  }
};

ReadableSignal::ReadableSignal(int fd) : fd_(fd) {
  if (fd_ >= 0) ring_ = Ring::Open(fd_);
}

bool ReadableSignal::Arrived() {
  bool standing = true;
  if (!ring_->Take(standing)) return false;
  if (!standing) {
    ring_.reset();
    ring_ = Ring::Open(fd_);
  }
  return true;
}

#else

struct ReadableSignal::Ring {};

ReadableSignal::ReadableSignal(int fd) : fd_(fd) {}

bool ReadableSignal::Arrived() { return true; }

#endif

ReadableSignal::~ReadableSignal() = default;

}  // namespace morvex::platform
