// Every family file's rows. A new family adds one line to families.cpp.
#pragma once

#include "engine/catalogue/definition.h"

namespace vello {

View<FilterFamily> filterFamilies();

}  // namespace vello
