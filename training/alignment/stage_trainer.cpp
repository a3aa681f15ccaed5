// Normal equations fold by fold, the choice of the ridge, and the out-of-fold moves.

#include "training/alignment/stage_trainer.h"

#include <cblas.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>

#include "training/alignment/locality.h"
#include "training/alignment/normal_equations.h"
#include "training/common/parallel_for.h"

namespace alignment_training {
namespace {

using RowList = std::vector<int>;

/// What all rows have in common: weights and weighted means.
struct Centre {
  std::vector<float> weight;   // One per row.
  std::vector<float> feature;  // kFeatures, in units of the regression.
  std::vector<float> move;     // kCoordinates: truth less shape.
};

float weightOf(const AlignmentSample& sample, const float* shape, const float* truth,
               const StageOptions& options) {
  const float weight = sample.manual ? options.manual_weight : 1.0F;
  if (options.error_knee <= 0) return weight;
  return weight * options.error_knee / (options.error_knee + shapeError(sample, shape, truth));
}

Centre findCentre(const std::vector<AlignmentSample>& samples, const RegressionRows& rows,
                  const StageOptions& options) {
  Centre centre;
  std::vector<double> features(kFeatures);
  std::vector<double> moves(kCoordinates);
  double total = 0;
  for (std::size_t row = 0; row < rows.count(); ++row) {
    const float weight =
        weightOf(samples[rows.sample[row]], rows.shape(row), rows.truth(row), options);
    centre.weight.push_back(weight);
    total += weight;
    const std::uint8_t* bytes = rows.feature(row);
    for (int i = 0; i < kFeatures; ++i) features[i] += weight * bytes[i];
    for (int i = 0; i < kCoordinates; ++i) {
      moves[i] += weight * (rows.truth(row)[i] - rows.shape(row)[i]);
    }
  }
  for (const double sum : features) {
    centre.feature.push_back(static_cast<float>(sum / total * kFeatureScale));
  }
  for (const double sum : moves) centre.move.push_back(static_cast<float>(sum / total));
  return centre;
}

/// Calls use(x, first, count) for the rows of a list in batches; x holds their centred features.
template <class Use>
void forBatches(const RegressionRows& rows, const RowList& list, const std::vector<float>& mean,
                const StageOptions& options, const Use& use) {
  std::vector<float> x(static_cast<std::size_t>(options.batch_rows) * kFeatures);
  for (std::size_t first = 0; first < list.size(); first += options.batch_rows) {
    const int count =
        static_cast<int>(std::min<std::size_t>(options.batch_rows, list.size() - first));
    training::parallelFor(count, options.threads, [&](int i) {
      const std::uint8_t* bytes = rows.feature(list[first + i]);
      float* out = x.data() + static_cast<std::size_t>(i) * kFeatures;
      for (int k = 0; k < kFeatures; ++k) out[k] = bytes[k] * kFeatureScale - mean[k];
    });
    use(x.data(), first, count);
  }
}

std::unique_ptr<NormalEquations> sumRows(const RegressionRows& rows, const RowList& list,
                                         const Centre& centre, const StageOptions& options) {
  auto sums = std::make_unique<NormalEquations>(kFeatures, kCoordinates);
  std::vector<float> y(static_cast<std::size_t>(options.batch_rows) * kCoordinates);
  forBatches(rows, list, centre.feature, options, [&](float* x, std::size_t first, int count) {
    for (int i = 0; i < count; ++i) {
      const int row = list[first + i];
      const float root = std::sqrt(centre.weight[row]);
      for (int k = 0; k < kCoordinates; ++k) {
        y[static_cast<std::size_t>(i) * kCoordinates + k] =
            root * (rows.truth(row)[k] - rows.shape(row)[k] - centre.move[k]);
      }
      cblas_sscal(kFeatures, root, x + static_cast<std::size_t>(i) * kFeatures, 1);
    }
    sums->add(x, y.data(), count);
  });
  return sums;
}

/// Moves the shapes of the listed rows: shape += (feature - mean) * projection + bias.
void moveRows(const RowList& list, const float* mean, const float* projection, const float* bias,
              const StageOptions& options, RegressionRows& rows) {
  const std::vector<float> centre(mean, mean + kFeatures);
  std::vector<float> moves(static_cast<std::size_t>(options.batch_rows) * kCoordinates);
  forBatches(rows, list, centre, options, [&](const float* x, std::size_t first, int count) {
    cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, count, kCoordinates, kFeatures, 1.0F, x,
                kFeatures, projection, kCoordinates, 0.0F, moves.data(), kCoordinates);
    for (int i = 0; i < count; ++i) {
      float* shape = rows.shape(list[first + i]);
      const float* move = moves.data() + static_cast<std::size_t>(i) * kCoordinates;
      for (int k = 0; k < kCoordinates; ++k) shape[k] += bias[k] + move[k];
    }
  });
}

/// The mean of all truths, each about the mean of its points.
Shape meanTruth(const RegressionRows& rows) {
  std::vector<double> sum(kCoordinates);
  for (std::size_t first = 0; first < rows.truths.size(); first += kCoordinates) {
    const float* truth = rows.truths.data() + first;
    double middle[2] = {0, 0};
    for (int i = 0; i < kCoordinates; ++i) middle[i % 2] += truth[i] / double{kLandmarks};
    for (int i = 0; i < kCoordinates; ++i) sum[i] += truth[i] - middle[i % 2];
  }
  Shape mean;
  const double shapes = static_cast<double>(rows.truths.size()) / kCoordinates;
  for (const double coordinate : sum) mean.push_back(static_cast<float>(coordinate / shapes));
  return mean;
}

std::vector<int> coordinatesOf(const LandmarkGroup& part) {
  std::vector<int> coordinates;
  for (const int landmark : part) {
    coordinates.push_back(2 * landmark);
    coordinates.push_back(2 * landmark + 1);
  }
  return coordinates;
}

double meanErrorOf(const std::vector<AlignmentSample>& samples, const RegressionRows& rows,
                   const RowList& list, const std::vector<float>& weight) {
  double sum = 0;
  double weights = 0;
  for (const int row : list) {
    sum += weight[row] * shapeError(samples[rows.sample[row]], rows.shape(row), rows.truth(row));
    weights += weight[row];
  }
  return weights > 0 ? sum / weights : 0;
}

std::vector<RowList> dealRows(const std::vector<AlignmentSample>& samples,
                              const RegressionRows& rows, int folds) {
  std::vector<RowList> lists(folds);
  for (std::size_t row = 0; row < rows.count(); ++row) {
    lists[samples[rows.sample[row]].face % folds].push_back(static_cast<int>(row));
  }
  return lists;
}

/// One stage in the making.
class StageSolver {
 public:
  StageSolver(const std::vector<AlignmentSample>& samples, const StageOptions& options,
              RegressionRows& rows, std::ostream& log)
      : samples_(samples),
        options_(options),
        rows_(rows),
        log_(log),
        centre_(findCentre(samples, rows, options)),
        mean_truth_(meanTruth(rows)),
        lists_(dealRows(samples, rows, options.folds)) {}

