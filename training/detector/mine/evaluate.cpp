// Command line program that measures cascades on annotated photographs.

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <opencv2/imgcodecs.hpp>
#include <stdexcept>

#include "training/common/program.h"
#include "training/detector/mine/charts.h"
#include "training/detector/mine/evaluation.h"
#include "training/detector/mine/photographs.h"

namespace dt = detector_training;

namespace {

struct Arguments {
  std::string data;
  std::vector<std::string> models;
  std::vector<std::string> names;
  std::string split = "dev";
  dt::Part part = dt::Part::All;
  std::string curve;
  std::string reliability;
  std::string scores;
  std::string misses;
  std::string wrong;
  int sheet_count = 96;
  int limit = 0;
  int threads = 2;
};

// A row of the table: what it shows, and how it is taken from one measurement.
using Row = std::pair<std::string, std::function<double(const dt::Measurement&)>>;
using FaceChoice = std::function<bool(const dt::FaceResult&)>;

double recallOf(const dt::Measurement& measurement, const FaceChoice& choice) {
  dt::Measurement part;
  for (const dt::FaceResult& face : measurement.faces) {
    if (choice(face)) part.faces.push_back(face);
  }
  return dt::atThreshold(part, measurement.threshold).recall;
}

FaceChoice between(double dt::FaceResult::*value, double from, double to) {
  return [=](const dt::FaceResult& face) { return face.*value >= from && face.*value < to; };
}

std::vector<std::pair<std::string, FaceChoice>> faceClasses() {
  const auto side = &dt::FaceResult::relative_side;
  const auto brightness = &dt::FaceResult::brightness;
  return {{"side 5 to 8 percent", between(side, 0.05, 0.08)},
          {"side 8 to 15 percent", between(side, 0.08, 0.15)},
          {"side 15 to 30 percent", between(side, 0.15, 0.30)},
          {"side from 30 percent", between(side, 0.30, 9)},
          {"dark face (grey level below 80)", between(brightness, 0, 80)},
          {"medium face (80 to 140)", between(brightness, 80, 140)},
          {"light face (from 140)", between(brightness, 140, 256)},
          {"black and white photograph",
           [](const dt::FaceResult& face) { return face.grey_photograph; }}};
}

std::vector<Row> tableRows(const dt::Measurement& any) {
  std::vector<Row> rows;
  for (const double rate : {0.02, 0.05, 0.1, 0.2, 0.5}) {
    char name[64];
    std::snprintf(name, sizeof name, "recall at %g false positives per photograph", rate);
    rows.emplace_back(name,
                      [rate](const dt::Measurement& m) { return dt::atWrongEach(m, rate).recall; });
  }
  const auto built_in = [](const dt::Measurement& m) { return dt::atThreshold(m, m.threshold); };
  rows.emplace_back("built-in thresholds: recall",
                    [=](const dt::Measurement& m) { return built_in(m).recall; });
  rows.emplace_back("built-in thresholds: false positives per photograph",
                    [=](const dt::Measurement& m) { return built_in(m).wrong_each; });
  rows.emplace_back("built-in thresholds: mean overlap of matches",
                    [=](const dt::Measurement& m) { return built_in(m).mean_overlap; });
  for (const auto& [name, choice] : faceClasses()) {
    const auto count = std::count_if(any.faces.begin(), any.faces.end(), choice);
    rows.emplace_back("recall, " + name + ", " + std::to_string(count) + " faces",
                      [choice = choice](const dt::Measurement& m) { return recallOf(m, choice); });
  }
  for (const auto& [from, to] : {std::pair{0.5F, 0.8F}, {0.8F, 0.95F}, {0.95F, 1.0F}}) {
    char name[64];
    std::snprintf(name, sizeof name, "faces among boxes that score %g to %g", from, to);
    rows.emplace_back(name, [from = from, to = to](const dt::Measurement& m) {
      return dt::reliabilityOf(m, from, to).share;
    });
  }
  const char* const networks[] = {"", "second network", "third network", "fourth network"};
  for (std::size_t i = 0; i < std::size(networks); ++i) {
    const std::string judge =
        i == 0 ? "a window of the scan" : std::string("a box into the ") + networks[i];
    rows.emplace_back("share of faces with " + judge, [i](const dt::Measurement& m) {
      const auto count = std::count_if(
          m.faces.begin(), m.faces.end(),
          [&](const dt::FaceResult& face) { return i < face.reached.size() && face.reached[i]; });
      return static_cast<double>(count) / std::max<std::size_t>(m.faces.size(), 1);
    });
  }
  const auto each = [&](const std::string& name,
                        const std::function<double(const dt::Measurement&)>& value) {
    rows.emplace_back(
        name, [value](const dt::Measurement& m) { return value(m) / std::max(m.photographs, 1); });
  };
  for (std::size_t i = 0; i < std::size(networks); ++i) {
    each(i == 0 ? "windows scanned per photograph" : std::string("boxes into the ") + networks[i],
         [i](const dt::Measurement& m) { return i < m.judged.size() ? m.judged[i] : 0; });
  }
  each("boxes into the last suppression", [](const dt::Measurement& m) { return m.passed; });
  each("milliseconds of processor time per photograph",
       [](const dt::Measurement& m) { return m.milliseconds; });
  return rows;
}

void printTable(const std::vector<dt::Measurement>& measurements) {
  std::printf("%d photographs, %d faces that count\n", measurements[0].photographs,
              static_cast<int>(measurements[0].faces.size()));
  std::printf("%-60s", "");
  for (const dt::Measurement& m : measurements) std::printf(" %16s", m.name.c_str());
  std::printf("\n");
  for (const Row& row : tableRows(measurements[0])) {
    std::printf("%-60s", row.first.c_str());
    for (const dt::Measurement& m : measurements) std::printf(" %16.3f", row.second(m));
    std::printf("\n");
  }
}

// The number of photographs, then a line for each box of the first cascade: its score, and 1 for a
// face or 0 for none.
void writeScores(const std::string& path, const dt::Measurement& measurement) {
  if (path.empty()) return;
  std::ofstream file(path);
  file.precision(9);
  file << measurement.photographs << '\n';
  for (const dt::FaceResult& face : measurement.faces) {
    if (face.score >= 0) file << face.score << " 1\n";
  }
  for (const dt::WrongBox& wrong : measurement.wrong) file << wrong.box.score << " 0\n";
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path);
}

