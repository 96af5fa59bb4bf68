// Chains from anywhere, made by rule: no crash, no hang, little memory, and what the documentation says of
// each kind.
#include <sys/stat.h>

#include <sstream>

#include "tests/capi/support.h"
#include "tests/child_process.h"

namespace capi_test {
namespace {

enum Outcome {
  source,    // refused as a whole: one line in the log, the picture as it was
  none,      // no pixels: one line in the log
  pixels,    // rendered, whatever the picture then looks like
  survived,  // rendered, or no pixels and a line
};

struct HostileChain {
  std::string name, text;
  Outcome outcome;
};

struct Collection : std::vector<HostileChain> {
  void add(const std::string& name, const std::string& text, Outcome outcome) {
    push_back({name, text, outcome});
  }
};

std::string repeated(const std::string& part, size_t times) {
  std::string all;
  all.reserve(part.size() * times);
  for (size_t i = 0; i < times; ++i) all += part;
  return all;
}

std::string plist(const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">" + content + "</plist>";
}

void truncated(Collection& chains) {
  const std::string whole =
      chainOf(box("CIBumpDistortion", place("inputCenter", "0.5", "0.5") + real("inputScale", "1")) +
              box("CIFalseColor", color("inputColor0", "1 0 0 1")));
  for (size_t i = 1; i <= 40; ++i)
    chains.add("cut after " + std::to_string(i) + "/41", whole.substr(0, whole.size() * i / 41), source);
}

void noise(Collection& chains) {
  uint32_t state = 1;
  for (int i = 0; i < 15; ++i) {
    std::string bytes = i % 3 == 1 ? "<plist>" : i % 3 == 2 ? "bplist00" : "\x01";
    for (int n = 0; n < 400; ++n) bytes += static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    chains.add("noise " + std::to_string(i), bytes, source);
  }
  chains.add("JSON", "[{\"CIAttributeFilterName\": \"CIColorInvert\"}]", source);
  chains.add("zero bytes", std::string(1000, '\0'), source);
  chains.add("only blanks", std::string(1000, ' '), source);
}

void roots(Collection& chains) {
  for (const char* root :
       {"<dict/>", "<string>a</string>", "<integer>1</integer>", "<real>1</real>", "<true/>",
        "<data>AAAA</data>", "<date>2001-01-01T00:00:00Z</date>", "<array/><array/>", ""})
    chains.add(std::string("root ") + root, plist(root), source);
}

void large(Collection& chains) {
  const std::string invert = box("CIColorInvert");
  chains.add("3,000 boxes", chainOf(repeated(invert, 3000)), source);
  chains.add("1,001 boxes", chainOf(repeated(invert, 1000)), source);
  chains.add("1,000 boxes", chainOf(repeated(invert, 999)), pixels);
  chains.add("60 blurs", chainOf(repeated(box("CIGaussianBlur", real("inputRadius", "1")), 60)), survived);
  chains.add("15 warps", chainOf(repeated(box("CITwirlDistortion", place("inputCenter", "0.5", "0.5")), 15)),
             survived);
  chains.add("17 MB of blanks", plist("<array>" + std::string(size_t{17} << 20, ' ') + "</array>"), source);
  chains.add("a 15 MB string",
             plist("<array><string>" + std::string(size_t{15} << 20, 'a') + "</string></array>"), pixels);
  chains.add("a 15 MB name", chainOf(box(std::string(size_t{15} << 20, 'a'))), none);
  chains.add("400,000 keys",
             plist("<array><dict>" + repeated("<key>a</key><true/>", 400000) + "</dict></array>"), pixels);
  chains.add("a million short keys", "({" + repeated("k=a;", 1000000) + "})", source);
  for (size_t depth : {65u, 200u, 100000u, 500000u}) {
    chains.add(std::to_string(depth) + " arrays deep",
               plist(repeated("<array>", depth) + repeated("</array>", depth)), source);
    chains.add(std::to_string(depth) + " arrays deep, open", "<plist>" + repeated("<array>", depth), source);
    chains.add(std::to_string(depth) + " brackets deep", repeated("(", depth), source);
  }
  std::string pictures;
  for (int i = 0; i < 65; ++i)
    pictures += box("CISourceAtopCompositing", picture("inputImage", "/none/" + std::to_string(i)));
  chains.add("65 picture files", chainOf(pictures), source);
}

void entities(Collection& chains) {
  const auto add = [&](const std::string& name, const std::string& declared, const std::string& text) {
    chains.add(
        name,
        "<!DOCTYPE plist [" + declared + "]><plist><array><string>" + text + "</string></array></plist>",
        source);
  };
  std::string laughs = "<!ENTITY l0 \"ha\">";
  for (int i = 1; i < 12; ++i) {
    const std::string before = "&l" + std::to_string(i - 1) + ";";
    laughs += "<!ENTITY l" + std::to_string(i) + " \"" + repeated(before, 10) + "\">";
  }
  add("billion laughs", laughs, "&l11;");
  add("quadratic entity", "<!ENTITY a \"" + std::string(100000, 'a') + "\">", repeated("&a;", 100000));
  add("file entity", "<!ENTITY a SYSTEM \"file:///etc/passwd\">", "&a;");
  add("parameter entity", "<!ENTITY % a SYSTEM \"file:///dev/zero\"> %a;", "&b;");
  add("entity of itself", "<!ENTITY a \"&a;\">", "&a;");
}

// Binary lists of arrays, each of which holds the next one `fold` times; references take one byte.
void binary(Collection& chains) {
  for (const auto& [fold, levels] : {std::pair<char, char>{2, 10}, {2, 60}, {14, 12}}) {
    std::string bytes = "bplist00", offsets;
    for (char i = 1; i <= levels; ++i) {
      offsets += static_cast<char>(bytes.size());
      bytes += static_cast<char>(0xA0 + fold) + std::string(static_cast<size_t>(fold), i);
    }
    offsets += static_cast<char>(bytes.size());
    bytes += "\x09" + offsets;  // of one byte each
    const auto number = [](size_t value) { return std::string(7, '\0') + static_cast<char>(value); };
    bytes += std::string(6, '\0') + "\x01\x01" + number(offsets.size()) + number(0) +
             number(bytes.size() - offsets.size());
    chains.add("binary, " + std::to_string(fold) + "-fold " + std::to_string(levels) + " times", bytes,
               levels == 10 ? pixels : source);
  }
}

void wrongTypes(Collection& chains) {
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
      chains.add(std::string(input.filter) + "." + input.key + " = " + value,
                 chainOf(box(input.filter, "<key>" + std::string(input.key) + "</key>" + value)), pixels);
}

void numbers(Collection& chains) {
  const char* values[] = {"nan", "+infinity", "-infinity", "1e308", "-1e308", "1e-308", "4294967296", "-0"};
  for (const char* v : values) {
    const std::string four = std::string(v) + " " + v + " " + v + " " + v;
    const std::string rows[] = {
        box("CIGaussianBlur", real("inputRadius", v)),
        box("CIBoxBlur", real("inputRadius", v)),
        box("CIMotionBlur", real("inputRadius", v) + real("inputAngle", v)),
        box("CIBumpDistortion", place("inputCenter", v, v) + real("inputRadius", v) + real("inputScale", v)),
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
    for (const std::string& row : rows) chains.add(std::string(v) + " in " + row, chainOf(row), survived);
  }
}

void elements(Collection& chains) {
  const std::string invert = box("CIColorInvert");
  for (const char* element :
       {"<true/>", "<string>CIColorInvert</string>", "<array/>", "<dict/>", "<real>1</real>"})
    chains.add(std::string("element ") + element, chainOf(element + invert), pixels);
  chains.add("name of another type",
             chainOf("<dict><key>CIAttributeFilterName</key><integer>1</integer></dict>" + invert), pixels);
  const char* names[] = {"",      "CINoSuchFilter", "ciColorInvert", "CIColorInvert ", "../CIColorInvert",
                         "%s%n%@"};
  for (const char* name : names) chains.add(std::string("filter \"") + name + "\"", chainOf(box(name)), none);
  for (const char* name :
       {"CIGaussianBlur", "CIBumpDistortion", "CIFalseColor", "CICrop", "CIAffineTransform",
        "CIStripesGenerator", "CIBlendWithMask", "CIDissolveTransition"})
    chains.add(std::string(name) + " without keys", chainOf(box(name)), pixels);
}

void files(Collection& chains, const std::string& folder) {
  for (const std::string& path :
       {folder + "/pipe", folder + "/loop", folder + "/noise.png", folder + "/empty.png",
        folder + "/huge.tif", folder, std::string("/dev/zero"), std::string("/dev/random"),
        std::string("/dev/tty"), std::string("/proc/self/mem"), std::string("/none"),
        std::string("relative.png"), std::string("")})
    chains.add("picture " + path, chainOf(box("CISourceAtopCompositing", picture("inputImage", path))),
               pixels);
}

// Lays a pipe, links and broken pictures into the folder.
void makeHostileFiles(const std::string& folder) {
  EXPECT_EQ(mkfifo((folder + "/pipe").c_str(), 0600), 0);
  EXPECT_EQ(symlink("loop", (folder + "/loop").c_str()), 0);
  std::ofstream(folder + "/noise.png", std::ios::binary) << "\x89PNG\r\n\x1A\n" << std::string(500, '\x5A');
  std::ofstream(folder + "/empty.png");
  // A TIFF whose header says 500,000 x 500,000 pixels (short of tags beyond those and its strip).
  std::string tiff("II*\0\x08\0\0\0\x04\0", 10);
  for (const auto& [id, value] :
       {std::pair<uint16_t, uint32_t>{256, 500000}, {257, 500000}, {273, 8}, {279, 100}}) {
    const uint16_t fields[] = {id, 4};
    const uint32_t longs[] = {1, value};
    tiff.append(reinterpret_cast<const char*>(fields), 4).append(reinterpret_cast<const char*>(longs), 8);
  }
  std::ofstream(folder + "/huge.tif", std::ios::binary) << tiff << std::string(4, '\0');
}

Collection hostileChains(const std::string& folder) {
  Collection chains;
  for (const auto make : {truncated, noise, roots, large, entities, binary, wrongTypes, numbers, elements})
    make(chains);
  files(chains, folder);
  return chains;
}

// Sanitizers keep freed memory and shadows of all of it.
constexpr long kMostKilobytes = (vello::testing::kSanitized ? 8 : 1) * 100 * 1024;

struct Finished : vello::testing::ChildResult {
  std::string word;  // as chain_runner says it
  size_t lines = 0;
  long kilobytes = 0;
};

// Renders the chain in a process of its own.
Finished runChain(const TemporaryFolder& folder, const std::string& chain) {
  const std::string file = folder.write("chain", chain);
  Finished result{vello::testing::runInChild({}, [&file] {
    execl(VELLO_CHAIN_RUNNER, VELLO_CHAIN_RUNNER, file.c_str(), nullptr);
    return 127;
  })};
  std::istringstream(result.output) >> result.word >> result.lines >> result.kilobytes;
  return result;
}

bool isAsExpected(const Finished& run, Outcome outcome) {
  const bool rendered = run.word == "source" || run.word == "changed";
  const bool refused = run.word == "none" && run.lines == 1;
  if (outcome == source) return run.word == "source" && run.lines == 1;
  return (rendered && outcome != none) || (refused && outcome != pixels);
}

TEST(HostileChains, DoWhatTheirKindSaysInLittleMemory) {
  const TemporaryFolder folder;
  makeHostileFiles(folder.file(""));
  const auto chains = hostileChains(folder.file(""));
  const long plain = runChain(folder, chainOf(box("CIColorInvert"))).kilobytes;
  ASSERT_GT(plain, 0);
  for (const HostileChain& chain : chains) {
    const Finished run = runChain(folder, chain.text);
    const std::string start = run.output.substr(0, 300);
    EXPECT_EQ(run.status, 0) << chain.name.substr(0, 200) << "\n" << start;
    EXPECT_TRUE(isAsExpected(run, chain.outcome)) << chain.name.substr(0, 200) << "\n" << start;
    EXPECT_LT(run.kilobytes - plain, kMostKilobytes) << chain.name.substr(0, 200);
  }
}

}  // namespace
}  // namespace capi_test
