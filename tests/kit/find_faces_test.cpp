// Searches through the C interface.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "kit/oznakit.h"
#include "ozna.h"
#include "tests/kit/open_finder.h"

namespace {

using kit_test::defaultSearch;
using kit_test::find;
using kit_test::FinderPtr;
using kit_test::Found;
using kit_test::viewOf;

class FindFaces : public testing::Test {
 protected:
  static void SetUpTestSuite() { finder_ = kit_test::openCompact().release(); }
  static void TearDownTestSuite() { oznakit_finder_close(finder_); }

  static oznakit_finder* finder_;
};
oznakit_finder* FindFaces::finder_ = nullptr;

void expectSameFaces(const std::vector<oznakit_face>& a, const std::vector<oznakit_face>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    EXPECT_EQ(a[i].left, b[i].left);
    EXPECT_EQ(a[i].top, b[i].top);
    EXPECT_EQ(a[i].right, b[i].right);
    EXPECT_EQ(a[i].bottom, b[i].bottom);
    EXPECT_EQ(a[i].score, b[i].score);
    EXPECT_EQ(a[i].turn, b[i].turn);
  }
}

TEST_F(FindFaces, GivesWhatTheCoreGivesForTheSameNumbers) {
  const cv::Mat photo = kit_test::readSample("group");
  cv::Mat rgb;
  cv::cvtColor(photo, rgb, cv::COLOR_BGR2RGB);
  oznalib::Detector core;
  ASSERT_EQ(core.load(oznalib::DetectorParams(OZNA_SOURCE_DIR "/public/compact/", "stages.txt")),
            oznalib::StatusOk);
  std::vector<oznalib::Detection> expected;
  const oznalib::CascadeParameter balanced = {2.0F, 640, 0.05F, 12, 1.26F, 13};
  ASSERT_EQ(oznalib::detect({rgb.cols, rgb.rows, 0, rgb.data}, core, expected, balanced),
            oznalib::StatusOk);
  ASSERT_GT(expected.size(), 3U);
  const Found found = find(finder_, viewOf(photo), defaultSearch());
  ASSERT_EQ(found.status, OZNAKIT_OK);
  ASSERT_EQ(found.faces.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(found.faces[i].left, expected[i].rect.left);
    EXPECT_EQ(found.faces[i].top, expected[i].rect.top);
    EXPECT_EQ(found.faces[i].right, expected[i].rect.right);
    EXPECT_EQ(found.faces[i].bottom, expected[i].rect.bottom);
    EXPECT_EQ(found.faces[i].score, expected[i].score);
    EXPECT_EQ(found.faces[i].turn, 0);
    EXPECT_EQ(found.faces[i].point_count, 0);
    EXPECT_TRUE(std::isnan(found.faces[i].roll));
  }
}

TEST_F(FindFaces, RowStepsAndFormatsChangeNothing) {
  const cv::Mat photo = kit_test::readSample("group");
  const Found expected = find(finder_, viewOf(photo), defaultSearch());
  ASSERT_GT(expected.faces.size(), 3U);
  // Bottom up, each row seven bytes further than it must be, with alpha in front.
  const std::ptrdiff_t row_bytes = 4 * photo.cols + 7;
  std::vector<std::uint8_t> stored(static_cast<std::size_t>(row_bytes) * photo.rows, 99);
  for (int y = 0; y < photo.rows; ++y) {
    std::uint8_t* pixel = &stored[static_cast<std::size_t>(row_bytes * (photo.rows - 1 - y))];
    for (int x = 0; x < photo.cols; ++x, pixel += 4) {
      const cv::Vec3b& bgr = photo.at<cv::Vec3b>(y, x);
      pixel[1] = bgr[2];
      pixel[2] = bgr[1];
      pixel[3] = bgr[0];
    }
  }
  oznakit_image image = viewOf(photo);
  image.format = OZNAKIT_ARGB;
  image.pixels = &stored[static_cast<std::size_t>(row_bytes * (photo.rows - 1))];
  image.row_bytes = -row_bytes;
  const Found found = find(finder_, image, defaultSearch());
  ASSERT_EQ(found.status, OZNAKIT_OK);
  expectSameFaces(found.faces, expected.faces);
}

