#include "platform/folder_watch.hpp"

#include "platform/readable_signal.hpp"

#include <unordered_map>

#if defined(__linux__)
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace morvex::platform {
namespace {

#if defined(__linux__)

// Folders a thread watches at once; a program watches its own folder, the
// bound keeps odd callers from using up the system's watches.
constexpr size_t kMaxWatchedFolders = 16;

constexpr uint32_t kWatchedEvents = IN_CREATE | IN_DELETE | IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVED_FROM |
                                    IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
// After these the watch no longer stands for the folder at its path.
constexpr uint32_t kWatchEnds = IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_UNMOUNT;

uint64_t NextGeneration() {
  static thread_local uint64_t next = 0;
  return ++next;
}

class ThreadWatches {
 public:
  ThreadWatches() : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), arrived_(fd_) {}
  ~ThreadWatches() {
    if (fd_ >= 0) close(fd_);
  }
  ThreadWatches(const ThreadWatches&) = delete;
  ThreadWatches& operator=(const ThreadWatches&) = delete;

  uint64_t Generation(const std::string& folder) {
    if (!on_ || fd_ < 0 || folder.empty() || folder.find('\0') != std::string::npos) return 0;
    if (lines_ == 0) ReadChanges();
    // A program asks about its one folder: the last one found is compared first.
    if (last_ != nullptr && last_->first == folder) return last_->second.generation;
    auto found = folders_.find(folder);
    if (found == folders_.end()) return Watch(folder);
    last_ = &*found;
    return found->second.generation;
  }

 private:
  struct Watched {
    int wd;
    uint64_t generation;
  };

  // Starts watching: the generation is new, so whatever was read of the
  // folder before counts as stale.
  uint64_t Watch(const std::string& folder) {
    if (folders_.size() >= kMaxWatchedFolders) Forget();
    const int wd = inotify_add_watch(fd_, folder.c_str(), kWatchedEvents);
    if (wd < 0) return 0;
    // One folder reached by two spellings shares the kernel's watch.
    last_ = nullptr;
    for (auto it = folders_.begin(); it != folders_.end();) {
      it = it->second.wd == wd ? folders_.erase(it) : std::next(it);
    }
    const uint64_t generation = NextGeneration();
    folders_.emplace(folder, Watched{wd, generation});
    return generation;
  }

  void Forget() {
    for (const auto& [folder, watched] : folders_) inotify_rm_watch(fd_, watched.wd);
    folders_.clear();
    last_ = nullptr;
    Drain();
  }

  // Reads the notifications that arrived since the last reading. Where the
  // kernel signals their arrival in shared memory, a line on which nothing
  // arrived costs no system call.
  void ReadChanges() {
    if (fd_ < 0 || (arrived_.Armed() && !arrived_.Arrived())) return;
    Drain();
  }

  // Reads every pending notification; each moves its folder's generation on.
  // The count of pending bytes is asked first: when nothing is pending that
  // question is the cheapest system call that tells.
  void Drain() {
    int pending = 0;
    if (ioctl(fd_, FIONREAD, &pending) == 0 && pending <= 0) return;
    alignas(inotify_event) char buffer[4096];
    for (;;) {
      const ssize_t length = read(fd_, buffer, sizeof buffer);
      if (length <= 0) return;  // EAGAIN: nothing pending
      for (ssize_t at = 0; at < length;) {
        const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
        Touch(*event);
        at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      }
    }
  }

  void Touch(const inotify_event& event) {
    if (event.mask & IN_Q_OVERFLOW) {  // changes were lost: every folder is stale
      for (auto& [folder, watched] : folders_) watched.generation = NextGeneration();
      return;
    }
    for (auto it = folders_.begin(); it != folders_.end(); ++it) {
      if (it->second.wd != event.wd) continue;
      if (event.mask & kWatchEnds) {
        if (!(event.mask & IN_IGNORED)) inotify_rm_watch(fd_, event.wd);
        last_ = nullptr;
        folders_.erase(it);  // watched anew, with a new generation, at the next call
      } else {
        it->second.generation = NextGeneration();
      }
      return;
    }
  }

  int fd_;
  ReadableSignal arrived_;  // the notifications' arrival, told without a system call
  std::unordered_map<std::string, Watched> folders_;
  const std::pair<const std::string, Watched>* last_ = nullptr;  // the folder last asked about

 public:
  void BeginLine() {
    ReadChanges();
    ++lines_;
  }
  void EndLine() { --lines_; }
  void TurnOn(bool on) {
    if (!on) Forget();
    on_ = on;
  }

 private:
  int lines_ = 0;  // lines under way on this thread, nested ones included
  bool on_ = true;
};

ThreadWatches& Watches() {
  static thread_local ThreadWatches watches;
  return watches;
}
#endif

}  // namespace

uint64_t FolderGeneration(const std::string& folder) {
#if defined(__linux__)
  return Watches().Generation(folder);
#else
  (void)folder;
  return 0;
#endif
}

void WatchFolders(bool on) {
#if defined(__linux__)
  Watches().TurnOn(on);
#else
  (void)on;
#endif
}

FolderWatchLine::FolderWatchLine() {
#if defined(__linux__)
  Watches().BeginLine();
#endif
}

FolderWatchLine::~FolderWatchLine() {
#if defined(__linux__)
  Watches().EndLine();
#endif
}

}  // namespace morvex::platform
