#include "source/geometry/rect_text.h"

#include "platform/number_text.h"

namespace vello {

std::string NSStringFromRect(const CGRect& rect) {
  return "{{" + numberText(rect.origin.x) + ", " + numberText(rect.origin.y) + "}, {" +
         numberText(rect.size.width) + ", " + numberText(rect.size.height) + "}}";
}

CGRect NSRectFromString(std::string_view text) {
  double numbers[4] = {};
  size_t place = 0;
  while (!text.empty() && place < 4) {
    const size_t length = text.find_first_of("{},");
    const std::string_view token = text.substr(0, length);
    if (token.find_first_not_of(" \t\r\n") != token.npos) numbers[place] = leadingNumber(token);
    if (length == text.npos) break;
    if (text[length] == ',') ++place;
    // The comma behind the first pair then leads to the second one, though the pair had one number or none.
    if (text[length] == '}' && place == 0) place = 1;
    text.remove_prefix(length + 1);
  }
  return {{numbers[0], numbers[1]}, {numbers[2], numbers[3]}};
}

}  // namespace vello
