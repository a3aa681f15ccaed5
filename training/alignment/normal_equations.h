/// Ridge regression by accumulated normal equations.

#ifndef OZNA_TRAINING_ALIGNMENT_NORMAL_EQUATIONS_H_
#define OZNA_TRAINING_ALIGNMENT_NORMAL_EQUATIONS_H_

#include <vector>

namespace alignment_training {

/// The sums X'X and X'Y over rows x of `features` values and y of `outputs` values.
///
/// Memory   4 * features * (features + outputs) bytes: 308 MB for 8704 features.
/// Threads  One object serves one thread; the products use the threads of the BLAS library. The
///          same rows in the same batches on the same number of BLAS threads give the same bits.
class NormalEquations {
 public:
  NormalEquations(int features, int outputs);

  /// Adds rows: x is rows by features, y rows by outputs, row after row. To give a row the weight
  /// w, scale both by the square root of w.
  void add(const float* x, const float* y, int rows);

  /// Adds (factor 1) or takes away (factor -1) the sums of another object of the same sizes.
  void accumulate(const NormalEquations& other, float factor);

  /// The mean of the diagonal of X'X, against which a ridge is measured.
  double meanDiagonal() const;

  /// Solves (X'X + ridge I) P = X'Y and returns P, features by outputs, row-major.
  /// Destroys the sums: X'X gives its memory to the factor. Throws std::runtime_error where the
  /// matrix is not positive definite (the ridge is too small for float).
  std::vector<float> solveInPlace(double ridge);

  /// Solves (X'X + diag(ridges)) P = X'Y for some columns of Y, with a ridge for each feature, and
  /// returns those columns of P, features by outputs.size(), row-major. An infinite ridge leaves
  /// its feature out: its row of P is 0. Keeps the sums, at the cost of a matrix of the features
  /// that are left. Throws as solveInPlace.
  std::vector<float> solve(const std::vector<float>& ridges, const std::vector<int>& outputs) const;

  int features() const { return features_; }
  int outputs() const { return outputs_; }

 private:
  int features_;
  int outputs_;
  std::vector<float> gram_;   // features by features, row-major; the upper triangle counts.
  std::vector<float> cross_;  // outputs by features: one right-hand side per row.
};

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_NORMAL_EQUATIONS_H_
