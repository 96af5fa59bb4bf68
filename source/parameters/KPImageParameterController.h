// An image from a file, and for most inputs its place: it can be moved and scaled over the working image. The
// filter's input is the image already in place. In a chain it is the file's path with the placement.
#pragma once

#include "source/geometry/KPRectParameterView.h"
#include "source/parameters/KPCoreImageParameterController.h"
#include "source/parameters/KPImageSourcePromise.h"
#include "source/parameters/parameter_view_controller.h"

namespace vello {

class KPImageParameterController : public KPCoreImageParameterController,
                                   public KPParameterViewControllerProtocol {
 public:
  static std::unique_ptr<KPImageParameterController> controllerForFilter(std::shared_ptr<CIFilter> filter,
                                                                         std::string parameter);
  KPImageParameterController(std::shared_ptr<CIFilter> filter, std::string parameter);

  KPLabel& label() { return fLabelView; }
  KPImageWell& imageView() { return fImageView; }
  KPButton& chooseButton() { return fChooseButton; }
  // nullptr for an image without a place of its own.
  KPGeometryParameterView* geometryParameterView() const override { return fRectView.get(); }
  void setImageBounds(const CGRect& bounds) override;

  // The file's picture; its placement only when it was written over the same image rectangle. A file that
  // cannot be read changes nothing.
  void setValueFromDict(const PropertyListDictionary& dict, const CGRect& imageRect) override;
  // An empty dictionary for an image that came from no file.
  void addValueToDict(PropertyListDictionary& dict, const CGRect& imageRect) const override;
  // Fits the image into the working image again.
  void reset() override;
  void removingFilter() override;

  // Where the image lies: its extent. Setting it moves and scales the image; an empty rectangle is ignored,
  // one that is not finite refused with a log line.
  CGRect rectValue() const;
  void setRectValue(const CGRect& rect);
  // Empty for an image that came from no file.
  const std::string& sourceImageFilename() const { return fSourceImageFilename; }
  // The filter's image, for whoever it is dragged to.
  KPImageSourcePromise sourceImagePromise() const {
    return KPImageSourcePromise::promiseWithCIImage(filterImage());
  }
  // Loads the file, as a drop of it on the well does.
  void setSourceImageFilename(const std::string& path) { setImageParameterWithPath(path); }
  // False, and nothing changes, when the file cannot be read.
  bool setImageParameterWithPath(const std::string& path);
  // Centres the image, scales it down to fit, and gives it to the filter. Nil is ignored; an image without a
  // pixel, or without bounds, is refused with a log line.
  void setImageParameterWithImage(CIImage image);

 protected:
  void initControls() override;

 private:
  void initWell();
  void initRectView();
  void chooseImage();
  void imageChanged();
  CIImage filterImage() const;
  bool canBePlaced(const CIImage& image) const;
  void setPlacedImage(CIImage image);
  CGRect centeredAndConstrainedBounds(const CGRect& rect) const;
  // A dragged rectangle as it is taken: inside the image, not without a size.
  CGRect validateRectValue(const CGRect& proposed) const;

  KPLabel fLabelView;
  KPImageWell fImageView;
  KPButton fChooseButton;
  std::unique_ptr<KPRectParameterView> fRectView;
  // The image before it was placed, and as this controller placed it. Every placement starts from the former:
  // a thousand of them leave the numbers of one, and a chain gives back the same.
  CIImage fUnplacedImage, fPlacedImage;
  std::string fSourceImageFilename;
  CGRect fImageBounds;  // zero until the canvas has answered
  bool fCanManipulateImage;
};

}  // namespace vello
