// Workspaces: what one consists of, those that are ready, and the way by which the mathematics
// library takes them (public/enclosed/workspace_end.cpp).

#include "kit/workspace.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "caffe/util/mapped_block.hpp"

// What the mathematics library calls in place of malloc and free, if it is the enclosed one, and
// how it hands over a function that takes a workspace and gives it back.
extern "C" {
void* ozna_take_workspace(std::size_t bytes);
bool ozna_return_workspace(void* block);
void ozna_set_workspace_user(void (*user)());
}

namespace kit {
namespace {

constexpr std::size_t kAlignment = 64;
// More than a first workspace, with what the library takes once, comes to with any kernels (17.2 to
// 18.4 MB). What is left goes back.
constexpr std::size_t kFirstRoom = std::size_t{64} << 20;
// In the first, some 350 with what is given back at once.
constexpr std::size_t kMostPieces = 1024;
// For the lists of the library, which grow with the number of workspaces: room for thousands. It is
// address space until it is used.
constexpr std::size_t kSpare = std::size_t{1} << 18;

std::size_t aligned(std::size_t bytes) {
  return (bytes + kAlignment - 1) / kAlignment * kAlignment;
}

// A block of the library's.
struct Piece {
  std::size_t offset;  // In the room of its workspace.
  std::size_t bytes;
  bool is_taken;
};

// Memory in one block, cut into pieces.
class Workspace {
 public:
  // Errors  std::bad_alloc.
  Workspace(std::size_t room, std::size_t pieces)
      : begin_(static_cast<char*>(caffe::MapBlock(room, /*filled=*/false))), room_(room) {
    if (begin_ == nullptr) throw std::bad_alloc();
    try {
      pieces_.reserve(pieces);
    } catch (...) {
      caffe::UnmapBlock(begin_, room_);
      throw;
    }
  }
  ~Workspace() { caffe::UnmapBlock(begin_, room_); }
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  // From what is not cut yet; null where that is not enough.
  void* cut(std::size_t bytes, bool is_taken) {
    if (pieces_.size() == pieces_.capacity() || bytes > room_ - used_) return nullptr;
    pieces_.push_back({used_, bytes, is_taken});
    used_ += std::min(aligned(bytes), room_ - used_);
    return begin_ + pieces_.back().offset;
  }

  // A piece of that size that is not taken; null for none.
  void* take(std::size_t bytes) {
    for (Piece& piece : pieces_) {
      if (piece.is_taken || piece.bytes != bytes) continue;
      piece.is_taken = true;
      return begin_ + piece.offset;
    }
    return nullptr;
  }

  // Whether the block is one of the pieces.
  bool giveBack(const void* block) {
    const auto place = reinterpret_cast<std::uintptr_t>(block);
    const auto begin = reinterpret_cast<std::uintptr_t>(begin_);
    if (place < begin || place >= begin + room_) return false;
    for (Piece& piece : pieces_) {
      if (begin + piece.offset == place) piece.is_taken = false;
    }
    return true;
  }

  void forgetPiecesNotTaken() {
    pieces_.erase(std::remove_if(pieces_.begin(), pieces_.end(),
                                 [](const Piece& piece) { return !piece.is_taken; }),
                  pieces_.end());
  }

  // Gives back the pages that nothing was cut from; nothing is cut any more.
  void close() {
    constexpr std::size_t kPages = std::size_t{1} << 16;  // Of any system.
    const std::size_t kept = std::min((used_ + kPages - 1) / kPages * kPages, room_);
    caffe::UnmapBlock(kept < room_ ? begin_ + kept : nullptr, room_ - kept);
    room_ = used_ = kept;
  }

  const std::vector<Piece>& pieces() const { return pieces_; }