TEST_F(FindFaces, LeastScoreAndMostFacesCutTheList) {
  const cv::Mat photo = kit_test::readSample("group");
  const Found all = find(finder_, viewOf(photo), defaultSearch());
  ASSERT_GT(all.faces.size(), 3U);
  oznakit_search_options options = defaultSearch();
  options.max_faces = 2;
  const Found two = find(finder_, viewOf(photo), options);
  ASSERT_EQ(two.faces.size(), 2U);
  EXPECT_EQ(two.faces[0].score, all.faces[0].score);
  EXPECT_EQ(two.faces[1].score, all.faces[1].score);
  options = defaultSearch();
  options.least_score = all.faces[1].score;
  const Found best = find(finder_, viewOf(photo), options);
  const auto expected =
      std::count_if(all.faces.begin(), all.faces.end(),
                    [&](const oznakit_face& face) { return face.score >= all.faces[1].score; });
  EXPECT_EQ(best.faces.size(), static_cast<std::size_t>(expected));
}

TEST_F(FindFaces, QuarterTurnsFindFacesThatLie) {
  const cv::Mat photo = kit_test::readSample("group");
  const Found upright = find(finder_, viewOf(photo), defaultSearch());
  ASSERT_GT(upright.faces.size(), 3U);
  oznakit_search_options options = defaultSearch();
  options.turns = 4;
  const cv::RotateFlags kCounterclockwise[] = {cv::ROTATE_90_COUNTERCLOCKWISE, cv::ROTATE_180,
                                               cv::ROTATE_90_CLOCKWISE};
  for (int turn = 1; turn < 4; ++turn) {
    cv::Mat turned;
    cv::rotate(photo, turned, kCounterclockwise[turn - 1]);
    const Found found = find(finder_, viewOf(turned), options);
    ASSERT_EQ(found.status, OZNAKIT_OK);
    // Turned clockwise so often, the picture is upright again, and so are its faces.
    std::size_t matched = 0;
    for (const oznakit_face& face : upright.faces) {
      const float w = static_cast<float>(photo.cols), h = static_cast<float>(photo.rows);
      const float x = (face.left + face.right) / 2, y = (face.top + face.bottom) / 2;
      const float cx = turn == 1 ? y : turn == 2 ? w - x : h - y;
      const float cy = turn == 1 ? w - x : turn == 2 ? h - y : x;
      matched += static_cast<std::size_t>(
          std::count_if(found.faces.begin(), found.faces.end(), [&](const oznakit_face& other) {
            return other.turn == turn && other.score == face.score &&
                   (other.left + other.right) / 2 == cx && (other.top + other.bottom) / 2 == cy;
          }));
    }
    EXPECT_EQ(matched, upright.faces.size()) << turn;
  }
}

TEST_F(FindFaces, OddSizesFindNothingAndFailWithNothing) {
  for (const cv::Size& size : {cv::Size(1, 1), cv::Size(65535, 3), cv::Size(3, 65535),
                               cv::Size(65535, 1), cv::Size(1000000, 16), cv::Size(20, 20)}) {
    const cv::Mat grey(size, CV_8UC3, cv::Scalar::all(128));
    for (const int preset : {OZNAKIT_BALANCED, OZNAKIT_FAST, OZNAKIT_THOROUGH}) {
      oznakit_search_options options = defaultSearch();
      options.preset = preset;
      options.turns = 4;
      const Found found = find(finder_, viewOf(grey), options);
      EXPECT_EQ(found.status, OZNAKIT_OK) << size << ": " << oznakit_last_message();
      EXPECT_EQ(found.faces.size(), 0U);
    }
  }
  const cv::Mat grey(4, 4, CV_8UC3, cv::Scalar::all(128));
  oznakit_image image = viewOf(grey);
  image.width = 0;
  EXPECT_EQ(find(finder_, image, defaultSearch()).status, OZNAKIT_BAD_ARGUMENT);
  EXPECT_STRNE(oznakit_last_message(), "");
  image = viewOf(grey);
  image.pixels = nullptr;
  EXPECT_EQ(find(finder_, image, defaultSearch()).status, OZNAKIT_BAD_ARGUMENT);
  image = viewOf(grey);
  image.size = 1;
  EXPECT_EQ(find(finder_, image, defaultSearch()).status, OZNAKIT_BAD_ARGUMENT);
}

