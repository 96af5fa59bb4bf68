// An image from a file, and for most inputs its place: it can be moved and scaled over the working image. The
// filter's input is the image already in place. In a chain it is the file's path with the placement.
#pragma once

#include "source/parameters/KPCoreImageParameterController.h"
#include "source/parameters/parameter_view_controller.h"

namespace vello {

class KPImageParameterController : public KPCoreImageParameterController,
                                   public KPParameterViewControllerProtocol {
 public:
  static std::unique_ptr<KPImageParameterController> controllerForFilter(std::shared_ptr<CIFilter> filter,
                                                                         std::string parameter);
  KPImageParameterController(std::shared_ptr<CIFilter> filter, std::string parameter);

  KPGeometryParameterView* geometryParameterView() const override { return nullptr; }
  void setImageBounds(const CGRect& bounds) override { fImageBounds = bounds; }

  // The file's picture; its placement only when it was written over the same image rectangle. A file that
  // cannot be read changes nothing.
  void setValueFromDict(const PropertyListDictionary& dict, const CGRect& imageRect) override;
  // An empty dictionary for an image that came from no file.
  void addValueToDict(PropertyListDictionary& dict, const CGRect& imageRect) const override;
  // Fits the image into the working image again.
  void reset() override;
  void removingFilter() override;

  // Where the image lies: its extent. Setting it moves and scales the image; an empty rectangle, or one that
  // holds no number, is ignored.
  CGRect rectValue() const;
  void setRectValue(const CGRect& rect);
  // Empty for an image that came from no file.
  const std::string& sourceImageFilename() const { return fSourceImageFilename; }
  // False, and nothing changes, when the file cannot be read.
  bool setImageParameterWithPath(const std::string& path);
  // Centres the image, scales it down to fit, and gives it to the filter; nil is ignored.
  void setImageParameterWithImage(CIImage image);

 protected:
  void initControls() override;

 private:
  CIImage filterImage() const;
  CGRect centeredAndConstrainedBounds(const CGRect& rect) const;

  std::string fSourceImageFilename;
  CGRect fImageBounds;  // zero until the canvas has answered
  bool fCanManipulateImage;
};

}  // namespace vello
