// Which kernels the mathematics library inside libozna.so runs: by what the processor can do.
//
// Left to itself, the library goes by the names of processors that were on sale when it was
// released, and takes plain C code, three times slower, where it does not know the name. It also
// reads variables of the environment that the host may have set for a copy of its own. The linker
// sends both questions here instead (--wrap).
//
// OZNA_KERNELS may name a set of kernels (haswell, zen3, skx, sandybridge, penryn, generic), to
// measure or to compare them. A name that is unknown, or whose instructions the processor lacks,
// counts for nothing.

#include <blis.h>

#include <cstdlib>
#include <cstring>

extern "C" {
arch_t __real_bli_cpuid_query_id();
arch_t __wrap_bli_cpuid_query_id();
gint_t __wrap_bli_env_get_var(const char* name, gint_t fallback);
}

namespace {

bool hasAvx2() { return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"); }

bool hasAvx512() {
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
         __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
}

bool wanted(const char* name) {
  const char* const kernels = std::getenv("OZNA_KERNELS");
  return kernels != nullptr && std::strcmp(kernels, name) == 0;
}

}  // namespace

// The kernels for AVX-512 lose on the small products of the networks: 1.5 to 1.6 times the time of
// those for AVX2, on a processor that has both. docs/mathematics.md has the table.
arch_t __wrap_bli_cpuid_query_id() {
  __builtin_cpu_init();
  if (wanted("generic")) return BLIS_ARCH_GENERIC;
  if (wanted("penryn") && __builtin_cpu_supports("sse3")) return BLIS_ARCH_PENRYN;
  if (wanted("sandybridge") && __builtin_cpu_supports("avx")) return BLIS_ARCH_SANDYBRIDGE;
  if (wanted("haswell") && hasAvx2()) return BLIS_ARCH_HASWELL;
  if (wanted("zen3") && hasAvx2()) return BLIS_ARCH_ZEN3;
  if (wanted("skx") && hasAvx512()) return BLIS_ARCH_SKX;

  const arch_t named = __real_bli_cpuid_query_id();
  if (!hasAvx2()) return named;
  const bool zen = named == BLIS_ARCH_ZEN || named == BLIS_ARCH_ZEN2 || named == BLIS_ARCH_ZEN3;
  return zen ? named : BLIS_ARCH_HASWELL;
}

gint_t __wrap_bli_env_get_var(const char*, gint_t fallback) { return fallback; }
