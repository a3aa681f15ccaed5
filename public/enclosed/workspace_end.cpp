// How the process ends where the mathematics library inside libozna.so gets no memory for its workspace: as where the
// networks get none for their values, by a message and the exit status 255 (ozna.h). The library would call abort. Neither
// an exception nor exit can take its place: its locks are held at that moment, and its code knows no exceptions. The
// linker sends its calls here (--wrap).

#include <unistd.h>

#include <cstddef>

extern "C" void __wrap_bli_abort();

void __wrap_bli_abort() {
  // After the library's own line; without an allocation.
  static const char message[] = "Unable to allocate memory\n";
  constexpr std::size_t length = sizeof(message) - 1;
  if (write(STDERR_FILENO, message, length) != static_cast<ssize_t>(length)) _exit(255);
  _exit(255);
}
