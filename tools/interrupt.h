/// The interrupt key: the first one ends a run cleanly, a second one at once.

#ifndef OZNA_TOOLS_INTERRUPT_H_
#define OZNA_TOOLS_INTERRUPT_H_

namespace oznatool {

/// From here on the first SIGINT is remembered and a second one ends the process. A process that
/// was started with SIGINT ignored goes on ignoring it.
void watchInterrupts();

/// Whether a SIGINT came. Any thread.
bool interrupted();

}  // namespace oznatool

#endif  // OZNA_TOOLS_INTERRUPT_H_
