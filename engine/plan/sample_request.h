// A recipe's samples on a lattice, as a program is asked for them.
#pragma once

#include "engine/image/node.h"
#include "engine/render/lattice.h"

namespace vello {

struct SampleKey {
  Digest digest;
  double ox, oy, pitch;
  Quality quality;
  int halved;
  friend auto operator<=>(const SampleKey&, const SampleKey&) = default;  // NOLINT(modernize-use-nullptr)
};

struct SampleRequest {
  NodePtr node;
  Lattice lattice;
  SampleKey key() const {
    const Lattice& l = lattice;
    return {node->digest, l.ox, l.oy, l.pitch, l.quality, l.halved};
  }
};

// How often the pitch is to be halved so that the mean of what is computed looks like the finished picture
// scaled down.
int finerBy(const SampleRequest& request);
// The samples that the mean is taken of.
SampleRequest finer(const SampleRequest& request);

}  // namespace vello