  TrainedStage solve() {
    for (const RowList& list : lists_) sums_.push_back(sumRows(rows_, list, centre_, options_));
    TrainedStage stage;
    stage.ridge = chooseRidge();
    for (std::size_t fold = 0; lists_.size() > 1 && fold < lists_.size(); ++fold) {
      moveFold(fold, solveWithout(fold, stage.ridge));
    }
    for (std::size_t fold = 1; fold < sums_.size(); ++fold) {
      sums_[0]->accumulate(*sums_[fold], 1.0F);
      sums_[fold].reset();
    }
    store(solveSums(*sums_[0], stage.ridge), stage);
    if (lists_.size() == 1) moveFold(0, projectionOf(stage));
    return stage;
  }

 private:
  static std::vector<float> projectionOf(const TrainedStage& stage) {
    const float* cells = stage.map.projection.data;
    return std::vector<float>(cells, cells + static_cast<std::size_t>(kFeatures) * kCoordinates);
  }

  void store(const std::vector<float>& projection, TrainedStage& stage) const {
    stage.map.mean = mp::matrix(1, kFeatures);
    stage.map.projection = mp::matrix(kFeatures, kCoordinates);
    stage.bias = mp::matrix(1, kCoordinates);
    std::copy(centre_.feature.begin(), centre_.feature.end(), stage.map.mean.data);
    std::copy(projection.begin(), projection.end(), stage.map.projection.data);
    std::copy(centre_.move.begin(), centre_.move.end(), stage.bias.data);
  }

  std::vector<float> solveWithout(std::size_t fold, double ridge) const {
    NormalEquations others(kFeatures, kCoordinates);
    for (std::size_t other = 0; other < sums_.size(); ++other) {
      if (other != fold) others.accumulate(*sums_[other], 1.0F);
    }
    return solveSums(others, ridge);
  }

