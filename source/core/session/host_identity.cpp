#include "source/core/session/host_identity.h"

#include <atomic>

#include "source/core/stack/host_defaults.h"

namespace vello {
namespace {

constexpr std::string_view kInDesignHelp = "Vello Effects for InDesign Help";
constexpr std::string_view kIllustratorHelp = "Vello Effects for Illustrator Help";

// By host id. The order is part of the interface: the newer illustration host has the lower number. The
// standalone shell shares the illustration hosts' help book.
constexpr HostIdentity kHosts[] = {
    {"standalone", kIllustratorHelp, "1.1", "1.1.0.5110"},
    {"IDCS1", kInDesignHelp, "1.0", "1.0.0.5110"},
    {"IDCS2", kInDesignHelp, "1.0", "1.0.0.5110"},
    {"AICS2", kIllustratorHelp, "0.9 (beta)", "0.9.0.5110"},
    {"AICS1", kIllustratorHelp, "0.9 (beta)", "0.9.0.5110"},
    {"IDCS3", kInDesignHelp, "1.0", "1.0.0.5110"},
};
constexpr HostIdentity kUnknownHost = {"", kIllustratorHelp, "1.1", "1.1.0.5110"};

std::atomic<uint32_t> currentHost{0};

}  // namespace

std::string kKPImageFilter_BaseRedirectURL = "https://vello.example/redirect/";
std::string kKPImageFilter_GotoWebURL = "visit.html";

uint32_t hostID() { return currentHost; }
void setHostID(uint32_t id) { currentHost = id; }

const HostIdentity& identityOfHost(uint32_t id) { return id < std::size(kHosts) ? kHosts[id] : kUnknownHost; }

Preferences& standardDefaults() {
  const std::string_view tag = identityOfHost(hostID()).tag;
  return Preferences::domain("host-" + std::string(tag.empty() ? kHosts[0].tag : tag));
}

}  // namespace vello