TEST_F(FindFaces, RefusesScansThatTheFirstNetworkCannotHoldAndSaysWhatItCan) {
  const cv::Mat grey(640, 640, CV_8UC3, cv::Scalar::all(128));
  oznakit_search_options options = defaultSearch();
  oznakit_scan scan = {2, 640, 0.02F, 12, 1.26F, 13};  // 13 / 12 of 640 is 693.
  options.scan = &scan;
  EXPECT_EQ(find(finder_, viewOf(grey), options).status, OZNAKIT_BAD_ARGUMENT);
  const std::string sentence = oznakit_last_message();
  // 22 / 640 = 0.034375 is the first whole face whose 378 pixels fit 384.
  EXPECT_NE(sentence.find("found 693 by 693; a min_face_fraction of 0.035 would be accepted"),
            std::string::npos)
      << sentence;
  scan = {100, 100, 0.1F, 12, 1.26F, 13};
  const cv::Mat small(10, 10, CV_8UC3, cv::Scalar::all(128));
  EXPECT_EQ(find(finder_, viewOf(small), options).status, OZNAKIT_BAD_ARGUMENT);
  EXPECT_NE(std::string(oznakit_last_message()).find("at least 4 pixels"), std::string::npos)
      << oznakit_last_message();
}

TEST_F(FindFaces, FindsSmallFacesByTilesOnce) {
  // The group in the corner of a large grey picture.
  const cv::Mat photo = kit_test::readSample("group");
  cv::Mat large(2400, 3200, CV_8UC3, cv::Scalar::all(100));
  const cv::Rect place = cv::Rect(2000, 1500, photo.cols, photo.rows) & cv::Rect(0, 0, 3200, 2400);
  photo(cv::Rect({0, 0}, place.size())).copyTo(large(place));
  oznakit_search_options options = defaultSearch();
  options.preset = OZNAKIT_THOROUGH;
  const Found found = find(finder_, viewOf(large), options);
  ASSERT_EQ(found.status, OZNAKIT_OK);
  EXPECT_GT(found.faces.size(), 3U);
  for (std::size_t i = 0; i < found.faces.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      const oznakit_face &a = found.faces[i], &b = found.faces[j];
      const float width = std::min(a.right, b.right) - std::max(a.left, b.left);
      const float height = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
      const float smaller = std::min((a.right - a.left) * (a.bottom - a.top),
                                     (b.right - b.left) * (b.bottom - b.top));
      EXPECT_FALSE(width > 0 && height > 0 && width * height > 0.25F * smaller);
    }
  }
}

// In how many seconds of processor time a search promises to ask, and to stop. Sanitizers and code
// without optimisation make the work between two questions four times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double kPromised = 0.2;
#else
constexpr double kPromised = 0.05;
#endif

// Counts calls and stops at one of them.
struct Stopper {
  int calls = 0;
  int stop_at = -1;
  float last = 0;
  bool rises = true;
  double stopped_at = 0;
  double longest_gap = 0;
  double before = 0;
};

