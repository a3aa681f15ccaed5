/// Refusal: how the runtime ends the work on one input when it is built for fuzzing.

#ifndef OZNA_FUZZ_REFUSAL_H_
#define OZNA_FUZZ_REFUSAL_H_

namespace ozna_fuzz {

/// Thrown in place of the end of the process, by a fatal check or by exit.
struct Refusal {};

/// Throws Refusal on the thread that fuzzes. Any other thread belongs to a layer, which waits for
/// it: it ends alone, and the layer continues with what the thread left behind.
[[noreturn]] void Refuse();

}  // namespace ozna_fuzz

#endif  // OZNA_FUZZ_REFUSAL_H_
