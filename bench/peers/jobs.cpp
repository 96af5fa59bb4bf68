#include "bench/peers/jobs.h"

#include <algorithm>
#include <cmath>
#include <locale>
#include <sstream>

#include "bench/peers/parameters.h"

namespace vello::bench {
namespace {

// Words and numbers one after another; numbers in digits every program reads.
template <class... Parts>
std::string text(const Parts&... parts) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out.precision(9);
  (out << ... << parts);
  return out.str();
}

// `~` stands for a blank within a word.
std::vector<std::string> words(const std::string& line) {
  std::istringstream in(line);
  std::vector<std::string> all;
  for (std::string word; in >> word;) {
    std::replace(word.begin(), word.end(), '~', ' ');
    all.push_back(word);
  }
  return all;
}

std::string joined(const Matrix3& m, const char* separator) {
  std::string all;
  for (double v : m) all += (all.empty() ? "" : separator) + text(v);
  return all;
}

Command vello(std::vector<std::string> filters, std::string note = "") {
  return {"vello",
          Work::linearFloat,
          words("vello render a.tif --chain job.chain -o out.tif"),
          std::move(filters),
          std::move(note),
          ""};
}
Command gegl(const std::string& operations, std::string note = "", Work work = Work::linearFloat) {
  return {"gegl",
          work,
          words("gegl a.tif -- " + operations + " gegl:tiff-save path=out.tif bitdepth=8"),
          {},
          std::move(note),
          ""};
}
Command vips(const std::string& job, std::string note = "", Work work = Work::integer8) {
  return {"vips", work, words("vips_jobs bytes " + job + " a.tif b.tif out.tif"), {}, std::move(note), ""};
}
Command vipsLinear(const std::string& job, std::string note = "") {
  return {"vips-linear",
          Work::linearFloat,
          words("vips_jobs linear " + job + " a.tif b.tif out.tif"),
          {},
          std::move(note),
          ""};
}
Command convert(const std::string& operations, std::string note = "") {
  return {"convert", Work::integer16, words("convert a.tif " + operations + " -compress None out.tif"),
          {},        std::move(note), ""};
}
Command gmic(const std::string& operations, std::string note = "") {
  return {"gmic", Work::encodedFloat, words("gmic a.tif " + operations + " -round -c 0,255 -o out.tif,uchar"),
          {},     std::move(note),    ""};
}

// --- ours, in pieces
std::string cropTo(double x, double y, double width, double height) {
  return text("CICrop:inputRectangle=", x, ",", y, ",", width, ",", height);
}
std::string wholeOf(Size s) { return cropTo(0, 0, s.width, s.height); }
std::string matrixFilter() {
  const Matrix3& m = kColorMatrix;
  const auto row = [&](int i) { return text(m[3 * i], ",", m[3 * i + 1], ",", m[3 * i + 2], ",0"); };
  return "CIColorMatrix:inputRVector=" + row(0) + ":inputGVector=" + row(1) + ":inputBVector=" + row(2);
}
std::string exposureFilter() { return text("CIExposureAdjust:inputEV=", kExposureStops); }
std::string unsharpFilter() {
  return text("CIUnsharpMask:inputRadius=", kUnsharpSigma, ":inputIntensity=", kUnsharpAmount);
}
std::string blurFilter(double sigma) { return text("CIGaussianBlur:inputRadius=", sigma); }
constexpr char kMultiplyFilter[] = "CIMultiplyCompositing:inputImage=@b.tif";

// --- pieces of the others
std::string geglMatrix(const Matrix3& m) {
  std::string all = "gegl:channel-mixer";
  for (int i = 0; i < 9; ++i) all += text(" ", "rgb"[i / 3], "rgb"[i % 3], "-gain=", m[i]);
  return all;
}
std::string geglBlur(double sigma) {
  return text("gegl:gaussian-blur std-dev-x=", sigma, " std-dev-y=", sigma);
}
std::string geglUnsharp() {
  return text("gegl:unsharp-mask std-dev=", kUnsharpSigma, " scale=", kUnsharpAmount);
}
// Without alpha: what its TIFF writer makes of alpha is no picture.
constexpr char kGeglOpaque[] = "gegl:convert-format format=R'G'B'~u8";
constexpr char kGeglMultiply[] = "gegl:multiply aux=[ gegl:load path=b.tif ]";
std::string convertMatrix(const Matrix3& m) {
  std::string comma = joined(m, ",");
  return "-color-matrix " + comma;
}
std::string convertUnsharp() { return text("-unsharp 0x", kUnsharpSigma, "+", kUnsharpAmount, "+0"); }
constexpr char kConvertMultiply[] = "b.tif -compose Multiply -composite";
std::string gmicMatrix(const Matrix3& m) { return "-mix_rgb " + joined(m, ","); }
std::string gmicUnsharp() { return text("-unsharp ", kUnsharpSigma, ",", kUnsharpAmount); }
constexpr char kGmicMultiply[] = "b.tif -blend multiply";

constexpr char kClamped[] = "transparent outside in ours, edges repeated here";
constexpr char kEncoded[] = "on encoded values";

Job gaussian(Size size, int sigma) {
  const std::string job = text("gaussian", sigma);
  return {job,
          text("Gaussian, sigma ", sigma),
          {vello({blurFilter(sigma), wholeOf(size)}),
           gegl(geglBlur(sigma), "recursive approximation at large sigma"),
           vipsLinear(job, text(kClamped, "; float kernel cut at 1 % of its peak")),
           vips(job, text(kEncoded, ", integer kernel cut at 1 % of its peak")),
           convert(text("-blur 0x", sigma), text(kEncoded, ", cut at 2 to 3 sigma")),
           gmic(text("-blur ", sigma), text(kEncoded, ", recursive approximation"))}};
}

Job fiveColors() {
  const std::string hue = text("CIHueAdjust:inputAngle=", kHueRadians);
  const std::string saturation = text("CIColorControls:inputSaturation=", kSaturation);
  return {"five",
          "five colour operations",
          {vello({exposureFilter(), matrixFilter(), hue, saturation, "CIColorInvert"}),
           gegl(text("gegl:exposure exposure=", kExposureStops, " ", geglMatrix(kColorMatrix), " ",
                     geglMatrix(hueMatrix()), " gegl:saturation scale=", kSaturation, " gegl:invert-linear"),
                "hue as a matrix"),
           vipsLinear("five", "hue and saturation as matrices"),
           vips("five", text(kEncoded, " in float; hue and saturation as matrices"), Work::encodedFloat),
           convert(text("-evaluate Multiply ", kExposureGain, " ", convertMatrix(kColorMatrix), " ",
                        convertMatrix(hueMatrix()), " ", convertMatrix(saturationMatrix()), " -negate"),
                   text(kEncoded, "; hue and saturation as matrices")),
           gmic(text("-mul ", kExposureGain, " ", gmicMatrix(kColorMatrix), " ", gmicMatrix(hueMatrix()), " ",
                     gmicMatrix(saturationMatrix()), " -mul -1 -add 255"),
                text(kEncoded, "; hue and saturation as matrices"))}};
}

// About the middle, counter-clockwise, in the form chains have, which `vello chain new` does not take: turned
// about the lower left corner first, then moved, by shares of the picture.
Command velloRotation(Size size) {
  const double angle = kTurnDegrees * std::acos(-1) / 180, c = std::cos(angle), s = std::sin(angle);
  const double x = size.width / 2.0, y = size.height / 2.0;
  Command command = vello({});
  command.chain = text(
      "<plist version=\"1.0\"><array><dict><key>CIAttributeFilterName</key>"
      "<string>CIConstantColorGenerator</string><key>inputColor</key><string>0 0 0 0</string></dict>"
      "<dict><key>CIAttributeFilterName</key><string>CIAffineTransform</string><key>inputTransform</key>"
      "<dict><key>tx</key><real>",
      (x - c * x + s * y) / size.width, "</real><key>ty</key><real>", (y - s * x - c * y) / size.height,
      "</real><key>sx</key><real>1</real><key>sy</key><real>1</real><key>r</key><real>", kTurnDegrees,
      "</real><key>sk</key><real>0</real></dict></dict></array></plist>\n");
  return command;
}

Job rotate(Size size) {
  // Where the middle part of the larger rectangle begins that the turned picture fills.
  const double angle = kTurnDegrees * std::acos(-1) / 180, c = std::cos(angle), s = std::sin(angle);
  const double left = std::round((size.width * c + size.height * s - size.width) / 2);
  const double top = std::round((size.height * c + size.width * s - size.height) / 2);
  return {
      "rotate",
      text("rotate by ", kTurnDegrees, " degrees"),
      {velloRotation(size),
       gegl(text("gegl:rotate-on-center sampler=linear degrees=", kTurnDegrees, " gegl:crop x=", left,
                 " y=", top, " width=", size.width, " height=", size.height, " ", kGeglOpaque)),
       vipsLinear("rotate", "ours interpolates encoded values"),
       vips("rotate", "on encoded values, as ours interpolates"),
       convert(text("-virtual-pixel black -interpolate bilinear -filter point -distort SRT ", -kTurnDegrees),
               kEncoded),
       gmic(text("-rotate ", -kTurnDegrees, ",1,0,50%,50%"), kEncoded)}};
}

Job median() {
  return {"median",
          "median 3 x 3",
          {vello({"CIMedianFilter"}),
           gegl("gegl:median-blur neighborhood=square radius=1", "quantised to 8-bit steps, encoded"),
           vipsLinear("median"), vips("median", kEncoded), convert("-statistic Median 3x3", kEncoded),
           gmic("-median 3", kEncoded)}};
}

Job unsharp(Size size) {
  return {"unsharp",
          "unsharp",
          {vello({unsharpFilter(), wholeOf(size)}), gegl(geglUnsharp()), vipsLinear("unsharp"),
           vips("unsharp", kEncoded, Work::integer8), convert(convertUnsharp(), kEncoded),
           gmic(gmicUnsharp(), kEncoded)}};
}

Job multiply() {
  return {"multiply",
          "multiply two pictures",
          {vello({kMultiplyFilter}), gegl(kGeglMultiply), vipsLinear("multiply"), vips("multiply", kEncoded),
           convert(kConvertMultiply, kEncoded), gmic(kGmicMultiply, kEncoded)}};
}

Job twirl(Size size) {
  const double x = size.width / 2.0, y = size.height / 2.0, radius = std::min(x, y);
  const double angle = kTwirlDegrees * std::acos(-1) / 180;
  return {"twirl",
          "twirl",
          {vello({text("CITwirlDistortion:inputCenter=", x, ",", y, ":inputRadius=", radius,
                       ":inputAngle=", angle),
                  wholeOf(size)}),
           gegl(text("gegl:whirl-pinch whirl=", kTwirlDegrees), "other falloff; its own sampler"),
           convert(text("-virtual-pixel black -interpolate bilinear -swirl ", kTwirlDegrees),
                   text(kEncoded, "; other falloff, over the whole picture")),
           gmic("-twirl 0.2,50%,50%,0", text(kEncoded, "; other falloff, over the whole picture"))}};
}

Job pixellate(Size size) {
  constexpr char kPicks[] = "picks another place of the cell";
  const double share = 100.0 / kCell;
  return {
      "pixellate",
      "pixellate",
      {vello({text("CIPixellate:inputCenter=0,0:inputScale=", kCell), wholeOf(size)}),
       gegl(text("gegl:pixelize size-x=", kCell, " size-y=", kCell), "means of the cells"),
       vipsLinear("pixellate", kPicks), vips("pixellate", kPicks),
       convert(text("-sample ", share, "% -sample ", size.width, "x", size.height, "!"), kPicks),
       gmic(text("-r ", share, "%,", share, "%,1,3,1 -r ", size.width, ",", size.height, ",1,3,1"), kPicks)}};
}

std::vector<std::string> stackFilters(Size size) {
  const double left = std::round(kCropMargin * size.width), low = std::round(kCropMargin * size.height);
  const std::string gradient = text("CIRadialGradient:inputCenter=", size.width / 2.0, ",", size.height / 2.0,
                                    ":inputRadius0=0:inputRadius1=", kVignetteReach * size.height,
                                    ":inputColor0=0,0,0,0:inputColor1=0,0,0,", kVignetteAlpha);
  return {exposureFilter(),
          matrixFilter(),
          blurFilter(kStackSigma),
          kMultiplyFilter,
          gradient,
          unsharpFilter(),
          cropTo(left, low, size.width - 2 * left, size.height - 2 * low)};
}

std::string geglStack(Size size, double left, double top) {
  const double x = size.width / 2.0, y = size.height / 2.0;
  const std::string gradient =
      text("gegl:over aux=[ gegl:radial-gradient start-x=", x, " start-y=", y, " end-x=", x,
           " end-y=", y + kVignetteReach * size.height, " start-color=rgba(0,0,0,0) end-color=rgba(0,0,0,",
           kVignetteAlpha, ") gegl:crop width=", size.width, " height=", size.height, " ]");
  return text("gegl:exposure exposure=", kExposureStops, " ", geglMatrix(kColorMatrix), " ",
              geglBlur(kStackSigma), " ", kGeglMultiply, " ", gradient, " ", geglUnsharp(),
              " gegl:crop x=", left, " y=", top, " width=", size.width - 2 * left,
              " height=", size.height - 2 * top);
}

std::string convertStack(Size size, double left, double top) {
  const double reach = kVignetteReach * size.height;
  return text("-evaluate Multiply ", kExposureGain, " ", convertMatrix(kColorMatrix), " -blur 0x",
              kStackSigma, " ", kConvertMultiply, " ( -size ", size.width, "x", size.height,
              " -define gradient:radii=", reach, ",", reach, " radial-gradient:rgba(0,0,0,0)-rgba(0,0,0,",
              kVignetteAlpha, ") ) -compose Over -composite ", convertUnsharp(), " -crop ",
              size.width - 2 * left, "x", size.height - 2 * top, "+", left, "+", top, " +repage");
}

std::string gmicStack(Size size, double left, double top) {
  return text("-mul ", kExposureGain, " ", gmicMatrix(kColorMatrix), " -c 0,255 -blur ", kStackSigma, " ",
              kGmicMultiply, " -fill i*(1-", kVignetteAlpha, "*min(1,sqrt((x-w/2)^2+(y-h/2)^2)/",
              kVignetteReach * size.height, ")) ", gmicUnsharp(), " -crop ", left, ",", top, ",",
              size.width - left - 1, ",", size.height - top - 1);
}

Job stack(Size size) {
  const double left = std::round(kCropMargin * size.width), top = std::round(kCropMargin * size.height);
  return {
      "stack",
      "designer's stack",
      {vello(stackFilters(size)), gegl(geglStack(size, left, top)), vipsLinear("stack"),
       vips("stack", text(kEncoded, ", partly in float")), convert(convertStack(size, left, top), kEncoded),
       gmic(gmicStack(size, left, top), text(kEncoded, "; gradient by an expression"))}};
}

}  // namespace

