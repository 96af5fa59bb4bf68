// A screen that does what a test told it to and remembers what it was asked for.
#pragma once

#include <algorithm>
#include <deque>
#include <vector>

#include "source/screen/KPScreen.h"

namespace vello {

class ScriptedScreen : public KPScreen {
 public:
  // Answers of the coming open panels; an empty queue cancels.
  std::deque<std::string> openPanelAnswers;
  // What was asked for.
  std::vector<KPWindow*> openWindows;
  KPCursor cursor = KPCursor::arrowCursor;
  int openPanels = 0;

  void openWindow(KPWindow& window) override { openWindows.push_back(&window); }
  void closeWindow(KPWindow& window) override { std::erase(openWindows, &window); }
  std::optional<std::string> runOpenPanel() override {
    ++openPanels;
    if (openPanelAnswers.empty()) return std::nullopt;
    std::string path = openPanelAnswers.front();
    openPanelAnswers.pop_front();
    return path;
  }
  void setCursor(KPCursor newCursor) override { cursor = newCursor; }
  // Half as wide as high, per byte.
  CGSize textSize(std::string_view text, const KPFont& font) const override {
    return {0.5 * font.size * static_cast<double>(text.size()), font.size};
  }
  bool canPlaceWindows() const override { return true; }

 private:
  ScopedScreen scope_{*this};
};

}  // namespace vello
