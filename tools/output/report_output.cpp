// Thumbnails and chips, and the page around them.

#include "tools/output/report_output.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <opencv2/imgproc.hpp>
#include <system_error>
#include <vector>

#include "tools/output/image_encoder.h"
#include "tools/output/output_file.h"
#include "tools/process/exit_code.h"
#include "tools/process/streams.h"
#include "tools/process/terminal_text.h"

namespace oznatool {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostInThePage = std::size_t{24} << 20;  // Bytes of pictures.
constexpr int kThumbnailSide = 480;                            // In pixels.
constexpr int kChipSide = 96;

const char* const kPage =
#include "tools/output/report_page.inc"
    ;

std::string base64(const Bytes& bytes) {
  constexpr const char* kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve(bytes.size() * 4 / 3 + 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const unsigned second = i + 1 < bytes.size() ? bytes[i + 1] : 0;
    const unsigned third = i + 2 < bytes.size() ? bytes[i + 2] : 0;
    const unsigned all = static_cast<unsigned>(bytes[i]) << 16 | second << 8 | third;
    text += {kDigits[all >> 18], kDigits[all >> 12 & 63]};
    text += i + 1 < bytes.size() ? kDigits[all >> 6 & 63] : '=';
    text += i + 2 < bytes.size() ? kDigits[all & 63] : '=';
  }
  return text;
}

Bytes thumbnailOf(const cv::Mat& pixels) {
  const double times =
      std::min(1.0, static_cast<double>(kThumbnailSide) / std::max(pixels.cols, pixels.rows));
  const cv::Size size(std::max(1, static_cast<int>(std::lround(times * pixels.cols))),
                      std::max(1, static_cast<int>(std::lround(times * pixels.rows))));
  cv::Mat small;
  cv::resize(pixels, small, size, 0, 0, cv::INTER_AREA);
  return encodePicture("thumbnail.jpg", small);
}

// The face with a little around it, of kChipSide pixels; empty for a box without area inside.
cv::Mat chipOf(const cv::Mat& pixels, const Face& face) {
  const float side = std::max(face.rect.right - face.rect.left, face.rect.bottom - face.rect.top);
  if (!(side >= 1)) return {};
  const float margin = 0.15F * side;
  const cv::Rect around(static_cast<int>(std::floor(face.rect.left - margin)),
                        static_cast<int>(std::floor(face.rect.top - margin)),
                        static_cast<int>(std::ceil(side + 2 * margin)),
                        static_cast<int>(std::ceil(side + 2 * margin)));
  const cv::Rect inside = around & cv::Rect({}, pixels.size());
  if (inside.empty()) return {};
  cv::Mat square;
  cv::copyMakeBorder(pixels(inside), square, inside.y - around.y, around.br().y - inside.br().y,
                     inside.x - around.x, around.br().x - inside.br().x,
                     cv::BORDER_CONSTANT | cv::BORDER_ISOLATED);
  cv::Mat chip;
  cv::resize(square, chip, {kChipSide, kChipSide}, 0, 0,
             side > kChipSide ? cv::INTER_AREA : cv::INTER_LINEAR);
  return chip;
}

// The variance of the second derivative of a chip, whose size is always the same: near 0 for a
// blurred face, thousands for a sharp one.
double sharpnessOf(const cv::Mat& chip) {
  cv::Mat grey;
  cv::Mat second;
  cv::Scalar mean;
  cv::Scalar deviation;
  cv::cvtColor(chip, grey, cv::COLOR_RGB2GRAY);
  cv::Laplacian(grey, second, CV_32F);
  cv::meanStdDev(second, mean, deviation);
  return deviation[0] * deviation[0];
}

// JSON that may stand in a script: no end of one, no remark.
std::string inScript(const nlohmann::ordered_json& value) {
  const std::string text =
      escapedInJson(value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
  std::string safe;
  for (const char c : text) safe += c == '<' ? "\\u003c" : std::string(1, c);
  return safe;
}

}  // namespace

struct ReportOutput::Page {
  std::string path;
  std::string photographs;  // JSON objects with commas between them; pictures by number.
  std::string failures;
  std::vector<Bytes> pictures;  // Those that are still in memory.
  std::size_t picture_count = 0;
  std::size_t bytes = 0;
  bool has_folder = false;

  fs::path folder() const { return fs::path(path).replace_extension().string() + "-files"; }

  void writePicture(std::size_t number, const Bytes& picture) const {
    const std::string file = (folder() / (std::to_string(number) + ".jpg")).string();
    replaceFile(file, picture.data(), picture.size());
  }

