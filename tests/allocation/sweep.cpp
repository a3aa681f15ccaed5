// Fails one allocation after the other of a load, a search or an alignment, and looks at what comes
// of each.
//
//   allocation_sweep OPERATION FAILURE STATE STEP MODELS PHOTOGRAPH.ppm
//
// OPERATION  load, detect, landmarks (the load of the landmark model) or align.
// FAILURE    one (allocation fails) or on (and all after it, as where memory has run out).
// STATE      warm: the process has done the same before, so that every block that is left over is a
//            leak. cold: a process for each failure, in which nothing was called before.
// STEP       1 fails every allocation, 7 every seventh.
// MODELS     Folder with stages.txt, cascades/ and models/face68.sdm.
//
// Each failure must end the call by std::bad_alloc, by a cv::Exception of the code StsNoMem, by the
// message of a blob that gets no memory and exit status 255, or not at all, with the results of a
// call to which nothing happened. After an exception no block is left over, no lock is held, and
// the same handle does the work at the next try. The last line counts the ways; a failure of the
// sweep exits with 1.

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "detector/model_store.h"
#include "ozna.h"
#include "tests/allocation/failing_allocator.h"

namespace {

using failing_allocator::Failure;

// What the processes of a sweep share.
struct Progress {
  long next;         // The next allocation to fail.
  long total;        // Allocations of the operation, once they are known.
  long bad_alloc;    // Ended by the exception.
  long out_of_mats;  // Ended by that of the image library.
  long blobs;        // Ended by the message of a blob.
  long unharmed;     // Went on, with the right results.
  bool in_call;
};

struct Photograph {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;

  oznalib::Image view() const { return {width, height, 0, pixels.data()}; }
};

[[noreturn]] void fail(const std::string& what) {
  failing_allocator::disarm();
  std::fprintf(stderr, "FAILED: %s\n", what.c_str());
  std::_Exit(1);
}

// The face of the photograph, at half its size: few windows to search, and still a face.
Photograph readFace(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string magic;
  int width = 0, height = 0, maximum = 0;
  file >> magic >> width >> height >> maximum;
  file.get();
  std::vector<std::uint8_t> pixels(std::size_t{3} * width * height);
  file.read(reinterpret_cast<char*>(pixels.data()), static_cast<std::streamsize>(pixels.size()));
  if (!file || width != 512 || height != 512) fail("not the photograph of 512 by 512: " + path);
  Photograph face;
  face.width = face.height = 128;
  for (int y = 0; y < 128; ++y) {
    for (int x = 0; x < 128; ++x) {
      const std::uint8_t* pixel = &pixels[3U * static_cast<unsigned>(2 * y * 512 + 96 + 2 * x)];
      face.pixels.insert(face.pixels.end(), pixel, pixel + 3);
    }
  }
  return face;
}

using Numbers = std::vector<float>;

// The calls that are swept. Each does what it needs before in prepare, where nothing fails.
class Operation {
 public:
  Operation(const std::string& name, const std::string& models, const Photograph& photograph)
      : name_(name), models_(models), photograph_(photograph) {}

  void prepare() {
    if (name_ == "detect") load();
    if (name_ == "align") loadLandmarks();
  }

  void run() {
    if (name_ == "load") load();
    if (name_ == "detect") detect();
    if (name_ == "landmarks") loadLandmarks();
    if (name_ == "align") align();
  }

  // What the operation has to be good for, after it went through.
  Numbers outcome() {
    if (name_ == "load") detect();
    if (name_ == "landmarks") align();
    return outcome_;
  }

  void finish() {
    detector_.unload();
    oznalib::unloadSDMModel();
    Numbers().swap(outcome_);
  }

