// The error log inside the enclosed libraries: to the standard error stream, in the usual form.
//
// It defines what <glog/logging.h> declares, as far as the tree uses that, in place of the log
// library. That one keeps 30 KB for each thread of the process, so much that a host could not load
// us as a plugin, and brings a register of command-line flags, an unwinder and a decompressor
// along.

#include <execinfo.h>
#include <glog/logging.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <new>
#include <sstream>
#include <string>

namespace google {

struct LogMessage::LogMessageData {
  explicit LogMessageData(LogSeverity the_severity) : severity(the_severity) {}
  static constexpr int kBytes = 4096;  // Of a line; what is longer is cut.

  LogSeverity severity;
  bool reserve = false;
  char text[kBytes + 1] = {};
  LogStream stream{text, kBytes, 0};
};

namespace {

// For a message where the memory has run out.
std::mutex& reserveMutex() {
  static auto* const mutex =
      new std::mutex;  // Never destroyed: threads may outlive the program's end.
  return *mutex;
}
std::mutex& the_reserve_mutex = reserveMutex();
alignas(std::max_align_t) char the_reserve[8192];

// "E20261122 21:34:56.000123  4711 net.cpp:26] "
void writeHead(std::ostream& stream, LogSeverity severity, const char* file, int line) {
  timeval now;
  gettimeofday(&now, nullptr);
  tm local;
  localtime_r(&now.tv_sec, &local);
  const char* const slash = std::strrchr(file, '/');
  char head[256];
  std::snprintf(head, sizeof(head), "%c%04d%02d%02d %02d:%02d:%02d.%06ld %5ld %s:%d] ",
                "IWEF"[severity], local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                local.tm_hour, local.tm_min, local.tm_sec, static_cast<long>(now.tv_usec),
                static_cast<long>(syscall(SYS_gettid)), slash == nullptr ? file : slash + 1, line);
  stream << head;
}

}  // namespace

LogMessageTime::LogMessageTime() : time_struct_(), timestamp_(0), usecs_(0), gmtoffset_(0) {}

LogMessage::LogMessage(const char* file, int line, LogSeverity severity) : allocated_(nullptr) {
  static_assert(sizeof(LogMessageData) <= sizeof(the_reserve), "the reserve is too small");
  void* memory = std::malloc(sizeof(LogMessageData));
  const bool reserve = memory == nullptr;
  if (reserve) {
    the_reserve_mutex.lock();
    memory = the_reserve;
  }
  data_ = new (memory) LogMessageData(severity);
  data_->reserve = reserve;
  writeHead(stream(), severity, file, line);
}

LogMessage::LogMessage(const char* file, int line) : LogMessage(file, line, GLOG_INFO) {}

LogMessage::LogMessage(const char* file, int line, const CheckOpString& result)
    : LogMessage(file, line, GLOG_FATAL) {
  stream() << "Check failed: " << *result.str_ << " ";
}

std::ostream& LogMessage::stream() { return data_->stream; }

LogMessage::~LogMessage() {
  std::size_t length = data_->stream.pcount();
  if (length == 0 || data_->text[length - 1] != '\n') data_->text[length++] = '\n';
  std::fwrite(data_->text, 1, length, stderr);
  const bool fatal = data_->severity == GLOG_FATAL;
  const bool reserve = data_->reserve;
  data_->~LogMessageData();
  if (reserve) {
    the_reserve_mutex.unlock();
  } else {
    std::free(data_);
  }
  if (!fatal) return;
  std::fputs("*** Check failure stack trace: ***\n", stderr);
  std::fflush(stderr);
  void* calls[64];
  backtrace_symbols_fd(calls, backtrace(calls, 64), STDERR_FILENO);
  std::abort();
}

LogMessageFatal::LogMessageFatal(const char* file, int line) : LogMessage(file, line, GLOG_FATAL) {}
LogMessageFatal::LogMessageFatal(const char* file, int line, const CheckOpString& result)
    : LogMessage(file, line, result) {}
LogMessageFatal::~LogMessageFatal() {
  this->LogMessage::~LogMessage();
  std::abort();
}

namespace base {

CheckOpMessageBuilder::CheckOpMessageBuilder(const char* expression)
    : stream_(new std::ostringstream) {
  *stream_ << expression << " (";
}
CheckOpMessageBuilder::~CheckOpMessageBuilder() { delete stream_; }
std::ostream* CheckOpMessageBuilder::ForVar2() {
  *stream_ << " vs. ";
  return stream_;
}
std::string* CheckOpMessageBuilder::NewString() {
  *stream_ << ")";
  return new std::string(stream_->str());
}

}  // namespace base
}  // namespace google
