/// Bytes of files and streams.

#ifndef OZNA_TOOLS_PROCESS_BYTES_H_
#define OZNA_TOOLS_PROCESS_BYTES_H_

#include <vector>

namespace oznatool {

using Bytes = std::vector<unsigned char>;

}  // namespace oznatool

#endif  // OZNA_TOOLS_PROCESS_BYTES_H_
