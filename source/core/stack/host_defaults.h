// The host's own preferences, as a filter box needs them: initial colours of new filters.
#pragma once

#include "platform/preferences.h"

namespace vello {

// The standard defaults of the host that loaded the plug-in. Implemented beside the host's identity.
Preferences& standardDefaults();

}  // namespace vello
