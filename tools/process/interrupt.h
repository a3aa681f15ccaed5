/// The interrupt key and the request to end: the first one ends a run cleanly, a second one at
/// once.

#ifndef OZNA_TOOLS_PROCESS_INTERRUPT_H_
#define OZNA_TOOLS_PROCESS_INTERRUPT_H_

namespace oznatool {

/// From here on the first SIGINT or SIGTERM is remembered and a second one ends the process. A
/// process that was started with one of them ignored goes on ignoring it.
void watchInterrupts();

/// Whether one of them came. Any thread.
bool interrupted();

/// The one that came last; 0 for none.
int interruptingSignal();

}  // namespace oznatool

#endif  // OZNA_TOOLS_PROCESS_INTERRUPT_H_
