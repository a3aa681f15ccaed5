// What the fuzz targets share: refusals, limits of memory, harmless definitions.

#include "fuzz/harness.h"

#include <google/protobuf/stubs/logging.h>
#include <pthread.h>
#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <new>
#include <string>
#include <thread>

#include "fuzz/refusal.h"

namespace {

constexpr std::size_t kBlobLimitBytes = std::size_t{1} << 20;
constexpr int kMostLayers = 24;

std::atomic<bool> limits_blocks{false};
std::atomic<std::size_t> block_limit_bytes{std::size_t{64} << 20};
std::thread::id fuzzing_thread;
std::string mean_file;    // Of images of 3 x 4 x 4.
std::string matrix_file;  // For three classes.

void* Allocate(std::size_t size) {
  if (limits_blocks && size > block_limit_bytes) {
    return nullptr;
  }
  return std::malloc(size == 0 ? 1 : size);
}

// The path of a file in memory that holds a blob of ones.
std::string BlobFile(int channels, int height, int width) {
  caffe::BlobProto proto;
  proto.set_num(1);
  proto.set_channels(channels);
  proto.set_height(height);
  proto.set_width(width);
  for (int i = 0; i < channels * height * width; ++i) {
    proto.add_data(1);
  }
  const int file = memfd_create("blob", 0);
  if (!proto.SerializeToFileDescriptor(file)) {
    std::abort();
  }
  return "/proc/self/fd/" + std::to_string(file);
}

}  // namespace

void* operator new(std::size_t size) {
  void* block = Allocate(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

[[noreturn]] void ozna_fuzz_exit(int /*status*/) { ozna_fuzz::Refuse(); }

// Null makes the runtime report exhausted memory, one of its own ways out.
void* ozna_fuzz_malloc(std::size_t size) {
  return size > kBlobLimitBytes ? nullptr : std::malloc(size);
}

void* ozna_fuzz_calloc(std::size_t count, std::size_t size) {
  return size != 0 && count > kBlobLimitBytes / size ? nullptr : std::calloc(count, size);
}

namespace ozna_fuzz {

void Refuse() {
  if (std::this_thread::get_id() != fuzzing_thread) {
    pthread_exit(nullptr);
  }
  throw Refusal();
}

void Prepare() {
  fuzzing_thread = std::this_thread::get_id();
  google::protobuf::SetLogHandler(nullptr);
  std::clog.setstate(std::ios::failbit);
  mean_file = BlobFile(3, 4, 4);
  matrix_file = BlobFile(1, 3, 3);
}

void RunOrRefuse(const std::function<void()>& action) {
  limits_blocks = true;
  try {
    action();
  } catch (const Refusal&) {
  } catch (const std::bad_alloc&) {
  }
  limits_blocks = false;
}

void LimitBlocks(std::size_t bytes) { block_limit_bytes = bytes; }

bool MakeHarmless(caffe::NetParameter& definition) {
  if (definition.layers_size() > kMostLayers) {
    return false;
  }
  for (caffe::LayerParameter& layer : *definition.mutable_layers()) {
    // A database would be opened for writing at a place that the input names.
    if (layer.type() == caffe::LayerParameter::DATA) {
      return false;
    }
    // The image library allocates for itself; beyond the upper size the layer refuses.
    const std::uint32_t image_side = layer.image_data_param().new_height();
    if (image_side > 256 && image_side < 32768) {
      return false;
    }
    if (layer.image_data_param().has_mean_file()) {
      layer.mutable_image_data_param()->set_mean_file(mean_file);
    }
    if (layer.infogain_loss_param().has_source()) {
      layer.mutable_infogain_loss_param()->set_source(matrix_file);
    }
  }
  return true;
}

}  // namespace ozna_fuzz
