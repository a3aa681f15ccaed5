/// Blocks of memory that come from the system and go back there.

#ifndef CAFFE_UTIL_MAPPED_BLOCK_HPP_
#define CAFFE_UTIL_MAPPED_BLOCK_HPP_

#include <cstddef>

namespace caffe {

/// A block of zeros of its own mapping. Of what malloc is given back, it keeps some for later, and
/// after the first large block it maps none below that size any more; what is needed for a moment
/// and is large stays out of its hands.
///
/// filled   Whether all of it is going to be written at once: its pages are then provided in one
///          go, and large ones where the system has them, in place of a fault for each.
/// Returns  null where there is no memory.
void* MapBlock(std::size_t bytes, bool filled) noexcept;

/// Gives a block of that size back; null is left alone.
void UnmapBlock(void* block, std::size_t bytes) noexcept;

}  // namespace caffe

#endif  // CAFFE_UTIL_MAPPED_BLOCK_HPP_
