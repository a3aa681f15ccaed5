// list_known_cascades OUTPUT DIRECTORY...: writes the digests of cascades as C strings, for known_cascade.cpp.

#include <fstream>
#include <iostream>

#include "tools/exit_code.h"
#include "tools/known_cascade.h"

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  std::ofstream output(argv[1]);
  for (int i = 2; i < argc; ++i) {
    try {
      const std::string digest = oznatool::digestOf(oznatool::checkCascadeFiles(argv[i]));
      if (!digest.empty()) output << '"' << digest << "\",\n";
    } catch (const oznatool::Failure& failure) {
      std::cerr << failure.what() << '\n';  // Then it is not known, and the program tries it.
    }
  }
  output.close();
  return output ? 0 : 1;
}
