// Any text as a filter chain: checked, applied, written back and made into a recipe, without rendering it.
#include "platform/exception.h"
#include "platform/log.h"
#include "source/core/session/KPImageFilter.h"
#include "source/core/stack/chain_check.h"

namespace {

vello::HostImage smallPicture() {
  vello::PixelLayout layout;
  layout.width = layout.height = 16;
  layout.bytesPerRow = 64;
  layout.alpha = vello::AlphaInfo::last;
  return {vello::Bitmap(layout, nullptr, vello::Data(std::vector<uint8_t>(16 * 64, 128))), 0};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vello;
  static const HostImage picture = smallPicture();
  static const bool quiet = (setLogSink([](const std::string&) {}), true);
  (void)quiet;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto session = KPImageFilter::imageFilterWithCGImage(picture);
  checkChain(text);
  try {
    session->windowController().applyFilterChain(text);
  } catch (const KPException&) {  // a filter that does not exist
  }
  session->windowController().filterImage();
  session->windowController().filterChainAsString();
  return 0;
}
