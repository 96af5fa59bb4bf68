// One filtering session on one source image: what the exported functions work with. Lives and dies on one
// thread; several threads may each have theirs. Its static members belong to the process.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/data.h"
#include "source/core/session/HostImage.h"
#include "source/core/session/KPImageFilterWindowController.h"

namespace vello {

class KPImageFilter {
 public:
  // Raises what an assertion failure raises when the image is nil: pixels that do not fit their size, an
  // unreadable file (logged).
  KPImageFilter(CIImage image, int32_t renderingIntent, ColorSpacePtr imageColorSpace,
                bool transparentBackground);
  // 8-bit pixels in rows without padding: 24 bits each when `alphaType` is 0, else 32. 1 is premultiplied
  // alpha last, 2 straight alpha last; any other 32-bit pixels are read as having no alpha.
  static std::unique_ptr<KPImageFilter> imageFilterWithData(const Data& pixels, int32_t alphaType,
                                                            size_t imageWidth, size_t imageHeight,
                                                            int32_t renderingIntent,
                                                            ColorSpacePtr colorSpace);
  static std::unique_ptr<KPImageFilter> imageFilterWithCGImage(const HostImage& image);
  static std::unique_ptr<KPImageFilter> imageFilterWithFileAtPath(const std::string& path);
  static std::unique_ptr<KPImageFilter> initWithCGImage(const HostImage& image, bool transparentBackground);
  // On an empty image.
  static std::unique_ptr<KPImageFilter> init();

  KPImageFilterWindowController& windowController() { return fWindowController; }
  // Nothing when rendering failed (logged). Raises kKPFilterBoxInitializationException for a filter that
  // does not exist. Without a readable chain these are the source's own pixels.
  std::optional<Data> filterResultForChain(std::optional<std::string_view> chain);
  // Both return 0 applied, 1 cancelled, 5 failed; the string is written only for 0.
  int32_t runModalUIForPreview(std::optional<std::string_view> chain, std::string* resultFilterChain);
  int32_t runModalUIForFile(std::string* resultPath, float dpi);
  void applyPreset(std::string_view name);
  // 1: the host's own event loop drives drags.
  void setRunLoopMode(int32_t mode);
  // The file a save starts from; nothing is ignored.
  void setDefaultURL(std::optional<std::string> path);

  static std::vector<std::string> presetNames();
  // Rendering is always in software here.
  static bool useSoftwareCoreImage() { return true; }
  static void checkForUpdate();
  static void doModalAboutBox();

  static uint32_t hostID();
  static void setHostApplicationID(uint32_t id);
  static std::string helpbookNameForHost();
  static std::string displayVersionStringForHost();
  static std::string shortVersionStringForHost();
  // An unknown host is an assertion failure.
  static std::string redirectURLFor(std::string_view page);
  // Spelling is part of the interface.
  static void regsiterHelpBook();

 private:
  KPImageFilterWindowController fWindowController;
};

}  // namespace vello