void save(const std::string& path, const cv::Mat& picture) {
  if (!path.empty() && !cv::imwrite(path, picture)) {
    throw std::runtime_error("cannot write " + path);
  }
}

void evaluate(const Arguments& arguments) {
  auto photographs =
      dt::takePart(dt::readPhotographs(arguments.data, arguments.split), arguments.part);
  if (arguments.limit > 0 && photographs.size() > static_cast<std::size_t>(arguments.limit)) {
    photographs.resize(arguments.limit);
  }
  std::vector<dt::Measurement> measurements;
  for (const std::string& models : arguments.models) {
    measurements.push_back(dt::measure(models, photographs, arguments.threads));
  }
  for (std::size_t i = 0; i < std::min(arguments.names.size(), measurements.size()); ++i) {
    measurements[i].name = arguments.names[i];
  }
  printTable(measurements);
  writeScores(arguments.scores, measurements[0]);
  save(arguments.curve, dt::drawRecallCurves(measurements));
  save(arguments.reliability, dt::drawReliability(measurements));
  if (!arguments.misses.empty()) {
    save(arguments.misses, dt::drawMisses(measurements[0], photographs, arguments.sheet_count));
  }
  if (!arguments.wrong.empty()) {
    save(arguments.wrong, dt::drawWrong(measurements[0], photographs, arguments.sheet_count));
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Measures the detector's cascade.");
  Arguments arguments;
  const std::map<std::string, dt::Part> parts{
      {"all", dt::Part::All}, {"fit", dt::Part::Fit}, {"held", dt::Part::Held}};
  app.add_option("data", arguments.data, "Folder with detection/")->required();
  app.add_option("--models", arguments.models,
                 "Folder with stages.txt and cascades/; several: one column each")
      ->required();
  app.add_option("--names", arguments.names, "What to call them in place of their folders");
  app.add_option("--split", arguments.split)->capture_default_str();
  app.add_option("--part", arguments.part, "Of the photographs: fit, held or all")
      ->transform(CLI::CheckedTransformer(parts));
  app.add_option("--curve", arguments.curve, "Picture of the recall curves to write");
  app.add_option("--reliability", arguments.reliability,
                 "Picture of what scores are worth to write");
  app.add_option("--scores", arguments.scores,
                 "List of the first cascade's boxes to write: score, and 1 for a face");
  app.add_option("--misses", arguments.misses, "Contact sheet of missed faces to write");
  app.add_option("--wrong", arguments.wrong, "Contact sheet of wrong boxes to write");
  app.add_option("--sheet-count", arguments.sheet_count, "Pictures on a sheet, at most")
      ->capture_default_str();
  app.add_option("--limit", arguments.limit, "So many photographs only");
  app.add_option("--threads", arguments.threads)->check(CLI::PositiveNumber)->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  return training::runProgram("evaluate_detector", 1, [&] { evaluate(arguments); });
}
