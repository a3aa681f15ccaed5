// A host process with everything in it that could get in the way of a library.
//
//   crowded_host LIBRARY MODELS PHOTOGRAPH.ppm [plain]
//
// It registers messages of its own, one schema of them named as the library's; has initialised its
// logging and given it a sink; runs under a locale with a decimal comma, in C and in C++; sets the
// threads of its OpenCV and of its BLAS and keeps both busy; and offers symbols with names of the
// library's inside to everything that it opens. Then it searches a photograph, prints what was
// found and checks that all of its own is as it was. With 'plain' it does the search alone.

#include <cblas.h>
#include <dlfcn.h>
#include <glog/logging.h>

#include <atomic>
#include <cfenv>
#include <clocale>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <mutex>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <thread>
#include <vector>

#include "caffe/proto/caffe.pb.h"
#include "host.pb.h"
#include "tests/host/face_finder.h"

// Classes of the host with names of the library's inside. Whoever calls them instead of its own
// ends here.
namespace caffe {

template <class T>
class __attribute__((visibility("default"))) Blob {
 public:
  Blob();
};
template <class T>
Blob<T>::Blob() {
  std::abort();
}
template class Blob<float>;

class __attribute__((visibility("default"))) Caffe {
 public:
  static Caffe& Get();
};
Caffe& Caffe::Get() { std::abort(); }

}  // namespace caffe

namespace {

using host::require;

void print(const std::vector<float>& numbers) {
  // Hexadecimal digits know no locale but for the point.
  for (const float number : numbers) std::printf("%.0f ", 1000.0 * static_cast<double>(number));
  std::printf("\n");
}

class CountingSink : public google::LogSink {
 public:
  void send(google::LogSeverity, const char*, const char*, int, const struct tm*,
            const char* message, std::size_t length) override {
    const std::lock_guard<std::mutex> guard(mutex_);
    messages_.emplace_back(message, length);
  }
  bool has(const std::string& part) {
    const std::lock_guard<std::mutex> guard(mutex_);
    for (const std::string& message : messages_) {
      if (message.find(part) != std::string::npos) return true;
    }
    return false;
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> messages_;
};

// Multiplies matrices of ones until asked to stop; every product is checked.
void keepBlasBusy(const std::atomic<bool>& stop) {
  constexpr int kSide = 96;
  const std::vector<float> ones(kSide * kSide, 1.0F);
  while (!stop) {
    std::vector<float> product(kSide * kSide);
    cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, kSide, kSide, kSide, 1, ones.data(),
                kSide, ones.data(), kSide, 0, product.data(), kSide);
    for (const float value : product) require(value == kSide, "a product of the host went wrong");
  }
}

// Scales pictures of one grey until asked to stop.
void keepOpenCVBusy(const std::atomic<bool>& stop) {
  const cv::Mat grey(480, 640, CV_8UC3, cv::Scalar::all(77));
  while (!stop) {
    cv::Mat smaller;
    cv::resize(grey, smaller, cv::Size(333, 222));
    require(cv::norm(smaller, cv::NORM_INF) == 77, "a picture of the host went wrong");
  }
}

bool decimalComma() {
  char text[16];
  std::snprintf(text, sizeof(text), "%.1f", 0.5);
  return std::string(text) == "0,5";
}

}  // namespace

int main(int argc, char** argv) {
  require(argc >= 4, "crowded_host LIBRARY MODELS PHOTOGRAPH.ppm [plain]");
  const host::Photograph photograph = host::readPhotograph(argv[3]);
  if (argc > 4) {
    host::FaceFinder finder(argv[1], argv[2]);
    print(finder.find(photograph, host::usualParameter()));
    return 0;
  }

  google::InitGoogleLogging(argv[0]);
  FLAGS_logtostderr = true;
  CountingSink sink;
  google::AddLogSink(&sink);

  require(std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr, "the locale de_DE.UTF-8 is missing");
  std::locale::global(std::locale("de_DE.UTF-8"));
  require(decimalComma(), "the locale has no comma");

  host::Album album;
  album.set_title("a host");
  album.add_photograph(7);
  const std::string album_bytes = album.SerializeAsString();
  caffe::NetParameter namesake;
  namesake.set_only_the_host_has_this("x");

  constexpr int kBlasThreads = 3;
  constexpr int kImageThreads = 5;
  openblas_set_num_threads(kBlasThreads);
  cv::setNumThreads(kImageThreads);
  std::fesetround(FE_TONEAREST);
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  threads.emplace_back([&] { keepBlasBusy(stop); });
  threads.emplace_back([&] { keepOpenCVBusy(stop); });

  {
    host::FaceFinder finder(argv[1], argv[2]);
    print(finder.find(photograph, host::usualParameter()));
    // A search that the first network cannot hold, which the library reports in its log, and not in
    // the host's.
    oznalib::CascadeParameter too_large = host::usualParameter();
    too_large.minFaceFraction = 0.005F;
    require(finder.find(photograph, too_large).empty(), "a face in a search that is too large");
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();

  // All of the host is as it was.
  require(!sink.has("exceeds the first network"), "the library writes into the host's log");
  LOG(ERROR) << "the host speaks";
  require(sink.has("the host speaks"), "the host's log is closed");
  google::RemoveLogSink(&sink);
  require(decimalComma() && std::locale().name() == "de_DE.UTF-8", "the locale changed");
  host::Album copy;
  require(copy.ParseFromString(album_bytes) && copy.title() == "a host",
          "a message of the host went wrong");
  require(namesake.GetDescriptor()->full_name() == "caffe.NetParameter" &&
              namesake.GetDescriptor()->field_count() == 1,
          "the schema of the host is another one");
  require(openblas_get_num_threads() == kBlasThreads, "the host's BLAS threads changed");
  require(cv::getNumThreads() == kImageThreads, "the host's OpenCV threads changed");
  require(std::fegetround() == FE_TONEAREST, "the rounding mode changed");
  // The library's names stay in it.
  require(dlsym(RTLD_DEFAULT, "_ZN7oznalib8DetectorC1Ev") == nullptr,
          "the library's symbols are global");
  return 0;
}
