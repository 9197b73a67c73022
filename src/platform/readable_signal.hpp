// A signal, readable without a system call, that a file descriptor has become
// readable: on Linux an io_uring whose one standing request polls the
// descriptor, so the kernel writes a completion into memory the thread shares
// with it each time the descriptor is woken.
//
// The kernel posts the completion as the thread next returns from the kernel,
// so a change that the thread itself makes (a file written, removed) shows in
// Arrived() as soon as that call returns; a change made by another thread or
// process shows within the time that thread is interrupted.
//
// Where io_uring is missing or refused (an older kernel, a sandbox that
// forbids it, another system) the signal is not Armed() and the caller asks
// the descriptor itself, as it would without one.
#pragma once

#include <memory>

namespace morvex::platform {

class ReadableSignal {
 public:
  // Starts watching `fd`; not armed if the ring cannot be set up.
  explicit ReadableSignal(int fd);
  ~ReadableSignal();
  ReadableSignal(const ReadableSignal&) = delete;
  ReadableSignal& operator=(const ReadableSignal&) = delete;

  bool Armed() const { return ring_ != nullptr; }

  // Whether the descriptor was woken since the last call; takes the wake-ups.
  // A lost or ended standing request (a full ring, an error) counts as a
  // wake-up, and the ring is set up anew. Only call while Armed().
  bool Arrived();

 private:
  struct Ring;  // the kernel's shared memory and the ring's descriptor

  [[maybe_unused]] int fd_;  // read only where the ring exists
  std::unique_ptr<Ring> ring_;
};

}  // namespace morvex::platform
