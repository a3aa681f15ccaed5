/// Decides where annotated photographs go, and writes them.

#ifndef OZNA_TOOLS_ANNOTATION_OUTPUT_H_
#define OZNA_TOOLS_ANNOTATION_OUTPUT_H_

#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

namespace oznatool {

/// The target of --annotate: one file, or a directory for several photographs.
class AnnotationOutput {
 public:
  /// A directory if there are several photographs, if target is one already or if it ends in "/";
  /// it is made when it is missing. Otherwise a file, whose ending names the image format.
  ///
  /// Errors  Failure with kExitOutput where nothing can be written there, Failure with kExitUsage
  /// where the target is
  ///         the photograph itself.
  AnnotationOutput(const std::string& target, const std::vector<std::string>& photographs);

  /// Writes the annotated form of one photograph.
  ///
  /// A file target is replaced. In a directory the name is that of the photograph, with ".png"
  /// behind it if its format cannot be written; a name that is taken gets "-2", "-3", ... before
  /// its ending, so that nothing is overwritten. pixels  8-bit, three channels, red first; its
  /// content is changed. Errors  Failure with kExitOutput; no part of a file is left then.
  void write(const std::string& photograph, cv::Mat& pixels) const;

 private:
  std::string target_;
  bool is_directory_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_ANNOTATION_OUTPUT_H_
