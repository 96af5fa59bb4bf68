// The whole as a user installs it: a host built against it with pkg-config renders what the command line
// does.
#include <stdlib.h>

#include "tests/capi/support.h"

namespace capi_test {
namespace {

namespace fs = std::filesystem;

// What an installed tree needs to be built against and run, wherever it lies.
class Installation {
 public:
  Installation() {
    run(VELLO_CMAKE " --install " VELLO_BUILD_DIR " --prefix " + folder_.file("first"));
    // Nothing in it may remember where it was installed to.
    fs::rename(folder_.file("first"), prefix());
  }
  std::string prefix() const { return folder_.file("moved"); }
  std::string file(const std::string& name) const { return folder_.file(name); }
  // The output of a command is in the message when it fails.
  void run(const std::string& command) const {
    const std::string whole = "{ export PKG_CONFIG_PATH=" + prefix() + "/lib/pkgconfig; " + command +
                              "; } > " + file("log") + " 2>&1";
    const int status = system(whole.c_str());
    std::ifstream log(file("log"));
    EXPECT_EQ(status, 0) << command << "\n" << std::string(std::istreambuf_iterator<char>(log), {});
  }

 private:
  TemporaryFolder folder_;
};

std::string sanitizer() {
  const std::string kinds = VELLO_SANITIZE;
  return kinds.empty() ? "" : " -fsanitize=" + kinds;
}

// Leaves the picture wholly opaque: a file's straight alpha and a result's premultiplied one are rounded
// apart where alpha is not exactly 1.
const std::string kChain =
    chainOf(box("CISepiaTone", real("inputIntensity", "0.6")) +
            box("CIBumpDistortion",
                place("inputCenter", "0.4", "0.6") + real("inputRadius", "25") + real("inputScale", "0.5")) +
            box("CIExposureAdjust", real("inputEV", "0.5")) +
            box("CIColorControls", real("inputSaturation", "1.5") + real("inputBrightness", "0.05") +
                                       real("inputContrast", "1.1")) +
            box("CITwirlDistortion",
                place("inputCenter", "0.6", "0.5") + real("inputRadius", "30") + real("inputAngle", "1")) +
            box("CIHueAdjust", real("inputAngle", "0.4")));

void writePicture(const std::string& path) {
  const Owned<CGColorSpaceRef> space = VelloColorSpaceCreateWithName("Display P3");
  ASSERT_EQ(VelloImageWriteToFile(imageOf(123, 77, pixelsOf(123, 77), kVelloAlphaPremultipliedLast, space),
                                  path.c_str()),
            0);
}

std::vector<uint8_t> pixelsOfFile(const std::string& path) {
  return render(Owned<CGImageRef>(VelloImageCreateWithFile(path.c_str())), "()");
}

TEST(Installation, AHostBuiltWithPkgConfigRendersTheCommandLinesBytes) {
  const Installation installed;
  writePicture(installed.file("in.png"));
  std::ofstream(installed.file("look.chain")) << kChain;
  const std::string source = VELLO_SOURCE_DIR "/examples/host", in = installed.file("in.png"),
                    chain = installed.file("look.chain");

  installed.run(VELLO_C_COMPILER " -std=c11 -Wall -Wextra -Werror -pedantic" + sanitizer() + " " + source +
                "/render.c -o " + installed.file("host") +
                " $(pkg-config --cflags --libs vello) -Wl,-rpath,$(pkg-config --variable=libdir vello)");
  installed.run(installed.file("host") + " " + in + " " + chain + " " + installed.file("host.png"));
  installed.run(installed.prefix() + "/bin/vello render " + in + " --chain " + chain + " -o " +
                installed.file("program.png"));
  const auto byHost = pixelsOfFile(installed.file("host.png"));
  ASSERT_EQ(byHost.size(), 123u * 77 * 4);
  EXPECT_EQ(byHost, pixelsOfFile(installed.file("program.png")));
  EXPECT_EQ(byHost, render(Owned<CGImageRef>(VelloImageCreateWithFile(in.c_str())), kChain));
  EXPECT_NE(byHost, pixelsOfFile(in));

  // The same host through the CMake package.
  installed.run(VELLO_CMAKE " -S " + source + " -B " + installed.file("build") +
                " -DCMAKE_PREFIX_PATH=" + installed.prefix() +
                " -DCMAKE_C_COMPILER=" VELLO_C_COMPILER " '-DCMAKE_C_FLAGS=" + sanitizer() +
                "' && " VELLO_CMAKE " --build " + installed.file("build"));
  installed.run(installed.file("build/vello_host") + " " + in + " " + chain + " " +
                installed.file("host2.png"));
  EXPECT_EQ(byHost, pixelsOfFile(installed.file("host2.png")));

  // Texts come from the installed resources; a unit laid into the prefix is found.
  installed.run("test -f " + installed.prefix() + "/share/vello/en.lproj/Localizable.strings");
  fs::create_directories(installed.prefix() + "/lib/vello/image-units");
  fs::copy_file(VELLO_EXAMPLE_UNIT, installed.prefix() + "/lib/vello/image-units/example.so");
  installed.run(installed.prefix() + "/bin/vello filters ExampleRings");
}

}  // namespace
}  // namespace capi_test
