/// Ozna: finds the faces in a photograph and places landmarks on them.
/// @file
/// This is the one header that a host application includes. Everything runs on the CPU, in the
/// calling thread. The order of use is: construct a Detector, load it, call detect as often as
/// wanted, destroy it; and, independently, loadSDMModel, then align68Points or align5Points for any
/// face rectangle.
///
/// Coordinates. Origin at the top left corner of the image, x to the right, y down, in pixels. A
/// rectangle's right and bottom are edges: a box of width 10 at left 5 has right 15. Landmarks have
/// 0 at the centre of the first pixel.
///
/// Errors. Functions report by Status and throw nothing of their own. A model file that exists but
/// is damaged, or a network file that is missing, ends the process with a message, so check the
/// files first where that matters. Exceptions of the image library pass through to the caller.
///
/// Memory that runs out. A failed allocation leaves load, detect and the functions for landmarks as
/// std::bad_alloc, or as a cv::Exception of the code cv::Error::StsNoMem where the pixels of an
/// image of the library's own get no memory. No lock is held then, and every handle can be loaded,
/// used and freed as before; a load that ended so leaves a handle whose load failed. The exception
/// to it is the memory of a network's values and weights, and of the workspace of their products,
/// which is taken at the load and the first search: without it the process ends with "Unable to
/// allocate memory" and exit status 255.
///
/// Threads. The library starts no thread and has two things that all threads share: a lock that
/// loads of detectors wait for, and the landmark model. Values of the plain types belong to whoever
/// holds them: an object that no thread writes may be read by all.

#ifndef OZNA_H_
#define OZNA_H_

#include <cstdint>
#include <string>
#include <vector>

#if defined(_WIN32)
#if defined(OZNA_BUILDING)
#define OZNA_EXPORT __declspec(dllexport)
#elif defined(OZNA_STATIC)
#define OZNA_EXPORT
#else
#define OZNA_EXPORT __declspec(dllimport)
#endif
#else
#define OZNA_EXPORT __attribute__((visibility("default")))  ///< Leaves the shared library.
#endif

namespace oznalib {

class DetectorImpl;

/// Result of a call. The numbers are part of the binary interface and never change. Threads: a
/// plain value.
enum Status : std::int32_t {
  StatusOk = 0,  ///< Success. A detect that found no face returns this too.
  /// No cascade stage or no calibration network found; a landmark model file that cannot be opened.
  StatusLoadFailed = -3,
  StatusNotLoaded = -6,  ///< detect with a Detector whose load never completed.
};

/// A borrowed view of the caller's pixels: three interleaved 8-bit channels, red, green, blue.
///
/// The library reads the pixels during one call only; it copies and keeps no pointer and never
/// writes to them.
///
/// Threads  Any number of calls may read the same pixels at once; nobody may write to them
///          meanwhile.
struct Image {
  std::int32_t width;   ///< Columns.
  std::int32_t height;  ///< Rows.
  /// Bytes from one row to the next; 0 means packed rows of 3 * width bytes. Honoured by detect
  /// only: the alignment functions take rows as packed, whatever stands here.
  std::int32_t stride;
  const std::uint8_t* data;  ///< First byte of the top left pixel.
};

/// An axis-aligned rectangle given by its edges. Threads: a plain value.
template <class T>
struct Rectangle {
  T left;    ///< Edge.
  T top;     ///< Edge.
  T right;   ///< Edge, not width: left + width.
  T bottom;  ///< Edge, not height: top + height.
};

/// One face. Threads: a plain value.
class Detection {
 public:
  /// In pixels of the image that was searched. It is not clipped to the image.
  Rectangle<float> rect;
  /// Probability of a face, 0 to 1, by the last network of the cascade.
  float score;
};

/// Where the model files of a detector lie. Holds the two pointers only: the strings must outlive
/// the call of load. Threads: a plain value; any number of loads may read one at once.
class OZNA_EXPORT DetectorParams {
 public:
  /// Both strings empty.
  DetectorParams();
  /// Stores the pointers.
  DetectorParams(const char* const& cascadeRoot, const char* const& stageListName);
  /// Copies the pointers.
  DetectorParams(const DetectorParams& other);
  /// Copies the pointers.
  DetectorParams& operator=(const DetectorParams& other);
  ~DetectorParams();  ///< Frees nothing.