 private:
  void load() {
    const std::string root = models_ + "/";
    const char* const root_text = root.c_str();
    const char* const list_text = "stages.txt";
    if (detector_.load(oznalib::DetectorParams(root_text, list_text)) != oznalib::StatusOk) {
      fail("the load returned another status");
    }
  }
  void detect() {
    std::vector<oznalib::Detection> faces;
    const oznalib::CascadeParameter parameter{2.0F, 128, 0.2F, 4, 1.26F, 13};
    if (oznalib::detect(photograph_.view(), detector_, faces, parameter) != oznalib::StatusOk) {
      fail("the search returned another status");
    }
    outcome_.clear();
    for (const oznalib::Detection& face : faces) {
      outcome_.insert(outcome_.end(), {face.rect.left, face.rect.top, face.rect.right,
                                       face.rect.bottom, face.score});
    }
  }
  void loadLandmarks() {
    if (oznalib::loadSDMModel(models_ + "/models", "face68.sdm") != oznalib::StatusOk) {
      fail("the load of the landmark model returned another status");
    }
  }
  void align() {
    Numbers five;
    const oznalib::Rectangle<float> rect{30, 30, 100, 100};
    oznalib::align68Points(photograph_.view(), rect, outcome_);
    oznalib::align5Points(photograph_.view(), rect, five);
    outcome_.insert(outcome_.end(), five.begin(), five.end());
  }

  std::string name_;
  std::string models_;
  const Photograph& photograph_;
  oznalib::Detector detector_;
  Numbers outcome_;
};

struct Sweep {
  std::string operation;
  Failure failure;
  bool warm;
  long step;
  std::string models;
  Photograph photograph;
  Progress* progress;

  // The image library loses the pixels of an image whose header gets no memory, and the message
  // library an element for which a list cannot be made longer. What is ours leaves nothing.
  long mostLeftOver() const { return operation == "landmarks" ? 0 : 1; }

  std::unique_ptr<Operation> make() const {
    return std::make_unique<Operation>(operation, models, photograph);
  }
};

Numbers undisturbed(const Sweep& sweep) {
  const auto operation = sweep.make();
  operation->prepare();
  operation->run();
  Numbers outcome = operation->outcome();
  operation->finish();
  if (outcome.empty()) fail("nothing was found");
  return outcome;
}

// Runs the operation with one failure. Returns whether there were that many allocations.
bool failOnce(const Sweep& sweep, long index, const Numbers& expected, Operation& operation) {
  Progress& progress = *sweep.progress;
  operation.prepare();
  bool threw = true;
  progress.in_call = true;
  failing_allocator::arm(index, sweep.failure);
  try {
    operation.run();
    threw = false;
    progress.total = failing_allocator::disarm();
  } catch (const std::bad_alloc&) {
    failing_allocator::disarm();
    ++progress.bad_alloc;
  } catch (const cv::Exception& exception) {
    failing_allocator::disarm();
    if (exception.code != cv::Error::StsNoMem) fail(exception.what());
    ++progress.out_of_mats;
  } catch (const std::exception& exception) {
    fail(std::string("another exception: ") + exception.what());
  }
  progress.in_call = false;
  if (threw != failing_allocator::failed() && threw) fail("an exception without a failure");
  if (!failing_allocator::failed()) return false;
  if (!oznalib::loadLock().try_lock()) fail("the lock is held");
  oznalib::loadLock().unlock();
  if (threw) {
    operation.prepare();
    operation.run();
  } else {
    ++progress.unharmed;
  }
  if (operation.outcome() != expected) fail("another outcome");
  return true;
}

// Fails one allocation and returns how many blocks are left over afterwards.
long leftOver(const Sweep& sweep, const Numbers& expected, bool& more) {
  const long before = failing_allocator::liveBlocks();
  {
    const auto operation = sweep.make();
    more = failOnce(sweep, sweep.progress->next, expected, *operation);
    operation->finish();
  }
  return failing_allocator::liveBlocks() - before;
}

// The work of one process, from progress->next on. Returns at the end of the sweep.
void sweepWarm(const Sweep& sweep) {
  undisturbed(sweep);
  const Numbers expected = undisturbed(sweep);
  for (bool more = true; more; sweep.progress->next += sweep.step) {
    if (leftOver(sweep, expected, more) == 0 || !more) continue;
    // The first exception that takes a way keeps what it found out about that way, for the next. A
    // leak is left by every one.
    const Progress counted = *sweep.progress;
    const long left = leftOver(sweep, expected, more);
    *sweep.progress = counted;
    if (left > sweep.mostLeftOver()) fail(std::to_string(left) + " blocks are left over");
  }
}

// As sweepWarm, for one failure in a process in which nothing was called before. The models go with
// the process.
bool sweepCold(const Sweep& sweep, const Numbers& expected) {
  return failOnce(sweep, sweep.progress->next, expected, *sweep.make());
}

// Runs a step in a process of its own. A process that a blob ended left its message, and the sweep
// continues after that failure. Returns the status of the step.
template <class Step>
int inProcess(const Sweep& sweep, const Step& step) {
  std::FILE* const messages = std::tmpfile();
  const pid_t child = fork();
  if (child == 0) {
    dup2(fileno(messages), STDERR_FILENO);
    // Handlers of exit have their memory; a blob ends the process by exit.
    std::atexit([] { failing_allocator::disarm(); });
    std::_Exit(step());
  }
  int status = 0;
  waitpid(child, &status, 0);
  std::string written(4096, '\0');
  std::rewind(messages);
  written.resize(std::fread(written.data(), 1, written.size(), messages));
  std::fclose(messages);
  Progress& progress = *sweep.progress;
  if (WIFEXITED(status) && WEXITSTATUS(status) == 255 && progress.in_call &&
      written.find("Unable to allocate memory\n") != std::string::npos) {
    progress.in_call = false;
    ++progress.blobs;
    progress.next += sweep.step;
    return 2;
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) == 1) {
    std::fprintf(stderr, "allocation %ld of %s: status %d\n%s\n", progress.next,
                 sweep.operation.c_str(), status, written.c_str());
    std::exit(1);
  }
  return WEXITSTATUS(status);
}

