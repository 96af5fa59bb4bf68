#include "engine/image/color.h"

#include "platform/number_text.h"

namespace vello {

CIColor CIColor::colorWithString(std::string_view text) {
  double parts[] = {0, 0, 0, 1};
  for (double& part : parts) {
    const size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == text.npos) break;
    const size_t end = std::min(text.find_first_of(" \t\r\n", begin), text.size());
    const auto number = parseNumber(text.substr(begin, end - begin));
    if (!number) break;
    part = *number;
    text.remove_prefix(end);
  }
  return {parts[0], parts[1], parts[2], parts[3]};
}

std::string CIColor::stringRepresentation() const {
  return numberText(red_) + " " + numberText(green_) + " " + numberText(blue_) + " " + numberText(alpha_);
}

}  // namespace vello
