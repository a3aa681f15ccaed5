// Searches and alignments for hours, in as many threads as are asked for: every result is held
// against the first of its kind, and memory must not grow.
//
//   soak THREADS LIMIT GROWTH_MB MODELS PHOTOGRAPH.ppm...
//
// LIMIT      Rounds of all threads together; with 's' behind it, seconds. A round searches a part
//            of a photograph with one of many sets of parameters and aligns the faces that it
//            finds. Every 25th loads the thread's detector again, every 100th the landmark model
//            that all threads share, while nobody aligns.
// GROWTH_MB  By how much the resident size may grow after the first tenth; 0 only prints it, as for
//            instrumented builds, whose bookkeeping grows.
// MODELS     Folder with stages.txt, cascades/ and models/face68.sdm.
//
// The last line counts what was done; exit status 1 with a message where something went wrong.

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <shared_mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "ozna.h"
#include "tests/host/photograph_file.h"

namespace {

using host::require;
using oznalib::Detection;
using oznalib::Image;
using oznalib::StatusOk;
using Clock = std::chrono::steady_clock;
using Numbers = std::vector<float>;

// Small and large working images, few and many sizes, windows beside the default's.
const oznalib::CascadeParameter kParameters[] = {
    {2.0F, 640, 0.05F, 12, 1.26F, 13}, {2.0F, 640, 0.1F, 8, 1.26F, 13},
    {1.0F, 480, 0.08F, 10, 1.3F, 13},  {2.0F, 400, 0.1F, 6, 1.4F, 13},
    {3.0F, 320, 0.12F, 5, 1.5F, 13},   {2.0F, 640, 0.2F, 4, 1.26F, 13},
    {2.0F, 640, 0.034F, 3, 2.0F, 13},  {1.5F, 500, 0.07F, 9, 1.35F, 12},
};
constexpr unsigned kParameterSets = sizeof(kParameters) / sizeof(kParameters[0]);
constexpr unsigned kParts = 4;

long residentBytes() {
  std::ifstream file("/proc/self/statm");
  long pages = 0;
  file >> pages >> pages;
  return pages * sysconf(_SC_PAGESIZE);
}

double megabytes(long bytes) { return static_cast<double>(bytes) / (1 << 20); }

// The whole photograph, or a part of it whose rows have a stride.
Image part(const host::Photograph& photograph, unsigned number) {
  Image view{photograph.width, photograph.height, 3 * photograph.width, photograph.pixels.data()};
  if (number == 0) return view;
  const std::int32_t left = number == 1 ? photograph.width / 4 : 0;
  const std::int32_t top = number == 2 ? photograph.height / 5 : 0;
  view.data += std::size_t{3} * (static_cast<std::size_t>(top) * photograph.width + left);
  view.width -= left + (number == 3 ? photograph.width / 3 : 0);
  view.height -= top;
  return view;
}

// What all threads work on.
class Soak {
 public:
  Soak(const std::string& models, const std::vector<std::string>& paths) : models_(models) {
    for (const std::string& path : paths) photographs_.push_back(host::readPhotograph(path));
    loadLandmarks();
  }
  ~Soak() { oznalib::unloadSDMModel(); }

  void load(oznalib::Detector& detector) {
    const std::string root = models_ + "/";
    const char* const root_text = root.c_str();
    const char* const list = "stages.txt";
    detector.unload();
    require(detector.load(oznalib::DetectorParams(root_text, list)) == StatusOk, "the load failed");
    ++loads;
  }

  void loadLandmarks() {
    const std::unique_lock<std::shared_mutex> nobody_aligns(landmarks_);
    require(oznalib::loadSDMModel(models_ + "/models", "face68.sdm") == StatusOk,
            "the load of the landmark model failed");
    ++landmark_loads;
  }

  void round(const oznalib::Detector& detector, unsigned number) {
    const unsigned photograph = number % photographs_.size();
    const unsigned piece = number / 7 % kParts;
    const unsigned parameters = number / 64 % kParameterSets;
    const Numbers numbers =
        work(photographs_[photograph], piece, detector, kParameters[parameters]);
    const std::lock_guard<std::mutex> lock(results_mutex_);
    const auto first = results_.emplace(std::make_tuple(photograph, piece, parameters), numbers);
    require(first.first->second == numbers,
            "other results than before: photograph " + std::to_string(photograph) + ", part " +
                std::to_string(piece) + ", parameters " + std::to_string(parameters));
  }

  std::size_t kinds() const { return results_.size(); }

  std::atomic<long> searches{0}, alignments{0}, loads{0}, landmark_loads{0}, faces{0};

