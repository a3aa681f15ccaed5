/// An open model file, and the content of a whole one.

#ifndef OZNA_KIT_MODELS_MODEL_FILE_H_
#define OZNA_KIT_MODELS_MODEL_FILE_H_

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

namespace kit {

/// A file that is read once, from front to end, into the memory where its content is checked and
/// used. What becomes of the file meanwhile changes no byte that was checked.
class ModelFile {
 public:
  /// size  In bytes, when the file was opened.
  explicit ModelFile(std::size_t size) : size_(size) {}
  virtual ~ModelFile() = default;
  ModelFile(const ModelFile&) = delete;
  ModelFile& operator=(const ModelFile&) = delete;

  /// A claim: a file that others write to may end before or continue.
  std::size_t size() const { return size_; }

  /// Copies the next bytes.
  ///
  /// to       Room for count bytes.
  /// Returns  How many there were: fewer than count at the end alone.
  /// Errors   Error with OZNAKIT_NO_MODEL where the file cannot be read.
  virtual std::size_t read(void* to, std::size_t count) = 0;

 private:
  std::size_t size_;
};

/// Bytes that stay where they are, as those of files in memory; they must outlive the file.
class BytesInMemory : public ModelFile {
 public:
  explicit BytesInMemory(std::string_view bytes) : ModelFile(bytes.size()), left_(bytes) {}
  std::size_t read(void* to, std::size_t count) override;

 private:
  std::string_view left_;
};

/// The content of a whole file: bytes of its own, or those of a file in memory.
class FileContent {
 public:
  /// bytes  Must outlive the object.
  explicit FileContent(std::string_view bytes) : view_(bytes) {}
  FileContent(std::unique_ptr<char[]> bytes, std::size_t count)
      : owned_(std::move(bytes)), view_(owned_.get(), count) {}
  std::string_view view() const { return view_; }

 private:
  std::unique_ptr<char[]> owned_;
  std::string_view view_;
};

}  // namespace kit

#endif  // OZNA_KIT_MODELS_MODEL_FILE_H_
