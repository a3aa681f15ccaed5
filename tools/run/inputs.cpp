// Gathering of inputs.

#include "tools/run/inputs.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "tools/photograph/raw_photograph.h"
#include "tools/process/input_file.h"
#include "tools/process/streams.h"
#include "tools/process/system_reason.h"

namespace oznatool {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestName = 65536;  // In bytes. The system takes shorter ones alone.

constexpr std::array<const char*, 20> kEndings = {
    ".jpg", ".jpeg", ".jpe", ".jfif", ".png", ".tif", ".tiff", ".webp", ".heic", ".heif",
    ".hif", ".avif", ".bmp", ".jp2",  ".ppm", ".pgm", ".pnm",  ".pbm",  ".pam",  ".gif"};

// Hidden files, such as thumbnails and the shadow files that some systems leave, are no photographs
// of the user.
bool isHidden(const fs::path& path) { return path.filename().string().rfind('.', 0) == 0; }

std::string placeOf(const std::string& path) {
  const std::string name = fs::path(path).filename().string();
  return name.empty() ? path : name;
}

// What a folder holds, by name.
std::vector<fs::directory_entry> entriesOf(const fs::path& folder, std::error_code& error) {
  std::vector<fs::directory_entry> entries;
  fs::directory_iterator at(folder, error);
  for (const fs::directory_iterator end; !error && at != end; at.increment(error)) {
    entries.push_back(*at);
  }
  std::sort(entries.begin(), entries.end(),
            [](const auto& a, const auto& b) { return a.path().native() < b.path().native(); });
  return entries;
}

}  // namespace

bool beginsAsPicture(const char* bytes, std::size_t size) {
  using namespace std::string_view_literals;
  const std::string_view text(bytes, size);
  for (const std::string_view mark : {"\xFF\xD8\xFF"sv, "\x89PNG\r\n\x1A\n"sv, "II*\0"sv, "MM\0*"sv,
                                      "GIF89a"sv, "GIF87a"sv, "\0\0\0\x0CjP  "sv}) {
    if (text.substr(0, mark.size()) == mark) return true;
  }
  return (text.substr(0, 4) == "RIFF"sv &&
          text.substr(std::min<std::size_t>(8, size), 4) == "WEBP"sv) ||
         (size >= 12 && text.substr(0, 3) == "\0\0\0"sv && text.substr(4, 4) == "ftyp"sv);
}

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
  return std::find(kEndings.begin(), kEndings.end(), ending) != kEndings.end() ||
         hasRawEnding(name);
}

Inputs::Inputs(const InputOptions& options, std::function<bool(const Input&)> skip,
               std::function<void(const Input&)> look)
    : options_(options),
      skip_(std::move(skip)),
      look_(std::move(look)),
      thread_(startThread([this] { gather(); })) {}

Inputs::~Inputs() {
  stop_ = true;
  thread_.join();
}

std::optional<Input> Inputs::next(const std::function<bool()>& stop) {
  std::unique_lock<std::mutex> lock(mutex_);
  while (waiting_.empty() || (look_ && (error_ || !finished_))) {
    if (error_) std::rethrow_exception(error_);
    if (finished_ || stop()) return std::nullopt;
    changed_.wait_for(lock, std::chrono::milliseconds(50));
  }
  if (stop()) return std::nullopt;
  Input input = std::move(waiting_.front());
  waiting_.pop_front();
  return input;
}

std::optional<std::size_t> Inputs::total() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return finished_ ? std::optional<std::size_t>(gathered_) : std::nullopt;
}

bool Inputs::maySeveral(const InputOptions& options) {
  return options.recursive || options.names.size() != 1 || options.names.front() == "-";
}

ExitCode Inputs::status() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return status_;
}