  /// Directory of the cascade. It is put before file names as it stands, so it ends in a path
  /// separator.
  const char* cascadeRoot;
  const char* stageListName;  ///< Name of the stage list file under cascadeRoot.
  std::int32_t reservedFlag;  ///< 1. Read by nothing.
};

/// How a photograph is searched. There is no default: the caller fills every field. Threads: a
/// plain value; any number of searches may read one at once.
///
/// The working image, in which the first network searches, must fit that network's declared input
/// (384 by 384 in the default cascade). Its longer side is at most maxImageSide * windowSize / F, F
/// being maxImageSide * minFaceFraction cut to a whole number: 640, 0.034 and 13 give F = 21 and a
/// side of up to 396. The values 2.0, 640, 0.05, 12, 1.26, 13 keep within 260 for every image.
struct CascadeParameter {
  /// Largest factor by which a small image is enlarged, at least 1 as a rule.
  float maxUpscale;
  /// Longer side, in pixels, that the image is brought towards before the search.
  std::int32_t maxImageSide;
  /// Smallest face to find, as a fraction of maxImageSide.
  float minFaceFraction;
  /// Number of sizes at which the image is searched; 0 or less finds nothing.
  std::int32_t pyramidLevels;
  /// Ratio of neighbouring sizes, above 1.
  float pyramidFactor;
  /// Side in pixels of the window that one output cell of the first network stands for: 13 in the
  /// default cascade.
  std::int32_t windowSize;
};

/// Handle to a loaded cascade of networks.
///
/// Threads  One Detector serves one thread at a time, since every call writes into its networks.
///          Any number of Detectors may work side by side, and load in any thread: loads wait for
///          each other.
/// Owners   Assignment copies the pointer and nothing else: two handles then refer to one cascade,
///          and it is freed by the first that unloads or is destroyed. Keep exactly one owner.
///          There is no copy constructor.
class OZNA_EXPORT Detector {
 public:
  /// Empty handle. Threads: in any thread, beside anything.
  Detector();
  /// Frees the cascade, if there is one. Threads: in any thread, not beside another use of it.
  ~Detector();
  Detector(const Detector&) = delete;
  /// Copies the pointer only; see Owners above. Threads: not beside another use of either handle.
  Detector& operator=(const Detector& other);

  /// The object behind the handle, for debugging; null when nothing was loaded. Threads: beside
  /// detect, not beside load, unload or an assignment of this handle.
  const void* getDetector() const;

  /// Whether a load was attempted since construction or unload. It is true after a failed load too:
  /// only the status of load, or of detect, says whether the cascade is usable. Threads: as
  /// getDetector.
  bool is_loaded() const;

  /// Loads the cascade from files, replacing an earlier one.
  ///
  /// Reads the stage list cascadeRoot + stageListName, each stage directory that it names, and the
  /// calibration directory cascadeRoot + "cascades/x32Net-x32-3Scales-200/".
  ///
  /// Returns  StatusOk, or StatusLoadFailed where the list names no stage.
  /// Errors   A network file that is missing or damaged ends the process with a message; a mean
  ///          image that is missing or too short does so when its stage is first used.
  /// Threads  In any thread, beside loads and searches of other detectors; not beside another use
  ///          of this one. Loads wait for each other: a process-wide lock is held while one reads.
  Status load(const DetectorParams& params);

  /// Loads the built-in cascade: definitions, means, thresholds and calibration table are part of
  /// the library, the four weight files are read below "../../../Ozna/public/cascades/", relative
  /// to the current directory. Otherwise as load with files. Threads: as load with files; the
  /// current directory must not change meanwhile.
  Status load();

  /// Frees the cascade, if there is one. The handle is empty afterwards. Threads: in any thread,
  /// beside any use of other detectors; not beside another use of this one.
  void unload();

 private:
  friend OZNA_EXPORT void unloadDetector(Detector& detector);
  friend OZNA_EXPORT Status detect(const Image& image, const Detector& detector,
                                   std::vector<Detection>& detections,
                                   const CascadeParameter& parameter);

