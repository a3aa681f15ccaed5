/// A file that is written aside and takes its place when it is whole.

#ifndef OZNA_TOOLS_OUTPUT_ASIDE_FILE_H_
#define OZNA_TOOLS_OUTPUT_ASIDE_FILE_H_

#include <sys/stat.h>

#include <cstddef>
#include <string>

namespace oznatool {

/// A new file in the folder of its target, under a name that nobody can guess, which no link can
/// lead elsewhere. It holds a lock until it is moved to its place, and is removed where it never
/// is: see aside_name.h for what a killed process leaves.
///
/// Errors   All: Failure with kExitOutput, naming the target; the target is as it was.
/// Threads  One instance per thread.
class AsideFile {
 public:
  /// target  No link. Its folder must exist. mode  Less the process's mask.
  AsideFile(const std::string& target, mode_t mode);
  ~AsideFile();
  AsideFile(const AsideFile&) = delete;
  AsideFile& operator=(const AsideFile&) = delete;

  void write(const void* bytes, std::size_t size);

  /// Gives the file the owner, group and mode of another as far as this user may. Where it may not
  /// give the group, the group gets no more than everybody.
  void takeAttributes(const struct stat& former);

  /// Gives the file the extended attributes of another, which a user's programs keep beside its
  /// content (tags, comments), and its list of access rights where it has the same owner and group.
  /// What the file system does not take is left out. Call after takeAttributes.
  void takeExtendedAttributes(const std::string& path);

  /// What the system says about the file now.
  struct stat status() const;

  /// Flushes the file to the disk, moves it over the target and flushes the folder.
  void moveOver();

  /// The same for a name in the folder of the target that must be free.
  /// Returns  false where it is taken.
  bool moveTo(const std::string& free_name);

 private:
  [[noreturn]] void fail(int error) const;
  void create(mode_t mode);
  void flush();
  void settle();

  std::string target_;
  std::string target_name_;
  int folder_ = -1;
  int file_ = -1;
  bool is_flushed_ = false;
  std::string name_;  // Empty once the file is in its place.
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_ASIDE_FILE_H_