RunSummary Inputs::leftOut() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return left_out_;
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
  std::size_t found = 0;
  // The folders still to be looked into, the next one last; files of a folder come before its
  // subfolders. No recursion: a chain of folders may be deeper than the stack.
  std::vector<fs::path> waiting = {fs::path(folder)};
  while (!waiting.empty() && !stop_) {
    const fs::path current = waiting.back();
    waiting.pop_back();
    std::error_code error;
    std::vector<fs::path> below;
    for (const fs::directory_entry& entry : entriesOf(current, error)) {
      std::error_code ignored;
      const std::string path = entry.path().string();
      const bool is_folder = entry.is_directory(ignored);
      if (isHidden(entry.path())) {
        passOver("hidden");
      } else if (is_folder && entry.is_symlink(ignored)) {
        passOver("linked folder");  // It may lead in a circle.
      } else if (is_folder && isLeftOut(path)) {
        passOver("folder of results");
      } else if (is_folder) {
        below.push_back(entry.path());
      } else if (hasPhotographEnding(path)) {
        add({path, entry.path().lexically_relative(folder).string()});
        ++found;
      } else {
        passOver(kindOfFile(path));
      }
    }
    // A folder that cannot be read is an input that fails, with its reason.
    if (error) add({current.string(), placeOf(current.string())});
    waiting.insert(waiting.end(), below.rbegin(), below.rend());
  }
  if (found == 0 && !stop_) say(printable(folder) + ": no photograph in this folder");
}

// Reads the rest of a picture that begins with these bytes.
void Inputs::gatherPicture(std::vector<unsigned char> bytes) {
  constexpr std::size_t kLargest = std::size_t{1} << 30;
  say("standard input holds a picture and no list of names: it is read, as -i - does");
  const std::string path = "/dev/stdin";
  try {
    InputFile rest(path);
    std::array<char, 65536> part;
    while (const std::size_t count = rest.read(part.data(), part.size())) {
      bytes.insert(bytes.end(), part.data(), part.data() + count);
      if (bytes.size() > kLargest) throw Unreadable(0, "is a file of more than 1024 MiB");
    }
  } catch (const Unreadable& problem) {
    giveUpList(kExitPhotographs, problem.what());
    return;
  }
  add({path, placeOf(path), std::make_shared<const std::vector<unsigned char>>(std::move(bytes))});
}

void Inputs::gatherList() {
  std::string name;
  char buffer[65536];
  bool is_begin = true;
  while (!stop_) {
    pollfd ready = {STDIN_FILENO, POLLIN, 0};
    const int count = poll(&ready, 1, /*milliseconds=*/100);
    if (count == 0 || (count == -1 && errno == EINTR)) continue;
    const ssize_t size = read(STDIN_FILENO, buffer, sizeof(buffer));
    if (size == -1 && errno == EINTR) continue;
    if (size == -1) giveUpList(kExitPhotographs, reasonOf(errno));
    if (size <= 0) break;
    if (is_begin && beginsAsPicture(buffer, static_cast<std::size_t>(size))) {
      gatherPicture({buffer, buffer + size});
      return;
    }
    is_begin = false;
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

// Whether a folder is one that this run writes pictures into.
bool Inputs::isLeftOut(const std::string& folder) const {
  return std::any_of(options_.left_out.begin(), options_.left_out.end(), [&](const auto& other) {
    std::error_code error;
    return fs::equivalent(folder, other, error);
  });
}

void Inputs::passOver(const std::string& kind) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++left_out_.passed_over[kind];
}

void Inputs::add(Input input) {
  if (look_) look_(input);
  if (!isOfShard(input.path, options_.shard)) return;
  // A folder alone names none of its files twice.
  const bool may_repeat = options_.names.size() > 1 || options_.names.front() == "-";
  const bool is_repeated =
      may_repeat && !named_.insert(fs::path(input.path).lexically_normal().string()).second;
  const bool is_done = !is_repeated && skip_ && skip_(input);
  const std::lock_guard<std::mutex> lock(mutex_);
  left_out_.named_before += is_repeated ? 1 : 0;
  left_out_.done_before += is_done ? 1 : 0;
  if (is_repeated || is_done) return;
  waiting_.push_back(std::move(input));
  ++gathered_;
  changed_.notify_all();
}

}  // namespace oznatool
