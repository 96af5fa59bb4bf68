// Bands of rows, from one file to another.
#include <algorithm>

#include "engine/render/floating_point_mode.h"
#include "engine/render/parallel.h"
#include "engine/render/render_job.h"

namespace vello {
namespace {

// Of a picture, read for one row of the result.
constexpr double kMostBytesOfRow = 1 << 27;

}  // namespace

std::string RenderJob::runBands(const PixelLayout& layout, const ColorSpacePtr& space,
                                const BandCallbacks& callbacks) {
  const FloatingPointMode mode;
  Program program;
  settle(layout, space);
  if (std::string error = build(program); !error.empty()) return error;
  const PixelWriter writer(layout, space, working_, set_);
  program.encoded = staysEncoded(program, writer);
  const std::vector<SourceRows> everything = wholeSources(program);
  std::vector<Part> parts;
  Share share = kAll;
  // Where something is interpolated, every band has tiles of its own. Else there are strips from the top to
  // the bottom of the picture, all of which go on from band to band.
  const bool tiled = interpolates(fusePasses(program));
  const bool inOrder = readsInBands(program);
  if (std::string error = plan(program, frame_, false, tiled && !inOrder, share, parts); !error.empty())
    return error;
  const Passes& passes = parts.back().passes;
  const Tiling& tiling = parts.back().tiling;
  const int64_t wanted = int64_t{2} * threads_;
  const int64_t width = std::clamp<int64_t>((frame_.width() + wanted - 1) / wanted, 512, 4096);
  const int64_t strips = (frame_.width() + width - 1) / width;
  const IndexRect first{frame_.x0, frame_.y0, std::min(frame_.x1, frame_.x0 + width), frame_.y1};
  if (!tiled) {
    const Tiling needs = needsOf(program, passes, first, regionsFor(program, first, set_));
    if (std::string error = refuse(needs, strips, frame_.area()); !error.empty()) return error;
  }
  std::vector<IndexRect> tiles;
  std::vector<std::unique_ptr<RowEvaluator>> evaluators;
  for (int64_t x = frame_.x0; !tiled && x < frame_.x1; x += width) {
    tiles.push_back({x, frame_.y0, std::min(frame_.x1, x + width), frame_.y1});
    Regions regions = regionsFor(program, tiles.back(), set_);
    evaluators.push_back(
        std::make_unique<RowEvaluator>(program, passes, tiles.back(), std::move(regions), set_, abandoned()));
  }
  const int64_t bandBytes = (tiled ? 32 : 8) << 20, leastRows = 16, mostRows = tiled ? 4096 : 128;
  int64_t rows = std::clamp(bandBytes / std::max<int64_t>(1, layout.bytesPerRow), leastRows, mostRows);
  // The next rows are read while a band is computed: then one row of tiles is enough.
  if (tiled && rows > tiling.height) rows = inOrder ? tiling.height : rows - rows % tiling.height;
  std::vector<uint8_t> bytes(static_cast<size_t>(std::min(rows, frame_.height()) * layout.bytesPerRow));
  if (tiled && !inOrder) {
    // What is moved may come from anywhere.
    if (std::string error = callbacks.provide(everything); !error.empty()) return error;
    if (std::string error = computeKept(program, parts, share); !error.empty()) return error;
  }
  Progress progress(request_.progress, kAll, frame_.area());
  for (int64_t top = frame_.y1; top > frame_.y0; top -= rows) {
    const int64_t count = std::min(rows, top - frame_.y0);
    const IndexRect band{frame_.x0, top - count, frame_.x1, top};
    const auto read = tiled && !inOrder ? everything : sourceRows(program, band);
    if (std::string error = callbacks.provide(read); !error.empty()) return error;
    const Store store = writingTo(writer, program.encoded, layout, bytes.data(), top);
    if (tiled) {
      const Share own{share.begin + share.size * static_cast<double>(frame_.y1 - top) /
                                        static_cast<double>(frame_.height()),
                      share.size * static_cast<double>(count) / static_cast<double>(frame_.height())};
      if (std::string error = runTiles(program, parts.back(), band, own, store); !error.empty()) return error;
    } else {
      runParts(strips, threads_, [&](int64_t k) {
        const auto strip = static_cast<size_t>(k);
        int64_t left = count;
        const auto take = [&](int64_t most) {
          const int64_t next = std::min(most, left);
          left -= next;
          return next;
        };
        return advance(*evaluators[strip], tiles[strip].width(), take, 0, progress, store);
      });
    }
    if (!progress.error().empty()) return progress.error();
    if (std::string error = callbacks.write(frame_.y1 - top, count, bytes, layout.bytesPerRow);
        !error.empty())
      return error;
  }
  return {};
}

// All texels of the bitmaps that the root reads, none of the others.
std::vector<SourceRows> RenderJob::wholeSources(const Program& program) {
  const std::vector<bool> read = stepsRead(program);
  std::vector<SourceRows> list;
  for (const auto& [serial, source] : program.sources) {
    const int64_t height = source->height(0);
    list.push_back({serial, height, height});
    for (size_t k = 0; k < program.steps.size(); ++k)
      for (const GridEdge& edge : program.steps[k].edges)
        if (read[k] && edge.source == source.get()) list.back().begin = 0;
  }
  return list;
}

// The texels a band reads of every bitmap.
std::vector<SourceRows> RenderJob::sourceRows(const Program& program, const IndexRect& band) const {
  const Regions regions = regionsFor(program, band, set_);
  std::vector<SourceRows> list;
  for (const auto& [serial, source] : program.sources) {
    IndexRect all;
    for (size_t k = 0; k < program.steps.size(); ++k)
      for (size_t e = 0; e < regions.edges[k].size(); ++e) {
        const GridEdge& edge = program.steps[k].edges[e];
        const IndexRect& box = regions.edges[k][e];
        const int level = edge.level;
        if (edge.source == source.get() && !box.empty())
          all = unionOf(all, {0, box.y0 << level, 1, box.y1 << level});
      }
    const int64_t height = source->height(0);
    if (!all.empty())
      list.push_back({serial, height - std::min(height, all.y1), height - std::max<int64_t>(0, all.y0)});
  }
  return list;
}

bool RenderJob::readsInBands() {
  Program program;
  return build(program).empty() && readsInBands(program);
}

// From the top of every picture down. A turned one is read far beyond each row; not where that is very far.
bool RenderJob::readsInBands(const Program& program) const {
  bool turns = false;
  for (const Step& step : program.steps)
    for (const GridEdge& edge : step.edges) {
      if (step.op != Step::Op::sample || !edge.source || edge.toGrid.d <= 0) return false;
      turns = turns || !step.followsRows();
    }
  const int64_t middle = (frame_.y0 + frame_.y1) / 2;
  for (const SourceRows& rows : sourceRows(program, {frame_.x0, middle, frame_.x1, middle + 1})) {
    const auto count = static_cast<double>(rows.end - rows.begin);
    if (turns && count * program.sources.at(rows.serial)->bytesPerRow() > kMostBytesOfRow) return false;
  }
  return program.tables.empty() && program.found.empty();
}

}  // namespace vello
