#include "source/core/stack/stack_rendering.h"

#include "platform/exception.h"

namespace vello {
namespace {

CIImage outputWithInput(CIFilter& filter, const CIImage& input) {
  filter.setValueForKey(input, kCIInputImageKey);
  return filter.outputImage();
}

// A filter that can make nothing of an unbounded or oversized input gets a second chance with the part that
// is wanted.
CIImage outputWithInputOrItsCrop(CIFilter& filter, const CIImage& input, const CGRect& baseExtent) {
  const CIImage output = outputWithInput(filter, input);
  return output.isNil() ? outputWithInput(filter, input.imageByCroppingToRect(baseExtent)) : output;
}

}  // namespace

CIImage compositedOver(const CIImage& image, const CIImage& background) {
  const auto over = CIFilter::filterWithName("CISourceOverCompositing");
  if (!over)
    throw KPException(NSInternalInconsistencyException, "no CISourceOverCompositing in the catalogue");
  over->setValueForKey(image, kCIInputImageKey);
  over->setValueForKey(background, kCIInputBackgroundImageKey);
  return over->outputImage();
}

CIImage outputOfBox(const KPFilterBoxController& box, const CIImage& image, const CGRect& baseExtent) {
  CIFilter& filter = *box.coreFilter();
  // A tile effect never receives an unbounded image.
  const bool crop = box.isTileEffect() && isInfinite(image.extent());
  const CIImage input = crop ? image.imageByCroppingToRect(baseExtent) : image;
  if (box.isGenerator()) {
    const CIImage generated = filter.outputImage();
    return generated.isNil() ? generated : compositedOver(generated, input);
  }
  if (box.hasBackground()) {
    filter.setValueForKey(input, kCIInputBackgroundImageKey);
    return filter.outputImage();
  }
  return outputWithInputOrItsCrop(filter, input, baseExtent);
}

}  // namespace vello
