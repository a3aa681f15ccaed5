// The error function by W. J. Cody's rational approximations on three intervals.

#include "alignment/calerf.h"

#include <cmath>

namespace oznalib {
namespace {

// |x| up to 0.46875: erf(x) = x * A(x * x) / B(x * x).
constexpr double kA[] = {3.16112374387056560e00, 1.13864154151050156e02, 3.77485237685302021e02,
                         3.20937758913846947e03, 1.85777706184603153e-1};
constexpr double kB[] = {2.36012909523441209e01, 2.44024637934444173e02, 1.28261652607737228e03,
                         2.84423683343917062e03};
// |x| up to 4: erfc(x) = exp(-x * x) * C(x) / D(x).
constexpr double kC[] = {5.64188496988670089e-1, 8.88314979438837594e00, 6.61191906371416295e01,
                         2.98635138197400131e02, 8.81952221241769090e02, 1.71204761263407058e03,
                         2.05107837782607147e03, 1.23033935479799725e03, 2.15311535474403846e-8};
constexpr double kD[] = {1.57449261107098347e01, 1.17693950891312499e02, 5.37181101862009858e02,
                         1.62138957456669019e03, 3.29079923573345963e03, 4.36261909014324716e03,
                         3.43936767414372164e03, 1.23033935480374942e03};
// Beyond 4: erfc(x) = exp(-x * x) / x * (1 / sqrt(pi) - P(1 / (x * x)) / (x * x) / Q(1 / (x * x))).
constexpr double kP[] = {3.05326634961232344e-1, 3.60344899949804439e-1, 1.25781726111229246e-1,
                         1.60837851487422766e-2, 6.58749161529837803e-4, 1.63153871373020978e-2};
constexpr double kQ[] = {2.56852019228982242e00, 1.87295284992346725e00, 5.27905102951428412e-1,
                         6.05183413124413191e-2, 2.33520497626869185e-3};

constexpr double kInverseSqrtPi = 5.6418958354775628695e-1;
constexpr double kSmallBound = 0.46875;
constexpr double kMiddleBound = 4.0;
// Limits of single precision: below the first, x * x is lost beside 1; from the second on, erfc is
// 0.
constexpr double kSmallArgument = 5.96e-08;
constexpr double kBigArgument = 9.194;

double erfNearZero(double x) {
  const double y = std::fabs(x);
  const double square = y > kSmallArgument ? y * y : 0.0;
  double numerator = kA[4] * square;
  double denominator = square;
  for (int i = 0; i < 3; ++i) {
    numerator = (numerator + kA[i]) * square;
    denominator = (denominator + kB[i]) * square;
  }
  return x * (numerator + kA[3]) / (denominator + kB[3]);
}

// exp(-y * y) with the square split at 1/16, so that its rounding does not reach the exponential.
double expOfNegativeSquare(double y) {
  const double head = std::trunc(y * 16.0) / 16.0;
  const double rest = (y - head) * (y + head);
  return std::exp(-head * head) * std::exp(-rest);
}

double erfcMiddle(double y) {
  double numerator = kC[8] * y;
  double denominator = y;
  for (int i = 0; i < 7; ++i) {
    numerator = (numerator + kC[i]) * y;
    denominator = (denominator + kD[i]) * y;
  }
  return expOfNegativeSquare(y) * ((numerator + kC[7]) / (denominator + kD[7]));
}

double erfcFar(double y) {
  if (y >= kBigArgument) {
    return 0.0;
  }
  const double square = 1.0 / (y * y);
  double numerator = kP[5] * square;
  double denominator = square;
  for (int i = 0; i < 4; ++i) {
    numerator = (numerator + kP[i]) * square;
    denominator = (denominator + kQ[i]) * square;
  }
  const double tail = square * (numerator + kP[4]) / (denominator + kQ[4]);
  return expOfNegativeSquare(y) * ((kInverseSqrtPi - tail) / y);
}

}  // namespace

double calerf(double x, ErrorFunction function) {
  const bool complement = function == ErrorFunction::kErfc;
  const double y = std::fabs(x);
  if (y <= kSmallBound) {
    const double erf = erfNearZero(x);
    return complement ? 1.0 - erf : erf;
  }
  const double erfc = y <= kMiddleBound ? erfcMiddle(y) : erfcFar(y);
  if (complement) {
    return x < 0.0 ? 2.0 - erfc : erfc;
  }
  const double erf = (0.5 - erfc) + 0.5;
  return x < 0.0 ? -erf : erf;
}

}  // namespace oznalib
