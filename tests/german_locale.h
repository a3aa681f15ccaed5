/// A locale in which one half is written 0,5. It is compiled by the test, since machines that run
/// tests seldom have one.

#ifndef OZNA_TESTS_GERMAN_LOCALE_H_
#define OZNA_TESTS_GERMAN_LOCALE_H_

#include <stdlib.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/temporary_folder.h"

namespace ozna_test {

/// Sets the C library's locale for the life of the object.
class GermanLocale {
 public:
  GermanLocale() : previous_(std::setlocale(LC_ALL, nullptr)) {
    const std::string& folder = folder_.path();
    // It warns of characters that the encoding lacks: what counts is whether the locale can be set.
    const std::string compile =
        "localedef -i de_DE -f UTF-8 '" + folder + "/de_DE.UTF-8' >'" + folder + "/log' 2>&1";
    if (std::system(compile.c_str()) == -1) return;
    setenv("LOCPATH", folder.c_str(), /*overwrite=*/1);
    std::setlocale(LC_ALL, "de_DE.UTF-8");
  }
  ~GermanLocale() {
    std::setlocale(LC_ALL, previous_.c_str());
    unsetenv("LOCPATH");
  }
  GermanLocale(const GermanLocale&) = delete;
  GermanLocale& operator=(const GermanLocale&) = delete;

  /// Whether numbers have a decimal comma now. Assert it: without the package locales there is
  /// none.
  static bool hasComma() { return std::strcmp(std::localeconv()->decimal_point, ",") == 0; }

 private:
  const std::string previous_;
  const TemporaryFolder folder_;
};

}  // namespace ozna_test

#endif  // OZNA_TESTS_GERMAN_LOCALE_H_