  // Where a picture stands: in the page, or beside it once there are too many.
  std::string sourceOf(std::size_t number) const {
    if (!has_folder) return "data:image/jpeg;base64," + base64(pictures[number]);
    return folder().filename().string() + "/" + std::to_string(number) + ".jpg";
  }

  std::size_t add(const Bytes& picture) {
    const std::size_t number = picture_count++;
    bytes += picture.size();
    if (!has_folder && bytes > kMostInThePage) {
      has_folder = true;
      say("the pictures of the report take more than " + std::to_string(kMostInThePage >> 20) +
          " MiB: they lie beside it in " + printable(folder().string()));
      for (std::size_t i = 0; i < pictures.size(); ++i) writePicture(i, pictures[i]);
      pictures.clear();
    }
    if (has_folder) {
      writePicture(number, picture);
    } else {
      pictures.push_back(picture);
    }
    return number;
  }
};

ReportOutput::ReportOutput(const std::string& page) : page_(std::make_unique<Page>()) {
  page_->path = page;
  std::error_code error;
  const fs::path folder = fs::path(page).parent_path();
  if (!folder.empty() && !fs::is_directory(folder, error)) {
    throw Failure(kExitOutput, printable(page) + ": its directory does not exist");
  }
  if (fs::is_directory(page, error)) {
    throw Failure(kExitOutput, printable(page) + ": is a directory and no page");
  }
}

ReportOutput::~ReportOutput() = default;

PreparedFiles ReportOutput::prepare(const Input& /*input*/, const Record& record,
                                    Photograph& photograph) const {
  struct Chip {
    Bytes bytes;
    double sharpness = 0;
  };
  const auto thumbnail = std::make_shared<const Bytes>(thumbnailOf(photograph.pixels));
  const auto chips = std::make_shared<std::vector<Chip>>();
  std::int64_t bytes = static_cast<std::int64_t>(thumbnail->size());
  for (const Face& face : record.faces) {
    cv::Mat chip = chipOf(photograph.pixels, face);
    if (chip.empty()) chip = cv::Mat(kChipSide, kChipSide, CV_8UC3, cv::Scalar());
    const double sharpness = sharpnessOf(chip);
    chips->push_back({encodePicture("chip.jpg", chip), sharpness});
    bytes += static_cast<std::int64_t>(chips->back().bytes.size());
  }
  return {bytes, [this, thumbnail, chips](Record& written) {
            nlohmann::ordered_json entry;
            entry["path"] = written.path;
            entry["width"] = written.size.width;
            entry["height"] = written.size.height;
            entry["thumbnail"] = page_->add(*thumbnail);
            entry["faces"] = nlohmann::ordered_json::array();
            for (std::size_t i = 0; i < written.faces.size(); ++i) {
              const Face& face = written.faces[i];
              nlohmann::ordered_json shown;
              shown["left"] = std::lround(face.rect.left);
              shown["top"] = std::lround(face.rect.top);
              shown["right"] = std::lround(face.rect.right);
              shown["bottom"] = std::lround(face.rect.bottom);
              shown["score"] = face.score.value_or(1.0F);
              shown["sharpness"] = std::lround((*chips)[i].sharpness);
              shown["chip"] = page_->add((*chips)[i].bytes);
              entry["faces"].push_back(shown);
            }
            if (!page_->photographs.empty()) page_->photographs += ",\n";
            page_->photographs += inScript(entry);
          }};
}

void ReportOutput::noteFailure(const Record& record) const {
  nlohmann::ordered_json entry;
  entry["path"] = record.path;
  entry["message"] = record.failure->reason();
  if (!page_->failures.empty()) page_->failures += ",\n";
  page_->failures += inScript(entry);
}

void ReportOutput::finish() const {
  std::string sources = "[";
  for (std::size_t i = 0; i < page_->picture_count; ++i) {
    sources += (i == 0 ? "" : ",\n") + inScript(page_->sourceOf(i));
  }
  const std::string data = "{\"photographs\":[" + page_->photographs + "],\n\"failures\":[" +
                           page_->failures + "],\n\"pictures\":" + sources + "]}";
  const std::string mark = "/*DATA*/{\"photographs\":[],\"failures\":[],\"pictures\":[]}";
  std::string page = kPage;
  page.replace(page.find(mark), mark.size(), data);
  replaceFile(page_->path, page.data(), page.size());
}

}  // namespace oznatool
