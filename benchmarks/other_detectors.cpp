// Runs a detector that Debian ships over photographs: what compare_detectors.py measures ours
// against.
//
//   other_detectors DETECTOR <photographs     cascade:FILE.xml, dlib, or dlib:N with N enlargements
//   by two
//
// One path per line on standard input. For each photograph it prints "photograph MILLISECONDS", the
// processor time of a search with the detector's own settings, decoding left out, then lines
// "default LEFT TOP WIDTH HEIGHT" of that search and lines "scored LEFT TOP WIDTH HEIGHT SCORE" of
// a lenient one, whose scores order the boxes.

#include <dlib/image_processing/frontal_face_detector.h>
#include <dlib/image_transforms.h>
#include <dlib/opencv/cv_image.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <iostream>
#include <memory>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>
#include <string>
#include <utility>
#include <vector>

namespace {

struct Box {
  cv::Rect2d rect;
  double score;
};

// Boxes of a grey picture; with `lenient` also those that the detector's own settings drop.
using Search = std::function<std::vector<Box>(const cv::Mat& grey, bool lenient)>;

Search cascadeSearch(const std::string& file) {
  const auto cascade = std::make_shared<cv::CascadeClassifier>();
  if (!cascade->load(file)) {
    std::cerr << "other_detectors: no cascade in " << file << '\n';
    std::exit(2);
  }
  return [cascade](const cv::Mat& grey, bool lenient) {
    std::vector<cv::Rect> rects;
    std::vector<double> weights;
    if (lenient) {
      std::vector<int> levels;
      cascade->detectMultiScale(grey, rects, levels, weights, 1.1, 1, 0, cv::Size(), cv::Size(),
                                /*outputRejectLevels=*/true);
      // A window that fails in a late stage is worth less than any that passes them all.
      for (std::size_t i = 0; i < rects.size(); ++i) weights[i] += 1000.0 * levels[i];
    } else {
      cascade->detectMultiScale(grey, rects);
      weights.assign(rects.size(), 0);
    }
    std::vector<Box> boxes;
    for (std::size_t i = 0; i < rects.size(); ++i) boxes.push_back({rects[i], weights[i]});
    return boxes;
  };
}

Search dlibSearch(int enlargements) {
  const auto detector =
      std::make_shared<dlib::frontal_face_detector>(dlib::get_frontal_face_detector());
  return [detector, enlargements](const cv::Mat& grey, bool lenient) {
    dlib::array2d<unsigned char> picture;
    dlib::assign_image(picture, dlib::cv_image<unsigned char>(grey));
    dlib::pyramid_down<2> pyramid;
    for (int i = 0; i < enlargements; ++i) dlib::pyramid_up(picture, pyramid);
    std::vector<std::pair<double, dlib::rectangle>> found;
    (*detector)(picture, found, lenient ? -1.0 : 0.0);
    std::vector<Box> boxes;
    for (auto& [score, rectangle] : found) {
      const dlib::rectangle r = pyramid.rect_down(rectangle, static_cast<unsigned>(enlargements));
      boxes.push_back({cv::Rect2d(r.left(), r.top(), r.width(), r.height()), score});
    }
    return boxes;
  };
}

double processorMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec);
}

void print(const char* kind, const std::vector<Box>& boxes, bool scored) {
  for (const Box& box : boxes) {
    std::printf("%s %.9g %.9g %.9g %.9g", kind, box.rect.x, box.rect.y, box.rect.width,
                box.rect.height);
    if (scored) std::printf(" %.9g", box.score);
    std::printf("\n");
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string name = argc == 2 ? argv[1] : "";
  Search search;
  if (name.rfind("cascade:", 0) == 0) {
    search = cascadeSearch(name.substr(8));
  } else if (name.rfind("dlib", 0) == 0) {
    search = dlibSearch(name.size() > 5 ? std::atoi(name.c_str() + 5) : 0);
  } else {
    std::cerr << "usage: other_detectors cascade:FILE.xml|dlib|dlib:N <photographs\n";
    return 2;
  }
  cv::setNumThreads(1);
  for (std::string path; std::getline(std::cin, path);) {
    const cv::Mat picture = cv::imread(path, cv::IMREAD_COLOR | cv::IMREAD_IGNORE_ORIENTATION);
    if (picture.empty()) {
      std::cerr << "other_detectors: cannot read " << path << '\n';
      return 1;
    }
    const double start = processorMilliseconds();
    cv::Mat grey;
    cv::cvtColor(picture, grey, cv::COLOR_BGR2GRAY);
    const std::vector<Box> boxes = search(grey, /*lenient=*/false);
    std::printf("photograph %.9g\n", processorMilliseconds() - start);
    print("default", boxes, /*scored=*/false);
    print("scored", search(grey, /*lenient=*/true), /*scored=*/true);
  }
  return 0;
}
