/// Writes files of results so that no other file is harmed and no part of one stays.
///
/// Each is written aside (aside_file.h) and moved to its place when it is whole and on the disk: a
/// reader sees the old file or the new one, and so does who looks after a full disk or a kill.
/// All errors are Failure with kExitOutput; the target is as it was then.

#ifndef OZNA_TOOLS_OUTPUT_OUTPUT_FILE_H_
#define OZNA_TOOLS_OUTPUT_OUTPUT_FILE_H_

#include <sys/stat.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "tools/process/bytes.h"

namespace oznatool {

/// What to do where a new file's name is taken.
enum class Taken {
  kAnotherName,  ///< The file gets "-2", "-3", ... before its ending.
  kEqualServes,  ///< So too, unless the file that is there holds the same bytes: it is as good.
  kReplaced,     ///< The file that is there is replaced, as replaceFile does.
};

/// Writes a new file below a directory, whose missing folders are made. Nothing is overwritten
/// unless taken says so.
///
/// place    Its name, with folders before it. A place that would lead out of the directory is
/// refused.
/// Returns  The path of the file.
std::string writeNewFile(const std::string& directory, const std::string& place, const Bytes& bytes,
                         Taken taken = Taken::kAnotherName);

/// Writes a file in place of what was there. Makes missing folders.
///
/// A link stays, and the file that it leads to is replaced; one that leads nowhere is refused, as
/// is what is not a regular file, and a file that this user may not write. The new file has the
/// mode and, where this user may give it, the owner and group of the old one, and its extended
/// attributes; other hard links keep the old file.
void replaceFile(const std::string& path, const void* bytes, std::size_t size);

/// The same, but only as long as the file is as it was when its content was read.
///
/// former   What the system said about it then; nothing where there was no file.
/// Returns  What it says about the new one.
struct stat replaceUnchangedFile(const std::string& path, const std::optional<struct stat>& former,
                                 const void* bytes, std::size_t size);

/// Calls what changes a file, and names the file in what it throws.
///
/// Errors  Failure with kExitOutput; a Failure and std::bad_alloc of the change as they are.
void namingFile(const std::string& path, const std::function<void()>& change);

/// Makes a directory with those above it.
void makeDirectory(const std::string& directory);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_OUTPUT_FILE_H_
