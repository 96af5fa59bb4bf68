#include "platform/resources.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>

#include "platform/ascii.h"
#include "platform/file_bytes.h"

namespace vello {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBuildMarker = "vello-resources-path";
constexpr int kBuildLevels = 2;  // how far above a library the root of its build tree may lie
constexpr size_t kLongestPath = 4096;

// The file of the program or shared object this code was linked into; empty if it cannot be told.
fs::path ownFile() {
  static const char anchor = 0;
  Dl_info info{};
  void* extra = nullptr;
  if (!dladdr1(&anchor, &info, &extra, RTLD_DL_LINKMAP) || !extra) return {};
  const char* name = static_cast<const link_map*>(extra)->l_name;
  // The program itself has no name there, and its argv[0] may be anything.
  std::error_code error;
  return *name ? fs::canonical(name, error) : fs::read_symlink("/proc/self/exe", error);
}

bool isFolder(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

// The folder that a build tree's root names, if `library` lies in a build tree.
std::optional<std::string> buildResources(fs::path library) {
  for (int level = 0; level <= kBuildLevels && !library.empty(); ++level, library = library.parent_path()) {
    std::error_code none;
    const fs::path marker = library / kBuildMarker;
    if (!fs::exists(marker, none)) continue;
    std::string error;
    const auto bytes = readFile(marker, kLongestPath, &error);
    if (!bytes) return std::nullopt;
    const std::string folder(trimBlanks({reinterpret_cast<const char*>(bytes->data()), bytes->size()}));
    return isFolder(folder) ? std::optional(folder) : std::nullopt;
  }
  return std::nullopt;
}

std::string findResources(const std::string& library) {
  if (library.empty()) return {};
  if (auto folder = buildResources(library)) return *folder;
  for (const char* way : {"../../share/vello", "../share/vello", "../../../share/vello"}) {
    const fs::path folder = (fs::path(library) / way).lexically_normal();
    if (isFolder(folder)) return folder;
  }
  return {};
}

}  // namespace

const std::string& libraryFolder() {
  static const std::string folder = ownFile().parent_path();
  return folder;
}

const std::string& resourcesFolder() {
  static const std::string folder = findResources(libraryFolder());
  return folder;
}

std::optional<std::string> pathForResource(std::string_view name) {
  if (resourcesFolder().empty() || name.empty()) return std::nullopt;
  std::string path = resourcesFolder() + "/" + std::string(name);
  std::error_code error;
  return fs::is_regular_file(path, error) ? std::optional(std::move(path)) : std::nullopt;
}

}  // namespace vello
