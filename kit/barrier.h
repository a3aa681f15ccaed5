/// The line that no exception crosses: what a function of the C interface does is run behind it.

#ifndef OZNA_KIT_BARRIER_H_
#define OZNA_KIT_BARRIER_H_

#include "kit/oznakit.h"

namespace kit {

/// To be called where an exception is caught. Puts a sentence about it into oznakit_last_message.
///
/// Returns  The status of an Error; OZNAKIT_NO_MEMORY for a failed allocation, the image library's
///          included; OZNAKIT_INTERNAL for anything else.
oznakit_status reportException() noexcept;

/// Runs a call and returns OZNAKIT_OK, or what reportException returns where it throws.
template <class Call>
oznakit_status guarded(const Call& call) noexcept {
  try {
    call();
    return OZNAKIT_OK;
  } catch (...) {
    return reportException();
  }
}

/// The sentence of oznakit_last_message.
const char* lastMessage() noexcept;

}  // namespace kit

#endif  // OZNA_KIT_BARRIER_H_
