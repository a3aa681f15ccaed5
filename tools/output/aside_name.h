/// The names of files that are being written, and the removal of those that nobody writes any more.

#ifndef OZNA_TOOLS_OUTPUT_ASIDE_NAME_H_
#define OZNA_TOOLS_OUTPUT_ASIDE_NAME_H_

#include <string>

namespace oznatool {

/// A new hidden name that nobody can guess: ".ozna-", 24 random hexadecimal digits, 8 more that
/// follow from them, and ".part".
/// Errors  Failure with kExitOutput where the system has no random numbers.
std::string newAsideName();

/// Whether a name is one that newAsideName makes. The last eight digits see to it that no name that
/// a person thinks of is one.
bool isAsideName(const std::string& name);

/// Removes the files in a folder that a run was writing when it was killed.
///
/// A file counts as left over where its name is an aside name, it is a regular file of this user,
/// and nobody holds the lock that its writer keeps for as long as it lives, on whichever machine.
///
/// folder  A descriptor; borrowed. Looked through once in the life of the process.
/// Threads Any.
void removeLeftovers(int folder);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_ASIDE_NAME_H_
