#include "source/core/session/KPImageFilter.h"

#include <limits>

#include "platform/image_file.h"
#include "platform/log.h"
#include "source/core/session/host_identity.h"

namespace vello {
namespace {

enum AlphaType : int32_t { kNoAlpha = 0, kPremultiplied = 1, kStraight = 2 };

AlphaInfo alphaInfoOfType(int32_t alphaType) {
  switch (alphaType) {
    case kNoAlpha:
      return AlphaInfo::none;
    case kPremultiplied:
      return AlphaInfo::premultipliedLast;
    case kStraight:
      return AlphaInfo::last;
    default:
      return AlphaInfo::noneSkipLast;
  }
}

// Empty when the pixels do not fit their size.
Bitmap bitmapWithData(const Data& pixels, int32_t alphaType, size_t width, size_t height,
                      ColorSpacePtr space) {
  constexpr size_t kLargestSide = std::numeric_limits<int32_t>::max();
  if (width > kLargestSide || height > kLargestSide) return {};
  PixelLayout layout;
  layout.width = static_cast<int64_t>(width);
  layout.height = static_cast<int64_t>(height);
  layout.alpha = alphaInfoOfType(alphaType);
  layout.componentsPerPixel = alphaType == kNoAlpha ? 3 : 4;
  layout.bytesPerRow = layout.bytesPerPixel() * layout.width;
  if (const auto problem = checkLayout(layout, pixels.size())) {
    logLine("*** Vello : the source's pixels cannot be used: %@\n", {*problem});
    return {};
  }
  return Bitmap(layout, std::move(space), pixels);
}

}  // namespace

KPImageFilter::KPImageFilter(CIImage image, int32_t renderingIntent, ColorSpacePtr imageColorSpace,
                             bool transparentBackground)
    : fWindowController(std::move(image), renderingIntent, std::move(imageColorSpace),
                        transparentBackground) {}

// The three entry points differ in what they call transparent: deliberate.
std::unique_ptr<KPImageFilter> KPImageFilter::imageFilterWithData(const Data& pixels, int32_t alphaType,
                                                                  size_t imageWidth, size_t imageHeight,
                                                                  int32_t renderingIntent,
                                                                  ColorSpacePtr colorSpace) {
  const Bitmap bitmap = bitmapWithData(pixels, alphaType, imageWidth, imageHeight, std::move(colorSpace));
  return initWithCGImage({bitmap, renderingIntent}, alphaType == kPremultiplied || alphaType == kStraight);
}

std::unique_ptr<KPImageFilter> KPImageFilter::imageFilterWithCGImage(const HostImage& image) {
  return initWithCGImage(image, image.bitmap.layout().hasAlpha());
}

std::unique_ptr<KPImageFilter> KPImageFilter::imageFilterWithFileAtPath(const std::string& path) {
  const ImageReadResult read = readImageFile(path);
  if (!read.ok()) logLine("*** Vello : %@\n", {read.error});
  return initWithCGImage({read.bitmap, 0}, read.bitmap.layout().alpha != AlphaInfo::none);
}

std::unique_ptr<KPImageFilter> KPImageFilter::initWithCGImage(const HostImage& image,
                                                              bool transparentBackground) {
  return std::make_unique<KPImageFilter>(CIImage::imageWithBitmap(image.bitmap), image.renderingIntent,
                                         image.bitmap.space(), transparentBackground);
}

std::unique_ptr<KPImageFilter> KPImageFilter::init() {
  return std::make_unique<KPImageFilter>(CIImage::emptyImage(), 0, nullptr, false);
}

std::optional<Data> KPImageFilter::filterResultForChain(std::optional<std::string_view> chain) {
  return fWindowController.filterResultForChain(chain);
}

int32_t KPImageFilter::runModalUIForPreview(std::optional<std::string_view> chain,
                                            std::string* resultFilterChain) {
  const int32_t code = fWindowController.runModalUIForPreview(chain);
  if (code == kModalRunApplied && resultFilterChain)
    *resultFilterChain = fWindowController.filterChainAsString().value_or("");
  return code;
}

int32_t KPImageFilter::runModalUIForFile(std::string* resultPath, float dpi) {
  const int32_t code = fWindowController.runModalUIForFile(dpi);
  if (code == kModalRunApplied && resultPath) *resultPath = fWindowController.resultImagePath().value_or("");
  return code;
}

void KPImageFilter::applyPreset(std::string_view name) { fWindowController.applyPreset(name); }
void KPImageFilter::setRunLoopMode(int32_t mode) { fWindowController.setCarbonDragging(mode != 0); }

void KPImageFilter::setDefaultURL(std::optional<std::string> path) {
  if (path) fWindowController.setDefaultURL(std::move(*path));
}

std::vector<std::string> KPImageFilter::presetNames() { return KPFilterPresetsController::presetNames(); }

void KPImageFilter::checkForUpdate() { logLine("*** Vello : there is no screen to show an update on\n"); }

void KPImageFilter::doModalAboutBox() {
  logLine("*** Vello : version %@; there is no screen to show the about box on\n",
          {displayVersionStringForHost()});
}

}  // namespace vello
