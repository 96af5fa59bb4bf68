// vello filter: one filter, its inputs given one by one.
#include <cmath>
#include <map>
#include <memory>

#include "hosts/cli/commands.h"
#include "hosts/cli/console.h"
#include "hosts/cli/interruption.h"
#include "hosts/cli/near_names.h"
#include "hosts/cli/picture.h"
#include "hosts/cli/progress.h"
#include "hosts/cli/value_text.h"
#include "platform/exception.h"

namespace vello::cli {
namespace {

constexpr const char* kValueForms =
    "Values: a number; x,y[,z,w]; a colour r,g,b[,a] (0 to 1) or #rrggbb[aa]; a transform a,b,c,d,tx,ty; "
    "text;\n"
    "@FILE for a picture or for raw bytes. \"vello filters NAME\" tells what each input takes.\n"
    "Pictures lie with their lower left corner at the origin, y upwards, in pixels.\n"
    "The result has the rectangle of the input picture. A filter that makes its own picture is written "
    "whole;\n"
    "one without bounds needs --extent. Resolution, profile and metadata are those of the input picture.\n"
    "The filter works on the numbers in the file, taken as sRGB whatever profile an RGB picture carries;\n"
    "--manage-colors converts them by their profiles first, as \"vello render\" does. JPEG results are\n"
    "composited over white.\n"
    "Example: vello filter CIGaussianBlur photo.tif -o soft.tif -p inputRadius=4";

struct FilterArguments {
  std::string name, input, output, extent;
  std::vector<std::string> parameters;
  std::optional<int> depth;
  bool manageColors = false;
};

// A message and the status it ends the program with; kDone goes on.
struct Outcome {
  int status = kDone;
  bool ok() const { return status == kDone; }
};

using Pictures = std::map<std::string, ImageReadResult>;

// The picture as the filter is to see it.
CIImage inputImage(const Bitmap& bitmap, bool manageColors) {
  const bool asNumbers = !manageColors && bitmap.space()->model() == ColorSpace::Model::rgb;
  return CIImage::imageWithBitmap(asNumbers ? taggedAs(bitmap, ColorSpace::sRGB()) : bitmap);
}

Outcome setPicture(CIFilter& filter, const InputAttributes& input, const std::string& text, bool manageColors,
                   Pictures& pictures) {
  if (text.empty() || text.front() != '@')
    return {wrongUsage(input.key + ": \"" + text + "\" is not " + expectedForm(input))};
  ImageReadResult read = readImageFile(text.substr(1));
  if (!read.ok()) return {failure(read.error)};
  for (const std::string& told : read.warnings) warning(told);
  filter.setValueForKey(inputImage(read.bitmap, manageColors), input.key);
  pictures[input.key] = std::move(read);
  return {};
}

Outcome setParameter(CIFilter& filter, const std::string& parameter, bool manageColors, Pictures& pictures) {
  const size_t equals = parameter.find('=');
  if (equals == std::string::npos) return {wrongUsage("\"" + parameter + "\" is not key=value")};
  const std::string key = parameter.substr(0, equals), text = parameter.substr(equals + 1);
  const InputAttributes* input = filter.attributes().input(key);
  if (!input) return {wrongUsage(unknownInput(filter.attributes(), key))};
  if (input->className == "CIImage") return setPicture(filter, *input, text, manageColors, pictures);
  const ParsedValue value = parseValue(*input, text);
  if (!value.ok()) return {wrongUsage(key + ": " + value.error)};
  filter.setValueForKey(value.value, key);
  return {};
}

Outcome setParameters(CIFilter& filter, const FilterArguments& arguments, Pictures& pictures) {
  filter.setDefaults();
  std::vector<std::string> parameters = arguments.parameters;
  if (!arguments.input.empty()) parameters.push_back(std::string(kCIInputImageKey) + "=@" + arguments.input);
  for (const std::string& parameter : parameters)
    if (const Outcome outcome = setParameter(filter, parameter, arguments.manageColors, pictures);
        !outcome.ok())
      return outcome;
  return {};
}

std::string missingPictures(const CIFilter& filter) {
  std::string keys;
  for (const InputAttributes& input : filter.attributes().inputs)
    if (input.className == "CIImage" && filter.valueForKey(input.key).isNil())
      keys += (keys.empty() ? "" : ", ") + input.key;
  return keys.empty() ? filter.name() + " makes no picture of these values"
                      : filter.name() + " needs a picture for " + keys;
}

// The picture whose size, depth, space and metadata the result takes: the first of the filter's inputs that
// was given.
const ImageReadResult* mainPicture(const CIFilter& filter, const Pictures& pictures) {
  if (const auto found = pictures.find(kCIInputImageKey); found != pictures.end()) return &found->second;
  for (const InputAttributes& input : filter.attributes().inputs)
    if (const auto found = pictures.find(input.key); found != pictures.end()) return &found->second;
  return nullptr;
}

// Whole pixels. A rectangle with a fraction has its top left corner on the pixel grid.
CGRect wholePixels(const CGRect& extent) {
  const double width = std::ceil(extent.size.width), height = std::ceil(extent.size.height);
  return {{extent.origin.x, extent.origin.y + extent.size.height - height}, {width, height}};
}

bool isDrawable(const CGRect& rect) {
  constexpr double kLargestSide = 1 << 20;
  for (const double v : {rect.origin.x, rect.origin.y})
    if (!(std::abs(v) < 1e9)) return false;
  for (const double v : {rect.size.width, rect.size.height})
    if (!(v > 0 && v <= kLargestSide)) return false;
  return true;
}

std::optional<CGRect> parseExtent(const std::string& text) {
  const auto n = parseNumbers(text);
  if (!n || n->size() != 4) return std::nullopt;
  const CGRect extent{{(*n)[0], (*n)[1]}, {(*n)[2], (*n)[3]}};
  return isDrawable(extent) ? std::optional<CGRect>(extent) : std::nullopt;
}

// Nothing when neither the arguments nor a picture bound the result.
std::optional<CGRect> resultRect(const FilterArguments& arguments, const ImageReadResult* source,
                                 const CIImage& image) {
  if (!arguments.extent.empty()) return parseExtent(arguments.extent);
  if (source) {
    const Bitmap& bitmap = source->bitmap;
    return CGRect{{0, 0}, {static_cast<double>(bitmap.width()), static_cast<double>(bitmap.height())}};
  }
  return isDrawable(image.extent()) ? std::optional<CGRect>(image.extent()) : std::nullopt;
}

PictureRequest requestFor(const FilterArguments& arguments, const ImageReadResult* source,
                          ImageFormat format) {
  PictureRequest request;
  request.format = format;
  request.depth = resultDepth(arguments.depth, source ? source->info.bitsPerComponent : 8, format);
  request.space = source && arguments.manageColors ? resultSpace(source->bitmap) : ColorSpace::sRGB();
  request.keepAlpha = source && source->info.hasAlpha;
  return request;
}

int renderAndWrite(const FilterArguments& arguments, PictureRequest request, const ImageReadResult* source) {
  const InterruptionGuard guard;
  Progress progress(1);
  request.progress = [&progress](double done) {
    progress.update(0, done);
    return !interrupted();
  };
  Picture picture = renderPicture(request);
  progress.finish();
  if (interrupted()) return kInterrupted;
  if (!picture.ok()) return failure(arguments.name + ": " + picture.error);
  ImageWriteOptions options;
  options.format = request.format;
  if (source) options.metadata = source->metadata;
  // What was computed on plain numbers goes on under the profile they came with.
  if (source && !arguments.manageColors)
    picture.bitmap = taggedAs(picture.bitmap, resultSpace(source->bitmap));
  const auto problem = writeImageFile(arguments.output, picture.bitmap, options);
  return problem ? failure(*problem) : interrupted() ? kInterrupted : kDone;
}

// What can be told before any picture is read.
Outcome checkArguments(const FilterArguments& arguments, const CIFilter& filter, ImageFormat format) {
  if (const auto problem = depthProblem(arguments.depth, format)) return {wrongUsage(*problem)};
  if (const auto problem = outputProblem(arguments.output)) return {wrongUsage(*problem)};
  if (!arguments.extent.empty() && !parseExtent(arguments.extent))
    return {wrongUsage("--extent: \"" + arguments.extent + "\" is not a rectangle x,y,width,height")};
  if (!arguments.input.empty() && !filter.attributes().input(kCIInputImageKey))
    return {wrongUsage(filter.name() + " takes no input picture")};
  for (const std::string& parameter : arguments.parameters)
    if (const size_t at = parameter.find("=@");
        at != std::string::npos && isSameFile(parameter.substr(at + 2), arguments.output))
      return {wrongUsage(arguments.output + ": the result would overwrite an input")};
  if (!arguments.input.empty() && isSameFile(arguments.input, arguments.output))
    return {wrongUsage(arguments.output + ": the result would overwrite its input")};
  return {};
}

int runFilter(const FilterArguments& arguments) {
  const auto filter = CIFilter::filterWithName(arguments.name);
  if (!filter) return wrongUsage(unknownFilter(arguments.name));
  const FormatChoice choice = formatForOutput(arguments.output, "");
  if (!choice.ok()) return wrongUsage(choice.error);
  if (const Outcome o = checkArguments(arguments, *filter, choice.format); !o.ok()) return o.status;
  Pictures pictures;
  if (const Outcome o = setParameters(*filter, arguments, pictures); !o.ok()) return o.status;
  const CIImage image = filter->outputImage();
  if (image.isNil()) return wrongUsage(missingPictures(*filter));
  const ImageReadResult* source = mainPicture(*filter, pictures);
  const auto rect = resultRect(arguments, source, image);
  if (!rect) return wrongUsage(arguments.name + " has no bounds of its own: give --extent x,y,width,height");
  PictureRequest request = requestFor(arguments, source, choice.format);
  request.image = image;
  request.rect = wholePixels(*rect);
  return renderAndWrite(arguments, std::move(request), source);
}

}  // namespace

void addFilterCommand(CommandLine& line) {
  const auto arguments = std::make_shared<FilterArguments>();
  CLI::App* command = line.parser.add_subcommand("filter", "Apply one filter");
  command->footer(kValueForms);
  command->add_option("NAME", arguments->name, "The filter, as CIGaussianBlur")->required()->type_name("");
  command->add_option("INPUT", arguments->input, "The picture: short for -p inputImage=@INPUT")
      ->type_name("");
  command->add_option("-o,--output", arguments->output, "The result: .tif, .png or .jpg")
      ->required()
      ->type_name("OUT");
  command->add_option("-p,--parameter", arguments->parameters, "The value of an input; may be repeated")
      ->type_name("key=value")
      ->allow_extra_args(false);
  command->add_option("--extent", arguments->extent, "The rectangle of the result, in pixels, y upwards")
      ->type_name("x,y,w,h");
  command->add_option("--depth", arguments->depth, "Bits per component; else as the input")
      ->type_name("8|16")
      ->check(CLI::IsMember({8, 16}).description(""));
  command->add_flag("--manage-colors", arguments->manageColors,
                    "Convert pictures by their profiles instead of taking their numbers as sRGB");
  command->callback([&line, arguments] { line.run = [arguments] { return runFilter(*arguments); }; });
}

}  // namespace vello::cli
