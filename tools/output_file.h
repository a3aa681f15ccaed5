/// Writes files of results so that no other file is harmed and no part of one stays.

#ifndef OZNA_TOOLS_OUTPUT_FILE_H_
#define OZNA_TOOLS_OUTPUT_FILE_H_

#include <string>
#include <vector>

namespace oznatool {

using Bytes = std::vector<unsigned char>;

/// Writes a new file below a directory, whose missing folders are made.
///
/// place    Its name, with folders before it. A name that is taken gets "-2", "-3", ... before its
/// ending, so that nothing is overwritten. A place that would lead out of the directory is refused.
/// Returns  The path of the file.
/// Errors   Failure with kExitOutput; no part of a file is left then.
std::string writeNewFile(const std::string& directory, const std::string& place,
                         const Bytes& bytes);

/// Writes a file, in place of what was there. Errors as writeNewFile.
void writeOverFile(const std::string& path, const Bytes& bytes);

/// Writes a file beside its path and then moves it there, so that a reader sees the old or the new
/// one. Makes missing folders. Errors as writeNewFile.
void replaceFile(const std::string& path, const std::string& text);

/// Makes a directory with those above it. Errors  Failure with kExitOutput.
void makeDirectory(const std::string& directory);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_FILE_H_
