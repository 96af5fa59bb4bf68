// Recipes to pictures and pictures to files, for every command that writes one.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "engine/catalogue/filter.h"
#include "engine/render/context.h"
#include "platform/image_file.h"

namespace vello::cli {

struct PictureRequest {
  CIImage image;
  CGRect rect;  // in image units, whole width and height
  ImageFormat format = ImageFormat::png;
  int depth = 8;               // bits per component
  ColorSpacePtr space;         // a matrix RGB space
  bool keepAlpha = false;      // the file has alpha even if every pixel is opaque
  bool premultiplied = false;  // alpha is written premultiplied: only where the format can say so
  ContextOptions options;
  std::function<bool(double)> progress;
};

struct Picture {
  Bitmap bitmap;
  std::string error;  // empty on success
  bool ok() const { return error.empty(); }
};

// How the picture is rendered: in a layout that the format can hold, over white where it cannot hold alpha.
PixelLayout layoutFor(const PictureRequest& request);
RenderRequest renderRequestFor(const PictureRequest& request);
// What the machine cannot hold is refused before the system is driven into swapping.
std::string sizeProblem(const PixelLayout& layout);

// The recipe's pixels in a layout that the format can hold. What cannot have alpha is composited over white.
Picture renderPicture(const PictureRequest& request);

// The space a picture made from `bitmap` leaves in: its own when it is an RGB space pixels can be written in,
// else sRGB.
ColorSpacePtr resultSpace(const Bitmap& bitmap);

// The same pixels, said to be in another space.
Bitmap taggedAs(const Bitmap& bitmap, const ColorSpacePtr& space);

// Bits per component: as asked for, else as deep as the source, within what the format can hold.
int resultDepth(const std::optional<int>& asked, int sourceBits, ImageFormat format);
// What is wrong with asking for `depth` in `format`, or nothing.
std::optional<std::string> depthProblem(const std::optional<int>& depth, ImageFormat format);

// The format a result is written in: as asked for ("tiff", "png", "jpeg"), else by the file name. The error
// names the file.
struct FormatChoice {
  ImageFormat format = ImageFormat::png;
  std::string error;
  bool ok() const { return error.empty(); }
};
FormatChoice formatForOutput(const std::string& path, const std::string& asked);
const char* formatName(ImageFormat format);

// Why a picture cannot be written to `path` beside what it may replace: no regular file, a folder, standard
// output; nothing when it can.
std::optional<std::string> outputProblem(const std::string& path);
// The same file, whatever links lead to it.
bool isSameFile(const std::string& a, const std::string& b);

}  // namespace vello::cli
