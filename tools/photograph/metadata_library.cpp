// The lock around exiv2.

#include "tools/photograph/metadata_library.h"

#include <exception>
#include <exiv2/error.hpp>
#include <exiv2/xmp_exiv2.hpp>
#include <new>

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
    try {
      return Exiv2::XmpParser::initialize();
    } catch (const std::exception&) {
      throw;
    } catch (...) {
      // The XMP library inside throws objects of its own, here for want of memory alone.
      throw std::bad_alloc();
    }
  }();
  (void)initialized;
}

}  // namespace oznatool
