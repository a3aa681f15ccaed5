// ozna models.

#include <cstddef>
#include <filesystem>
#include <sstream>
#include <system_error>

#include "tools/commands/checksum.h"
#include "tools/commands/commands.h"
#include "tools/commands/text_table.h"
#include "tools/process/input_file.h"
#include "tools/process/streams.h"
#include "tools/run/model_directory.h"
#include "tools/run/opened_models.h"

namespace oznatool {
namespace {

namespace fs = std::filesystem;

// What there is of a directory's two models.
const std::string kStageList = "stages.txt";
const std::string kLandmarks = "models/face68.sdm";

// One of the two models with the files that a load reads.
struct Model {
  std::string name;
  std::string purpose;
  std::vector<std::string> files;
  std::string licence;
};

// The text of a description, or an empty one where it cannot be read.
std::string textIn(const std::string& path) {
  constexpr std::int64_t kLargest = 1 << 20;  // In bytes.
  try {
    return InputFile(path).readAll(kLargest);
  } catch (const Unreadable&) {
    return "";
  }
}

// What the model's own description says of its use: the paragraph that begins with "**Use.**".
std::string licenceIn(const std::string& description) {
  const std::string mark = "**Use.**";
  std::istringstream file(textIn(description));
  std::string text;
  for (std::string line; std::getline(file, line);) {
    if (text.empty() && line.rfind(mark, 0) == 0) {
      text = line.substr(mark.size());
    } else if (!text.empty()) {
      if (line.empty()) break;
      text += " " + line;
    }
  }
  const std::size_t begin = text.find_first_not_of(' ');
  return begin == std::string::npos ? "not stated: there is no " + description : text.substr(begin);
}

// A model after its files have been checked. description  Under the directory.
Model checkedModel(const std::string& name, const std::string& purpose, Models models,
                   const std::string& directory, const std::string& description) {
  Model model = {name, purpose, {}, licenceIn(directory + description)};
  for (const std::string& file : openModels(directory, models).files()) {
    model.files.push_back(directory + file);
  }
  return model;
}

bool exists(const std::string& path) {
  std::error_code error;
  return fs::exists(path, error);
}

std::vector<Model> modelsIn(const std::string& directory) {
  std::vector<Model> models;
  if (exists(directory + kStageList)) {
    const std::string description =
        exists(directory + "MODEL.md") ? "MODEL.md" : "cascades/MODEL.md";
    models.push_back(
        checkedModel("cascade", "finds faces", Models::kCascade, directory, description));
  }
  // A cascade in a folder of the models' place goes with the landmark model of that place.
  for (const std::string place : {"", "../"}) {
    if (!exists(directory + place + kLandmarks)) continue;
    models.push_back(checkedModel("landmarks", "places 68 or 5 points", Models::kLandmarks,
                                  directory, place + "models/MODEL.md"));
    break;
  }
  if (models.empty()) {
    throw Failure(kExitModel,
                  printable(directory) + ": holds neither " + kStageList + " nor " + kLandmarks);
  }
  return models;
}

std::uintmax_t sizeOf(const std::string& path) {
  std::error_code error;
  return fs::file_size(path, error);
}

std::string asText(const std::string& directory, const std::vector<Model>& models) {
  std::string text = "models in " + printable(directory) + "\n";
  for (const Model& model : models) {
    text += "\n" + model.name + ": " + model.purpose + "\n";
    std::vector<std::vector<std::string>> rows = {{"bytes", "SHA-256", "file"}};
    for (const std::string& path : model.files) {
      rows.push_back({std::to_string(sizeOf(path)), sha256OfFile(path),
                      printable(path.substr(directory.size()))});
    }
    text += columnsOf(rows) + "  licence: " + printable(model.licence) + "\n";
  }
  return text;
}

nlohmann::ordered_json asJson(const std::string& directory, const std::vector<Model>& models) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Model& model : models) {
    nlohmann::ordered_json files = nlohmann::ordered_json::array();
    for (const std::string& path : model.files) {
      files.push_back({{"path", path}, {"bytes", sizeOf(path)}, {"sha256", sha256OfFile(path)}});
    }
    list.push_back({{"name", model.name},
                    {"purpose", model.purpose},
                    {"files", files},
                    {"licence", model.licence}});
  }
  return {{"directory", directory}, {"models", list}};
}

}  // namespace

ExitCode modelsCommand(const Options& options) {
  const std::string directory = modelDirectory(options.find.models);
  const std::vector<Model> models = modelsIn(directory);
  writeData(options.run.report.format == Format::kJson ? lineOf(asJson(directory, models))
                                                       : asText(directory, models));
  return kExitOk;
}

}  // namespace oznatool
