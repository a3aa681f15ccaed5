// How the mathematics library inside libozna.so and liboznakit.so gets memory for its workspace,
// and how the process ends where there is none.
//
// It ends as where the networks get none for their values, by a message and the exit status 255
// (ozna.h). The library would call abort. Neither an exception nor exit can take its place: its
// locks are held at that moment, and its code knows no exceptions. The linker sends its calls here
// (--wrap).
//
// liboznakit.so promises more, and has the memory ready before a product asks for it
// (kit/workspace.h): the library's malloc and free come here too. This file and the library are one
// object, outside of which nothing is wrapped.

#include <unistd.h>

#include <cstddef>
#include <new>

extern "C" {
void __wrap_bli_abort();

// Of the library around this object; null where it keeps nothing ready.
__attribute__((weak)) void* ozna_take_workspace(std::size_t bytes);
__attribute__((weak)) bool ozna_return_workspace(void* block);
__attribute__((weak)) void ozna_set_workspace_user(void (*user)());

// As the mathematics library declares it, with its enumerations as the whole numbers that they are.
void cblas_ssyrk(int order, int triangle, int transposed, int rows, int depth, float alpha,
                 const float* a, int a_stride, float beta, float* c, int c_stride);

void* __wrap_malloc(std::size_t bytes);
void __wrap_free(void* block);
}

void __wrap_bli_abort() {
  // After the library's own line; without an allocation.
  static const char message[] = "Unable to allocate memory\n";
  constexpr std::size_t length = sizeof(message) - 1;
  if (write(STDERR_FILENO, message, length) != static_cast<ssize_t>(length)) _exit(255);
  _exit(255);
}

void* __wrap_malloc(std::size_t bytes) {
  if (ozna_take_workspace != nullptr) {
    void* const block = ozna_take_workspace(bytes);
    if (block != nullptr) return block;
  }
  return operator new(bytes, std::nothrow);
}

void __wrap_free(void* block) {
  if (ozna_return_workspace != nullptr && ozna_return_workspace(block)) return;
  operator delete(block);
}

namespace {

// Small products of two matrices do without some of the workspace, for some kernels; a symmetric
// one takes all of it, whatever its size.
void useWorkspace() {
  constexpr int kRowMajor = 101, kUpper = 121, kNotTransposed = 111;
  constexpr int kSide = 8;
  const float a[kSide * kSide] = {};
  float c[kSide * kSide] = {};
  cblas_ssyrk(kRowMajor, kUpper, kNotTransposed, kSide, kSide, 1, a, kSide, 0, c, kSide);
}

__attribute__((constructor)) void showUser() {
  if (ozna_set_workspace_user != nullptr) ozna_set_workspace_user(useWorkspace);
}

}  // namespace
