/// Makes the next item of a sequence in a thread of its own while the one before it is used.

#ifndef OZNA_TOOLS_RUN_READ_AHEAD_H_
#define OZNA_TOOLS_RUN_READ_AHEAD_H_

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace oznatool {

/// At most one item lies ready; the one after it is begun when it is taken. One thread may take.
template <class Item>
class ReadAhead {
 public:
  /// Begins with the first item at once.
  ///
  /// make    Gives the next item, nothing at the end. It is called in the thread alone, and must
  ///         come back soon once nobody wants further items: the destructor waits for it.
  /// Errors  std::system_error where the system allows no thread.
  explicit ReadAhead(std::function<std::optional<Item>()> make)
      : make_(std::move(make)), thread_([this] { run(); }) {}

  ~ReadAhead() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      is_unwanted_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  /// The next item; waits for it. Nothing at the end. Throws what make threw.
  std::optional<Item> next() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return ready_.has_value() || is_over_; });
    if (!ready_ && error_) std::rethrow_exception(std::exchange(error_, nullptr));
    std::optional<Item> item = std::exchange(ready_, std::nullopt);
    changed_.notify_all();
    return item;
  }

 private:
  void run() {
    for (bool goes_on = true; goes_on;) {
      std::optional<Item> item;
      std::exception_ptr error;
      try {
        item = make_();
      } catch (...) {
        error = std::current_exception();
      }
      std::unique_lock<std::mutex> lock(mutex_);
      goes_on = item.has_value();
      is_over_ = !goes_on;
      ready_ = std::move(item);
      error_ = error;
      changed_.notify_all();
      changed_.wait(lock, [this] { return !ready_ || is_unwanted_; });
      goes_on = goes_on && !is_unwanted_;
    }
  }

  const std::function<std::optional<Item>()> make_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<Item> ready_;  // Guarded by mutex_, as what follows.
  std::exception_ptr error_;
  bool is_over_ = false;
  bool is_unwanted_ = false;
  std::thread thread_;  // Last, since it uses what stands above.
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_RUN_READ_AHEAD_H_
