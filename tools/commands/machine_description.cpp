// Instruction sets and libraries of this process.

#include "tools/commands/machine_description.h"

#include <dlfcn.h>
#include <link.h>

#include <climits>
#include <cstddef>
#include <cstdlib>
#include <exiv2/version.hpp>
#include <nlohmann/json.hpp>
#include <opencv2/core/utility.hpp>

#include "tools/photograph/codec_modules.h"

namespace oznatool {
namespace {

const char* builtFor() {
#if defined(__AVX512F__)
  return "x86-64-v4 (AVX-512)";
#elif defined(__AVX2__)
  return "x86-64-v3 (AVX2)";
#elif defined(__x86_64__)
  return "x86-64 (SSE2), any processor";
#elif defined(__aarch64__)
  return "arm64 (NEON), any processor";
#else
  return "this processor family";
#endif
}

std::string offered() {
#if defined(__x86_64__)
  std::string names;
  const auto add = [&names](bool has, const char* name) {
    if (has) names += (names.empty() ? "" : " ") + std::string(name);
  };
  __builtin_cpu_init();
  add(__builtin_cpu_supports("sse4.2"), "SSE4.2");
  add(__builtin_cpu_supports("avx"), "AVX");
  add(__builtin_cpu_supports("fma"), "FMA");
  add(__builtin_cpu_supports("avx2"), "AVX2");
  add(__builtin_cpu_supports("avx512f"), "AVX-512F");
  return names;
#else
  return "not known";
#endif
}

// The result of a function of the mathematics library that takes nothing and gives a text; empty
// where the loaded library has none of this name.
std::string textOf(const char* function) {
  using TextFunction = char* (*)();
  const auto found = reinterpret_cast<TextFunction>(dlsym(RTLD_DEFAULT, function));
  return found == nullptr ? "" : found();
}

std::string heifVersion() {
  try {
    return heifModule().version();
  } catch (const MissingModule& missing) {
    return missing.what();
  }
}

// The real files behind the shared libraries of the process whose names hold one of some words.
int noteLibrary(dl_phdr_info* info, std::size_t /*size*/, void* data) {
  const std::string path = info->dlpi_name;
  for (const char* const part : {"libozna", "opencv", "blas", "protobuf", "glog", "leveldb"}) {
    if (path.find(part) == std::string::npos) continue;
    char real[PATH_MAX];
    const std::string file = realpath(path.c_str(), real) == nullptr ? path : real;
    auto* const found = static_cast<NamedTexts*>(data);
    found->emplace_back("loaded", file);
    break;
  }
  return 0;
}

}  // namespace

NamedTexts instructionSets() {
  NamedTexts sets = {{"built for", builtFor()}, {"processor offers", offered()}};
  const std::string core = textOf("openblas_get_corename");
  if (!core.empty()) sets.emplace_back("OpenBLAS kernels", core);
  sets.emplace_back("OpenCV uses", cv::getCPUFeaturesLine());
  return sets;
}

NamedTexts libraryVersions() {
  NamedTexts versions;
  const std::string blas = textOf("openblas_get_config");
  versions.emplace_back("mathematics", blas.empty() ? "inside liboznakit" : blas);
  versions.emplace_back("OpenCV", cv::getVersionString());
  versions.emplace_back("Exiv2", Exiv2::version());
  versions.emplace_back("libheif", heifVersion());
  versions.emplace_back("JSON for C++", std::to_string(NLOHMANN_JSON_VERSION_MAJOR) + "." +
                                            std::to_string(NLOHMANN_JSON_VERSION_MINOR) + "." +
                                            std::to_string(NLOHMANN_JSON_VERSION_PATCH));
  dl_iterate_phdr(noteLibrary, &versions);
  return versions;
}

}  // namespace oznatool
