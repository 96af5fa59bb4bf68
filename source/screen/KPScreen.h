// What a session asks of the screen. The toolkit implements it; without a screen a session renders chains and
// opens nothing.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/geometry.h"
#include "source/screen/KPCursor.h"

namespace vello {

class KPWindow;

struct KPFont {
  std::string name;
  double size = 0;  // points
};

class KPScreen {
 public:
  // This thread's; nullptr without one.
  static KPScreen* current();

  virtual ~KPScreen() = default;
  // Shows the window until closeWindow(); both leave the window's views alone.
  virtual void openWindow(KPWindow& window) = 0;
  virtual void closeWindow(KPWindow& window) = 0;
  // Lets the user choose one file. Nothing when the user cancels.
  virtual std::optional<std::string> runOpenPanel() = 0;
  virtual void setCursor(KPCursor cursor) = 0;
  // In points, of one line of UTF-8 text.
  virtual CGSize textSize(std::string_view text, const KPFont& font) const = 0;
  // Whether a program may choose where its windows stand.
  virtual bool canPlaceWindows() const = 0;
};

// Makes a screen this thread's until the end of the scope.
class ScopedScreen {
 public:
  explicit ScopedScreen(KPScreen& screen);
  ~ScopedScreen();
  ScopedScreen(const ScopedScreen&) = delete;
  ScopedScreen& operator=(const ScopedScreen&) = delete;

 private:
  KPScreen* former_;
};

// As this thread's screen measures it. Without a screen 0.6 of the font's size per character and 1.2 of it
// high: shapes can be computed, and nothing that reaches a chain depends on it.
CGSize textSize(std::string_view text, const KPFont& font);

}  // namespace vello
