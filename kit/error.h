/// How code of the kit reports: by exceptions inside, which the C interface turns into a status and
/// a sentence.

#ifndef OZNA_KIT_ERROR_H_
#define OZNA_KIT_ERROR_H_

#include <stdexcept>
#include <string>

#include "kit/oznakit.h"

namespace kit {

/// A call that failed. what() is the sentence of oznakit_last_message. Failed allocations are not
/// made one of these: they leave as std::bad_alloc.
class Error : public std::runtime_error {
 public:
  Error(oznakit_status status, const std::string& sentence)
      : std::runtime_error(sentence), status_(status) {}
  oznakit_status status() const { return status_; }

 private:
  oznakit_status status_;
};

}  // namespace kit

#endif  // OZNA_KIT_ERROR_H_
