#include "bench/peers/programs.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

namespace vello::bench {
namespace {

// The first line with a number in it, without blanks around and colours.
std::string versionLine(const std::string& text) {
  std::istringstream lines(std::regex_replace(text, std::regex("\x1b\\[[0-9;]*m"), ""));
  for (std::string line; std::getline(lines, line);)
    if (line.find_first_of("0123456789") != std::string::npos)
      return std::regex_replace(line, std::regex("^ +| +$"), "");
  return "version unknown";
}

Program ask(const std::string& name, const std::string& path, const std::vector<std::string>& arguments,
            const std::string& folder) {
  if (path.empty()) return {name, "", "not installed"};
  std::vector<std::string> all{path};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return {name, path, versionLine(outputOf({all, folder, {}, 10}))};
}

// Other programs go by the name of `convert` too: only one that says so is ImageMagick.
Program findImageMagick(const std::string& folder) {
  for (const char* name : {"magick", "convert-im6.q16", "convert"}) {
    const Program found = ask("convert", findProgram(name), {"-version"}, folder);
    if (found.version.rfind("Version: ImageMagick", 0) == 0) return found;
  }
  return {"convert", "", "not installed (nothing here says it is ImageMagick)"};
}

// The program does not tell: its package does.
std::string geglVersion(const std::string& folder) {
  if (findProgram("gegl").empty()) return "not installed";
  return versionLine(outputOf({{"dpkg-query", "-W", "-f", "gegl ${Version}", "gegl"}, folder, {}, 10}));
}

// libvips is used through a program of ours that lies beside this one where the library was there to build
// it.
void addVips(std::vector<Program>& all, const std::string& folder) {
  const std::string helper = std::filesystem::read_symlink("/proc/self/exe").replace_filename("vips_jobs");
  const Program tool = ask("vips", findProgram("vips"), {"--version"}, folder);
  const bool built = access(helper.c_str(), X_OK) == 0;
  const std::string version =
      built ? "libvips, " + tool.version : "not built (libvips was missing when this was compiled)";
  for (const char* name : {"vips-linear", "vips"}) all.push_back({name, built ? helper : "", version});
}

}  // namespace

std::vector<Program> findPrograms(const std::string& velloPath, const std::string& folder) {
  std::vector<Program> all{ask("vello", velloPath, {"--version"}, folder)};
  all.push_back({"gegl", findProgram("gegl"), geglVersion(folder)});
  addVips(all, folder);
  all.push_back(findImageMagick(folder));
  all.push_back(ask("gmic", findProgram("gmic"), {"-version"}, folder));
  return all;
}

std::vector<std::pair<std::string, std::string>> environmentFor(int threads, const std::string& folder) {
  std::ofstream(folder + "/policy.xml") << "<policymap>"
                                           R"(<policy domain="resource" name="memory" value="64GiB"/>)"
                                           R"(<policy domain="resource" name="map" value="64GiB"/>)"
                                           R"(<policy domain="resource" name="area" value="4GP"/>)"
                                           R"(<policy domain="resource" name="width" value="128KP"/>)"
                                           R"(<policy domain="resource" name="height" value="128KP"/>)"
                                           R"(<policy domain="resource" name="disk" value="64GiB"/>)"
                                           "</policymap>\n";
  const std::string count = std::to_string(threads);
  return {{"MAGICK_CONFIGURE_PATH", folder},
          {"MAGICK_THREAD_LIMIT", count},
          {"OMP_NUM_THREADS", count},
          {"VIPS_CONCURRENCY", count},
          {"GEGL_THREADS", count},
          {"GEGL_CACHE_SIZE", "8000"},
          {"GEGL_SWAP", folder},
          {"GEGL_USE_OPENCL", "no"},
          {"LC_ALL", "C.UTF-8"}};
}

}  // namespace vello::bench
