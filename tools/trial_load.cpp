// A load in a child process, whose end tells whether the model files are sound.

#include "tools/trial_load.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <exception>
#include <iostream>
#include <map>
#include <new>
#include <sstream>

#include "ozna.h"
#include "tools/exit_code.h"
#include "tools/streams.h"
#include "tools/system_reason.h"

namespace oznatool {
namespace {

// Remembers which of some files was opened last, by whatever process. A load reads its files one
// after the other, so that the last one is at fault.
class OpenWatch {
 public:
  explicit OpenWatch(const std::vector<NetworkFiles>& networks)
      : descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (descriptor_ == -1) return;
    for (const NetworkFiles& files : networks) {
      for (const std::string& path : {files.definition, files.weights, files.mean}) {
        if (path.empty()) continue;
        const int watch = inotify_add_watch(descriptor_, path.c_str(), IN_OPEN);
        if (watch != -1) paths_[watch] = path;
      }
    }
  }
  ~OpenWatch() {
    if (descriptor_ != -1) close(descriptor_);
  }
  OpenWatch(const OpenWatch&) = delete;
  OpenWatch& operator=(const OpenWatch&) = delete;

  // The path, or an empty text where none was seen.
  std::string lastOpened() const {
    std::string last;
    alignas(inotify_event) char buffer[4096];
    for (ssize_t size = 0;
         descriptor_ != -1 && (size = read(descriptor_, buffer, sizeof(buffer))) > 0;) {
      for (ssize_t at = 0; at < size;) {
        inotify_event event;
        std::memcpy(&event, buffer + at, sizeof(event));
        const auto found = paths_.find(event.wd);
        if (found != paths_.end()) last = found->second;
        at += static_cast<ssize_t>(sizeof(event) + event.len);
      }
    }
    return last;
  }

