/// The interface of objects that hold learned numbers: they save, load and print themselves.

#ifndef OZNA_MP_IO_ABLE_H_
#define OZNA_MP_IO_ABLE_H_

#include <cstdint>
#include <istream>
#include <ostream>

namespace mp {

/// Abstract, without data.
///
/// Errors   None is reported: a failed stream operation is left in the state of the stream, for
///          whoever asks it.
/// Threads  Different objects are independent. The const operations of one object may run side by
///          side.
class io_able {
 public:
  virtual ~io_able() = default;

  /// Tag of the class. It is not part of the file form.
  virtual const char* type_name() const = 0;

  /// Writes the file form. Returns true always.
  virtual bool save(std::ostream& out) const = 0;

  /// Reads the file form.
  ///
  /// limit    Bytes that the object may take up; 0 and -1 (all ones, as an unsigned number) never
  ///          refuse.
  /// Returns  false only where an object refuses because of the limit.
  virtual bool load(std::istream& in, std::int64_t limit) = 0;

  /// Writes the cells as text, for inspection.
  virtual void print(std::ostream& out) const = 0;

  /// Whether the object holds data.
  virtual bool is_valid() const = 0;

 protected:
  io_able() = default;
  io_able(const io_able&) = default;
  io_able& operator=(const io_able&) = default;
};

}  // namespace mp

#endif  // OZNA_MP_IO_ABLE_H_
