// Pools of memory for messages (arenas) inside the enclosed libraries.
//
// Debian's archive of the message library is built for programs, and its pools keep a variable of
// the thread in a way that no shared library can link. These take their place. They do what the
// tree uses pools for: many small pieces that go at once, also where the memory ends amid a load.
// The other pools are faster where many threads draw from one at once, which nothing here does.

#include <google/protobuf/arena.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <new>
#include <utility>

namespace {

using google::protobuf::internal::AlignUpTo8;
using google::protobuf::internal::AllocationPolicy;
using Cleanup = google::protobuf::internal::SerialArena::CleanupNode;

class Pool {
 public:
  explicit Pool(const AllocationPolicy& policy) : policy_(policy) {}
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

  ~Pool() {
    for (Promise* promise = newest_; promise != nullptr; promise = promise->earlier) {
      if (promise->cleanup.cleanup != nullptr) promise->cleanup.cleanup(promise->cleanup.elem);
    }
    while (blocks_ != nullptr) {
      Block* const block = std::exchange(blocks_, blocks_->earlier);
      if (policy_.block_dealloc != nullptr) {
        policy_.block_dealloc(block, block->byte_count);
      } else {
        ::operator delete(block);
      }
    }
  }

  void* allocate(std::size_t byte_count) {
    const std::lock_guard<std::mutex> guard(mutex_);
    return take(AlignUpTo8(byte_count));
  }

  // The caller fills in what is to be called for the piece at the end.
  std::pair<void*, Cleanup*> allocateWithCleanup(std::size_t byte_count) {
    const std::lock_guard<std::mutex> guard(mutex_);
    void* const piece = take(AlignUpTo8(byte_count));
    newest_ = new (take(sizeof(Promise))) Promise{{nullptr, nullptr}, newest_};
    return {piece, &newest_->cleanup};
  }

  std::uint64_t allocated() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return allocated_;
  }
  std::uint64_t used() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return used_;
  }

 private:
  struct Block {
    Block* earlier;
    std::size_t byte_count;
  };
  struct Promise {
    Cleanup cleanup;
    Promise* earlier;
  };

  void* take(std::size_t byte_count) {
    if (byte_count > left_) addBlock(byte_count);
    char* const piece = next_;
    next_ += byte_count;
    left_ -= byte_count;
    used_ += byte_count;
    return piece;
  }

  void addBlock(std::size_t byte_count) {
    constexpr std::size_t kHead = AlignUpTo8(sizeof(Block));
    const std::size_t usual = blocks_ == nullptr
                                  ? policy_.start_block_size
                                  : std::min(2 * blocks_->byte_count, policy_.max_block_size);
    if (byte_count > SIZE_MAX / 2) throw std::bad_alloc();
    const std::size_t total = std::max(usual, byte_count + kHead);
    void* const memory =
        policy_.block_alloc != nullptr ? policy_.block_alloc(total) : ::operator new(total);
    blocks_ = new (memory) Block{blocks_, total};
    allocated_ += total;
    next_ = static_cast<char*>(memory) + kHead;
    left_ = total - kHead;
  }

  std::mutex mutex_;
  const AllocationPolicy policy_;
  Block* blocks_ = nullptr;  // The newest first.
  char* next_ = nullptr;     // What is free of the newest block.
  std::size_t left_ = 0;
  Promise* newest_ = nullptr;
  std::uint64_t allocated_ = 0;  // In bytes.
  std::uint64_t used_ = 0;
};

}  // namespace

namespace google {
namespace protobuf {

void* Arena::AllocateAlignedWithHook(std::size_t n, const std::type_info* type) {
  return impl_.AllocateAligned(n, type);
}
void* Arena::AllocateAlignedWithHookForArray(std::size_t n, const std::type_info* type) {
  return impl_.AllocateAligned(n, type);
}
std::pair<void*, internal::SerialArena::CleanupNode*> Arena::AllocateAlignedWithCleanup(
    std::size_t n, const std::type_info* type) {
  return impl_.AllocateAlignedWithCleanup(n, type);
}

namespace internal {
namespace {

// The class has room for a pointer to something of its own kind, which no one else looks into.
Pool& poolBehind(const std::atomic<SerialArena*>& pointer) {
  return *reinterpret_cast<Pool*>(pointer.load(std::memory_order_acquire));
}

}  // namespace

// Says that this thread has drawn from no pool of late, always: each draw comes to the functions
// below.
__thread ThreadSafeArena::ThreadCache ThreadSafeArena::thread_cache_ = {
    0, static_cast<LifecycleIdAtomic>(-1), nullptr};

// For draws from what the thread drew from of late, and so never called.
void* SerialArena::AllocateAlignedFallback(std::size_t, const AllocationPolicy*) { std::abort(); }

void ThreadSafeArena::Init() { InitializeWithPolicy(nullptr, 0, AllocationPolicy()); }

// Memory that the caller offers for the first pieces is left to the caller.
void ThreadSafeArena::InitializeWithPolicy(void*, std::size_t, AllocationPolicy policy) {
  hint_.store(nullptr, std::memory_order_relaxed);
  threads_.store(reinterpret_cast<SerialArena*>(new Pool(policy)), std::memory_order_release);
}

ThreadSafeArena::~ThreadSafeArena() { delete &poolBehind(threads_); }

void* ThreadSafeArena::AllocateAlignedFallback(std::size_t n, const std::type_info*) {
  return poolBehind(threads_).allocate(n);
}

std::pair<void*, SerialArena::CleanupNode*> ThreadSafeArena::AllocateAlignedWithCleanup(
    std::size_t n, const std::type_info*) {
  return poolBehind(threads_).allocateWithCleanup(n);
}

void ThreadSafeArena::AddCleanup(void* element, void (*cleanup)(void*)) {
  *poolBehind(threads_).allocateWithCleanup(0).second = {element, cleanup};
}

std::uint64_t ThreadSafeArena::SpaceAllocated() const { return poolBehind(threads_).allocated(); }
std::uint64_t ThreadSafeArena::SpaceUsed() const { return poolBehind(threads_).used(); }

}  // namespace internal
}  // namespace protobuf
}  // namespace google
