// The module of pictures that move: the first frame of GIF by giflib, of animated WebP by libwebp.

#include <gif_lib.h>
#include <webp/demux.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "tools/photograph/codec_modules.h"

namespace oznatool {
namespace {

struct Source {
  const unsigned char* at;
  std::size_t left;
};

int give(GifFileType* gif, GifByteType* to, int count) {
  auto* const source = static_cast<Source*>(gif->UserData);
  const std::size_t given = std::min(source->left, static_cast<std::size_t>(std::max(count, 0)));
  std::memcpy(to, source->at, given);
  source->at += given;
  source->left -= given;
  return static_cast<int>(given);
}

struct CloseGif {
  void operator()(GifFileType* gif) const { DGifCloseFile(gif, nullptr); }
};
using Gif = std::unique_ptr<GifFileType, CloseGif>;

// Skips to the next frame. False where there is none.
bool findFrame(GifFileType* gif) {
  GifRecordType type = UNDEFINED_RECORD_TYPE;
  while (DGifGetRecordType(gif, &type) == GIF_OK && type != TERMINATE_RECORD_TYPE) {
    if (type == IMAGE_DESC_RECORD_TYPE) return DGifGetImageHeader(gif) == GIF_OK;
    int code = 0;
    GifByteType* block = nullptr;
    if (DGifGetExtension(gif, &code, &block) != GIF_OK) return false;
    while (block != nullptr) {
      if (DGifGetExtensionNext(gif, &block) != GIF_OK) return false;
    }
  }
  return false;
}

cv::Vec3b colourOf(const ColorMapObject& map, int index) {
  if (index < 0 || index >= map.ColorCount) return {0, 0, 0};
  const GifColorType& colour = map.Colors[index];
  return {colour.Red, colour.Green, colour.Blue};
}

// Rows of an interlaced frame come in four passes.
std::vector<int> rowOrder(int rows, bool is_interlaced) {
  std::vector<int> order;
  if (!is_interlaced) {
    for (int y = 0; y < rows; ++y) order.push_back(y);
    return order;
  }
  constexpr int kPasses[4][2] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
  for (const auto& [first, step] : kPasses) {
    for (int y = first; y < rows; y += step) order.push_back(y);
  }
  return order;
}

cv::Mat gifFrame(const unsigned char* bytes, std::size_t size, const cv::Size& promised) {
  Source source = {bytes, size};
  const Gif gif(DGifOpen(&source, give, nullptr));
  if (gif == nullptr || cv::Size(gif->SWidth, gif->SHeight) != promised) return {};
  if (!findFrame(gif.get())) return {};
  const GifImageDesc& frame = gif->Image;
  const ColorMapObject* const map = frame.ColorMap != nullptr ? frame.ColorMap : gif->SColorMap;
  const cv::Rect place(frame.Left, frame.Top, frame.Width, frame.Height);
  const cv::Rect screen({}, promised);
  if (map == nullptr || place.empty() || (place & screen) != place) return {};
  const cv::Vec3b around =
      gif->SColorMap != nullptr ? colourOf(*gif->SColorMap, gif->SBackGroundColor) : cv::Vec3b();
  cv::Mat pixels(promised, CV_8UC3, cv::Scalar(around[0], around[1], around[2]));
  std::vector<GifPixelType> row(static_cast<std::size_t>(frame.Width));
  for (const int y : rowOrder(frame.Height, frame.Interlace)) {
    if (DGifGetLine(gif.get(), row.data(), frame.Width) != GIF_OK) return {};
    auto* const to = pixels.ptr<cv::Vec3b>(frame.Top + y) + frame.Left;
    for (int x = 0; x < frame.Width; ++x) to[x] = colourOf(*map, row[static_cast<std::size_t>(x)]);
  }
  return pixels;
}

cv::Mat webpFrame(const unsigned char* bytes, std::size_t size, const cv::Size& promised) {
  struct Delete {
    void operator()(WebPAnimDecoder* decoder) const { WebPAnimDecoderDelete(decoder); }
  };
  const WebPData data = {bytes, size};
  WebPAnimDecoderOptions options;
  if (WebPAnimDecoderOptionsInit(&options) == 0) return {};
  options.color_mode = MODE_RGBA;
  options.use_threads = 0;
  // The canvas is looked at before the decoder makes room for it.
  const std::unique_ptr<WebPDemuxer, decltype(&WebPDemuxDelete)> demuxer(WebPDemux(&data),
                                                                         WebPDemuxDelete);
  if (demuxer == nullptr ||
      WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_WIDTH) !=
          static_cast<std::uint32_t>(promised.width) ||
      WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_HEIGHT) !=
          static_cast<std::uint32_t>(promised.height)) {
    return {};
  }
  const std::unique_ptr<WebPAnimDecoder, Delete> decoder(WebPAnimDecoderNew(&data, &options));
  std::uint8_t* canvas = nullptr;
  int time = 0;
  if (decoder == nullptr || WebPAnimDecoderGetNext(decoder.get(), &canvas, &time) == 0) return {};
  cv::Mat pixels(promised, CV_8UC3);
  for (int y = 0; y < promised.height; ++y) {
    auto* const to = pixels.ptr<cv::Vec3b>(y);
    for (int x = 0; x < promised.width; ++x, canvas += 4) to[x] = {canvas[0], canvas[1], canvas[2]};
  }
  return pixels;
}

}  // namespace
}  // namespace oznatool

extern "C" __attribute__((visibility("default"))) const oznatool::FrameModule* oznaFrameModule() {
  static const oznatool::FrameModule module = {oznatool::gifFrame, oznatool::webpFrame};
  return &module;
}
