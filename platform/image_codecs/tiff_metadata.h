// Metadata of TIFF files, by way of raw directories.
#pragma once

#include <string>

#include "platform/image_codecs/tiff_directory.h"
#include "platform/image_file.h"

namespace vello {

// Resolution, XMP, IPTC, and an Exif block made of every tag that does not describe the pixels' storage.
ImageMetadata readTiffMetadata(const TiffDirectory& directory);

// Gives a BigTIFF file that holds one picture its metadata and colour profile: a new directory is appended
// and takes the place of the first. The file becomes a classic one if it is short enough for that. Returns
// the error or an empty text.
std::string addTiffMetadata(int descriptor, const ImageMetadata& metadata, const Data& profile);

}  // namespace vello
