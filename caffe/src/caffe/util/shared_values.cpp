// Equal values of several blobs of one process, held once.

#include "caffe/util/shared_values.hpp"

#include <boost/weak_ptr.hpp>
#include <cstddef>
#include <cstring>
#include <map>
#include <mutex>

namespace caffe {

namespace {

std::size_t Bytes(const SyncedMemory& block) { return block.size(); }
std::size_t Bytes(const std::vector<float>& list) { return list.size() * sizeof(float); }

const void* Start(SyncedMemory& block) { return block.cpu_data(); }
const void* Start(const std::vector<float>& list) { return list.data(); }

// What is alive, by its length. Weak, so that the registry keeps nothing alive.
template <class Pointer, class WeakPointer>
class Registry {
 public:
  Pointer FindOrKeep(const Pointer& values) {
    const std::lock_guard<std::mutex> guard(mutex_);
    const std::size_t bytes = Bytes(*values);
    auto entry = kept_.lower_bound(bytes);
    while (entry != kept_.end() && entry->first == bytes) {
      const Pointer other = entry->second.lock();
      if (other == nullptr) {
        entry = kept_.erase(entry);
        continue;
      }
      if (std::memcmp(Start(*other), Start(*values), bytes) == 0) return other;
      ++entry;
    }
    kept_.emplace(bytes, values);
    return values;
  }

 private:
  std::mutex mutex_;
  std::multimap<std::size_t, WeakPointer> kept_;
};

}  // namespace

// Neither registry is destroyed, so that an exit in the middle of a load finds it alive.

void ShareEqualValues(Blob<float>* blob) {
  using Block = boost::shared_ptr<SyncedMemory>;
  static auto* const registry = new Registry<Block, boost::weak_ptr<SyncedMemory>>;
  if (blob->count() == 0) return;
  // Allocated before any other thread sees it: from then on it is read only.
  blob->cpu_data();
  if (blob->data_->frozen()) return;
  blob->data_->Freeze();
  blob->data_ = registry->FindOrKeep(blob->data_);
}

std::shared_ptr<const std::vector<float>> SharedEqual(
    std::shared_ptr<const std::vector<float>> values) {
  using List = std::shared_ptr<const std::vector<float>>;
  static auto* const registry = new Registry<List, std::weak_ptr<const std::vector<float>>>;
  if (values == nullptr || values->empty()) return values;
  return registry->FindOrKeep(values);
}

}  // namespace caffe
