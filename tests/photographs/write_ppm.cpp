// Writes a photograph as a plain pixel file: write_ppm PHOTOGRAPH FILE.ppm

#include <opencv2/imgcodecs.hpp>

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const cv::Mat photograph = cv::imread(argv[1]);
  return !photograph.empty() && cv::imwrite(argv[2], photograph) ? 0 : 1;
}
