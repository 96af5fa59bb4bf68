// The pictures an image input starts with, and those the windows show. Grey ones have equal components.
#pragma once

#include "resources/generator/picture.h"

namespace vello::pictures {

Picture mask();         // a white disc with a soft edge on black
Picture colorMap();     // a ramp of many colours, dark to light, left to right
Picture texture();      // a height field of fine grain
Picture material();     // a glossy ball, seen from the front: what a shaded surface mirrors
Picture shading();      // a matt ball with a soft highlight
Picture placeholder();  // a card with the sign of a picture
Picture pattern();      // the tile behind transparent pictures
Picture sample();       // a small photograph

}  // namespace vello::pictures
