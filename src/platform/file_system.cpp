#include "platform/file_system.hpp"

#include "platform/folder_watch.hpp"

#include <chrono>
#include <functional>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <unordered_map>

namespace morvex::platform {

namespace fs = std::filesystem;

namespace {

// A listing taken while the folder's time was this close to the clock may miss
// a change that lands in the same tick of the folder's time; it is not reused.
constexpr auto kTimestampTrustMargin = std::chrono::seconds(2);

// Folders whose listings a thread keeps. A program lists its own folder; the
// bound only keeps odd callers from growing the cache without end.
constexpr size_t kMaxCachedFolders = 16;

bool IsSeparator(char c) {
  return c == '/' || c == static_cast<char>(fs::path::preferred_separator);
}

bool HasNul(std::string_view text) { return text.find('\0') != std::string_view::npos; }

// Lets the answers be looked up by a string_view, without a string made per line.
struct NameHash {
  using is_transparent = void;
  size_t operator()(std::string_view name) const noexcept { return std::hash<std::string_view>{}(name); }
};

struct FolderListing {
  uint64_t generation = 0;  // the watch's generation the listing was read in; 0 unwatched
  fs::file_time_type modified{};
  bool trusted = false;  // the listing may be reused while `modified` is unchanged
  bool holdsLinks = false;  // an entry is a symbolic link, whose target lies outside the watch
  std::vector<FolderFile> files;
  // Answers of FolderHasFile, kept while the watch's generation is `generation`.
  std::unordered_map<std::string, bool, NameHash, std::equal_to<>> exists;
};

// The last kept answer of FolderHasFile: every line asks the one folder for
// the one script file, and while the generation is the same the answer holds
// without a lookup.
struct LastAnswer {
  std::string folder;
  std::string name;
  uint64_t generation = 0;  // 0: no answer
  bool exists = false;
};

struct ThreadFolderCache {
  std::unordered_map<std::string, FolderListing> listings;
  std::vector<FolderFile> empty;
  LastAnswer last;
};

ThreadFolderCache& Cache() {
  thread_local ThreadFolderCache cache;
  return cache;
}

// Reads the regular files of `folder` into `listing.files`. False if the folder
// could not be read to its end; what was read stays in the list.
bool ReadFolder(const std::string& folder, FolderListing& listing) {
  listing.files.clear();
  listing.holdsLinks = false;
  std::error_code ec;
  fs::directory_iterator it(folder, ec);
  if (ec) return false;
  for (const fs::directory_iterator end; it != end; it.increment(ec)) {
    std::error_code typeError;
    if (it->is_symlink(typeError) || typeError) listing.holdsLinks = true;
    if (!it->is_regular_file(typeError) || typeError) continue;
    std::string name = it->path().filename().string();
    std::string fullPath = JoinPath(folder, name);
    listing.files.push_back(FolderFile{std::move(name), std::move(fullPath)});
  }
  return !ec;
}

}  // namespace

bool FileExists(const std::string& path) {
  if (path.empty() || HasNul(path)) return false;
  std::error_code ec;
  return fs::is_regular_file(path, ec) && !ec;
}

std::string JoinPath(std::string_view folder, std::string_view name) {
  std::string joined;
  joined.reserve(folder.size() + 1 + name.size());
  joined.append(folder);
  if (!folder.empty() && !IsSeparator(folder.back())) {
    joined.push_back(static_cast<char>(fs::path::preferred_separator));
  }
  joined.append(name);
  return joined;
}

std::string ExecutableFolder() {
  static const std::string folder = [] {
    std::error_code ec;
    fs::path program = fs::read_symlink("/proc/self/exe", ec);
    if (!ec && program.has_parent_path()) return program.parent_path().string();
    fs::path current = fs::current_path(ec);
    if (!ec && !current.empty()) return current.string();
    return std::string(".");
  }();
  return folder;
}

namespace {

// The cached entry of a watched folder, emptied of what an earlier generation
// read; nullptr when the folder is not watched.
FolderListing* WatchedEntry(const std::string& folder, uint64_t generation) {
  if (generation == 0) return nullptr;
  ThreadFolderCache& cache = Cache();
  auto found = cache.listings.find(folder);
  if (found == cache.listings.end()) {
    if (cache.listings.size() >= kMaxCachedFolders) cache.listings.clear();
    found = cache.listings.emplace(folder, FolderListing{}).first;
  }
  FolderListing& entry = found->second;
  if (entry.generation != generation) {
    entry.exists.clear();
    entry.trusted = false;
  }
  return &entry;
}

}  // namespace

bool FolderHasFile(const std::string& folder, std::string_view name) {
  if (folder.empty() || HasNul(folder)) return FileExists(JoinPath(folder, name));
  const uint64_t generation = FolderGeneration(folder);
  LastAnswer& last = Cache().last;
  if (generation != 0 && last.generation == generation && last.name == name && last.folder == folder) {
    return last.exists;
  }
  FolderListing* entry = WatchedEntry(folder, generation);
  if (entry == nullptr) return FileExists(JoinPath(folder, name));
  const auto remember = [&](bool exists) {
    last.folder = folder;
    last.name = name;
    last.generation = generation;
    last.exists = exists;
    return exists;
  };
  if (auto known = entry->exists.find(name); known != entry->exists.end()) return remember(known->second);
  const std::string path = JoinPath(folder, name);
  const bool exists = FileExists(path);
  // What lies behind a symbolic link is outside the watch: asked anew each
  // time. A missing file is no link, and its absence is kept like a presence.
  std::error_code ec;
  const fs::file_type type = fs::symlink_status(path, ec).type();
  if (type == fs::file_type::not_found || (!ec && type != fs::file_type::symlink)) {
    entry->generation = generation;
    entry->exists.emplace(name, exists);
    return remember(exists);
  }
  return exists;
}

const std::vector<FolderFile>& ListFolderFiles(const std::string& folder) {
  ThreadFolderCache& cache = Cache();
  if (folder.empty() || HasNul(folder)) return cache.empty;

  const uint64_t generation = FolderGeneration(folder);
  if (FolderListing* entry = WatchedEntry(folder, generation); entry != nullptr && entry->trusted) {
    return entry->files;
  }

  std::error_code ec;
  const fs::file_time_type modified = fs::last_write_time(folder, ec);
  if (ec) {
    cache.listings.erase(folder);
    return cache.empty;
  }

  auto found = cache.listings.find(folder);
  if (found != cache.listings.end() && found->second.trusted && found->second.modified == modified) {
    return found->second.files;
  }
  if (found == cache.listings.end()) {
    if (cache.listings.size() >= kMaxCachedFolders) cache.listings.clear();
    found = cache.listings.emplace(folder, FolderListing{}).first;
  }

  FolderListing& listing = found->second;
  const bool complete = ReadFolder(folder, listing);
  listing.modified = modified;
  if (generation != 0) {
    // The watch was set before the listing was read: any later change moves
    // the generation on. Links to files elsewhere are not trusted to stay.
    if (listing.generation != generation) listing.exists.clear();
    listing.generation = generation;
    listing.trusted = complete && !listing.holdsLinks;
    return listing.files;
  }
  // The time was taken before the listing, so any later change moves it on,
  // unless the change falls in the same tick: hence no trust while it is recent.
  const auto now = fs::file_time_type::clock::now();
  listing.trusted = complete && modified <= now - kTimestampTrustMargin;
  return listing.files;
}

std::string FindFile(const std::string& folder, std::string_view name, SameName sameName) {
  std::string path = JoinPath(folder, name);
  if (FileExists(path)) return path;
  for (const FolderFile& file : ListFolderFiles(folder)) {
    if (sameName(file.name, name)) return file.fullPath;
  }
  return path;
}

}  // namespace morvex::platform
