#include "tests/capi/hostile_chains.h"

#include <sys/stat.h>
#include <unistd.h>

#include "tests/capi/support.h"

namespace capi_test {
namespace {

std::string repeated(const std::string& part, size_t times) {
  std::string all;
  all.reserve(part.size() * times);
  for (size_t i = 0; i < times; ++i) all += part;
  return all;
}

std::string plist(const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">" + content + "</plist>";
}

class Collection {
 public:
  explicit Collection(std::string folder) : folder_(std::move(folder)) {}

  std::vector<HostileChain> all() {
    truncated();
    noise();
    roots();
    large();
    entities();
    binary();
    wrongTypes();
    numbers();
    elements();
    files();
    return std::move(chains_);
  }

 private:
  void add(const std::string& name, const std::string& text, Outcome outcome) {
    chains_.push_back({name, text, outcome});
  }

  void truncated() {
    const std::string whole =
        chainOf(box("CIBumpDistortion", place("inputCenter", "0.5", "0.5") + real("inputScale", "1")) +
                box("CIFalseColor", color("inputColor0", "1 0 0 1")));
    for (size_t i = 1; i <= 40; ++i)
      add("cut after " + std::to_string(i) + "/41", whole.substr(0, whole.size() * i / 41), Outcome::source);
  }

  void noise() {
    uint32_t state = 1;
    for (int i = 0; i < 15; ++i) {
      std::string bytes = i % 3 == 1 ? "<plist>" : i % 3 == 2 ? "bplist00" : "\x01";
      for (int n = 0; n < 400; ++n) bytes += static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
      add("noise " + std::to_string(i), bytes, Outcome::source);
    }
    add("JSON", "[{\"CIAttributeFilterName\": \"CIColorInvert\"}]", Outcome::source);
    add("zero bytes", std::string(1000, '\0'), Outcome::source);
    add("only blanks", std::string(1000, ' '), Outcome::source);
  }

  void roots() {
    for (const char* root :
         {"<dict/>", "<string>a</string>", "<integer>1</integer>", "<real>1</real>", "<true/>",
          "<data>AAAA</data>", "<date>2001-01-01T00:00:00Z</date>", "<array/><array/>", ""})
      add(std::string("root ") + root, plist(root), Outcome::source);
  }

  void large() {
    const std::string invert = box("CIColorInvert");
    add("3,000 boxes", chainOf(repeated(invert, 3000)), Outcome::source);
    add("1,001 boxes", chainOf(repeated(invert, 1000)), Outcome::source);
    add("1,000 boxes", chainOf(repeated(invert, 999)), Outcome::pixels);
    add("60 blurs", chainOf(repeated(box("CIGaussianBlur", real("inputRadius", "1")), 60)),
        Outcome::survived);
    add("15 warps", chainOf(repeated(box("CITwirlDistortion", place("inputCenter", "0.5", "0.5")), 15)),
        Outcome::survived);
    add("17 MB of blanks", plist("<array>" + std::string(size_t{17} << 20, ' ') + "</array>"),
        Outcome::source);
    add("a 15 MB string", plist("<array><string>" + std::string(size_t{15} << 20, 'a') + "</string></array>"),
        Outcome::pixels);
    add("a 15 MB name", chainOf(box(std::string(size_t{15} << 20, 'a'))), Outcome::none);
    add("400,000 keys", plist("<array><dict>" + repeated("<key>a</key><true/>", 400000) + "</dict></array>"),
        Outcome::pixels);
    add("a million short keys", "({" + repeated("k=a;", 1000000) + "})", Outcome::source);
    for (size_t depth : {65u, 200u, 100000u, 500000u}) {
      add(std::to_string(depth) + " arrays deep",
          plist(repeated("<array>", depth) + repeated("</array>", depth)), Outcome::source);
      add(std::to_string(depth) + " arrays deep, open", "<plist>" + repeated("<array>", depth),
          Outcome::source);
      add(std::to_string(depth) + " brackets deep", repeated("(", depth), Outcome::source);
    }
    std::string pictures;
    for (int i = 0; i < 65; ++i)
      pictures += box("CISourceAtopCompositing", picture("inputImage", "/none/" + std::to_string(i)));
    add("65 picture files", chainOf(pictures), Outcome::source);
  }

