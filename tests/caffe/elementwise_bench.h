/// What the tests of the layers that map each element by itself share.

#ifndef OZNA_TESTS_CAFFE_ELEMENTWISE_BENCH_H_
#define OZNA_TESTS_CAFFE_ELEMENTWISE_BENCH_H_

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/caffe/test_helpers.h"

namespace caffe_test {

using Function = std::function<double(double)>;

/// A layer as a reference in doubles that maps each value by itself.
inline Reference Elementwise(const Function& function) {
  return [function](const std::vector<std::vector<double>>& inputs) {
    std::vector<double> top;
    for (double x : inputs[0]) top.push_back(function(x));
    return std::vector<std::vector<double>>{top};
  };
}

/// Forward of all counts around the widths of the unrolled loops, in place and not, and the
/// gradient.
inline void ExpectMaps(const std::string& definition, const Function& function, float low = -3,
                       float high = 3) {
  SCOPED_TRACE(definition);
  for (int count = 1; count <= 21; ++count) {
    SCOPED_TRACE(count);
    LayerBench apart(definition, {{1, 1, 1, count}});
    FillSeeded(apart.bottom(0), count, low, high);
    const std::vector<float> input = DataOf(*apart.bottom(0));
    ExpectLayerMatchesReference(apart, Elementwise(function), 1e-5, 1e-3, 1e-5);
    EXPECT_EQ(DataOf(*apart.bottom(0)), input);

    LayerBench in_place(definition, {{1, 1, 1, count}}, 1, /*in_place=*/true);
    SetData(in_place.bottom(0), input);
    EXPECT_EQ(in_place.Forward(), 0.0F);
    EXPECT_EQ(DataOf(*in_place.top(0)), DataOf(*apart.top(0)));
  }
}

/// The outputs of a layer for these inputs.
inline std::vector<float> Outputs(const std::string& definition, const std::vector<float>& inputs) {
  LayerBench bench(definition, {{1, 1, 1, static_cast<int>(inputs.size())}});
  SetData(bench.bottom(0), inputs);
  bench.Forward();
  return DataOf(*bench.top(0));
}

/// The gradients of the bottom for these inputs and gradients of 1.
inline std::vector<float> Gradients(const std::string& definition,
                                    const std::vector<float>& inputs) {
  LayerBench bench(definition, {{1, 1, 1, static_cast<int>(inputs.size())}});
  SetData(bench.bottom(0), inputs);
  bench.Forward();
  SetDiff(bench.top(0), std::vector<float>(inputs.size(), 1.0F));
  bench.Backward();
  return DiffOf(*bench.bottom(0));
}

}  // namespace caffe_test

#endif  // OZNA_TESTS_CAFFE_ELEMENTWISE_BENCH_H_
