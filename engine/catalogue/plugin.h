// Installed filter plug-ins ("image units"): shared objects that add point and generate filters to the
// catalogue.
#pragma once

#include <string>

namespace vello {

class CIPlugIn {
 public:
  // Loads every image unit from $XDG_DATA_HOME/vello/image-units and <prefix>/lib/vello/image-units. One that
  // does not load is a log line that names its file. A later call loads only what was not there before.
  static void loadAllPlugIns();
  // Loads one; returns the error, empty on success.
  static std::string loadPlugIn(const std::string& path);
};

}  // namespace vello
