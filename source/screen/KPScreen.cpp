#include "source/screen/KPScreen.h"

#include <algorithm>
#include <utility>

namespace vello {
namespace {

thread_local KPScreen* screenOfThread = nullptr;

bool startsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

}  // namespace

KPScreen* KPScreen::current() { return screenOfThread; }

ScopedScreen::ScopedScreen(KPScreen& screen) : former_(std::exchange(screenOfThread, &screen)) {}
ScopedScreen::~ScopedScreen() { screenOfThread = former_; }

CGSize textSize(std::string_view text, const KPFont& font) {
  if (const KPScreen* screen = KPScreen::current()) return screen->textSize(text, font);
  const auto characters = std::count_if(text.begin(), text.end(), startsCharacter);
  return {0.6 * font.size * static_cast<double>(characters), 1.2 * font.size};
}

}  // namespace vello
