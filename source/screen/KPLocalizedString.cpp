#include "source/screen/KPLocalizedString.h"

#include "platform/resources.h"

namespace vello {

std::string KPLocalizedString(std::string_view key) { return localizedString(key).value_or(""); }

}  // namespace vello
