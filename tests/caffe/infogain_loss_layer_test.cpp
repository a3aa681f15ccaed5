// Tests of InfogainLossLayer, on matrices that each test writes.

#include "caffe/loss_layers.hpp"
#include "tests/caffe/data_test_helpers.h"
#include "tests/caffe/loss_test_helpers.h"

namespace caffe_test {
namespace {

using testing::HasSubstr;

class InfogainLossLayer : public testing::Test {
 protected:
  LayerBench Bench(const std::vector<int>& shape, const std::vector<float>& labels) {
    return LossBench("INFOGAIN_LOSS", shape, labels, 0, Fields());
  }
  std::string Fields() const {
    return "infogain_loss_param { source: '" + folder_.file("matrix") + "' }";
  }
  void WriteMatrix(int num, int channels, int height, int width, const std::vector<float>& values) {
    WriteBlobFile(folder_.file("matrix"), num, channels, height, width, values);
  }

  TemporaryFolder folder_;
};

TEST_F(InfogainLossLayer, MatchesReferenceAndItsGradient) {
  const std::vector<float> labels = {2, 0, 1, 2};
  const std::vector<float> matrix = SeededValues(9, 9, -1, 2);
  WriteMatrix(1, 1, 3, 3, matrix);
  LayerBench bench = Bench({4, 3, 1, 1}, labels);
  FillSeeded(bench.bottom(0), 4, 0.1F, 1);
  ExpectLossMatches(bench, [&](const std::vector<std::vector<double>>& inputs) {
    double sum = 0;
    for (int i = 0; i < 4; ++i) {
      for (int j = 0; j < 3; ++j) {
        sum -= matrix[static_cast<int>(labels[i]) * 3 + j] * std::log(inputs[0][i * 3 + j]);
      }
    }
    return sum / 4;
  });
}

TEST_F(InfogainLossLayer, CountsProbabilityOfZeroAsTinyOne) {
  WriteMatrix(1, 1, 2, 2, {0, 3, 0, 0});
  LayerBench bench = Bench({1, 2, 1, 1}, {0});
  SetData(bench.bottom(0), {0.5, 0});
  EXPECT_NEAR(3 * 46.0517018598809, bench.Forward(), 1e-3);  // -3 * log(1e-20).
  ExpectNoGradientUnlessPropagated(bench);
}

using InfogainLossLayerDeathTest = InfogainLossLayer;

TEST_F(InfogainLossLayerDeathTest, RefusesMatrixOfOtherShape) {
  WriteMatrix(2, 1, 2, 2, std::vector<float>(8));
  EXPECT_DEATH(Bench({1, 2, 1, 1}, {0}), HasSubstr("Check failed: infogain_.num() == 1 (2 vs. 1)"));
  WriteMatrix(1, 2, 2, 2, std::vector<float>(8));
  EXPECT_DEATH(Bench({1, 2, 1, 1}, {0}),
               HasSubstr("Check failed: infogain_.channels() == 1 (2 vs. 1)"));
  WriteMatrix(1, 1, 2, 3, std::vector<float>(6));
  EXPECT_DEATH(Bench({1, 2, 1, 1}, {0}),
               HasSubstr("Check failed: infogain_.height() == infogain_.width() (2 vs. 3)"));
}

TEST_F(InfogainLossLayerDeathTest, RefusesMatrixForOtherNumberOfClasses) {
  WriteMatrix(1, 1, 2, 2, std::vector<float>(4));
  LayerBench bench = Bench({1, 3, 1, 1}, {0});
  EXPECT_DEATH(bench.Forward(), HasSubstr("Check failed: infogain_.height() == dim (2 vs. 3)"));
  EXPECT_DEATH(bench.Backward(), HasSubstr("Check failed: infogain_.height() == dim (2 vs. 3)"));
}

TEST_F(InfogainLossLayerDeathTest, RefusesFileThatDoesNotRead) {
  EXPECT_DEATH(Bench({1, 2, 1, 1}, {0}), testing::ContainsRegex("File not found: /.*/matrix"));
  std::ofstream(folder_.file("matrix")) << "\xff\xff\xff";
  EXPECT_DEATH(Bench({1, 2, 1, 1}, {0}),
               HasSubstr("Check failed: ReadProtoFromBinaryFile(filename, proto) "));
}

TEST_F(InfogainLossLayerDeathTest, RefusesLabelOutsideOfProbabilities) {
  WriteMatrix(1, 1, 2, 2, std::vector<float>(4));
  LayerBench bench = Bench({1, 2, 1, 1}, {0});
  ExpectBadLabelsAreFatal(bench);
}

TEST_F(InfogainLossLayerDeathTest, RefusesSeveralLabelsAnImage) {
  EXPECT_DEATH(LayerBench("type: INFOGAIN_LOSS", {{1, 2, 1, 1}, {1, 2, 1, 1}}, 0),
               HasSubstr("Check failed: bottom[1]->channels() == 1 (2 vs. 1)"));
  EXPECT_DEATH(LayerBench("type: INFOGAIN_LOSS", {{1, 2, 1, 1}, {1, 1, 2, 1}}, 0),
               HasSubstr("Check failed: bottom[1]->height() == 1 (2 vs. 1)"));
  EXPECT_DEATH(LayerBench("type: INFOGAIN_LOSS", {{1, 2, 1, 1}, {1, 1, 1, 2}}, 0),
               HasSubstr("Check failed: bottom[1]->width() == 1 (2 vs. 1)"));
}

}  // namespace
}  // namespace caffe_test
