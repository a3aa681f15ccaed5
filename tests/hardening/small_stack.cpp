// small_stack MODELS PHOTOGRAPH.ppm: loads, detects and aligns in a thread whose stack has 256 KB,
// as hosts with many threads give them, and compares the outcome with that of the main thread.

#include <pthread.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ozna.h"
#include "tests/host/photograph_file.h"

namespace {

constexpr std::size_t kStackBytes = 256 * 1024;

struct Work {
  std::string models;
  oznalib::Image image;
  std::vector<oznalib::Detection> faces;
  std::vector<float> points;
};

void* findFaces(void* argument) {
  Work& work = *static_cast<Work*>(argument);
  const std::string root = work.models + "/";
  const char* const root_text = root.c_str();
  const char* const list = "stages.txt";
  oznalib::Detector detector;
  if (detector.load(oznalib::DetectorParams(root_text, list)) != oznalib::StatusOk ||
      oznalib::loadSDMModel(work.models + "/models", "face68.sdm") != oznalib::StatusOk) {
    return nullptr;
  }
  const oznalib::CascadeParameter search = {2.0F, 640, 0.05F, 12, 1.26F, 13};
  oznalib::detect(work.image, detector, work.faces, search);
  if (!work.faces.empty()) {
    oznalib::align68Points(work.image, work.faces[0].rect, work.points);
  }
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  Work here;
  here.models = argv[1];
  const host::Photograph photograph = host::readPhotograph(argv[2]);
  here.image = {photograph.width, photograph.height, 3 * photograph.width,
                photograph.pixels.data()};
  Work there = here;

  pthread_attr_t attributes;
  pthread_t thread;
  if (pthread_attr_init(&attributes) != 0 ||
      pthread_attr_setstacksize(&attributes, kStackBytes) != 0 ||
      pthread_create(&thread, &attributes, findFaces, &there) != 0) {
    std::puts("cannot begin");
    return 2;
  }
  pthread_join(thread, nullptr);
  findFaces(&here);
  const bool is_same = here.faces.size() == there.faces.size() && here.points == there.points;
  std::printf("%zu faces, %zu coordinates, %s\n", there.faces.size(), there.points.size(),
              is_same ? "as in the main thread" : "DIFFERENT in the main thread");
  return is_same && !there.faces.empty() && there.points.size() == 136 ? 0 : 1;
}
