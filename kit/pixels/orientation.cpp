// Steps that bring stored pictures upright.

#include "kit/pixels/orientation.h"

namespace kit {

Orientation orientationOf(int number) {
  return {number >= 5, number == 2 || number == 3 || number == 6 || number == 7,
          number == 3 || number == 4 || number == 7 || number == 8};
}

Orientation turnedClockwise(const Orientation& orientation, int quarter_turns) {
  Orientation turned = orientation;
  for (int i = quarter_turns & 3; i > 0; --i) {
    // A quarter turn exchanges the sides and then mirrors the columns. The mirrors of before trade
    // places where they move behind the exchange.
    turned = {!turned.exchanges_sides, !turned.mirrors_rows, turned.mirrors_columns};
  }
  return turned;
}

}  // namespace kit
