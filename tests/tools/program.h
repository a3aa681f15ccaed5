/// Runs the ozna program, and makes the files that it works on.

#ifndef OZNA_TESTS_TOOLS_PROGRAM_H_
#define OZNA_TESTS_TOOLS_PROGRAM_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

#include "tests/temporary_folder.h"

namespace ozna_test {

// How a run of the program ended and what it wrote.
struct Outcome {
  int exit_code;  // -1 if a signal ended it.
  int signal;     // 0 if it exited.
  std::string out;
  std::string err;
};

// Runs the program with these arguments and waits for its end. Where out_path is not empty,
// standard output goes there instead of into the result. The program inherits descriptors 0 to 2
// and no others; a closed standard input becomes an empty one.
Outcome runOzna(const std::vector<std::string>& arguments, const std::string& out_path = "");

// Runs the program with this text on its standard input.
Outcome runOznaOn(const std::string& input, const std::vector<std::string>& arguments);

// Runs the program by a command before its name, such as {"timeout", "20"} or {"prlimit",
// "--nofile=8"}.
Outcome runOznaUnder(const std::vector<std::string>& before,
                     const std::vector<std::string>& arguments);

// What a command of the shell writes to its standard output.
std::string outputOf(const std::string& command);

// The lines of a text, without their line breaks.
std::vector<std::string> linesOf(const std::string& text);

// A JSON value with its keys in the order of the text. One that cannot be parsed fails the test.
nlohmann::ordered_json parsed(const std::string& line);

// Whole files as bytes.
std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const std::string& bytes);

// A smooth colour picture without a face.
cv::Mat gradientPicture(int width, int height);

// Bytes of a file in the format of an ending, as ".jpg".
std::string encoded(const std::string& ending, const cv::Mat& picture);

// x0, y0, ... of 68 landmarks, all different, inside the unit box.
std::vector<float> spreadShape();

// A landmark model file without stages: its answer is the mean shape, placed in the face box.
std::string landmarkFile(const std::vector<float>& mean_shape);

// Gives each test an empty directory, removed at its end, and checks what holds for every run.
class ProgramTest : public testing::Test {
 protected:
  // The path of a file in the test's directory.
  std::string at(const std::string& name) const { return (directory_ / name).string(); }
  // Writes a picture in the format of the name's ending, and returns its path.
  std::string makePicture(const std::string& name, int width = 40, int height = 30) const;
  // A copy of the default cascade in the test's directory. Returns its path.
  std::string copyModels() const;
  // A model directory with the landmark model of spreadShape alone. Returns its path.
  std::string makeLandmarkModels() const;

  const TemporaryFolder folder_;
  const std::filesystem::path directory_ = folder_.path();
};

// Fails unless each line of the messages begins with the program's name.
void expectMessagesNameProgram(const Outcome& run);

// Fails unless the run ended by itself with this code and with a message that holds this text.
void expectFailure(const Outcome& run, int exit_code, const std::string& message_part);

}  // namespace ozna_test

#endif  // OZNA_TESTS_TOOLS_PROGRAM_H_
