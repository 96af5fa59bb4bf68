// What the canvas requires of a controller that announces an on-canvas view.
#pragma once

#include "platform/geometry.h"

namespace vello {

class KPGeometryParameterView;

class KPParameterViewControllerProtocol {
 public:
  // nullptr while there is none.
  virtual KPGeometryParameterView* geometryParameterView() const = 0;
  // The working image's extent, in image coordinates.
  virtual void setImageBounds(const CGRect& bounds) = 0;

 protected:
  ~KPParameterViewControllerProtocol() = default;
  // Post KPPositionControlAddedNotification and KPPositionControlRemovedNotification with this as the object.
  void announcePositionControl() const;
  void withdrawPositionControl() const;
};

}  // namespace vello
