// Subprocesses and test files.

#include "tests/tools/program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <sstream>

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

template <class T>
void append(std::string& bytes, T value) {
  char raw[sizeof(T)];
  std::memcpy(raw, &value, sizeof(T));
  bytes.append(raw, sizeof(T));
}

// In the child: leaves it descriptors 0 to 2 and no others, whatever the test's own parent left
// open or closed, so that a limit of descriptors means the same everywhere.
void keepThreeDescriptors(const std::string& in_path, const std::string& out_path,
                          const std::string& err_path) {
  // Where standard input is closed, the first file that is opened takes its place.
  if (fcntl(STDIN_FILENO, F_GETFD) == -1) open("/dev/null", O_RDONLY);
  if (!in_path.empty()) dup2(open(in_path.c_str(), O_RDONLY), STDIN_FILENO);
  dup2(open(out_path.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
  dup2(open(err_path.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
  close_range(STDERR_FILENO + 1, ~0U, 0);
}

// Runs the program; an empty in_path leaves standard input as it is (or empty where it is closed),
// an empty out_path takes standard output into the result.
Outcome runProgram(const std::vector<std::string>& before,
                   const std::vector<std::string>& arguments, const std::string& in_path,
                   const std::string& out_path) {
  const TemporaryFolder folder;
  const std::string out = out_path.empty() ? folder.file("out") : out_path;
  const std::string err = folder.file("err");
  std::vector<std::string> words = before;
  words.push_back(OZNA_PROGRAM);
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  const pid_t child = fork();
  if (child == 0) {
    keepThreeDescriptors(in_path, out, err);
    execvp(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  Outcome run;
  run.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  if (out_path.empty()) run.out = readFile(out);
  run.err = readFile(err);
  return run;
}

}  // namespace

Outcome runOzna(const std::vector<std::string>& arguments, const std::string& out_path) {
  return runProgram({}, arguments, "", out_path);
}

Outcome runOznaUnder(const std::vector<std::string>& before,
                     const std::vector<std::string>& arguments) {
  return runProgram(before, arguments, "", "");
}

Outcome runOznaOn(const std::string& input, const std::vector<std::string>& arguments) {
  const TemporaryFolder folder;
  writeFile(folder.file("in"), input);
  return runProgram({}, arguments, folder.file("in"), "");
}

std::string outputOf(const std::string& command) {
  std::string output;
  FILE* const pipe = popen(command.c_str(), "r");
  char buffer[256];
  while (pipe != nullptr && std::fgets(buffer, sizeof(buffer), pipe) != nullptr) output += buffer;
  if (pipe != nullptr) pclose(pipe);
  return output;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

nlohmann::ordered_json parsed(const std::string& line) {
  nlohmann::ordered_json value =
      nlohmann::ordered_json::parse(line, /*cb=*/nullptr, /*allow_exceptions=*/false);
  EXPECT_FALSE(value.is_discarded()) << line;
  return value;
}

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

void writeFile(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
  ASSERT_TRUE(file.good()) << path;
}

cv::Mat gradientPicture(int width, int height) {
  cv::Mat picture(height, width, CV_8UC3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      picture.at<cv::Vec3b>(y, x) =
          cv::Vec3b(static_cast<uchar>(60 + x % 100), static_cast<uchar>(90 + y % 100), 120);
    }
  }
  return picture;
}

std::string encoded(const std::string& ending, const cv::Mat& picture) {
  std::vector<uchar> bytes;
  EXPECT_TRUE(cv::imencode(ending, picture, bytes));
  return {bytes.begin(), bytes.end()};
}

std::vector<float> spreadShape() {
  std::vector<float> shape;
  for (int i = 0; i < 68; ++i) {
    shape.push_back(static_cast<float>(i) / 100.0F);
    shape.push_back(0.9F - static_cast<float>(i) / 90.0F);
  }
  return shape;
}

std::string landmarkFile(const std::vector<float>& mean_shape) {
  std::string bytes;
  append<std::int32_t>(bytes, 0);  // Matrices that nothing uses.
  append<std::int32_t>(bytes, 0);  // Biases.
  append<std::int32_t>(bytes, static_cast<std::int32_t>(mean_shape.size()));
  for (const float value : mean_shape) append(bytes, value);
  append<std::int32_t>(bytes, 0);    // Numbers that nothing uses.
  append<std::int32_t>(bytes, 0);    // Maps.
  append<std::int32_t>(bytes, 1);    // Levels of stages:
  append<std::int32_t>(bytes, 0);    //   the one for all.
  append<std::int32_t>(bytes, 0);    // Dropped.
  append<std::int32_t>(bytes, 1);    // Reserved.
  append<std::int32_t>(bytes, 3);    // Blur levels.
  append<std::int32_t>(bytes, 100);  // Face width.
  return bytes;
}

std::string ProgramTest::makePicture(const std::string& name, int width, int height) const {
  const std::string path = at(name);
  writeFile(path, encoded(fs::path(name).extension().string(), gradientPicture(width, height)));
  return path;
}

std::string ProgramTest::copyModels() const {
  const fs::path models = directory_ / "models";
  fs::create_directories(models);
  fs::copy(fs::path(OZNA_SOURCE_DIR) / "public/cascades", models / "cascades",
           fs::copy_options::recursive);
  fs::copy(fs::path(OZNA_SOURCE_DIR) / "public/stages.txt", models);
  for (const auto& entry : fs::recursive_directory_iterator(models)) {
    fs::permissions(entry, fs::perms::owner_all, fs::perm_options::add);
  }
  return models.string();
}

std::string ProgramTest::makeLandmarkModels() const {
  const fs::path models = directory_ / "landmark-models";
  writeFile(models / "models/face68.sdm", landmarkFile(spreadShape()));
  return models.string();
}

void expectMessagesNameProgram(const Outcome& run) {
  for (const std::string& line : linesOf(run.err)) EXPECT_EQ(line.rfind("ozna: ", 0), 0U) << line;
}

void expectFailure(const Outcome& run, int exit_code, const std::string& message_part) {
  EXPECT_EQ(run.signal, 0);
  EXPECT_EQ(run.exit_code, exit_code);
  EXPECT_NE(run.err.find(message_part), std::string::npos) << run.err;
  expectMessagesNameProgram(run);
}

}  // namespace ozna_test