  void entities() {
    std::string laughs = "<!DOCTYPE plist [<!ENTITY l0 \"ha\">";
    for (int i = 1; i < 12; ++i) {
      const std::string before = "&l" + std::to_string(i - 1) + ";";
      laughs += "<!ENTITY l" + std::to_string(i) + " \"" + repeated(before, 10) + "\">";
    }
    add("billion laughs", laughs + "]><plist><array><string>&l11;</string></array></plist>", Outcome::source);
    add("quadratic entity",
        "<!DOCTYPE plist [<!ENTITY a \"" + std::string(100000, 'a') + "\">]><plist><array><string>" +
            repeated("&a;", 100000) + "</string></array></plist>",
        Outcome::source);
    add("file entity",
        "<!DOCTYPE plist [<!ENTITY a SYSTEM "
        "\"file:///etc/passwd\">]><plist><array><string>&a;</string></array></plist>",
        Outcome::source);
    add("parameter entity",
        "<!DOCTYPE plist [<!ENTITY % a SYSTEM \"file:///dev/zero\"> "
        "%a;]><plist><array><string>&b;</string></array></plist>",
        Outcome::source);
    add("entity of itself",
        "<!DOCTYPE plist [<!ENTITY a \"&a;\">]><plist><array><string>&a;</string></array></plist>",
        Outcome::source);
  }

  // A binary list of the objects, which end before the offset table; offsets and references take one byte.
  static std::string binaryList(const std::vector<std::string>& objects, uint64_t count, uint64_t root) {
    std::string bytes = "bplist00", offsets;
    for (const std::string& object : objects) {
      offsets += static_cast<char>(bytes.size());
      bytes += object;
    }
    const uint64_t table = bytes.size();
    bytes += offsets + std::string(6, '\0') + "\x01\x01";
    for (uint64_t number : {count, root, table})
      for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
    return bytes;
  }

  void binary() {
    // Arrays of two references to the next: 2^n values in n objects.
    for (size_t levels : {10u, 25u, 40u, 60u}) {
      std::vector<std::string> objects;
      for (size_t i = 0; i < levels; ++i)
        objects.push_back("\xA2" + std::string(2, static_cast<char>(i + 1)));
      objects.push_back("\x09");
      add("binary, doubled " + std::to_string(levels) + " times", binaryList(objects, objects.size(), 0),
          levels > 10 ? Outcome::source : Outcome::pixels);
    }
    // Wide ones: 14 references to the next.
    std::vector<std::string> wide;
    for (size_t i = 0; i < 12; ++i) wide.push_back("\xAE" + std::string(14, static_cast<char>(i + 1)));
    wide.push_back("\x09");
    add("binary, 14-fold", binaryList(wide, wide.size(), 0), Outcome::source);
    add("binary, array of itself", binaryList({std::string("\xA1\x00", 2)}, 1, 0), Outcome::source);
    add("binary, two of one another",
        binaryList({std::string("\xA1\x01", 2), std::string("\xA1\x00", 2)}, 2, 0), Outcome::source);
    for (uint64_t count : {uint64_t{0}, uint64_t{2}, uint64_t{1} << 20, uint64_t{1} << 62, UINT64_MAX})
      add("binary, " + std::to_string(count) + " objects", binaryList({"\xA0"}, count, 0), Outcome::source);
    for (uint64_t root : {uint64_t{1}, uint64_t{1} << 40, UINT64_MAX})
      add("binary, root " + std::to_string(root), binaryList({"\xA0"}, 1, root), Outcome::source);
    const char* sizes[] = {"\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF", "\x4F\x12\x7F\xFF\xFF\xFF",
                           "\x5F\x12\xFF\xFF\xFF\xFF", "\x6F\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF",
                           "\xDF\x12\x10\x01\x01\x01"};
    for (const char* size : sizes)
      add("binary, false size " + std::to_string(static_cast<unsigned char>(size[0])),
          binaryList({size}, 1, 0), Outcome::source);
  }

  void wrongTypes() {
    const char* values[] = {"<true/>",
                            "<integer>3</integer>",
                            "<integer>-9223372036854775808</integer>",
                            "<string>abc</string>",
                            "<string>{{1, 2}, {3, 4}}</string>",
                            "<data>AAECAw==</data>",
                            "<date>2020-01-01T00:00:00Z</date>",
                            "<array><real>1</real></array>",
                            "<dict/>",
                            "<dict><key>X</key><string>a</string><key>Y</key><array/></dict>"};
    const struct {
      const char *filter, *key;
    } inputs[] = {{"CIGaussianBlur", "inputRadius"},         {"CIBumpDistortion", "inputCenter"},
                  {"CIFalseColor", "inputColor0"},           {"CIAffineTransform", "inputTransform"},
                  {"CISourceAtopCompositing", "inputImage"}, {"CICrop", "inputRectangle"},
                  {"CIStripesGenerator", "inputSharpness"}};
    for (const auto& input : inputs)
      for (const char* value : values)
        add(std::string(input.filter) + "." + input.key + " = " + value,
            chainOf(box(input.filter, "<key>" + std::string(input.key) + "</key>" + value)), Outcome::pixels);
  }