const char* nameOf(Work work) {
  switch (work) {
    case Work::linearFloat:
      return "linear float";
    case Work::encodedFloat:
      return "encoded float";
    case Work::integer16:
      return "16-bit integer";
    case Work::integer8:
      return "8-bit integer";
  }
  return "";
}

bool comparable(Work work) { return work == Work::linearFloat || work == Work::encodedFloat; }

const Command* Job::of(const std::string& program) const {
  for (const Command& command : commands)
    if (command.program == program) return &command;
  return nullptr;
}

Job noOperation() {
  // Too small a change to be seen, too large to be folded away: the samples must become light and bytes
  // again.
  return {"noop",
          "load, to working form and back, save",
          {vello({"CIExposureAdjust:inputEV=0.001"}), gegl("gegl:convert-format format=RGB~float"),
           vipsLinear("noop"), vips("noop"), convert(""), gmic("")}};
}

Job copyOperation() {
  Command velloCopy = vello({}, "bytes copied");
  velloCopy.chain = "<plist version=\"1.0\"><array/></plist>\n";
  return {"copy",
          "load, save",
          {velloCopy, gegl("gegl:nop"), vipsLinear("noop", "converts"), vips("noop"), convert(""), gmic("")}};
}

std::vector<Job> jobsFor(Size size) {
  Job startup = noOperation();
  startup.name = "startup";
  startup.title = "start-up (one pixel)";
  return {gaussian(size, 3), gaussian(size, 10), gaussian(size, 50), fiveColors(),    rotate(size), median(),
          unsharp(size),     multiply(),         twirl(size),        pixellate(size), stack(size),  startup};
}

}  // namespace vello::bench
