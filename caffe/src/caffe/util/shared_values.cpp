// Equal values of several blobs of one process, held once.

#include "caffe/util/shared_values.hpp"

#include <boost/weak_ptr.hpp>
#include <cstddef>
#include <cstring>
#include <map>
#include <mutex>

namespace caffe {

namespace {

// What is alive, by its length. Weak, so that the registry keeps nothing alive.
class Registry {
 public:
  using Block = boost::shared_ptr<SyncedMemory>;

  Block FindOrKeep(const Block& values) {
    const std::lock_guard<std::mutex> guard(mutex_);
    const std::size_t bytes = values->size();
    auto entry = kept_.lower_bound(bytes);
    while (entry != kept_.end() && entry->first == bytes) {
      const Block other = entry->second.lock();
      if (other == nullptr) {
        entry = kept_.erase(entry);
        continue;
      }
      if (std::memcmp(other->cpu_data(), values->cpu_data(), bytes) == 0) return other;
      ++entry;
    }
    kept_.emplace(bytes, values);
    return values;
  }

 private:
  std::mutex mutex_;
  std::multimap<std::size_t, boost::weak_ptr<SyncedMemory>> kept_;
};

}  // namespace

boost::shared_ptr<SyncedMemory> SharedEqual(const boost::shared_ptr<SyncedMemory>& values) {
  // Never destroyed, so that an exit in the middle of a load finds it alive.
  static auto* const registry = new Registry;
  return registry->FindOrKeep(values);
}

void ShareEqualValues(Blob<float>* blob) {
  if (blob->count() == 0) return;
  // Allocated before any other thread sees it: from then on it is read only.
  blob->cpu_data();
  if (blob->data_->frozen()) return;
  blob->data_->Freeze();
  blob->data_ = SharedEqual(blob->data_);
}

}  // namespace caffe
