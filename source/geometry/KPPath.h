// The outline of what is drawn on the canvas, and hit: lines and circular arcs.
#pragma once

#include <vector>

#include "platform/geometry.h"

namespace vello {

class KPPath {
 public:
  struct Element {
    enum Kind { Move, Line, Arc, Close };
    Kind kind;
    CGPoint point;  // the end of a move or line, the centre of an arc
    // Of arcs: degrees, counterclockwise from the direction of x; an end below the start goes clockwise.
    double radius = 0, startAngle = 0, endAngle = 0;
    friend bool operator==(const Element&, const Element&) = default;
  };

  // Inset by the radius on every side, with an arc round each corner.
  static KPPath bezierPathWithRoundRect(const CGRect& rect, double radius);
  // The circle inscribed in a square.
  static KPPath bezierPathWithOvalInRect(const CGRect& square);

  void moveToPoint(CGPoint point) { fElements.push_back({Element::Move, point}); }
  void lineToPoint(CGPoint point) { fElements.push_back({Element::Line, point}); }
  // A line leads from where the path is to where the arc starts.
  void appendArc(CGPoint center, double radius, double startAngle, double endAngle) {
    fElements.push_back({Element::Arc, center, radius, startAngle, endAngle});
  }
  void closePath() { fElements.push_back({Element::Close, {}}); }
  const std::vector<Element>& elements() const { return fElements; }

 private:
  std::vector<Element> fElements;
};

}  // namespace vello
