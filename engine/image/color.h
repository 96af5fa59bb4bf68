// A colour given as a filter input: sRGB-encoded components, straight alpha. Any value is kept as it is.
#pragma once

#include <string>
#include <string_view>

namespace vello {

class CIColor {
 public:
  constexpr CIColor() = default;
  constexpr CIColor(double red, double green, double blue, double alpha = 1)
      : red_(red), green_(green), blue_(blue), alpha_(alpha) {}
  // "r g b a": up to four numbers between blanks; missing red, green, blue are 0, missing alpha 1. What is no
  // number ends the text.
  static CIColor colorWithString(std::string_view text);
  // "r g b a" in the shortest digits that read back to the same doubles.
  std::string stringRepresentation() const;

  double red() const { return red_; }
  double green() const { return green_; }
  double blue() const { return blue_; }
  double alpha() const { return alpha_; }
  friend bool operator==(const CIColor&, const CIColor&) = default;

 private:
  double red_ = 0, green_ = 0, blue_ = 0, alpha_ = 1;
};

}  // namespace vello
