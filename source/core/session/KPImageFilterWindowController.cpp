#include "source/core/session/KPImageFilterWindowController.h"

#include <limits>
#include <new>

#include "platform/assertion.h"
#include "platform/log.h"
#include "platform/thread_dictionary.h"
#include "source/core/stack/chain_text.h"

namespace vello {
namespace {

constexpr const char* kCurrentFilterNameKey = "TSCurrentFilterName";
constexpr const char* kLastFilterParamKey = "TSLastFilterParamKey";
constexpr const char* kNoScreen = "*** Vello : there is no screen to show the filter window on\n";
constexpr const char* kTooLarge = "*** Vello : a result of %@ x %@ pixels is empty or beyond 2 GiB\n";
constexpr const char* kResultIsSRGB =
    "*** Vello : no result can be in the source's colour space (%@): it is sRGB\n";
constexpr const char* kRenderFailed = "*** Vello : could not render the filter result: %@\n";

// The typed value under a key of the thread dictionary, or nothing.
template <class T>
std::optional<T> threadValue(std::string_view key) {
  const std::any value = threadDictionaryValue(key);
  const T* typed = std::any_cast<T>(&value);
  return typed ? std::optional<T>(*typed) : std::nullopt;
}

bool isMatrixRGB(const ColorSpacePtr& space) {
  return space && space->model() == ColorSpace::Model::rgb && space->isMatrix();
}

// Null for a space that pixels can be neither made nor written in.
ColorSpacePtr threadSpace(std::string_view key) {
  const ColorSpacePtr space = threadValue<ColorSpacePtr>(key).value_or(nullptr);
  return isMatrixRGB(space) ? space : nullptr;
}

CIImage checkedSource(CIImage image) {
  if (image.isNil())
    reportAssertionFailure({"initWithImage:renderingIntent:imageColorSpace:transparentBackground:",
                            "source/core/KPImageFilterWindowController", 131,
                            "initializing filter before source image has been created"});
  return image;
}

}  // namespace

KPImageFilterWindowController::KPImageFilterWindowController(CIImage image, int32_t renderingIntent,
                                                             ColorSpacePtr imageColorSpace,
                                                             bool transparentBackground)
    : fSourceImage(checkedSource(std::move(image))),
      fRenderingIntent(renderingIntent),
      fColorSpace(std::move(imageColorSpace)),
      fTransparentBackground(transparentBackground),
      fFilterStack(fSourceImage),
      fPresetsController(fFilterStack) {
  fFilterStack.addFilter(KPFilterBoxController::backgroundColorFilter(true, fFilterStack));
  fImageView.setFilterStack(fFilterStack, fSourceImage);
  if (const auto name = threadValue<std::string>(kCurrentFilterNameKey))
    fFilterStack.addFilterWithName(*name, filters().back().get());
}

int32_t KPImageFilterWindowController::runModalUIForPreview(std::optional<std::string_view>) {
  logLine(kNoScreen);
  return kModalRunFailed;
}

int32_t KPImageFilterWindowController::runModalUIForFile(float dpi) {
  fDpi = dpi;
  logLine(kNoScreen);
  return kModalRunFailed;
}

void KPImageFilterWindowController::apply() {
  setThreadDictionaryValue(kLastFilterParamKey, fFilterStack.persistentDataArray());
}

std::optional<std::string> KPImageFilterWindowController::filterChainAsString() const {
  return chainToText(fFilterStack.persistentDataArray());
}

bool KPImageFilterWindowController::applyFilterChain(std::optional<std::string_view> chain) {
  if (!chain) return false;
  const ChainTextResult read = chainFromText(*chain);
  if (read.ok()) fFilterStack.replaceStackWithDataArray(read.boxes());
  return read.ok();
}

ColorSpacePtr KPImageFilterWindowController::resultColorSpace() const {
  return isMatrixRGB(fColorSpace) ? fColorSpace : ColorSpace::sRGB();
}

ContextOptions KPImageFilterWindowController::contextOptions() {
  ContextOptions options;
  options.outputColorSpace = threadSpace("kCIContextOutputColorSpace");
  options.workingColorSpace = threadSpace("kCIContextWorkingColorSpace");
  return options;
}

std::optional<PixelLayout> KPImageFilterWindowController::resultLayout() const {
  const CGSize size = sourceExtent().size;
  constexpr double kLargest = std::numeric_limits<int32_t>::max();
  const bool fits = size.width >= 1 && size.height >= 1 && size.width <= kLargest && size.height <= kLargest;
  PixelLayout layout;
  if (fits) {
    layout.width = static_cast<int64_t>(size.width);
    layout.height = static_cast<int64_t>(size.height);
    layout.bytesPerRow = layout.width * 4;
  }
  // Hosts read the length as a signed 32-bit number.
  if (fits && layout.bytesPerRow <= static_cast<int64_t>(kLargest) / layout.height) return layout;
  logLine(kTooLarge, {std::to_string(size.width), std::to_string(size.height)});
  return std::nullopt;
}

std::optional<FilterResultBitmap> KPImageFilterWindowController::bitmapContextWithFilterResult() {
  const auto layout = resultLayout();
  if (!layout) return std::nullopt;
  const ContextOptions options = contextOptions();
  const ColorSpacePtr space = options.outputColorSpace ? options.outputColorSpace : resultColorSpace();
  if (!options.outputColorSpace && space != fColorSpace)
    logLine(kResultIsSRGB, {fColorSpace ? fColorSpace->name() : "none"});
  try {
    std::vector<uint8_t> pixels(static_cast<size_t>(layout->bytesPerRow * layout->height));
    RenderRequest request;
    request.image = fFilterStack.filterImage();
    request.rect = sourceExtent();
    request.rect.size = {static_cast<double>(layout->width), static_cast<double>(layout->height)};
    const std::string error = CIContext(options).render(request, *layout, space, pixels.data());
    if (error.empty()) return FilterResultBitmap{*layout, space, Data(std::move(pixels))};
    logLine(kRenderFailed, {error});
  } catch (const std::bad_alloc&) {
    logLine(kRenderFailed, {"memory is short"});
  }
  return std::nullopt;
}

std::optional<Data> KPImageFilterWindowController::filterResultForChain(
    std::optional<std::string_view> chain) {
  applyFilterChain(chain);
  auto result = bitmapContextWithFilterResult();
  return result ? std::optional<Data>(std::move(result->pixels)) : std::nullopt;
}

}  // namespace vello
