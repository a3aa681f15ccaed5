// The thread rules of ozna.h with eight threads: a detector each, one landmark model for all, loads
// and unloads where they are allowed. Run under ThreadSanitizer, these tests see what the rules
// promise and the code does not keep.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ozna.h"

namespace {

using oznalib::Detection;
using oznalib::Detector;
using oznalib::Image;
using oznalib::StatusOk;

constexpr std::size_t kThreads = 8;
const char* const kRoot = OZNA_SOURCE_DIR "/public/";
const char* const kList = "stages.txt";
const oznalib::Rectangle<float> kBox = {40, 30, 120, 110};

// Runs work(0) to work(kThreads - 1) side by side.
void inThreads(const std::function<void(std::size_t)>& work) {
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

// A picture that no thread writes: three waves.
const std::vector<std::uint8_t>& pixels() {
  static const std::vector<std::uint8_t> values = [] {
    std::vector<std::uint8_t> picture;
    for (int y = 0; y < 150; ++y) {
      for (int x = 0; x < 160; ++x) {
        for (int wave : {5, 7, 11}) {
          picture.push_back(static_cast<std::uint8_t>((x * wave + y * (13 - wave)) % 256));
        }
      }
    }
    return picture;
  }();
  return values;
}

Image picture() { return {160, 150, 0, pixels().data()}; }

std::vector<float> flat(const std::vector<Detection>& detections) {
  std::vector<float> numbers;
  for (const Detection& face : detections) {
    numbers.insert(numbers.end(),
                   {face.rect.left, face.rect.top, face.rect.right, face.rect.bottom, face.score});
  }
  return numbers;
}

std::vector<float> search(const Detector& detector) {
  std::vector<Detection> detections;
  EXPECT_EQ(detect(picture(), detector, detections, {2.0F, 640, 0.2F, 4, 1.4F, 13}), StatusOk);
  return flat(detections);
}

void load(Detector& detector) {
  ASSERT_EQ(detector.load(oznalib::DetectorParams(kRoot, kList)), StatusOk);
}

class PublicThreads : public testing::Test {
 protected:
  static void loadLandmarks() {
    ASSERT_EQ(oznalib::loadSDMModel(OZNA_SOURCE_DIR "/public/models", "face68.sdm"), StatusOk);
  }
  ~PublicThreads() override { oznalib::unloadSDMModel(); }
};

// Places all landmarks and the five, and compares with what one thread alone found.
std::vector<float> landmarks() {
  std::vector<float> all, five;
  EXPECT_EQ(align68Points(picture(), kBox, all), StatusOk);
  EXPECT_EQ(align5Points(picture(), kBox, five), StatusOk);
  all.insert(all.end(), five.begin(), five.end());
  return all;
}

// Threads of the mathematics library, where it has some, may sum in another order.
void expectNear(const std::vector<float>& points, const std::vector<float>& expected) {
  ASSERT_EQ(points.size(), expected.size());
  for (std::size_t i = 0; i < points.size(); ++i) EXPECT_NEAR(points[i], expected[i], 0.01F) << i;
}

TEST_F(PublicThreads, SearchWithADetectorEachAndShareTheLandmarkModel) {
  loadLandmarks();
  Detector alone;
  load(alone);
  const std::vector<float> faces = search(alone);
  const std::vector<float> points = landmarks();
  ASSERT_EQ(points.size(), 136U + 10U);
  inThreads([&](std::size_t) {
    Detector detector;
    load(detector);
    EXPECT_EQ(search(detector), faces);
    expectNear(landmarks(), points);
    detector.unload();
    load(detector);
    EXPECT_EQ(search(detector), faces);
  });
}

TEST_F(PublicThreads, LoadAndUnloadTheLandmarkModelBetweenAlignmentsBesideSearches) {
  Detector alone;
  load(alone);
  const std::vector<float> faces = search(alone);
  std::vector<Detector> detectors(kThreads);
  for (Detector& detector : detectors) load(detector);

  // Half of the threads search all the time; the other half align in rounds, and the model changes
  // between rounds.
  std::mutex mutex;
  std::condition_variable changed;
  std::size_t aligned = 0;
  int round = 0;
  constexpr int kRounds = 3;
  loadLandmarks();
  inThreads([&](std::size_t i) {
    if (i % 2 == 0) {
      EXPECT_EQ(search(detectors[i]), faces);
      return;
    }
    for (int mine = 0; mine < kRounds; ++mine) {
      const std::vector<float> points = landmarks();
      const bool any =
          std::any_of(points.begin(), points.end(), [](float value) { return value != 0; });
      EXPECT_EQ(any, mine % 2 == 0) << "round " << mine;
      std::unique_lock<std::mutex> lock(mutex);
      if (++aligned == kThreads / 2) {
        aligned = 0;
        ++round;
        // Nobody aligns: the others of this half wait.
        if (round % 2 == 1) {
          EXPECT_EQ(oznalib::unloadSDMModel(), StatusOk);
        } else {
          loadLandmarks();
        }
        changed.notify_all();
      } else {
        changed.wait(lock, [&] { return round > mine; });
      }
    }
  });
}

TEST_F(PublicThreads, HandADetectorFromThreadToThread) {
  Detector detector;
  std::thread([&] { load(detector); }).join();
  std::vector<float> faces;
  std::thread([&] { faces = search(detector); }).join();
  EXPECT_EQ(search(detector), faces);
  std::thread([&] { detector.unload(); }).join();
  EXPECT_FALSE(detector.is_loaded());
}

TEST_F(PublicThreads, ReadAHandleBesideASearch) {
  Detector detector;
  load(detector);
  const void* const object = detector.getDetector();
  std::atomic<bool> searched{false};
  inThreads([&](std::size_t i) {
    if (i == 0) {
      search(detector);
      searched = true;
    }
    do {
      EXPECT_TRUE(detector.is_loaded());
      EXPECT_EQ(detector.getDetector(), object);
    } while (!searched);
  });
}

}  // namespace