double threadSeconds() {
  timespec time = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

std::int32_t onProgress(float done, void* context) {
  auto* const stopper = static_cast<Stopper*>(context);
  stopper->rises = stopper->rises && done >= stopper->last && done <= 1;
  stopper->last = done;
  const double now = threadSeconds();
  stopper->longest_gap = std::max(stopper->longest_gap, now - stopper->before);
  stopper->before = now;
  stopper->stopped_at = now;
  return stopper->calls++ == stopper->stop_at ? 0 : 1;
}

TEST_F(FindFaces, ProgressRisesToOne) {
  const cv::Mat photo = kit_test::readSample("group");
  for (const int turns : {1, 4}) {
    Stopper stopper;
    oznakit_search_options options = defaultSearch();
    options.progress = onProgress;
    options.context = &stopper;
    options.turns = turns;
    options.preset = OZNAKIT_THOROUGH;
    EXPECT_EQ(find(finder_, viewOf(photo), options).status, OZNAKIT_OK);
    EXPECT_TRUE(stopper.rises);
    EXPECT_EQ(stopper.last, 1);
    EXPECT_GT(stopper.calls, 3);
  }
}

TEST_F(FindFaces, CancellingLeavesTheFinderUsable) {
  const cv::Mat photo = kit_test::readSample("group");
  const Found expected = find(finder_, viewOf(photo), defaultSearch());
  for (int stop_at = 0; stop_at < 12; ++stop_at) {
    Stopper stopper;
    stopper.stop_at = stop_at;
    oznakit_search_options options = defaultSearch();
    options.progress = onProgress;
    options.context = &stopper;
    options.preset = OZNAKIT_THOROUGH;
    const Found found = find(finder_, viewOf(photo), options);
    if (stopper.calls <= stop_at) break;  // The search was over before.
    EXPECT_EQ(found.status, OZNAKIT_CANCELLED) << stop_at;
    EXPECT_LT(threadSeconds() - stopper.stopped_at, kPromised);
    EXPECT_EQ(stopper.calls, stop_at + 1);
    expectSameFaces(find(finder_, viewOf(photo), defaultSearch()).faces, expected.faces);
  }
}

// Its copy with the border has 160 megapixels, which are freed at the end.
TEST_F(FindFaces, ASearchOf100MegapixelsWithAMarginAsksEvery50Milliseconds) {
  const cv::Mat large(8200, 12200, CV_8UC3, cv::Scalar(30, 60, 90));
  Stopper stopper;
  stopper.stop_at = 1 << 30;
  oznakit_search_options options = defaultSearch();
  options.progress = onProgress;
  options.context = &stopper;
  options.margin = 0.1;
  stopper.before = threadSeconds();
  EXPECT_EQ(find(finder_, viewOf(large), options).status, OZNAKIT_OK);
  EXPECT_LT(stopper.longest_gap, kPromised);
  RecordProperty("longest_gap_ms", static_cast<int>(1000 * stopper.longest_gap));
}

// 100 megapixels of photographs side by side, in an order that must be converted.
TEST_F(FindFaces, AThoroughSearchOf100MegapixelsMayBeCancelledEvery50Milliseconds) {
  const cv::Mat photo = kit_test::readSample("group");
  cv::Mat large(8200, 12200, CV_8UC3, cv::Scalar::all(0));
  for (int y = 0; y + photo.rows <= large.rows; y += photo.rows) {
    for (int x = 0; x + photo.cols <= large.cols; x += photo.cols) {
      photo.copyTo(large(cv::Rect(x, y, photo.cols, photo.rows)));
    }
  }
  Stopper stopper;
  stopper.stop_at = 400;
  oznakit_search_options options = defaultSearch();
  options.progress = onProgress;
  options.context = &stopper;
  options.preset = OZNAKIT_THOROUGH;
  stopper.before = threadSeconds();
  EXPECT_EQ(find(finder_, viewOf(large), options).status, OZNAKIT_CANCELLED);
  EXPECT_LT(threadSeconds() - stopper.stopped_at, kPromised);
  EXPECT_LT(stopper.longest_gap, kPromised);
  RecordProperty("longest_gap_ms", static_cast<int>(1000 * stopper.longest_gap));
}

}  // namespace
