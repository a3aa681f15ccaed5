/// Memory for the mathematics library inside this one, taken before its products need it.

#ifndef OZNA_KIT_WORKSPACE_H_
#define OZNA_KIT_WORKSPACE_H_

namespace kit {

/// To be held where products run.
///
/// The mathematics library packs its operands in a workspace and keeps a list of those that are
/// idle, for the life of the process. Where it finds none and gets no memory for another, it can
/// only end the process: its locks are held at that moment. Each of these objects stands for one
/// workspace, the most that a thread uses at a time. What a workspace consists of is learnt from
/// the first; the pieces of the others are made here, where an exception can say that there is no
/// memory for them, and are what the library gets when it asks.
///
/// Threads  Any number at once, with an object each.
/// Memory   Some 17 MB of address space for each object of the most that there were at the same
///          time, of which products touch what they use: some 100 KB. Kept, as the library keeps
///          it.
/// Cost     A lock. The first object of a process runs a small product.
class WorkspaceInUse {
 public:
  /// Errors  std::bad_alloc; nothing is in use then.
  WorkspaceInUse();
  ~WorkspaceInUse();
  WorkspaceInUse(const WorkspaceInUse&) = delete;
  WorkspaceInUse& operator=(const WorkspaceInUse&) = delete;
};

}  // namespace kit

#endif  // OZNA_KIT_WORKSPACE_H_
