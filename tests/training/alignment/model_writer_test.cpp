// The bytes of a written landmark model.

#include "training/alignment/model_writer.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "tests/temporary_folder.h"
#include "tests/training/alignment/small_training.h"

namespace alignment_training {
namespace {

TEST(WriteModel, WritesTheFieldsInOrderWithoutGaps) {
  oznalib::SDMModel model;
  model.auxMatrices.resize(1);
  model.stageBias.assign(1, mp::matrix(1, 1));
  model.stageBias[0].data[0] = 1.0F;
  model.meanShape = {0.5F};
  model.stageMaps.resize(1);
  model.stageLevels = {4, 3};
  const ozna_test::TemporaryFolder folder;
  writeModel(model, folder.file("m.sdm"));
  const std::string matrix_header(16, '\0');
  std::string bias = matrix_header;
  bias[0] = bias[8] = 1;
  const std::string one("\x01\0\0\0", 4);
  const std::string expected = one + matrix_header +                                // aux
                               one + bias + std::string("\0\0\x80\x3f", 4) +        // bias
                               one + std::string("\0\0\0\x3f", 4) +                 // mean
                               std::string(4, '\0') +                               // values
                               one + matrix_header + matrix_header +                // maps
                               std::string("\x02\0\0\0\x04\0\0\0\x03\0\0\0", 12) +  // levels
                               std::string(4, '\0') + one + std::string("\x03\0\0\0\x64\0\0\0", 8);
  EXPECT_EQ(bytesOf(folder.file("m.sdm")), expected);
}

TEST(WriteModel, RefusesAFolderThatIsMissing) {
  EXPECT_THROW(writeModel(oznalib::SDMModel(), "/nonexistent/folder/m.sdm"), std::runtime_error);
}

}  // namespace
}  // namespace alignment_training
