// Model files that become a pipe while their checksum is made.

#include "tools/commands/checksum.h"

#include "tests/changing_file.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class ChangingFiles : public ProgramTest {};

TEST_F(ChangingFiles, AFileThatBecomesAPipeGetsNoChecksumAndIsNotWaitedFor) {
  writeFile(at("proto"), "weights");
  lookWhileItChanges(at("proto"), [&] { return !oznatool::sha256OfFile(at("proto")).empty(); });
}

}  // namespace
}  // namespace ozna_test
