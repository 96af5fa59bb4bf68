#pragma once

#include "platform/image_codecs/image_codec.h"

namespace vello {

// A picture file of any format before its pixels are decoded. Stays where it is: the decoder refers to it.
struct OpenedPicture {
  DecodedImage image;  // `info` is of the picture as shown, the layout as stored
  DecoderPtr decoder;
  ColorSpacePtr space;  // what the pixels mean
};

// Half the machine's memory.
int64_t defaultMemory();
// Fills in what is 0: half the machine's memory for one picture, and as many pixels as would fill it with
// 8-bit RGBA.
ImageLimits limitsOfMemory(ImageLimits limits);
// What is 0 becomes what no file reaches: of a picture that is not held in memory as a whole only the sides
// count.
ImageLimits limitsOfFile(ImageLimits limits);

// Returns the error without the file's name, or an empty text. Throws bad_alloc.
std::string openPicture(const DecodeRequest& request, OpenedPicture& picture);

}  // namespace vello
