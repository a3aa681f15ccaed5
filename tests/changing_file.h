/// A file that becomes a pipe while it is looked at: what counts is the file that is open, not what
/// its name stood for before.

#ifndef OZNA_TESTS_CHANGING_FILE_H_
#define OZNA_TESTS_CHANGING_FILE_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>

namespace ozna_test {

/// Looks at a file again and again, while it and a pipe take each other's name. A process that
/// waits for the pipe is ended by the alarm, and the test fails.
///
/// path  There is nothing at path with ".pipe" behind it.
/// look  Whether the file was seen whole.
inline void lookWhileItChanges(const std::string& path, const std::function<bool()>& look) {
  const std::string pipe = path + ".pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    std::atomic<bool> done{false};
    std::thread changes([&] {
      while (!done) renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, pipe.c_str(), RENAME_EXCHANGE);
    });
    int whole = 0, refused = 0;
    for (int i = 0; whole + refused < 2000 || (i < 20000 && (whole == 0 || refused == 0)); ++i) {
      ++(look() ? whole : refused);
    }
    done = true;
    changes.join();
    _exit(whole > 0 && refused > 0 ? 0 : 2);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_FALSE(WIFSIGNALED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0) << "2: the file was never seen as both";
}

}  // namespace ozna_test

#endif  // OZNA_TESTS_CHANGING_FILE_H_
