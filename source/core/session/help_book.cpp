#include "source/core/session/help_book.h"

#include <mutex>

namespace vello {
namespace {

std::mutex mutex;
std::optional<std::string> folder;

}  // namespace

void registerHelpBook(const std::string& bundleFolder) {
  const std::lock_guard lock(mutex);
  folder = bundleFolder;
}

std::optional<std::string> registeredHelpBook() {
  const std::lock_guard lock(mutex);
  return folder;
}

}  // namespace vello
