// The loops of the image library inside libozna.so, run in the calling thread.
//
// The image library splits the rows of a large picture among threads of its own, and a host that
// calls from several threads gets slower by that. These definitions take the place of the
// library's, so that what starts threads is not linked at all, nor is what asks the display for
// OpenGL. The host's own copy of the image library is not touched.

#include <opencv2/core/utility.hpp>

namespace cv {

ParallelLoopBody::~ParallelLoopBody() = default;

void parallel_for_(const Range& range, const ParallelLoopBody& body, double /*stripes*/) {
  if (!range.empty()) body(range);
}

int getNumThreads() { return 1; }
int getThreadNum() { return 0; }
void setNumThreads(int /*threads*/) {}
int getNumberOfCPUs() { return 1; }

}  // namespace cv

// There is no OpenGL here: the image library names these three and calls them only for pictures
// that lie on a screen.
extern "C" {
void* glXGetCurrentContext();
void* glXGetCurrentDisplay();
void* glXGetProcAddressARB(const unsigned char* name);

void* glXGetCurrentContext() { return nullptr; }
void* glXGetCurrentDisplay() { return nullptr; }
void* glXGetProcAddressARB(const unsigned char* /*name*/) { return nullptr; }
}