 private:
  // Boxes and scores of the search, and landmarks of the faces that lie in the whole photograph.
  Numbers work(const host::Photograph& photograph, unsigned piece,
               const oznalib::Detector& detector, const oznalib::CascadeParameter& parameter) {
    std::vector<Detection> found;
    const Image view = part(photograph, piece);
    require(detect(view, detector, found, parameter) == StatusOk, "the search failed");
    ++searches;
    faces += static_cast<long>(found.size());
    // Where nothing is found, one rectangle is aligned all the same.
    std::vector<oznalib::Rectangle<float>> boxes = {{40, 30, 140, 130}};
    Numbers numbers;
    for (std::size_t i = 0; i < found.size(); ++i) {
      const oznalib::Rectangle<float>& box = found[i].rect;
      numbers.insert(numbers.end(), {box.left, box.top, box.right, box.bottom, found[i].score});
      if (i < 2) boxes.push_back(box);
    }
    const Image whole = part(photograph, 0);
    const std::shared_lock<std::shared_mutex> lock(landmarks_);
    for (std::size_t i = found.empty() ? 0 : 1; i < boxes.size(); ++i) {
      Numbers all, five;
      align68Points(whole, boxes[i], all);
      align5Points(whole, boxes[i], five);
      require(all.size() == 136 && five.size() == 10, "the alignment gave other sizes");
      alignments += 2;
      numbers.insert(numbers.end(), all.begin(), all.end());
      numbers.insert(numbers.end(), five.begin(), five.end());
    }
    return numbers;
  }

  const std::string models_;
  std::vector<host::Photograph> photographs_;
  std::shared_mutex landmarks_;  // Shared by alignments, alone for a load of the model.
  std::mutex results_mutex_;
  std::map<std::tuple<unsigned, unsigned, unsigned>, Numbers> results_;
};

struct Limit {
  long rounds = 0;  // 0 where seconds count.
  double seconds = 0;

  // How far the work is, 1 at its end.
  double share(long done, Clock::time_point start) const {
    if (rounds > 0) return static_cast<double>(done) / static_cast<double>(rounds);
    return std::chrono::duration<double>(Clock::now() - start).count() / seconds;
  }
};

double processorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 6) {
    std::fprintf(stderr, "soak THREADS ROUNDS|SECONDSs GROWTH_MB MODELS PHOTOGRAPH.ppm...\n");
    return 2;
  }
  const long threads = std::max(1L, std::atol(argv[1]));
  const std::string limit_text = argv[2];
  Limit limit;
  if (limit_text.back() == 's') {
    limit.seconds = std::atof(argv[2]);
  } else {
    limit.rounds = std::atol(argv[2]);
  }
  require(limit.rounds > 0 || limit.seconds > 0, "no limit: " + limit_text);
  const double most_growth = std::atof(argv[3]);

  auto soak = std::make_unique<Soak>(argv[4], std::vector<std::string>(argv + 5, argv + argc));
  const Clock::time_point start = Clock::now();
  std::atomic<long> started{0}, warm_size{0};
  std::vector<std::thread> workers;
  for (long thread = 0; thread < threads; ++thread) {
    workers.emplace_back([&, thread] {
      std::mt19937 random(static_cast<unsigned>(thread));
      oznalib::Detector detector;
      soak->load(detector);
      for (long mine = 1;; ++mine) {
        const long number = started++;
        const double share = limit.share(number, start);
        if (share >= 1) break;
        long none = 0;
        if (share >= 0.1) warm_size.compare_exchange_strong(none, residentBytes());
        soak->round(detector, static_cast<unsigned>(random()));
        if (mine % 25 == 0) soak->load(detector);
        if (number % 100 == 99) soak->loadLandmarks();
      }
    });
  }
  for (std::thread& worker : workers) worker.join();

  const double growth = megabytes(residentBytes() - warm_size);
  std::printf(
      "%ld threads, %.0f s (%.0f s of processor time): %ld searches with %ld faces, %ld "
      "alignments, "
      "%ld loads of a detector, %ld of the landmark model, %zu kinds of results, each always the "
      "same; resident %.1f MB after a tenth, %+.1f MB at the end\n",
      threads, std::chrono::duration<double>(Clock::now() - start).count(), processorSeconds(),
      soak->searches.load(), soak->faces.load(), soak->alignments.load(), soak->loads.load(),
      soak->landmark_loads.load(), soak->kinds(), megabytes(warm_size), growth);
  require(soak->faces > 0, "no face was found");
  require(most_growth <= 0 || growth <= most_growth,
          "memory grew by " + std::to_string(growth) + " MB");
  return 0;
}
