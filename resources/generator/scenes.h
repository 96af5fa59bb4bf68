// The sample pictures. All sizes in pixels; every call gives the same picture.
#pragma once

#include "resources/generator/picture.h"

namespace vello::pictures {

Picture lake(int width, int height);       // mountains behind a lake, meadow in front
Picture stillLife(int width, int height);  // spheres in tones of skin, glaze and gold on woven cloth
Picture balloon(int width, int height);    // cut out, with soft edges
Picture dunes(int width, int height);      // smooth tones of dusk
Picture gerbera(int width, int height);    // saturated petals; primaries are those of Display P3

}  // namespace vello::pictures
