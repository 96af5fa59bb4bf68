// One session's source image, filter stack and canvas, and the stack's result as text or pixels. Owned by
// the session, lives on its thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/render/context.h"
#include "platform/color_space.h"
#include "platform/data.h"
#include "source/canvas/KPImageFilterView.h"
#include "source/core/stack/KPFilterStack.h"
#include "source/presets/KPFilterPresetsController.h"

namespace vello {

// Result codes of the modal runs.
inline constexpr int32_t kModalRunApplied = 0;
inline constexpr int32_t kModalRunCancelled = 1;
inline constexpr int32_t kModalRunFailed = 5;

// Pixels of a result: 8-bit premultiplied RGBA, rows of width * 4 bytes, the top row first.
struct FilterResultBitmap {
  PixelLayout layout;
  ColorSpacePtr space;
  Data pixels;
};

class KPImageFilterWindowController {
 public:
  // A nil image is an assertion failure. The background box starts transparent, whatever
  // `transparentBackground` says: it is kept for whoever asks.
  KPImageFilterWindowController(CIImage image, int32_t renderingIntent, ColorSpacePtr imageColorSpace,
                                bool transparentBackground);

  // Both return a result code. Without a screen they log and fail.
  int32_t runModalUIForPreview(std::optional<std::string_view> chain);
  int32_t runModalUIForFile(float dpi);
  // What the Apply button keeps for the next session of this thread.
  void apply();

  // Nothing on failure, which is logged.
  std::optional<std::string> filterChainAsString() const;
  // False for no text, and for one that is no chain (logged): the stack is then untouched. Raises
  // kKPFilterBoxInitializationException for a filter that does not exist.
  bool applyFilterChain(std::optional<std::string_view> chain);
  void applyPreset(std::string_view name) { fPresetsController.applyPreset(name); }

  // The stack's image rendered over the source's extent; nothing on failure, which is logged.
  std::optional<FilterResultBitmap> bitmapContextWithFilterResult();
  // Applies the chain, renders, gives the pixels. A chain that cannot be read leaves the stack as it is.
  std::optional<Data> filterResultForChain(std::optional<std::string_view> chain);
  CIImage filterImage() { return fFilterStack.filterImage(); }

  // The space results leave in: the source's own when it is an RGB space that pixels can be written in, else
  // sRGB.
  ColorSpacePtr resultColorSpace() const;
  // Working and output space as the thread dictionary asks for them under "kCIContextWorkingColorSpace" and
  // "kCIContextOutputColorSpace".
  static ContextOptions contextOptions();

  KPFilterStack& filterStack() { return fFilterStack; }
  const KPFilterStack::FilterArray& filters() const { return fFilterStack.filterArray(); }
  KPImageFilterView& imageView() { return fImageView; }
  CGRect sourceExtent() const { return fSourceImage.extent(); }
  int32_t renderingIntent() const { return fRenderingIntent; }
  const ColorSpacePtr& colorSpace() const { return fColorSpace; }
  bool transparentBackground() const { return fTransparentBackground; }
  float dpi() const { return fDpi; }
  void setCarbonDragging(bool carbonDragging) { fImageView.setCarbonDragging(carbonDragging); }
  // Path of the file the result is saved to.
  const std::optional<std::string>& resultImagePath() const { return fResultFilePath; }
  void setDefaultURL(std::string path) { fResultFilePath = std::move(path); }

 private:
  std::optional<PixelLayout> resultLayout() const;

  CIImage fSourceImage;
  int32_t fRenderingIntent;
  ColorSpacePtr fColorSpace;
  bool fTransparentBackground;
  float fDpi = 72.0f;
  std::optional<std::string> fResultFilePath;
  KPFilterStack fFilterStack;
  KPImageFilterView fImageView;
  KPFilterPresetsController fPresetsController;
};

}  // namespace vello
