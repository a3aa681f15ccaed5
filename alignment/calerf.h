/// The error function and its complement by rational approximation.

#ifndef OZNA_ALIGNMENT_CALERF_H_
#define OZNA_ALIGNMENT_CALERF_H_

namespace oznalib {

enum class ErrorFunction {
  kErf,   ///< 2 / sqrt(pi) times the integral of exp(-t * t) from 0 to x.
  kErfc,  ///< 1 - erf(x), without the loss of digits where erf(x) is near 1.
};

/// Evaluates one of the two in double precision.
///
/// erfc is 0 from 9.194 on: that is where its value leaves the range of float, and the taps of a
/// blur kernel, which are made of it, are floats.
///
/// Source  W. J. Cody, Rational Chebyshev approximations for the error function, Mathematics of
///         Computation 23, 1969.
double calerf(double x, ErrorFunction function);

}  // namespace oznalib

#endif  // OZNA_ALIGNMENT_CALERF_H_
