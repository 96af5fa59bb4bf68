#include "platform/streamed_picture.h"

#include <algorithm>
#include <new>

#include "platform/file_bytes.h"
#include "platform/image_codecs/open_picture.h"
#include "platform/image_codecs/orientation.h"
#include "platform/picture_memory.h"

namespace vello {

namespace {

// What is decoded or turned before a temporary file's pages are given back.
constexpr int64_t kStepBytes = int64_t{32} << 20;

int64_t rowsIn(int64_t bytes, const PixelLayout& layout) {
  return std::max<int64_t>(1, bytes / layout.bytesPerRow);
}

}  // namespace

struct StreamedPicture::State {
  std::string path;
  std::unique_ptr<ByteSource> source;
  OpenedPicture opened;
  std::shared_ptr<PictureMemory> shown;   // the bitmap's
  std::shared_ptr<PictureMemory> stored;  // of a turned picture until it is decoded, else the same
  int64_t writtenRows = 0;                // of those after them none has been begun
  int64_t unreleasedBytes = 0;            // decoded into a temporary file since pages were given back

  const PixelLayout& layout() const { return opened.image.layout; }  // as stored
  int orientation() const { return opened.image.orientation; }
  // Mirrored left to right, rows stay where they are.
  bool rowsInOrder() const { return orientation() <= 2; }
  std::string open(const StreamOptions& options);
  Storage chooseStorage(const StreamOptions& options) const;
  std::string takeMemory(Storage storage, const StreamOptions& options);
  std::string decode(int64_t rows, Storage storage);
  void mirror(int64_t begin, int64_t end);
  void turn(Storage storage);
};

std::string StreamedPicture::State::open(const StreamOptions& options) {
  const int64_t memory = options.memory > 0 ? options.memory : defaultMemory();
  return openPicture({*source, limitsOfFile(options.limits), memory}, opened);
}

StreamedPicture::Storage StreamedPicture::State::chooseStorage(const StreamOptions& options) const {
  const int64_t together = opened.decoder->rowsTogether();
  const int64_t affordable = std::max(kStepBytes, options.keptInMemory);
  const bool fewTogether =
      together == 1 || (together < layout().height && together * layout().bytesPerRow <= affordable);
  const bool inOrder = rowsInOrder() && fewTogether;
  if (inOrder && !options.randomAccess) return Storage::rowByRow;
  const int64_t bytes = layout().bytesPerRow * layout().height;
  return bytes <= options.keptInMemory ? Storage::inMemory : Storage::temporaryFile;
}

std::string StreamedPicture::State::takeMemory(Storage storage, const StreamOptions& options) {
  const int64_t bytes = layout().bytesPerRow * layout().height;
  std::string error;
  const auto take = [&] {
    return storage == Storage::temporaryFile ? PictureMemory::inTemporaryFile(bytes, options.folder, &error)
                                             : PictureMemory::inMemory(bytes, &error);
  };
  shown = take();
  stored = rowsInOrder() ? shown : shown ? take() : nullptr;
  if (stored) opened.image.pixels = std::shared_ptr<uint8_t[]>(stored, stored->bytes());
  return error;
}

std::unique_ptr<StreamedPicture> StreamedPicture::open(const std::string& path, const StreamOptions& options,
                                                       std::string* error) {
  auto state = std::make_unique<State>();
  state->path = path;
  state->source = openFile(path, error);
  if (!state->source) return nullptr;
  std::string problem;
  Storage storage = Storage::rowByRow;
  try {
    problem = state->open(options);
    if (problem.empty()) problem = state->takeMemory(storage = state->chooseStorage(options), options);
  } catch (const std::bad_alloc&) {
    problem = "not enough memory";
  }
  if (!problem.empty()) return *error = path + ": " + problem, nullptr;
  Bitmap bitmap(turnedLayout(state->layout(), state->orientation()), state->opened.space, state->shown,
                state->shown->bytes());
  return std::unique_ptr<StreamedPicture>(new StreamedPicture(std::move(state), storage, std::move(bitmap)));
}

StreamedPicture::StreamedPicture(std::unique_ptr<State> state, Storage storage, Bitmap bitmap)
    : state_(std::move(state)), storage_(storage), bitmap_(std::move(bitmap)) {}

StreamedPicture::~StreamedPicture() = default;

const ImageFileInfo& StreamedPicture::info() const { return state_->opened.image.info; }
const ImageMetadata& StreamedPicture::metadata() const { return state_->opened.image.metadata; }
const std::vector<std::string>& StreamedPicture::warnings() const { return state_->opened.image.warnings; }
int64_t StreamedPicture::heldBytes() const { return state_->opened.decoder->heldBytes(); }

// Also rows that are not finished yet may have been written to.
std::string StreamedPicture::State::decode(int64_t rows, Storage storage) {
  const int64_t step = std::min(rows, rowsIn(kStepBytes, layout()));
  const PictureDecoder& decoder = *opened.decoder;
  writtenRows = std::max(writtenRows, decoder.finishedRows() + std::max(step, decoder.rowsTogether()));
  std::string error = opened.decoder->decode(step);
  unreleasedBytes += step * layout().bytesPerRow;
  if (storage == Storage::temporaryFile && unreleasedBytes >= kStepBytes) {
    stored->release(layout().bytesPerRow * layout().height, INT64_MAX);
    unreleasedBytes = 0;
  }
  return error;
}

void StreamedPicture::State::mirror(int64_t begin, int64_t end) {
  const int64_t pixel = layout().bytesPerPixel();
  for (int64_t y = begin; y < end; ++y) {
    uint8_t* left = opened.image.row(y);
    for (uint8_t* right = left + (layout().width - 1) * pixel; left < right; left += pixel, right -= pixel) {
      std::swap_ranges(left, left + pixel, right);
    }
  }
}

std::string StreamedPicture::step(int64_t rowsEnd) {
  if (!state_->rowsInOrder()) return decodeAndTurn();
  std::string error = state_->decode(rowsEnd - provided_, storage_);
  const int64_t finished = state_->opened.decoder->finishedRows();
  if (error.empty() && state_->orientation() == 2) state_->mirror(provided_, finished);
  provided_ = finished;
  return error;
}

std::string StreamedPicture::decodeAndTurn() {
  const PictureDecoder& decoder = *state_->opened.decoder;
  const int64_t height = state_->layout().height;
  while (decoder.finishedRows() < height) {
    if (std::string error = state_->decode(height, storage_); !error.empty()) return error;
  }
  state_->turn(storage_);
  provided_ = bitmap_.height();
  return {};
}

// Rectangle by rectangle, none of which has many rows on either side.
void StreamedPicture::State::turn(Storage storage) {
  const PixelLayout target = turnedLayout(layout(), orientation());
  const int64_t rows = rowsIn(kStepBytes, target), columns = rowsIn(kStepBytes, layout());
  for (int64_t top = 0; top < target.height; top += rows) {
    for (int64_t left = 0; left < target.width; left += columns) {
      const PixelRect part{left, top, std::min(left + columns, target.width),
                           std::min(top + rows, target.height)};
      copyTurned(stored->bytes(), layout(), orientation(), part, shown->bytes());
      if (storage == Storage::temporaryFile)
        stored->release(layout().bytesPerRow * layout().height, INT64_MAX);
    }
    if (storage == Storage::temporaryFile) shown->release(target.bytesPerRow * target.height, INT64_MAX);
  }
  opened.image.pixels = nullptr;
  stored = nullptr;
}

const std::string& StreamedPicture::provide(int64_t rowsEnd) {
  rowsEnd = std::min(rowsEnd, bitmap_.height());
  while (provided_ < rowsEnd && error_.empty()) {
    std::string problem;
    try {
      problem = step(rowsEnd);
    } catch (const std::bad_alloc&) {
      problem = "not enough memory";
    }
    if (!problem.empty()) error_ = state_->path + ": " + problem;
  }
  return error_;
}

void StreamedPicture::release(int64_t rowsEnd) {
  const int64_t bytesPerRow = bitmap_.layout().bytesPerRow;
  state_->shown->release(std::min(rowsEnd, provided_) * bytesPerRow, state_->writtenRows * bytesPerRow);
}

}  // namespace vello
