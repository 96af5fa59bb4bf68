// A canvas in a scrolled window, an owner of on-canvas views, and a model they can be bound to.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "source/geometry/KPGeometryParameterView.h"
#include "source/screen/KPWindow.h"
#include "tests/source/geometry/geometry_printing.h"
#include "tests/source/log_capture.h"

namespace vello {

class TestCanvas : public KPTrackerCanvas {
 public:
  explicit TestCanvas(KPWindow& window) : KPTrackerCanvas(rect(0, 0, 1000, 1000)) {
    window.contentView().addSubview(content_);
    content_.addSubview(*this);
  }
  bool isSlow() const override { return slow; }
  const KPView& scrollContentView() const override { return content_; }
  void scrollPoint(CGPoint point) override { content_.setBoundsOrigin(point); }
  bool slow = false;

 private:
  KPView content_{rect(20, 10, 400, 300)};
};

class TestOwner : public KPParameterViewOwner {
 public:
  void scrollToVisibleInStack() override { ++scrolls; }
  int scrolls = 0;
};

// Holds a vector, as a filter's input does.
class VectorModel {
 public:
  explicit VectorModel(CIVector initial) : value(std::move(initial)) {}
  KPProperty property() {
    return {[this] { return Value(value); },
            [this](const Value& v) {
              value = *v.vector();
              ++writes;
              observers.notify();
            },
            [this](std::function<void()> changed) { return observers.add(std::move(changed)); },
            [this](const Value& v) { return validate(v); }};
  }
  CIVector value;
  ObserverList<> observers;
  std::function<std::optional<Value>(const Value&)> validate = [](const Value& v) { return v; };
  int writes = 0;
};

// As controllers validate places.
inline Value wholeNumbers(const Value& proposed) {
  std::vector<double> values = proposed.vector()->values();
  for (double& value : values) value = std::round(value);
  return CIVector(std::move(values));
}

class CanvasTest : public testing::Test {
 protected:
  KPEvent at(CGPoint canvasPoint, uint32_t modifiers = 0) const {
    return {KPEventType::LeftMouseDragged, canvas_.convertPointToView(canvasPoint, nullptr), modifiers};
  }
  std::unique_ptr<KPTracker> begin(KPGeometryParameterView& view, CGPoint mouseDown) {
    auto tracker = view.tracker(mouseDown);
    tracker->setView(canvas_);
    tracker->mouseDown(at(mouseDown));
    return tracker;
  }
  // From press to release, with `steps` drags in between.
  void drag(KPGeometryParameterView& view, CGPoint from, CGPoint to, int steps = 1) {
    const auto tracker = begin(view, from);
    for (int i = 1; i <= steps; ++i) {
      const double t = double(i) / steps;
      tracker->mouseDrag(at({from.x + t * (to.x - from.x), from.y + t * (to.y - from.y)}));
    }
    tracker->mouseUp(at(to));
  }

  KPWindow window_{rect(0, 0, 500, 400)};
  TestCanvas canvas_{window_};
  TestOwner owner_;
  LogCapture log_;
};

}  // namespace vello
