// The stage list, the files it names, and what can be told about them without the library.

#include "tools/cascade_files.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>

#include "tools/exit_code.h"
#include "tools/input_file.h"
#include "tools/streams.h"
#include "tools/system_reason.h"

namespace oznatool {

const char* const kStageListName = "stages.txt";

namespace {

constexpr const char* kCalibrationDirectory = "cascades/x32Net-x32-3Scales-200";
constexpr size_t kColours = 3;  // Planes of every network's input.

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
  throw Failure(kExitModel, printable(path) + ": " + reason);
}

[[noreturn]] void failToRead(const std::string& path, const Unreadable& problem) {
  const ExitCode code = problem.error() == 0 ? kExitModel : exitCodeOf(problem.error(), kExitModel);
  throw Failure(code, printable(path) + ": model file: " + problem.what());
}

// What read gives of a model file, which must be a filled, regular file.
template <class Read>
auto fromModelFile(const std::string& path, const Read& read) {
  try {
    InputFile file(path);
    if (file.size() == 0) fail(path, "damaged model file: is empty");
    return read(file);
  } catch (const Unreadable& problem) {
    failToRead(path, problem);
  }
}

std::string withoutComments(const std::string& text) {
  std::istringstream lines(text);
  std::string kept;
  for (std::string line; std::getline(lines, line);) kept += line.substr(0, line.find('#')) + "\n";
  return kept;
}

// The integers behind every occurrence of a key in a network definition, in their order.
std::vector<long> valuesOf(const std::string& key, const std::string& definition_text) {
  const std::string text = withoutComments(definition_text);
  std::vector<long> values;
  for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at)) {
    at = text.find_first_not_of(" \t\r\n", at + key.size());
    if (at == std::string::npos || text[at] != ':') continue;
    values.push_back(std::strtol(text.c_str() + at + 1, nullptr, 10));
  }
  return values;
}

// The size of the input that a network definition declares.
Size declaredInput(const std::string& path) {
  const std::vector<long> dimensions = valuesOf("input_dim", readModelText(path));
  if (dimensions.size() != 4)
    fail(path, "damaged model file: does not declare one input of four dimensions");
  if (dimensions[1] != static_cast<long>(kColours)) {
    fail(path, "damaged model file: its input has not three planes");
  }
  constexpr long kLargestSide = 32768;
  for (const long side : {dimensions[2], dimensions[3]}) {
    if (side < 1 || side > kLargestSide)
      fail(path, "damaged model file: its input has no sensible size");
  }
  return {dimensions[3], dimensions[2]};
}

// Tests the files of one network. input  What its definition declares.
void checkNetwork(const NetworkFiles& files, const Size& input) {
  fromModelFile(files.weights, [](const InputFile&) { return true; });
  if (files.mean.empty()) return;
  const size_t expected = kColours * static_cast<size_t>(input.width * input.height);
  const size_t count = readNumbers(files.mean).size();
  if (count != expected) {
    fail(files.mean, "damaged model file: holds " + std::to_string(count) + " numbers instead of " +
                         std::to_string(expected));
  }
}

NetworkFiles firstStageFiles(const std::string& directory) {
  return {directory + "/prototxt-full", directory + "/proto-full", ""};
}

NetworkFiles laterStageFiles(const std::string& directory) {
  return {directory + "/prototxt-deploy", directory + "/proto", directory + "/mean"};
}

// The stages that the list names. Every line counts for the library, also an empty one.
std::vector<NetworkFiles> listedStages(const std::string& root) {
  const std::string path = root + kStageListName;
  std::istringstream lines(readModelText(path));
  std::vector<NetworkFiles> stages;
  int line_number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++line_number;
    if (!line.empty() && line[0] == '#') continue;
    std::istringstream words(line);
    std::string name;
    float threshold = 0;
    if (!(words >> name >> threshold)) {
      fail(path, "damaged model file: line " + std::to_string(line_number) +
                     " is not a stage directory and a threshold");
    }
    stages.push_back(stages.empty() ? firstStageFiles(root + name) : laterStageFiles(root + name));
  }
  if (stages.empty()) fail(path, "damaged model file: names no stage");
  return stages;
}

}  // namespace

std::string readModelText(const std::string& path) {
  constexpr std::int64_t kLargest = std::int64_t{1} << 30;  // In bytes.
  return fromModelFile(path, [](InputFile& file) { return file.readAll(kLargest); });
}

std::vector<float> readNumbers(const std::string& path) {
  std::istringstream text(readModelText(path));
  std::vector<float> numbers;
  for (float number = 0; text >> number;) {
    if (!std::isfinite(number)) break;
    numbers.push_back(number);
  }
  if (!text.eof()) fail(path, "damaged model file: holds something that is not a number");
  return numbers;
}

namespace {

// check_too  Whether the files that hold numbers are tested.
CascadeFiles readCascadeFiles(const std::string& root, bool check_too) {
  CascadeFiles files;
  files.root = root;
  files.networks = listedStages(root);
  files.networks.push_back(laterStageFiles(root + kCalibrationDirectory));
  for (size_t i = 0; i < files.networks.size(); ++i) {
    const Size input = declaredInput(files.networks[i].definition);
    if (check_too) checkNetwork(files.networks[i], input);
    if (i == 0) {
      files.first_input = input;
      continue;
    }
    const auto side = static_cast<int>(std::max(input.width, input.height));
    files.last_input_px = std::max(files.last_input_px, side);
  }
  files.calibration_table = root + kCalibrationDirectory + "/offsets-scales";
  if (check_too) readNumbers(files.calibration_table);
  return files;
}

}  // namespace

CascadeFiles listCascadeFiles(const std::string& root) {
  return readCascadeFiles(root, /*check_too=*/false);
}

CascadeFiles checkCascadeFiles(const std::string& root) {
  return readCascadeFiles(root, /*check_too=*/true);
}

void checkCalibrationTable(const CascadeFiles& files) {
  const std::string definition = readModelText(files.networks.back().definition);
  const std::vector<long> outputs = valuesOf("num_output", definition);
  const size_t patterns =
      outputs.empty() || outputs.back() < 1 ? 1 : static_cast<size_t>(outputs.back());
  const size_t count = readNumbers(files.calibration_table).size();
  if (count % 3 != 0 || count / 3 < patterns) {
    fail(files.calibration_table, "damaged model file: holds " + std::to_string(count) +
                                      " numbers instead of three for each of " +
                                      std::to_string(patterns) + " patterns");
  }
}

}  // namespace oznatool
