// ozna bench.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <numeric>

#include "tools/commands/cascade_prefixes.h"
#include "tools/commands/commands.h"
#include "tools/commands/text_table.h"
#include "tools/photograph/photograph_failure.h"
#include "tools/photograph/photograph_reader.h"
#include "tools/process/interrupt.h"
#include "tools/process/machine_limits.h"
#include "tools/process/streams.h"
#include "tools/run/face_finder.h"
#include "tools/run/inputs.h"

namespace oznatool {
namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

double medianOf(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// The stages of the work on a photograph.
struct Timed {
  std::vector<std::string> stages;
  // By photograph, then by stage: medians of rounds.
  std::vector<std::vector<double>> milliseconds;
  std::size_t faces = 0;
  double megapixels = 0;
};

// Times photographs. The cascade is run whole and cut off behind each of its stages: what a stage
// costs is the difference to the run without it.
class Bench {
 public:
  explicit Bench(const FindOptions& options) : finder_(options), prefixes_(finder_.directory()) {
    FindOptions shorter = options;
    shorter.points = 0;
    for (const std::string& directory : prefixes_.directories()) {
      shorter.models = directory;
      searches_.push_back(std::make_unique<FaceFinder>(shorter));
    }
    timed_.stages = {"read", "decode"};
    for (std::size_t i = 0; i <= searches_.size(); ++i) timed_.stages.push_back(stageName(i));
    if (options.points > 0) timed_.stages.push_back("landmarks");
  }

  // Errors  PhotographFailure.
  void time(int round_count, MemoryBudget& budget, const std::string& path) {
    std::vector<std::vector<double>> rounds(timed_.stages.size());
    for (int round = 0; round < round_count && !interrupted(); ++round) {
      const std::vector<double> times = timeOnce(budget, path, /*is_first=*/round == 0);
      for (std::size_t i = 0; i < times.size(); ++i) rounds[i].push_back(times[i]);
    }
    std::vector<double> medians;
    for (const std::vector<double>& values : rounds) medians.push_back(medianOf(values));
    timed_.milliseconds.push_back(medians);
  }

  const Timed& timed() const { return timed_; }

 private:
  std::string stageName(std::size_t stage) const {
    if (stage == 0) return "scan";
    const std::string name = "network " + std::to_string(stage + 1);
    // The boxes that go into a later network have been calibrated.
    return stage == 1 ? name : name + " and calibration";
  }

  std::vector<double> timeOnce(MemoryBudget& budget, const std::string& path, bool is_first) {
    std::vector<double> times;
    Clock::time_point begin = Clock::now();
    const auto lap = [&] {
      times.push_back(millisecondsSince(begin));
      begin = Clock::now();
    };
    const auto reduction_of = [this](const cv::Size& upright) {
      return finder_.reductionFor(upright);
    };
    ReadFile file = readWithin(budget, {path, path}, finder_.options().search, reduction_of,
                               Purpose::kSearch, interrupted);
    lap();
    const Photograph photograph = decodeFile(path, file);
    lap();
    double before = 0;
    for (const auto& search : searches_) {
      begin = Clock::now();
      search->search(photograph);
      const double whole = millisecondsSince(begin);
      times.push_back(std::max(0.0, whole - before));
      before = whole;
    }
    begin = Clock::now();
    std::vector<Face> faces = finder_.search(photograph);
    times.push_back(std::max(0.0, millisecondsSince(begin) - before));
    begin = Clock::now();
    finder_.align(photograph, faces);
    if (finder_.options().points > 0) lap();
    if (is_first) {
      timed_.faces += faces.size();
      timed_.megapixels += static_cast<double>(photograph.size.area()) / 1e6;
    }
    return times;
  }

  FaceFinder finder_;
  CascadePrefixes prefixes_;
  std::vector<std::unique_ptr<FaceFinder>> searches_;  // One for each shorter cascade.
  Timed timed_;
};

// What was measured, in sums over the photographs.
struct Sums {
  std::vector<double> stages;  // In milliseconds.
  std::vector<double> photographs;
  double whole = 0;
};

Sums sumsOf(const Timed& timed) {
  Sums sums;
  sums.stages.resize(timed.stages.size());
  for (const std::vector<double>& photograph : timed.milliseconds) {
    for (std::size_t i = 0; i < photograph.size(); ++i) sums.stages[i] += photograph[i];
    sums.photographs.push_back(std::accumulate(photograph.begin(), photograph.end(), 0.0));
    sums.whole += sums.photographs.back();
  }
  return sums;
}

std::string fixed(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof(text), format, value);
  return text;
}

std::string asText(const Timed& timed, int rounds) {
  const Sums sums = sumsOf(timed);
  const auto count = static_cast<double>(timed.milliseconds.size());
  std::vector<std::vector<std::string>> rows = {{"stage", "ms per photograph", "share"}};
  for (std::size_t i = 0; i < timed.stages.size(); ++i) {
    rows.push_back({timed.stages[i], fixed("%15.2f", sums.stages[i] / count),
                    fixed("%5.1f%%", 100 * sums.stages[i] / sums.whole)});
  }
  rows.push_back({"all", fixed("%15.2f", sums.whole / count), fixed("%5.1f%%", 100)});
  const bool is_one = timed.milliseconds.size() == 1;
  return std::to_string(timed.milliseconds.size()) +
         (is_one ? " photograph of " : " photographs of ") +
         fixed("%.1f", timed.megapixels / count) + " megapixels and " +
         fixed("%.1f", static_cast<double>(timed.faces) / count) +
         " faces on average, one thread, median of " + std::to_string(rounds) +
         (rounds == 1 ? " round\n" : " rounds\n") + columnsOf(rows) + "  " +
         fixed("%.2f", 1000 * count / sums.whole) + " photographs per second; median photograph " +
         fixed("%.2f", medianOf(sums.photographs)) + " ms, slowest " +
         fixed("%.2f", *std::max_element(sums.photographs.begin(), sums.photographs.end())) +
         " ms\n";
}

nlohmann::ordered_json asJson(const Timed& timed, int rounds) {
  const Sums sums = sumsOf(timed);
  const auto count = static_cast<double>(timed.milliseconds.size());
  nlohmann::ordered_json stages = nlohmann::ordered_json::array();
  for (std::size_t i = 0; i < timed.stages.size(); ++i) {
    stages.push_back({{"stage", timed.stages[i]},
                      {"milliseconds", sums.stages[i] / count},
                      {"share", sums.stages[i] / sums.whole}});
  }
  return {{"photographs", timed.milliseconds.size()},
          {"rounds", rounds},
          {"megapixels", timed.megapixels},
          {"faces", timed.faces},
          {"milliseconds", sums.whole / count},
          {"median", medianOf(sums.photographs)},
          {"stages", stages}};
}

}  // namespace

ExitCode benchCommand(const Options& options) {
  Bench bench(options.find);
  MemoryBudget budget(workingMemory(options.run.memory_mib));
  watchInterrupts();
  ExitCode status = kExitOk;
  Inputs inputs(options.run.inputs, nullptr);
  while (const std::optional<Input> input = inputs.next(interrupted)) {
    try {
      bench.time(options.rounds, budget, input->path);
    } catch (const Failure& failure) {
      say(failure.what());
      status = std::max(status, failure.code());
    } catch (const std::exception& error) {
      const PhotographFailure failure = failureOf(input->path, error);
      say(failure.what());
      status = std::max(status, failure.code());
    }
  }
  if (interrupted()) return kExitInterrupted;
  status = std::max(status, inputs.status());
  if (bench.timed().milliseconds.empty()) {
    say("no photograph could be timed");
    return std::max(status, kExitPhotographs);
  }
  writeData(options.run.report.format == Format::kJson
                ? lineOf(asJson(bench.timed(), options.rounds))
                : asText(bench.timed(), options.rounds));
  return status;
}

}  // namespace oznatool
