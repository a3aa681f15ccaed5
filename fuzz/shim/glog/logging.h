/// Stands in for the logging library where the runtime is built for fuzzing: a fatal check throws
/// instead of ending the process.
///
/// A refused input is no finding. Throwing out of the statement of the check unwinds whatever was
/// half built, so that millions of refused inputs neither end the run nor pile up memory, and the
/// address sanitizer sees the destructors at work as well. Only the macros that the runtime uses
/// are here.

#ifndef OZNA_FUZZ_SHIM_GLOG_LOGGING_H_
#define OZNA_FUZZ_SHIM_GLOG_LOGGING_H_

#include <ostream>
#include <sstream>

#include "fuzz/refusal.h"

namespace ozna_fuzz {

/// Formats a message as the library would, then drops it.
class Message {
 public:
  std::ostream& stream() { return stream_; }

 private:
  std::ostringstream stream_;
};

/// The same, then refuses the input.
class FatalMessage {
 public:
  [[noreturn]] ~FatalMessage() noexcept(false) { Refuse(); }
  std::ostream& stream() { return stream_; }

 private:
  std::ostringstream stream_;
};

}  // namespace ozna_fuzz

#define OZNA_FUZZ_LOG_INFO ::ozna_fuzz::Message()
#define OZNA_FUZZ_LOG_WARNING ::ozna_fuzz::Message()
#define OZNA_FUZZ_LOG_ERROR ::ozna_fuzz::Message()
#define OZNA_FUZZ_LOG_FATAL ::ozna_fuzz::FatalMessage()
#define LOG(severity) OZNA_FUZZ_LOG_##severity.stream()
#define LOG_IF(severity, condition) \
  while (condition) LOG(severity)

// The operands of a comparison go into the message, as the library's do: printing them is part of
// what runs.
#define CHECK(condition) \
  while (!(condition)) LOG(FATAL) << #condition << " "
#define DCHECK(condition) CHECK(condition)
#define OZNA_FUZZ_CHECK_OP(a, op, b) \
  while (!((a)op(b))) LOG(FATAL) << #a " " #op " " #b " (" << (a) << " vs. " << (b) << ") "
#define CHECK_EQ(a, b) OZNA_FUZZ_CHECK_OP(a, ==, b)
#define CHECK_NE(a, b) OZNA_FUZZ_CHECK_OP(a, !=, b)
#define CHECK_LT(a, b) OZNA_FUZZ_CHECK_OP(a, <, b)
#define CHECK_LE(a, b) OZNA_FUZZ_CHECK_OP(a, <=, b)
#define CHECK_GT(a, b) OZNA_FUZZ_CHECK_OP(a, >, b)
#define CHECK_GE(a, b) OZNA_FUZZ_CHECK_OP(a, >=, b)

#endif  // OZNA_FUZZ_SHIM_GLOG_LOGGING_H_
