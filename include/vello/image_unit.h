/* Image units: shared objects that add filters to the catalogue. C99 or later, and C++.
 *
 * A unit exports one function, VelloImageUnitMain, which returns a description of its filters. Everything
 * that the description points to must stay as it is for the life of the process; a unit is never unloaded. A
 * unit is a file "*.so" in $XDG_DATA_HOME/vello/image-units (~/.local/share/...) or
 * <prefix>/lib/vello/image-units.
 *
 * A filter computes runs of samples of one row, one array of floats a channel: linear light with sRGB
 * primaries (or those of the working space the host asks for), premultiplied by alpha, unclamped. y points
 * upwards. Functions of a unit are called from several threads at once; they must depend on nothing but their
 * arguments, or results differ from run to run. */
#ifndef VELLO_IMAGE_UNIT_H
#define VELLO_IMAGE_UNIT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define VELLO_IMAGE_UNIT_VERSION 1

/* Limits. */
#define VELLO_UNIT_FILTERS 256 /* of a unit */
#define VELLO_UNIT_INPUTS 32   /* of a filter, its image not counted */
#define VELLO_UNIT_PARAMETER_BYTES 4096

typedef enum {
  VELLO_UNIT_POINT = 0,   /* one image in (its input "inputImage" comes first, by itself), sample by sample */
  VELLO_UNIT_GENERATE = 1 /* no image: the place alone decides; fills the plane */
} VelloUnitKind;

/* What becomes of the look when samples lie further apart than a pixel, as in a preview. */
typedef enum {
  VELLO_UNIT_FOLLOWS = 0, /* it looks like the scaled-down picture */
  VELLO_UNIT_PATTERN = 1, /* `run` averages its pattern over the pitch */
  VELLO_UNIT_FINE = 2     /* only full-size samples show the final look */
} VelloUnitPitch;

/* The class of an input, and the types it may have:
 * number     "Scalar", "Distance", "Angle" (radians, counter-clockwise), "Time", "Boolean", "Integer",
 * "Count" vector     "Position", "Offset" (2 components), "Position3" (3), "Rectangle" (4), "" (2 to 4) color
 * "Color", "OpaqueColor" (4 components: red, green, blue, alpha; sRGB-encoded, straight) */
typedef enum { VELLO_UNIT_NUMBER = 0, VELLO_UNIT_VECTOR = 1, VELLO_UNIT_COLOR = 2 } VelloUnitClass;

#define VELLO_UNIT_NONE (__builtin_nan(""))
/* The last four of an input without any limits. */
#define VELLO_UNIT_UNLIMITED VELLO_UNIT_NONE, VELLO_UNIT_NONE, VELLO_UNIT_NONE, VELLO_UNIT_NONE

typedef struct {
  const char* key;          /* "inputRadius": "input" and letters or digits, once in a filter */
  const char* display_name; /* "Radius" */
  int32_t input_class;      /* a VelloUnitClass */
  const char* type;
  int32_t count;     /* components of the default: 1 for a number, 4 for a colour */
  double initial[4]; /* the default */
  /* Of numbers; VELLO_UNIT_NONE where there is none. What the value may be, and what its slider spans. */
  double minimum, maximum, slider_minimum, slider_maximum;
} VelloUnitInput;

/* A value of an input, in the order of the filter's inputs. Never NaN or infinite. A colour comes in linear
 * light, straight. A number lies between its minimum and maximum. */
typedef struct {
  double v[4];
} VelloUnitValue;

typedef struct {
  float *r, *g, *b, *a;
} VelloUnitSamples;

/* Where the samples of a run lie: `x` of each, one `y`, in pixels from the lower left corner of the picture
 * (or from the filter's anchor), and the distance between samples. */
typedef struct {
  const float* x;
  float y, pitch;
} VelloUnitPlaces;

typedef struct {
  const char* name;         /* "ExampleDuotone": letters, digits and "_"; what chains say */
  const char* display_name; /* "Duotone" */
  const char* categories;   /* separated by blanks: "ColorEffect StillImage" */
  int32_t kind;             /* a VelloUnitKind */
  int32_t pitch;            /* a VelloUnitPitch */
  int32_t straight;         /* not 0: `run` gets and gives colours that are not multiplied by alpha */
  const char* anchor;       /* NULL, or the key of a "Position" input that places are counted from */
  const VelloUnitInput* inputs;
  int32_t input_count;
  size_t parameter_bytes; /* of the block that `prepare` fills and `run` reads; aligned to 16 bytes */
  /* Turns values into constants, once for many runs. The block comes zeroed. NULL when there are none. */
  void (*prepare)(const VelloUnitValue* values, void* parameters);
  /* Computes `count` samples. `image` is NULL for VELLO_UNIT_GENERATE; `result` may be the same arrays. */
  void (*run)(const void* parameters, const VelloUnitSamples* image, VelloUnitPlaces places,
              VelloUnitSamples result, int32_t count);
} VelloUnitFilter;

typedef struct {
  uint32_t version; /* VELLO_IMAGE_UNIT_VERSION: a unit of another version is refused */
  const char* name; /* of the unit, for people */
  const VelloUnitFilter* filters;
  int32_t filter_count;
} VelloImageUnit;

/* What a unit exports. NULL refuses the version. */
const VelloImageUnit* VelloImageUnitMain(uint32_t version);

#ifdef __cplusplus
}
#endif

#endif
