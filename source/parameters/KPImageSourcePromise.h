// The pixels of an image that is dragged out of its well: made when someone takes them, not before.
#pragma once

#include <optional>
#include <string_view>
#include <utility>

#include "engine/image/image.h"
#include "platform/data.h"

namespace vello {

inline constexpr const char* NSTIFFPboardType = "NeXT TIFF v4.0 pasteboard type";

class KPImageSourcePromise {
 public:
  static KPImageSourcePromise promiseWithCIImage(CIImage image) {
    return KPImageSourcePromise(std::move(image));
  }
  // The bytes of a TIFF file, 8-bit sRGB with alpha, when `type` asks for one; nothing for any other type,
  // and, with a log line, for an image that cannot be rendered.
  std::optional<Data> provideDataForType(std::string_view type) const;

 private:
  explicit KPImageSourcePromise(CIImage image) : fImage(std::move(image)) {}
  CIImage fImage;
};

}  // namespace vello
