/// When a margin is tried by itself, and which.

#ifndef OZNA_KIT_SEARCH_AUTO_MARGIN_H_
#define OZNA_KIT_SEARCH_AUTO_MARGIN_H_

#include <opencv2/core/types.hpp>

namespace kit {

/// Of the longer side, on each side of the picture.
constexpr double kAutoMargin = 0.3;

/// Whether a picture without faces may be one face that fills it: small and nearly square, as the
/// portraits of profiles are. A second search of such a picture costs little.
bool isPortraitLike(const cv::Size& picture);

}  // namespace kit

#endif  // OZNA_KIT_SEARCH_AUTO_MARGIN_H_
