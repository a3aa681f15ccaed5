/// What the fuzz targets share: running one input to its end or its refusal, and keeping a hostile
/// definition away from files and endless work.

#ifndef OZNA_FUZZ_HARNESS_H_
#define OZNA_FUZZ_HARNESS_H_

#include <cstddef>
#include <functional>
#include <string>

#include "caffe/proto/caffe.pb.h"

namespace ozna_fuzz {

/// Silences the messages of refused inputs. Call once, before the first input.
void Prepare();

/// Runs action. Ends quietly if the runtime refuses the input or memory beyond the limits is
/// wanted: 1 MiB per blob, 64 MiB per block of any other kind.
void RunOrRefuse(const std::function<void()>& action);

/// Sets the limit of other blocks than blobs. A count in a file may make thousands of elements that
/// the file then does not have, each of which is read in vain.
void LimitBlocks(std::size_t bytes);

/// Whether a definition has few enough layers to run thousands of times a minute and opens no
/// database. The mean files and matrices that it names become small ones in memory.
bool MakeHarmless(caffe::NetParameter& definition);

}  // namespace ozna_fuzz

#endif  // OZNA_FUZZ_HARNESS_H_