  DetectorImpl* impl_;  // Owned. Null when empty.
};

/// Same as detector.load(params). Threads: as there.
OZNA_EXPORT Status loadDetector(Detector& detector, const DetectorParams& params);

/// Same as detector.load(). Threads: as there.
OZNA_EXPORT Status loadDetector(Detector& detector);

/// Same as detector.unload(). An empty handle is left as it is. Threads: as there.
OZNA_EXPORT void unloadDetector(Detector& detector);

/// Finds the faces in an image.
///
/// image       Read only. Its stride is honoured.
/// detector    A loaded detector.
/// detections  The faces are appended, best score first; what the vector held before stays in
///             front.
/// parameter   See CascadeParameter.
/// Returns     StatusOk, also when there is no face; StatusNotLoaded, with the vector untouched,
///             for a handle that is empty or whose load failed.
/// Errors      An image or parameters that lead to a working image without area raise
///             cv::Exception. A working image that the first network cannot hold finds no face,
///             with a line in the error log that names both sizes.
/// Threads     Beside searches with other detectors, loads of others and alignments; not beside
///             another use of this detector, const though it is, nor of this vector.
/// Cost        Grows with the area of the working image and with the number of boxes that pass the
///             first network.
OZNA_EXPORT Status detect(const Image& image, const Detector& detector,
                          std::vector<Detection>& detections, const CascadeParameter& parameter);

/// Loads the landmark model from directory + "/" + file into the one process-wide slot, replacing
/// an earlier one.
///
/// Returns  StatusOk, or StatusLoadFailed if the file cannot be opened; the earlier model is gone
///          in either case.
/// Errors   A file that is not a model, or ends early, loads with StatusOk; alignment then gives
///          zeros where what was read does not fit together. A file with a count below 0, or a
///          matrix of a size that cannot be, raises std::bad_alloc; the slot then holds what was
///          read until there.
/// Threads  In any thread, beside any use of detectors; not beside another loadSDMModel, an
///          unloadSDMModel or an alignment.
OZNA_EXPORT Status loadSDMModel(const std::string& directory, const std::string& file);

/// Drops the landmark model. Returns StatusOk always, also when there was none. Threads: as
/// loadSDMModel.
OZNA_EXPORT Status unloadSDMModel();

/// Places 68 landmarks on the face in a rectangle.
///
/// image    Rows are packed at 3 * width bytes, red, green, blue; stride is ignored.
/// rect     The face, as detect gives it. A rectangle whose left is not below its right stands for
///          the middle of the image.
/// points   Resized to 136: x0, y0, ... x67, y67 in pixels of image, 0 at the centre of the first
///          pixel. In order: jaw 0-16, brows 17-26, nose 27-35, eyes 36-47, mouth 48-67. All zero
///          when no model is loaded, when the parts of the model do not fit together or hold fewer
///          than 68 landmarks, and when the model's face width would scale the part of the image
///          around the face beyond 4096 pixels.
/// Returns  StatusOk always.
/// Errors   Nothing is checked before there is a model to work with. Then an image without pixels
///          raises cv::Exception, as does a rectangle of finite numbers, its left below its right,
///          that is less than half as wide or as high as the image and of which, with half its size
///          around it, no whole pixel lies in the image, or whose top is not above its bottom; so
///          does one so much larger than the image (some 80 times with the model of this library)
///          that the image would be scaled to nothing. A rectangle with a number that is not finite
///          stands for the middle of the image too.
/// Threads  Any number at once, beside any use of detectors; not beside loadSDMModel or
///          unloadSDMModel.
/// Source   X. Xiong and F. De la Torre, Supervised descent method and its applications to face
///          alignment, 2013.
OZNA_EXPORT Status align68Points(const Image& image, const Rectangle<float>& rect,
                                 std::vector<float>& points);

/// Places 5 landmarks: the centres of the two eyes, the tip of the nose, the two corners of the
/// mouth.
///
/// points   Resized to 10: x0, y0, ... x4, y4, averaged from the 68. The eye and mouth corner on
///          the left side of the image come first.
///
/// Otherwise as align68Points. Threads: as there.
OZNA_EXPORT Status align5Points(const Image& image, const Rectangle<float>& rect,
                                std::vector<float>& points);

}  // namespace oznalib

#endif  // OZNA_H_
