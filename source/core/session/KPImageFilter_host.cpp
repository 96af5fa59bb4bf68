// The host's identity as the session class tells it.
#include <array>

#include "platform/assertion.h"
#include "platform/log.h"
#include "platform/resources.h"
#include "source/core/session/KPImageFilter.h"
#include "source/core/session/help_book.h"
#include "source/core/session/host_identity.h"

namespace vello {
namespace {

const HostIdentity& currentHost() { return identityOfHost(hostID()); }

bool isHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

// Only characters that RFC 3986 allows in a URL, every "%" followed by two hexadecimal digits.
bool isURLText(std::string_view text) {
  constexpr std::string_view kMarks = "-._~:/?#[]@!$&'()*+,;=";
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '%' && i + 2 < text.size() && isHexDigit(text[i + 1]) && isHexDigit(text[i + 2])) continue;
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (!letter && kMarks.find(c) == std::string_view::npos) return false;
  }
  return !text.empty();
}

}  // namespace

uint32_t KPImageFilter::hostID() { return vello::hostID(); }
void KPImageFilter::setHostApplicationID(uint32_t id) { setHostID(id); }
std::string KPImageFilter::helpbookNameForHost() { return std::string(currentHost().helpBookName); }
std::string KPImageFilter::displayVersionStringForHost() { return std::string(currentHost().displayVersion); }
std::string KPImageFilter::shortVersionStringForHost() { return std::string(currentHost().shortVersion); }

std::string KPImageFilter::redirectURLFor(std::string_view page) {
  std::string tag(currentHost().tag);
  if (tag.empty()) {
    reportAssertionFailure({"redirectURLFor:", "source/core/KPImageFilter", 266,
                            "trying to generate a redirect URL for unknown host!"});
    tag = "(null)";
  }
  return kKPImageFilter_BaseRedirectURL + tag + "/" + std::string(page);
}

void KPImageFilter::regsiterHelpBook() {
  const std::string& bundle = resourcesFolder();
  if (bundle.empty()) logLine("*** Vello : Core bundle was nil!");
  // The folder is read as URL text as it stands, so one with a blank in its name is no URL: deliberate.
  if (!isURLText(bundle)) {
    logLine("*** Vello : Bundle URL was nil!");
    return;
  }
  logLine("*** Vello : %@", {bundle});
  registerHelpBook(bundle);
}

}  // namespace vello
