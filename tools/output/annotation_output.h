/// Decides where annotated photographs go, and writes them.

#ifndef OZNA_TOOLS_OUTPUT_ANNOTATION_OUTPUT_H_
#define OZNA_TOOLS_OUTPUT_ANNOTATION_OUTPUT_H_

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "tools/output/output_file.h"
#include "tools/output/side_output.h"

namespace oznatool {

/// The target of annotated photographs: one file, or a directory for several photographs.
///
/// A file target is replaced. In a directory the name is that of the photograph, with ".png" behind
/// it if its format cannot be written; a name that is taken gets "-2", "-3", ... before its ending,
/// unless the user wants it overwritten: then only what this run itself wrote is safe. A run
/// with --resume takes an equal file that is there for its own, which a killed run had written. "-"
/// stands for standard output.
///
/// A copy keeps the colour profile, the Exif data and, where its format has one, the alpha channel.
class AnnotationOutput : public SideOutput {
 public:
  /// A directory if there may be several photographs, if target is one already or if it ends in
  /// "/"; it is made when it is missing. Otherwise a file, whose ending names the image format.
  ///
  /// Errors  Failure with kExitOutput where nothing can be written there; with kExitUsage where the
  ///         target is the photograph itself, names one file for several photographs, or where
  ///         photographs could be overwritten.
  ///
  /// names           Of the photographs and their folders, as the user gave them.
  /// may_be_several  Whether they may stand for more than one photograph.
  /// taken           What to do in a directory with a name that is taken: see output_file.h.
  AnnotationOutput(const std::string& target, const std::vector<std::string>& names,
                   bool may_be_several, Taken taken);

  bool copies() const override { return true; }
  bool isThere(const Input& input) const override;
  void protect(const Input& input) const override;

  /// Draws into the photograph.
  PreparedFiles prepare(const Input& input, const Record& record,
                        Photograph& photograph) const override;

 private:
  std::string nameFor(const Input& input) const;
  void write(const std::string& name, const Bytes& bytes) const;

  std::string target_;
  bool is_directory_;
  Taken taken_;
  // What this run wrote: used by write alone, which runs in one thread at a time.
  std::shared_ptr<std::unordered_set<std::string>> written_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_ANNOTATION_OUTPUT_H_
