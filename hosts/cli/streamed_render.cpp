#include "hosts/cli/streamed_render.h"

#include <array>
#include <bit>
#include <cstring>
#include <future>
#include <optional>

#include "hosts/cli/stopwatch.h"
#include "platform/streamed_writer.h"

namespace vello::cli {
namespace {

// The bits that all pixels have set.
template <class Pixel>
Pixel common(const uint8_t* row, int64_t width) {
  Pixel all = static_cast<Pixel>(-1), pixel;
  for (int64_t x = 0; x < width; ++x) {
    std::memcpy(&pixel, row + x * int64_t{sizeof pixel}, sizeof pixel);
    all &= pixel;
  }
  return all;
}

// Of four components, the last is alpha, whose highest value has all bits set.
bool isOpaque(const uint8_t* row, const PixelLayout& layout) {
  const auto pixels8 = [&] {
    return std::bit_cast<std::array<uint8_t, 4>>(common<uint32_t>(row, layout.width));
  };
  const auto pixels16 = [&] {
    return std::bit_cast<std::array<uint16_t, 4>>(common<uint64_t>(row, layout.width));
  };
  return layout.bitsPerComponent == 8 ? pixels8()[3] == 0xFF : pixels16()[3] == 0xFFFF;
}

// Takes the finished bands, and writes one while the next is computed. Pixels are written without alpha when
// those of the first band are all opaque, and as long as those of the others are.
class BandWriter {
 public:
  BandWriter(const StreamedRequest& request, const PixelLayout& rendered, StreamedResult& result)
      : request_(request), rendered_(rendered), result_(result) {
    create(rendered.hasAlpha() && !request.picture.keepAlpha);
  }
  // Errors are those of the band before.
  std::string write(int64_t firstRow, int64_t rows, std::vector<uint8_t>& bytes, int64_t bytesPerRow) {
    const SecondsSpent spent(result_.writeSeconds);
    if (std::string error = wait(); !error.empty()) return error;
    if (leavesAlphaOut_ && firstRow == 0 && !areOpaque(rows, bytes, bytesPerRow)) create(false);
    band_.resize(bytes.size());
    band_.swap(bytes);
    writing_ = std::async(std::launch::async, [=, this] { return writeBand(firstRow, rows, bytesPerRow); });
    return {};
  }
  std::string finish() {
    const SecondsSpent spent(result_.writeSeconds);
    if (std::string error = wait(); !error.empty()) return error;
    return writer_->finish();
  }
  const StreamedPictureWriter& writer() const { return *writer_; }

 private:
  void create(bool leaveAlphaOut) {
    leavesAlphaOut_ = leaveAlphaOut;
    PixelLayout layout = rendered_;
    if (leaveAlphaOut) layout.alpha = AlphaInfo::noneSkipLast;
    writer_.emplace(request_.output, layout, request_.picture.space, request_.options);
  }
  bool areOpaque(int64_t rows, const std::vector<uint8_t>& bytes, int64_t bytesPerRow) const {
    for (int64_t y = 0; y < rows; ++y)
      if (!isOpaque(bytes.data() + y * bytesPerRow, rendered_)) return false;
    return true;
  }
  std::string wait() { return writing_.valid() ? writing_.get() : std::string(); }
  std::string writeBand(int64_t firstRow, int64_t rows, int64_t bytesPerRow) {
    result_.needsAlpha = leavesAlphaOut_ && !areOpaque(rows, band_, bytesPerRow);
    if (result_.needsAlpha) return "the result is not opaque";
    return writer_->write(firstRow, rows, band_.data(), bytesPerRow);
  }

  const StreamedRequest& request_;
  const PixelLayout rendered_;
  StreamedResult& result_;
  bool leavesAlphaOut_ = false;
  std::optional<StreamedPictureWriter> writer_;
  std::vector<uint8_t> band_;
  std::future<std::string> writing_;  // the last: it is waited for before anything it uses goes
};

}  // namespace

StreamedResult renderToFile(const StreamedRequest& request) {
  StreamedResult result;
  const PixelLayout layout = layoutFor(request.picture);
  BandWriter writer(request, layout, result);
  result.error = writer.writer().error();
  if (!result.ok()) return result;
  const BandCallbacks callbacks{
      [&](const std::vector<SourceRows>& rows) {
        const SecondsSpent spent(result.decodeSeconds);
        return request.sources.provide(rows);
      },
      [&](int64_t firstRow, int64_t rows, std::vector<uint8_t>& bytes, int64_t bytesPerRow) {
        return writer.write(firstRow, rows, bytes, bytesPerRow);
      }};
  result.error =
      CIContext(request.picture.options)
          .renderBands(renderRequestFor(request.picture), layout, request.picture.space, callbacks);
  if (result.ok()) {
    const SecondsSpent spent(result.decodeSeconds);
    result.error = request.sources.provideRest();
  }
  if (result.ok()) result.error = writer.finish();
  for (const std::string& text : writer.writer().warnings())
    result.warnings.push_back(request.output + ": " + text);
  return result;
}

}  // namespace vello::cli
