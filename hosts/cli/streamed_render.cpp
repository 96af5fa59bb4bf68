#include "hosts/cli/streamed_render.h"

#include <future>

#include "hosts/cli/stopwatch.h"
#include "platform/streamed_writer.h"

namespace vello::cli {
namespace {

// The highest value of an alpha component has all bits set, whatever the byte order.
bool isOpaque(const uint8_t* row, const PixelLayout& layout) {
  const int64_t pixel = layout.bytesPerPixel(), alpha = pixel / layout.componentsPerPixel;
  uint8_t all = 0xFF;
  for (int64_t end = pixel; end <= pixel * layout.width; end += pixel)
    for (int64_t i = end - alpha; i < end; ++i) all &= row[i];
  return all == 0xFF;
}

// Takes the finished bands, and writes one while the next is computed. Pixels that are all opaque, as far as
// they are seen, are written without alpha.
class BandWriter {
 public:
  BandWriter(const StreamedRequest& request, const PixelLayout& rendered, StreamedResult& result)
      : rendered_(rendered),
        leavesAlphaOut_(rendered.hasAlpha() && !request.picture.keepAlpha),
        result_(result),
        writer_(request.output, written(), request.picture.space, request.options) {}
  // Errors are those of the band before.
  std::string write(int64_t firstRow, int64_t rows, const uint8_t* bytes, int64_t bytesPerRow) {
    const SecondsSpent spent(result_.writeSeconds);
    if (std::string error = wait(); !error.empty()) return error;
    band_.assign(bytes, bytes + rows * bytesPerRow);
    writing_ = std::async(std::launch::async, [=, this] { return writeBand(firstRow, rows, bytesPerRow); });
    return {};
  }
  std::string finish() {
    const SecondsSpent spent(result_.writeSeconds);
    if (std::string error = wait(); !error.empty()) return error;
    return writer_.finish();
  }
  const StreamedPictureWriter& writer() const { return writer_; }

 private:
  PixelLayout written() const {
    PixelLayout layout = rendered_;
    if (leavesAlphaOut_) layout.alpha = AlphaInfo::noneSkipLast;
    return layout;
  }
  std::string wait() { return writing_.valid() ? writing_.get() : std::string(); }
  std::string writeBand(int64_t firstRow, int64_t rows, int64_t bytesPerRow) {
    for (int64_t y = 0; leavesAlphaOut_ && y < rows; ++y) {
      result_.needsAlpha = result_.needsAlpha || !isOpaque(band_.data() + y * bytesPerRow, rendered_);
    }
    if (result_.needsAlpha) return "the result is not opaque";
    return writer_.write(firstRow, rows, band_.data(), bytesPerRow);
  }

  const PixelLayout rendered_;
  const bool leavesAlphaOut_;
  StreamedResult& result_;
  StreamedPictureWriter writer_;
  std::vector<uint8_t> band_;
  std::future<std::string> writing_;  // the last: it is waited for before anything it uses goes
};

// Provides what a band reads and gives back what the bands before it were the last to read. What is kept
// whole is provided as a whole: it may be read in any order.
class SourceReader {
 public:
  SourceReader(StreamedPicture& source, double& seconds) : source_(source), seconds_(seconds) {}
  std::string provide(const std::vector<SourceRows>& rows) {
    const SecondsSpent spent(seconds_);
    for (const SourceRows& part : rows) {
      if (part.serial != source_.bitmap().serial()) continue;
      const bool inMemory = source_.storage() == StreamedPicture::Storage::inMemory;
      if (!inMemory) source_.release(part.begin);
      provided_ = source_.isRowByRow() ? part.end : source_.bitmap().height();
      if (std::string problem = source_.provide(provided_); !problem.empty()) return problem;
    }
    return {};
  }
  // After the last band.
  std::string provideRest() {
    const SecondsSpent spent(seconds_);
    constexpr int64_t kRows = 64;
    for (; provided_ < source_.bitmap().height(); provided_ += kRows) {
      source_.release(provided_);
      if (std::string problem = source_.provide(provided_ + kRows); !problem.empty()) return problem;
    }
    return {};
  }

 private:
  StreamedPicture& source_;
  double& seconds_;
  int64_t provided_ = 0;
};

}  // namespace

StreamedResult renderToFile(const StreamedRequest& request) {
  StreamedResult result;
  const PixelLayout layout = layoutFor(request.picture);
  BandWriter writer(request, layout, result);
  result.error = writer.writer().error();
  if (!result.ok()) return result;
  SourceReader source(request.source, result.decodeSeconds);
  const BandCallbacks callbacks{
      [&](const std::vector<SourceRows>& rows) { return source.provide(rows); },
      [&](int64_t firstRow, int64_t rows, const uint8_t* bytes, int64_t bytesPerRow) {
        return writer.write(firstRow, rows, bytes, bytesPerRow);
      }};
  result.error =
      CIContext(request.picture.options)
          .renderBands(renderRequestFor(request.picture), layout, request.picture.space, callbacks);
  // A damaged file is told of also where the result needs no more of its rows.
  if (result.ok()) result.error = source.provideRest();
  if (result.ok()) result.error = writer.finish();
  for (const std::string& text : writer.writer().warnings())
    result.warnings.push_back(request.output + ": " + text);
  return result;
}

}  // namespace vello::cli