void runSweep(const Sweep& sweep) {
  constexpr int kEnd = 0, kMore = 2;
  if (sweep.warm) {
    while (inProcess(sweep, [&] { return sweepWarm(sweep), kEnd; }) == kMore) {
    }
    return;
  }
  // The outcome comes from another process too, since this one has to stay as it is.
  struct Outcome {
    std::size_t count;
    float numbers[1024];
  };
  auto* const shared = static_cast<Outcome*>(
      mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  inProcess(sweep, [&] {
    const Numbers outcome = undisturbed(sweep);
    shared->count = std::min<std::size_t>(outcome.size(), 1024);
    std::copy_n(outcome.begin(), shared->count, shared->numbers);
    return kEnd;
  });
  const Numbers expected(shared->numbers, shared->numbers + shared->count);
  int result = kMore;
  while (result == kMore) {
    const long at = sweep.progress->next;
    result = inProcess(sweep, [&] { return sweepCold(sweep, expected) ? kMore : kEnd; });
    if (result == kMore && sweep.progress->next == at) sweep.progress->next += sweep.step;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 7) {
    std::fprintf(stderr, "allocation_sweep OPERATION one|on warm|cold STEP MODELS PHOTOGRAPH\n");
    return 2;
  }
  auto* const progress = static_cast<Progress*>(
      mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  const Sweep sweep{argv[1],
                    std::strcmp(argv[2], "on") == 0 ? Failure::kOneAndOn : Failure::kOne,
                    std::strcmp(argv[3], "warm") == 0,
                    std::max(1L, std::atol(argv[4])),
                    argv[5],
                    readFace(argv[6]),
                    progress};
  progress->next = 1;
  runSweep(sweep);
  const long swept =
      progress->bad_alloc + progress->out_of_mats + progress->blobs + progress->unharmed;
  std::printf(
      "%s %s %s: %ld of %ld allocations failed: %ld left as std::bad_alloc, %ld as cv::Exception, "
      "%ld ended with the message of a blob, %ld did no harm\n",
      argv[1], argv[2], argv[3], swept, progress->total, progress->bad_alloc, progress->out_of_mats,
      progress->blobs, progress->unharmed);
  return swept > 0 ? 0 : 1;
}