 private:
  int descriptor_;
  std::map<int, std::string> paths_;  // By watch.
};

// A square picture in the library's pixel format.
struct TrialPicture {
  int side_px = 192;
  std::vector<unsigned char> pixels;
};

// A picture that takes candidates through all stages: the average face of the last stage on grey
// ground. The first stage has no mean; a cascade of it alone gets plain grey.
TrialPicture makePicture(const NetworkFiles& last_stage) {
  TrialPicture picture;
  picture.pixels.assign(static_cast<size_t>(3 * picture.side_px * picture.side_px), 128);
  if (last_stage.mean.empty()) return picture;
  const std::vector<float> mean = readNumbers(last_stage.mean);
  const size_t plane_size = mean.size() / 3;
  const int face_px = static_cast<int>(std::sqrt(static_cast<double>(plane_size)));

  const int zoomed_px = picture.side_px / 2;
  const int margin_px = picture.side_px / 4;
  for (int y = 0; y < zoomed_px; ++y) {
    for (int x = 0; x < zoomed_px; ++x) {
      const int source = (y * face_px / zoomed_px) * face_px + x * face_px / zoomed_px;
      const int target = (y + margin_px) * picture.side_px + x + margin_px;
      for (size_t byte = 0; byte < 3; ++byte) {
        // Plane 0 of a mean belongs to the last byte of a pixel.
        const float value = mean[(2 - byte) * plane_size + static_cast<size_t>(source)];
        picture.pixels[3 * static_cast<size_t>(target) + byte] =
            static_cast<unsigned char>(std::clamp(value, 0.0F, 255.0F));
      }
    }
  }
  return picture;
}

// A line of the child's output: the load is over, and no single file is at fault for what comes.
const std::string kLoaded = "loaded";

// What the child does. Its complaints go to standard error.
bool loadAndSearch(const CascadeFiles& files, const TrialPicture& picture) {
  oznalib::Detector detector;
  if (detector.load(oznalib::DetectorParams(files.root.c_str(), kStageListName)) !=
      oznalib::StatusOk) {
    std::cerr << "the load found no stage or no calibration" << std::endl;
    return false;
  }
  std::cerr << kLoaded << std::endl;
  const Size working = workingSize({picture.side_px, picture.side_px}, defaultParameter());
  // A cascade for smaller pictures is taken as it is.
  if (working.width * working.height > files.first_input.width * files.first_input.height)
    return true;
  std::vector<oznalib::Detection> faces;
  const oznalib::Image image = {picture.side_px, picture.side_px, 0, picture.pixels.data()};
  return oznalib::detect(image, detector, faces, defaultParameter()) == oznalib::StatusOk;
}

// Never returns: a child must not run the parent's exit handlers, nor flush its buffers a second
// time.
[[noreturn]] void runChild(const CascadeFiles& files, const TrialPicture& picture,
                           int report_descriptor) {
  dup2(report_descriptor, STDOUT_FILENO);
  dup2(report_descriptor, STDERR_FILENO);
  prctl(PR_SET_DUMPABLE, 0);  // Its death is no crash: no core file.
  bool sound = false;
  try {
    sound = loadAndSearch(files, picture);
  } catch (const std::bad_alloc&) {
    _exit(kExitLimit);
  } catch (const std::exception& error) {
    std::cerr << error.what() << std::endl;
  }
  _exit(sound ? 0 : 1);
}

std::string readAll(int descriptor) {
  constexpr size_t kEnough =
      1 << 20;  // In bytes. The rest is read, so that the writer ends, and dropped.
  std::string text;
  char buffer[4096];
  while (true) {
    const ssize_t count = read(descriptor, buffer, sizeof(buffer));
    if (count == -1 && errno == EINTR) continue;
    if (count <= 0) return text;
    if (text.size() < kEnough) text.append(buffer, static_cast<size_t>(count));
  }
}

// A log line without the time and place in front of it.
std::string withoutLogPrefix(const std::string& line) {
  const size_t bracket = line.find("] ");
  return bracket == std::string::npos ? line : line.substr(bracket + 2);
}

// The line of the child's output that tells most: what the parser says, else the fatal line, else
// the last one.
std::string complaint(const std::string& output) {
  std::istringstream lines(output);
  std::string parser;
  std::string fatal;
  std::string last;
  for (std::string line; std::getline(lines, line);) {
    if (parser.empty() && line.rfind("[libprotobuf ERROR", 0) == 0) parser = withoutLogPrefix(line);
    if (fatal.empty() && line.rfind('F', 0) == 0 && line.find("] ") != std::string::npos) {
      fatal = withoutLogPrefix(line);
    }
    if (!line.empty() && line != kLoaded) last = withoutLogPrefix(line);
  }
  const std::string& chosen = !parser.empty() ? parser : !fatal.empty() ? fatal : last;
  constexpr size_t kLongest = 200;
  return chosen.size() <= kLongest ? chosen : chosen.substr(0, kLongest) + "...";
}

std::string howItEnded(int status) {
  if (WIFSIGNALED(status))
    return std::string("the load ended with: ") + strsignal(WTERMSIG(status));
  return "the load ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

void tryCascade(const CascadeFiles& files) {
  const TrialPicture picture = makePicture(files.networks[files.networks.size() - 2]);
  const OpenWatch watch(files.networks);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) == -1) {
    throw Failure(exitCodeOf(errno, kExitModel), "the models cannot be tried: " + reasonOf(errno));
  }
  const pid_t child = fork();
  if (child == -1) {
    throw Failure(exitCodeOf(errno, kExitModel),
                  "the models cannot be tried in a process of their own: " + reasonOf(errno) +
                      " (ulimit -u, or the limit of the control group)");
  }
  if (child == 0) runChild(files, picture, ends[1]);

  close(ends[1]);
  const std::string output = readAll(ends[0]);
  close(ends[0]);
  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return;
  const bool is_without_memory = (WIFEXITED(status) && WEXITSTATUS(status) == kExitLimit) ||
                                 output.find("std::bad_alloc") != std::string::npos;
  if (is_without_memory) throw std::bad_alloc();

  const bool loaded = output.find(kLoaded + "\n") != std::string::npos;
  const std::string culprit = loaded ? "" : watch.lastOpened();
  const std::string reason = complaint(output);
  throw Failure(kExitModel,
                printable(culprit.empty() ? files.root : culprit) +
                    ": damaged model file: " + (reason.empty() ? howItEnded(status) : reason));
}

}  // namespace oznatool
