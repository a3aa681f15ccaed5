// Gathering of inputs.

#include "tools/inputs.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <vector>

#include "tools/streams.h"
#include "tools/system_reason.h"

namespace oznatool {
namespace {

namespace fs = std::filesystem;

constexpr size_t kLongestName = 65536;  // In bytes. The system takes shorter ones alone.

constexpr std::array<const char*, 17> kEndings = {
    ".jpg",  ".jpeg", ".jpe",  ".jfif", ".png", ".tif", ".tiff", ".webp", ".heic",
    ".heif", ".hif",  ".avif", ".bmp",  ".jp2", ".ppm", ".pgm",  ".pnm"};

std::string placeOf(const std::string& path) {
  const std::string name = fs::path(path).filename().string();
  return name.empty() ? path : name;
}

// What a folder holds, by name: hidden files, such as thumbnails and the shadow files that some
// systems leave, are no photographs of the user.
std::vector<fs::directory_entry> visibleEntries(const fs::path& folder, std::error_code* error) {
  std::vector<fs::directory_entry> entries;
  fs::directory_iterator at(folder, *error);
  for (const fs::directory_iterator end; !*error && at != end; at.increment(*error)) {
    if (at->path().filename().string().rfind('.', 0) != 0) entries.push_back(*at);
  }
  std::sort(entries.begin(), entries.end(),
            [](const auto& a, const auto& b) { return a.path().native() < b.path().native(); });
  return entries;
}

}  // namespace

bool isOfShard(const std::string& path, const Shard& shard) {
  // The 64 bit FNV-1a hash (Fowler, Noll and Vo), the same on every machine; its upper half, which
  // is mixed better.
  std::uint64_t hash = 14695981039346656037U;
  for (const char c : path) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  }
  return (hash >> 32) % static_cast<std::uint64_t>(shard.count) ==
         static_cast<std::uint64_t>(shard.number - 1);
}

bool hasPhotographEnding(const std::string& name) {
  std::string ending = fs::path(name).extension().string();
  for (char& c : ending) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return std::find(kEndings.begin(), kEndings.end(), ending) != kEndings.end();
}

Inputs::Inputs(const InputOptions& options, std::function<bool(const std::string&)> skip)
    : options_(options), skip_(std::move(skip)), thread_(startThread([this] { gather(); })) {}

Inputs::~Inputs() {
  stop_ = true;
  thread_.join();
}

std::optional<Input> Inputs::next(const std::function<bool()>& stop) {
  std::unique_lock<std::mutex> lock(mutex_);
  while (waiting_.empty()) {
    if (error_) std::rethrow_exception(error_);
    if (finished_ || stop()) return std::nullopt;
    changed_.wait_for(lock, std::chrono::milliseconds(50));
  }
  if (stop()) return std::nullopt;
  Input input = std::move(waiting_.front());
  waiting_.pop_front();
  return input;
}

std::optional<size_t> Inputs::total() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return finished_ ? std::optional<size_t>(gathered_) : std::nullopt;
}

bool Inputs::maySeveral(const InputOptions& options) {
  return options.recursive || options.names.size() != 1 || options.names.front() == "-";
}

ExitCode Inputs::status() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return status_;
}

// The life of the thread. Nothing may leave it.
void Inputs::gather() {
  std::exception_ptr error;
  try {
    gatherAll();
  } catch (...) {
    error = std::current_exception();
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  error_ = error;
  finished_ = true;
  changed_.notify_all();
}

void Inputs::gatherAll() {
  for (const std::string& name : options_.names) {
    if (name == "-") {
      gatherList();
    } else {
      gatherOne(name);
    }
  }
}

void Inputs::giveUpList(ExitCode status, const std::string& reason) {
  say("list on standard input: " + reason);
  const std::lock_guard<std::mutex> lock(mutex_);
  status_ = std::max(status_, status);
}

void Inputs::gatherOne(const std::string& name) {
  std::error_code error;
  if (options_.recursive && fs::is_directory(name, error)) {
    gatherFolder(name);
  } else {
    add({name, placeOf(name)});
  }
}

void Inputs::gatherFolder(const std::string& folder) {
  size_t found = 0;
  // The folders still to be looked into, the next one last; files of a folder come before its
  // subfolders. No recursion: a chain of folders may be deeper than the stack.
  std::vector<fs::path> waiting = {fs::path(folder)};
  while (!waiting.empty() && !stop_) {
    const fs::path current = waiting.back();
    waiting.pop_back();
    std::error_code error;
    std::vector<fs::path> below;
    for (const fs::directory_entry& entry : visibleEntries(current, &error)) {
      std::error_code ignored;
      // Links to folders are not followed: they may lead in a circle.
      if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) {
        below.push_back(entry.path());
      } else if (hasPhotographEnding(entry.path().string()) && !entry.is_directory(ignored)) {
        add({entry.path().string(), entry.path().lexically_relative(folder).string()});
        ++found;
      }
    }
    // A folder that cannot be read is an input that fails, with its reason.
    if (error) add({current.string(), placeOf(current.string())});
    waiting.insert(waiting.end(), below.rbegin(), below.rend());
  }
  if (found == 0 && !stop_) say(printable(folder) + ": no photograph in this folder");
}

void Inputs::gatherList() {
  std::string name;
  char buffer[65536];
  while (!stop_) {
    pollfd ready = {STDIN_FILENO, POLLIN, 0};
    const int count = poll(&ready, 1, /*milliseconds=*/100);
    if (count == 0 || (count == -1 && errno == EINTR)) continue;
    const ssize_t size = read(STDIN_FILENO, buffer, sizeof(buffer));
    if (size == -1 && errno == EINTR) continue;
    if (size == -1) giveUpList(kExitPhotographs, reasonOf(errno));
    if (size <= 0) break;
    for (const char* at = buffer; at != buffer + size; ++at) {
      if (*at != options_.list_end) {
        name += *at;
        if (name.size() <= kLongestName) continue;
        giveUpList(kExitUsage, "a name of more than " + std::to_string(kLongestName >> 10) +
                                   " KiB; --null is for names that end in NUL");
        return;
      }
      if (!name.empty()) gatherOne(name);
      name.clear();
    }
  }
  if (!name.empty() && !stop_) gatherOne(name);
}

void Inputs::add(Input input) {
  if (!isOfShard(input.path, options_.shard)) return;
  if (skip_ && skip_(input.path)) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  waiting_.push_back(std::move(input));
  ++gathered_;
  changed_.notify_all();
}

}  // namespace oznatool
