// The line that no exception crosses.

#include "kit/barrier.h"

#include <cstddef>
#include <cstring>
#include <exception>
#include <new>
#include <opencv2/core.hpp>
#include <stdexcept>

#include "kit/error.h"

namespace kit {
namespace {

// Of a fixed size, since what is to be reported may be that there is no memory.
constexpr std::size_t kMessageSize = 1024;
thread_local char message[kMessageSize];

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// Keeps a sentence; one that is too long is cut between characters.
oznakit_status report(oznakit_status status, const char* first, const char* second = "") {
  std::size_t length = 0;
  for (const char* const part : {first, second}) {
    std::size_t count = std::strlen(part);
    if (count > kMessageSize - 1 - length) {
      count = kMessageSize - 1 - length;
      while (count > 0 && isContinuation(part[count])) --count;
    }
    std::memcpy(message + length, part, count);
    length += count;
  }
  message[length] = '\0';
  return status;
}

oznakit_status tellNoMemory() {
  return report(OZNAKIT_NO_MEMORY, "Expected memory for the call, but an allocation failed.");
}

}  // namespace

oznakit_status reportException() noexcept {
  try {
    throw;
  } catch (const Error& error) {
    return report(error.status(), error.what());
  } catch (const std::bad_alloc&) {
    return tellNoMemory();
  } catch (const cv::Exception& error) {
    if (error.code == cv::Error::StsNoMem) return tellNoMemory();
    return report(OZNAKIT_INTERNAL, "A fault of the library: ", error.what());
  } catch (const std::exception& error) {
    return report(OZNAKIT_INTERNAL, "A fault of the library: ", error.what());
  } catch (...) {
    return report(OZNAKIT_INTERNAL, "A fault of the library: an exception of an unknown kind.");
  }
}

const char* lastMessage() noexcept { return message; }

}  // namespace kit