  /// May destroy the sums.
  std::vector<float> solveSums(NormalEquations& sums, double ridge) const {
    const double unit = ridge * sums.meanDiagonal();
    if (options_.reach <= 0) return sums.solveInPlace(unit);
    std::vector<float> projection(static_cast<std::size_t>(kFeatures) * kCoordinates);
    for (const LandmarkGroup& part : landmarkParts()) {
      solvePart(sums, unit, part, projection);
    }
    return projection;
  }

  void solvePart(const NormalEquations& sums, double ridge, const LandmarkGroup& part,
                 std::vector<float>& projection) const {
    const std::vector<int> coordinates = coordinatesOf(part);
    std::vector<float> ridges;
    for (const float factor : ridgeFactors(part, mean_truth_, options_.reach)) {
      ridges.insert(ridges.end(), kFeatures / kLandmarks, static_cast<float>(ridge * factor));
    }
    const std::vector<float> columns = sums.solve(ridges, coordinates);
    for (int i = 0; i < kFeatures; ++i) {
      for (std::size_t k = 0; k < coordinates.size(); ++k) {
        projection[static_cast<std::size_t>(i) * kCoordinates + coordinates[k]] =
            columns[i * coordinates.size() + k];
      }
    }
  }

  void moveFold(std::size_t fold, const std::vector<float>& projection) {
    moveRows(lists_[fold], centre_.feature.data(), projection.data(), centre_.move.data(), options_,
             rows_);
  }

  double chooseRidge() {
    if (lists_.size() == 1 || options_.ridges.size() == 1) return options_.ridges.front();
    const std::vector<float> before = rows_.shapes;
    double best = options_.ridges.front();
    double best_error = std::numeric_limits<double>::max();
    for (const double ridge : options_.ridges) {
      moveFold(0, solveWithout(0, ridge));
      const double error = meanErrorOf(samples_, rows_, lists_[0], centre_.weight);
      log_ << "  ridge " << ridge << ": " << 100 * error << "% on the first fold" << std::endl;
      if (error < best_error) {
        best_error = error;
        best = ridge;
      }
      rows_.shapes = before;
    }
    return best;
  }

  const std::vector<AlignmentSample>& samples_;
  const StageOptions& options_;
  RegressionRows& rows_;
  std::ostream& log_;
  Centre centre_;
  Shape mean_truth_;
  std::vector<RowList> lists_;                          // Rows of each fold.
  std::vector<std::unique_ptr<NormalEquations>> sums_;  // Of each fold.
};

}  // namespace

TrainedStage trainStage(const std::vector<AlignmentSample>& samples, const StageOptions& options,
                        RegressionRows& rows, std::ostream& log) {
  return StageSolver(samples, options, rows, log).solve();
}

void applyTrainedStage(const TrainedStage& stage, const StageOptions& options,
                       RegressionRows& rows) {
  RowList all(rows.count());
  for (std::size_t row = 0; row < all.size(); ++row) all[row] = static_cast<int>(row);
  moveRows(all, stage.map.mean.data, stage.map.projection.data, stage.bias.data, options, rows);
}

std::vector<float> meanPlainMove(const std::vector<AlignmentSample>& samples,
                                 const StageOptions& options, const RegressionRows& rows) {
  std::vector<double> sum(kCoordinates);
  double total = 0;
  for (std::size_t row = 0; row < rows.count(); ++row) {
    const AlignmentSample& sample = samples[rows.sample[row]];
    if (sample.mirrored) continue;
    const float weight = weightOf(sample, rows.shape(row), rows.truth(row), options);
    total += weight;
    for (int i = 0; i < kCoordinates; ++i) {
      sum[i] += weight * (rows.truth(row)[i] - rows.shape(row)[i]);
    }
  }
  std::vector<float> mean(kCoordinates);
  for (int i = 0; total > 0 && i < kCoordinates; ++i) mean[i] = static_cast<float>(sum[i] / total);
  return mean;
}

double meanRowError(const std::vector<AlignmentSample>& samples, const RegressionRows& rows,
                    bool manual) {
  double sum = 0;
  std::size_t count = 0;
  for (std::size_t row = 0; row < rows.count(); ++row) {
    const AlignmentSample& sample = samples[rows.sample[row]];
    if (sample.manual != manual) continue;
    sum += shapeError(sample, rows.shape(row), rows.truth(row));
    ++count;
  }
  return count > 0 ? sum / static_cast<double>(count) : 0;
}

}  // namespace alignment_training
