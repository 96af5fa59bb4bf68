// Vectors between a filter's input and a chain: relative to an image rectangle, so that a chain fits an image
// of another size. Numbers are rounded to single precision both ways.
#pragma once

#include "engine/image/vector.h"
#include "platform/geometry.h"
#include "platform/property_list.h"

namespace vello {

// A vector of 2 components as "X" and "Y", of 3 also "Z" (not scaled), of 4, which count as a rectangle, "X",
// "Y", "W" and "H". Any other count gives an empty dictionary.
PropertyListDictionary vectorValue(const CIVector& vector, const CGRect& imageRect);
PropertyListDictionary vector2dValue(const CIVector& vector, const CGRect& imageRect);
PropertyListDictionary vector3dValue(const CIVector& vector, const CGRect& imageRect);
PropertyListDictionary vector4dValue(const CIVector& vector, const CGRect& imageRect);

// Chosen by the count of entries: 2, 3 or 4; any other count gives the zero vector of four components. A
// missing entry, and one that is no number, counts as 0.
CIVector vectorWithValue(const PropertyListDictionary& value, const CGRect& imageRect);
CIVector vector2dWithValue(const PropertyListDictionary& value, const CGRect& imageRect);
CIVector vector3dWithValue(const PropertyListDictionary& value, const CGRect& imageRect);
CIVector vector4dWithValue(const PropertyListDictionary& value, const CGRect& imageRect);

CIVector vectorWithPoint(CGPoint point);
// Origin x, origin y, width, height.
CIVector vectorWithRect(const CGRect& rect);
CGPoint pointValue(const CIVector& vector);
CGRect rectValue(const CIVector& vector);

}  // namespace vello
