/// A locale in which one half is written 0,5. It is compiled by the test, since machines that run tests seldom have one.

#ifndef OZNA_TESTS_GERMAN_LOCALE_H_
#define OZNA_TESTS_GERMAN_LOCALE_H_

#include <stdlib.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace ozna_test {

/// Sets the C library's locale for the life of the object.
class GermanLocale {
 public:
  GermanLocale() : former_(std::setlocale(LC_ALL, nullptr)) {
    std::string folder = (std::filesystem::temp_directory_path() / "ozna-locale-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) return;
    folder_ = folder;
    // It warns of characters that the encoding lacks: what counts is whether the locale can be set.
    const std::string compile =
        "localedef -i de_DE -f UTF-8 '" + folder + "/de_DE.UTF-8' >'" + folder + "/log' 2>&1";
    if (std::system(compile.c_str()) == -1) return;
    setenv("LOCPATH", folder.c_str(), /*overwrite=*/1);
    std::setlocale(LC_ALL, "de_DE.UTF-8");
  }
  ~GermanLocale() {
    std::setlocale(LC_ALL, former_.c_str());
    unsetenv("LOCPATH");
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
  }
  GermanLocale(const GermanLocale&) = delete;
  GermanLocale& operator=(const GermanLocale&) = delete;

  /// Whether numbers have a decimal comma now. Assert it: without the package locales there is none.
  static bool hasComma() { return std::strcmp(std::localeconv()->decimal_point, ",") == 0; }

 private:
  const std::string former_;
  std::string folder_;
};

}  // namespace ozna_test

#endif  // OZNA_TESTS_GERMAN_LOCALE_H_