 private:
  char* begin_;
  std::size_t room_;
  std::size_t used_ = 0;
  std::vector<Piece> pieces_;  // Has its room from the beginning: cutting needs no memory.
};

// Runs a product; null where the mathematics library is not the enclosed one. Set before main, or
// while the library is opened.
void (*use_workspace)() = nullptr;

class Workspaces {
 public:
  // Errors  std::bad_alloc.
  void use() {
    const std::lock_guard<std::mutex> guard(using_);
    if (count_ == 0) addFirst();
    while (count_ <= in_use_) addFurther();
    ++in_use_;
  }

  void leave() {
    const std::lock_guard<std::mutex> guard(using_);
    --in_use_;
  }

  void* take(std::size_t bytes) {
    const std::lock_guard<std::mutex> guard(taking_);
    if (first_ != nullptr) return first_->cut(bytes, /*is_taken=*/true);
    for (const auto& workspace : ready_) {
      void* const block = workspace->take(bytes);
      if (block != nullptr) return block;
    }
    for (const auto& workspace : ready_) {
      void* const block = workspace->cut(bytes, /*is_taken=*/true);
      if (block != nullptr) return block;
    }
    return nullptr;
  }

  bool giveBack(void* block) {
    const std::lock_guard<std::mutex> guard(taking_);
    if (first_ != nullptr && first_->giveBack(block)) return true;
    for (const auto& workspace : ready_) {
      if (workspace->giveBack(block)) return true;
    }
    return false;
  }

 private:
  // Nothing else runs products yet, since whoever does waits for using_.
  void addFirst() {
    auto first = std::make_unique<Workspace>(kFirstRoom, kMostPieces);
    sizes_.reserve(kMostPieces);
    reserveOne();
    setFirst(first.get());
    use_workspace();
    setFirst(nullptr);
    first->forgetPiecesNotTaken();
    for (const Piece& piece : first->pieces()) sizes_.push_back(piece.bytes);
    first->close();
    add(std::move(first));
  }

  // With a piece for each of the first one's, which are those of a workspace and some small ones
  // that the library needs but once.
  void addFurther() {
    std::size_t room = kSpare;
    for (const std::size_t bytes : sizes_) room += aligned(bytes);
    auto further = std::make_unique<Workspace>(room, kMostPieces);
    for (const std::size_t bytes : sizes_) further->cut(bytes, /*is_taken=*/false);
    reserveOne();
    add(std::move(further));
  }

  // first  Null where none is being filled.
  void setFirst(Workspace* first) {
    const std::lock_guard<std::mutex> guard(taking_);
    first_ = first;
  }

  void reserveOne() {
    const std::lock_guard<std::mutex> guard(taking_);
    ready_.reserve(ready_.size() + 1);
  }

  void add(std::unique_ptr<Workspace> workspace) {
    const std::lock_guard<std::mutex> guard(taking_);
    ready_.push_back(std::move(workspace));
    ++count_;
  }

  std::mutex using_;  // Held while a workspace is added; taken before the other.
  std::size_t in_use_ = 0;
  std::size_t count_ = 0;
  std::vector<std::size_t> sizes_;  // Of the pieces of a workspace, in bytes.

  std::mutex taking_;           // Held by what the mathematics library calls under its own locks.
  Workspace* first_ = nullptr;  // While it is filled; null before and after.
  std::vector<std::unique_ptr<Workspace>> ready_;
};

// Without an allocation, and never destroyed: the library keeps what it took, and threads may
// outlive the program's end.
Workspaces& workspaces() {
  alignas(Workspaces) static char memory[sizeof(Workspaces)];
  static auto* const all = new (memory) Workspaces;
  return *all;
}

}  // namespace

WorkspaceInUse::WorkspaceInUse() {
  if (use_workspace != nullptr) workspaces().use();
}
WorkspaceInUse::~WorkspaceInUse() {
  if (use_workspace != nullptr) workspaces().leave();
}

}  // namespace kit

void* ozna_take_workspace(std::size_t bytes) { return kit::workspaces().take(bytes); }
bool ozna_return_workspace(void* block) { return kit::workspaces().giveBack(block); }
void ozna_set_workspace_user(void (*user)()) { kit::use_workspace = user; }
