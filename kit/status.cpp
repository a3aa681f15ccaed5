// Versions, and words for what a call returned.

#include <cstdint>

#include "kit/barrier.h"
#include "kit/oznakit.h"

std::int32_t oznakit_version() { return OZNAKIT_VERSION; }

const char* oznakit_status_text(oznakit_status status) {
  switch (status) {
    case OZNAKIT_OK:
      return "ok";
    case OZNAKIT_CANCELLED:
      return "cancelled";
    case OZNAKIT_BAD_ARGUMENT:
      return "bad argument";
    case OZNAKIT_NO_MODEL:
      return "no model";
    case OZNAKIT_BAD_MODEL:
      return "bad model";
    case OZNAKIT_NO_MEMORY:
      return "no memory";
    case OZNAKIT_INTERNAL:
      return "internal fault";
    default:
      return "unknown status";
  }
}

const char* oznakit_last_message() { return kit::lastMessage(); }
