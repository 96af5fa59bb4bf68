// What a program must know before its first sample: kernels, tables, reductions and pictures drawn whole.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engine/plan/program.h"

namespace vello {

std::unique_ptr<std::max_align_t[]> newKernel(const KernelOps& ops, const Values& values, const Given& given);
// A kernel made from its node's values alone, for questions that do not depend on its images.
void makeProbe(const Node& node, double pitch, std::unique_ptr<std::max_align_t[]>& kernel);

// The image's samples, at full size where it is small enough. `samples` keeps them.
Table wholeTable(const NodePtr& image, const ProgramOptions& options, std::vector<Px>& samples,
                 std::string& error);
// Runs a reduce kernel over its image, in blocks that are merged by index.
Values wholeReduction(const Node& node, const Lattice& lattice, const ProgramOptions& options,
                      std::string& error);
// The picture of a raster or frame kernel, `scale` texels an image unit, its lower left corner at its
// extent's.
Bitmap wholePicture(const Node& node, double scale, const ProgramOptions& options, std::string& error);

}  // namespace vello
