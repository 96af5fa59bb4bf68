// Which host application has loaded the plug-in, and what is told differently to each. One per process, safe
// from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vello {

struct HostIdentity {
  std::string_view tag;  // empty for a host the table does not know
  std::string_view helpBookName, displayVersion, shortVersion;
};

uint32_t hostID();  // 0, the standalone shell, until a host says otherwise
void setHostID(uint32_t id);
// The row of a host; an unknown one gets the standalone shell's answers, without a tag.
const HostIdentity& identityOfHost(uint32_t id);

// The redirect service for web pages, a URL that ends in "/", and the page its web button opens. Set them
// before a second thread reads them.
extern std::string kKPImageFilter_BaseRedirectURL;
extern std::string kKPImageFilter_GotoWebURL;

}  // namespace vello
