// The lock around exiv2.

#include "tools/metadata_library.h"

#include <exiv2/error.hpp>
#include <exiv2/xmp_exiv2.hpp>

namespace oznatool {
namespace {

std::mutex& libraryMutex() {
  static std::mutex mutex;
  return mutex;
}

}  // namespace

MetadataLibrary::MetadataLibrary() : lock_(libraryMutex()) {
  static const bool initialized = [] {
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    return Exiv2::XmpParser::initialize();
  }();
  (void)initialized;
}

}  // namespace oznatool
