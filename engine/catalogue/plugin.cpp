#include "engine/catalogue/plugin.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <set>
#include <vector>

#include "engine/catalogue/registry.h"
#include "engine/catalogue/unit_check.h"
#include "engine/catalogue/unit_filter.h"
#include "platform/log.h"
#include "platform/resources.h"

namespace vello {
namespace {

namespace fs = std::filesystem;

constexpr const char* kEntryPoint = "VelloImageUnitMain";
constexpr const char* kNotLoaded = "*** Vello : image unit %@\n";

std::mutex& loadingMutex() {
  static std::mutex mutex;
  return mutex;
}

// The rows of every unit, kept for the life of the process, as their code is.
std::vector<std::unique_ptr<UnitFilter>>& unitFilters() {
  static auto& filters = *new std::vector<std::unique_ptr<UnitFilter>>;
  return filters;
}

// Real paths of what is loaded or was refused.
std::set<std::string>& seenFiles() {
  static auto& files = *new std::set<std::string>;
  return files;
}

std::string addFilters(const VelloImageUnit& unit) {
  std::string error = checkImageUnit(unit);
  for (int i = 0; i < unit.filter_count && error.empty(); ++i)
    if (findFilter(unit.filters[i].name)) error = std::string(unit.filters[i].name) + ": the name is taken";
  if (!error.empty()) return error;
  for (int i = 0; i < unit.filter_count; ++i) {
    auto filter = std::make_unique<UnitFilter>(unit.filters[i]);
    if (registerFilter(filter->row()))
      unitFilters().push_back(std::move(filter));
    else
      error = std::string(unit.filters[i].name) + ": the name stands twice";
  }
  return error;
}

// Units stay loaded whatever they say: their code may have left threads or handlers behind.
std::string load(const fs::path& path) {
  std::error_code problem;
  if (!fs::is_regular_file(path, problem)) return "not a file";
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library) return dlerror();
  using Main = const VelloImageUnit* (*)(uint32_t);
  const auto main = reinterpret_cast<Main>(dlsym(library, kEntryPoint));
  if (!main) return std::string("it has no ") + kEntryPoint;
  const VelloImageUnit* unit = main(VELLO_IMAGE_UNIT_VERSION);
  return unit ? addFilters(*unit) : "it is made for another version";
}

std::string loadOnce(const std::string& path) {
  std::error_code problem;
  const fs::path real = fs::canonical(path, problem);
  if (problem) return path + ": " + problem.message();
  if (!seenFiles().insert(real).second) return "";
  const std::string error = load(real);
  return error.empty() ? "" : path + ": " + error;
}

// The user's folder, then the installation's.
std::vector<fs::path> unitFolders() {
  std::vector<fs::path> folders;
  const char* data = std::getenv("XDG_DATA_HOME");
  const char* home = std::getenv("HOME");
  if (data && data[0] == '/')
    folders.push_back(fs::path(data) / "vello/image-units");
  else if (home && *home)
    folders.push_back(fs::path(home) / ".local/share/vello/image-units");
  if (!libraryFolder().empty()) folders.push_back(fs::path(libraryFolder()) / "image-units");
  return folders;
}

// Sorted, so that of two units with one filter name the same one wins everywhere.
std::vector<fs::path> unitsIn(const fs::path& folder) {
  std::vector<fs::path> units;
  std::error_code problem;
  for (fs::directory_iterator file(folder, problem), end; !problem && file != end; file.increment(problem))
    if (file->path().extension() == ".so") units.push_back(file->path());
  std::sort(units.begin(), units.end());
  return units;
}

}  // namespace

void CIPlugIn::loadAllPlugIns() {
  const std::lock_guard lock(loadingMutex());
  for (const fs::path& folder : unitFolders())
    for (const fs::path& unit : unitsIn(folder)) {
      const std::string error = loadOnce(unit);
      if (!error.empty()) logLine(kNotLoaded, {error});
    }
}

std::string CIPlugIn::loadPlugIn(const std::string& path) {
  const std::lock_guard lock(loadingMutex());
  return loadOnce(path);
}

}  // namespace vello
