// What a search of a picture would be.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kit/barrier.h"
#include "kit/error.h"
#include "kit/finder.h"
#include "kit/pixels/picture.h"
#include "kit/search/framed_picture.h"
#include "kit/search/picture_reduction.h"
#include "kit/search/search_plan.h"
#include "kit/search/search_request.h"
#include "kit/sized.h"

namespace {

oznakit_scan scanOf(const oznalib::CascadeParameter& parameter) {
  return {parameter.maxUpscale,    parameter.maxImageSide,  parameter.minFaceFraction,
          parameter.pyramidLevels, parameter.pyramidFactor, parameter.windowSize};
}

oznakit_plan planOf(const kit::Cascade& cascade, const cv::Size& picture,
                    const kit::SearchRequest& request) {
  oznakit_plan plan = OZNAKIT_PLAN_INIT;
  const kit::Size first_input = {cascade.scanInput().width, cascade.scanInput().height};
  const cv::Size searched = kit::framedSize(picture, kit::borderPixels(picture, request.margin));
  const std::vector<kit::Scan> scans =
      kit::planScans(searched, std::max(picture.width, picture.height), request, first_input);
  for (const kit::Scan& scan : scans) plan.scans += kit::isWideEnough(scan);
  const kit::Scan& whole = scans.back();
  const kit::Size working = kit::workingSizeOf(whole);
  plan.working_width = static_cast<std::int32_t>(working.width);
  plan.working_height = static_cast<std::int32_t>(working.height);
  if (!kit::fits(working, first_input)) {
    plan.least_fraction = kit::acceptedFraction(whole, first_input);
  }
  const kit::ReducedSearch reduced =
      kit::reducedSearch(picture, request, first_input,
                         kit::leastFaceSide(request.with != 0, cascade.largestLaterInput()));
  plan.reduction = reduced.reduction;
  if (reduced.reduction > 1) {
    plan.scan = scanOf(reduced.parameter);
    plan.margin = reduced.margin;
  }
  return plan;
}

}  // namespace

oznakit_status oznakit_finder_plan(const oznakit_finder* finder, std::int32_t width,
                                   std::int32_t height, const oznakit_search_options* options,
                                   oznakit_plan* plan) {
  return kit::guarded([&] {
    kit::requireGiven(finder, "a finder");
    kit::requireGiven(plan, "a place for the plan");
    kit::requireSize(*plan, "oznakit_plan");
    if (finder->cascade == nullptr) {
      throw kit::Error(OZNAKIT_NO_MODEL,
                       "Expected a finder with OZNAKIT_DETECTION for a plan, found one without.");
    }
    kit::requireSides(width, height);
    const oznakit_search_options defaults = OZNAKIT_SEARCH_OPTIONS_INIT;
    const kit::SearchRequest request(options == nullptr ? defaults : *options);
    *plan = planOf(*finder->cascade, {width, height}, request);
  });
}
