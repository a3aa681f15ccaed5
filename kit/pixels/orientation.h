/// The eight ways in which a picture may be stored.

#ifndef OZNA_KIT_PIXELS_ORIENTATION_H_
#define OZNA_KIT_PIXELS_ORIENTATION_H_

namespace kit {

/// What brings a stored picture upright: first its sides are exchanged (pixel (x, y) goes to
/// (y, x)), then columns or rows are mirrored, or both.
///
/// Numbered 1 to 8 as in the Exif tag 0x0112, which says where the stored first row and first
/// column belong.
struct Orientation {
  bool exchanges_sides;
  bool mirrors_columns;
  bool mirrors_rows;
};

/// number  1 to 8.
Orientation orientationOf(int number);

/// The orientation of the same stored picture where what was upright is to be turned clockwise by
/// quarters.
///
/// quarter_turns  Of any size and sign.
Orientation turnedClockwise(const Orientation& orientation, int quarter_turns);

}  // namespace kit

#endif  // OZNA_KIT_PIXELS_ORIENTATION_H_