  void numbers() {
    const char* values[] = {"nan", "+infinity", "-infinity", "1e308", "-1e308", "1e-308", "4294967296", "-0"};
    for (const char* v : values) {
      const std::string four = std::string(v) + " " + v + " " + v + " " + v;
      const std::string rows[] = {
          box("CIGaussianBlur", real("inputRadius", v)),
          box("CIBoxBlur", real("inputRadius", v)),
          box("CIMotionBlur", real("inputRadius", v) + real("inputAngle", v)),
          box("CIBumpDistortion",
              place("inputCenter", v, v) + real("inputRadius", v) + real("inputScale", v)),
          box("CITwirlDistortion",
              place("inputCenter", v, "0.5") + real("inputRadius", "50") + real("inputAngle", v)),
          box("CIPixellate", place("inputCenter", v, v) + real("inputScale", v)),
          box("CIStripesGenerator",
              place("inputCenter", v, v) + real("inputWidth", v) + real("inputSharpness", v)),
          box("CIRadialGradient",
              place("inputCenter", v, v) + real("inputRadius0", v) + real("inputRadius1", v)),
          box("CICrop", "<key>inputRectangle</key><dict>" + real("X", v) + real("Y", v) + real("W", v) +
                            real("H", v) + "</dict>"),
          box("CIAffineTile", "<key>inputTransform</key><dict>" + real("tx", v) + real("ty", v) +
                                  real("sx", v) + real("sy", v) + real("r", v) + real("sk", v) + "</dict>"),
          box("CIFalseColor", color("inputColor0", four)),
          box("CIBloom", real("inputRadius", v) + real("inputIntensity", v)),
      };
      for (const std::string& row : rows) add(std::string(v) + " in " + row, chainOf(row), Outcome::survived);
    }
  }

  void elements() {
    const std::string invert = box("CIColorInvert");
    for (const char* element :
         {"<true/>", "<string>CIColorInvert</string>", "<array/>", "<dict/>", "<real>1</real>"})
      add(std::string("element ") + element, chainOf(element + invert), Outcome::pixels);
    add("name of another type",
        chainOf("<dict><key>CIAttributeFilterName</key><integer>1</integer></dict>" + invert),
        Outcome::pixels);
    const char* names[] = {"",      "CINoSuchFilter", "ciColorInvert", "CIColorInvert ", "../CIColorInvert",
                           "%s%n%@"};
    for (const char* name : names)
      add(std::string("filter \"") + name + "\"", chainOf(box(name)), Outcome::none);
    for (const char* name :
         {"CIGaussianBlur", "CIBumpDistortion", "CIFalseColor", "CICrop", "CIAffineTransform",
          "CIStripesGenerator", "CIBlendWithMask", "CIDissolveTransition"})
      add(std::string(name) + " without keys", chainOf(box(name)), Outcome::pixels);
  }

  void files() {
    for (const std::string& path :
         {folder_ + "/pipe", folder_ + "/loop", folder_ + "/noise.png", folder_ + "/empty.png",
          folder_ + "/huge.tif", folder_, std::string("/dev/zero"), std::string("/dev/random"),
          std::string("/dev/tty"), std::string("/proc/self/mem"), std::string("/none"),
          std::string("relative.png"), std::string("")})
      add("picture " + path, chainOf(box("CISourceAtopCompositing", picture("inputImage", path))),
          Outcome::pixels);
  }

  std::string folder_;
  std::vector<HostileChain> chains_;
};

}  // namespace

std::vector<HostileChain> hostileChains(const std::string& folder) { return Collection(folder).all(); }

void makeHostileFiles(const std::string& folder) {
  EXPECT_EQ(mkfifo((folder + "/pipe").c_str(), 0600), 0);
  EXPECT_EQ(symlink("loop", (folder + "/loop").c_str()), 0);
  std::ofstream(folder + "/noise.png", std::ios::binary) << "\x89PNG\r\n\x1A\n" << std::string(500, '\x5A');
  std::ofstream(folder + "/empty.png");
  // A TIFF whose header says 500,000 x 500,000 pixels (short of tags beyond those and its strip).
  std::string tiff("II*\0\x08\0\0\0\x04\0", 10);
  const auto tag = [&](uint16_t id, uint32_t value) {
    const uint16_t fields[] = {id, 4};
    const uint32_t longs[] = {1, value};
    tiff.append(reinterpret_cast<const char*>(fields), 4).append(reinterpret_cast<const char*>(longs), 8);
  };
  tag(256, 500000);
  tag(257, 500000);
  tag(273, 8);
  tag(279, 100);
  std::ofstream(folder + "/huge.tif", std::ios::binary) << tiff << std::string(4, '\0');
}

}  // namespace capi_test
