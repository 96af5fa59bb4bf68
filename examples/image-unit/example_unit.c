/* An image unit with two filters: a point filter that maps light between two colours, and a generator of
 * rings. Built as a shared object and laid into an image-units folder, they appear in the catalogue. */
#include <math.h>
#include <vello/image_unit.h>

#define COUNT(list) ((int32_t)(sizeof(list) / sizeof(list)[0]))

/* ---- Duotone: dark light becomes one colour, bright light another. Straight, linear light. ---- */

typedef struct {
  float dark[3], bright[3], amount;
} Duotone;

enum { DUOTONE_DARK, DUOTONE_BRIGHT, DUOTONE_AMOUNT };

static void duotone_prepare(const VelloUnitValue* values, void* parameters) {
  Duotone* d = parameters;
  for (int c = 0; c < 3; ++c) {
    d->dark[c] = (float)values[DUOTONE_DARK].v[c];
    d->bright[c] = (float)values[DUOTONE_BRIGHT].v[c];
  }
  d->amount = (float)values[DUOTONE_AMOUNT].v[0];
}

/* The colour for a luminance, of one channel. */
static float tone(const Duotone* d, int channel, float light) {
  return d->dark[channel] + (d->bright[channel] - d->dark[channel]) * light;
}

static void duotone_run(const void* parameters, const VelloUnitSamples* in, VelloUnitPlaces places,
                        VelloUnitSamples out, int32_t count) {
  const Duotone d = *(const Duotone*)parameters;
  (void)places;
  for (int32_t i = 0; i < count; ++i) {
    const float r = in->r[i], g = in->g[i], b = in->b[i];
    const float light = 0.2126f * r + 0.7152f * g + 0.0722f * b; /* ITU-R BT.709 */
    out.r[i] = r + (tone(&d, 0, light) - r) * d.amount;
    out.g[i] = g + (tone(&d, 1, light) - g) * d.amount;
    out.b[i] = b + (tone(&d, 2, light) - b) * d.amount;
    out.a[i] = in->a[i];
  }
}

static const VelloUnitInput duotone_inputs[] = {
    {"inputDarkColor", "Dark Color", VELLO_UNIT_COLOR, "Color", 4, {0.1, 0.05, 0.3, 1}, VELLO_UNIT_UNLIMITED},
    {"inputBrightColor",
     "Bright Color",
     VELLO_UNIT_COLOR,
     "Color",
     4,
     {1, 0.9, 0.7, 1},
     VELLO_UNIT_UNLIMITED},
    {"inputAmount", "Amount", VELLO_UNIT_NUMBER, "Scalar", 1, {1, 0, 0, 0}, 0, 1, 0, 1},
};

/* ---- Rings around a centre. ---- */

typedef struct {
  float inner[4], outer[4], width; /* premultiplied colours; pixels from a ring to the next */
} Rings;

enum { RINGS_CENTER, RINGS_COLOR0, RINGS_COLOR1, RINGS_WIDTH };

static void rings_prepare(const VelloUnitValue* values, void* parameters) {
  Rings* r = parameters;
  for (int c = 0; c < 4; ++c) {
    const double alpha0 = c < 3 ? values[RINGS_COLOR0].v[3] : 1,
                 alpha1 = c < 3 ? values[RINGS_COLOR1].v[3] : 1;
    r->inner[c] = (float)(values[RINGS_COLOR0].v[c] * alpha0);
    r->outer[c] = (float)(values[RINGS_COLOR1].v[c] * alpha1);
  }
  r->width = (float)values[RINGS_WIDTH].v[0];
}

/* 0 in the first ring, 1 in the second and so on, with edges one sample wide. */
static float ring_at(const Rings* r, float x, float y, float pitch) {
  const float phase = sqrtf(x * x + y * y) / (2 * r->width);
  const float fraction = phase - floorf(phase);             /* of a pair of rings */
  const float edge = fabsf(fraction - 0.5f) * 2 * r->width; /* pixels from the nearer edge at 1/2 */
  const float far_edge = r->width - edge;                   /* and from the one at 0 */
  const float nearest = edge < far_edge ? edge : far_edge;
  float cover = 0.5f + nearest / pitch;
  if (cover > 1) cover = 1;
  return fraction < 0.5f ? 1 - cover : cover;
}

static void rings_run(const void* parameters, const VelloUnitSamples* in, VelloUnitPlaces places,
                      VelloUnitSamples out, int32_t count) {
  const Rings r = *(const Rings*)parameters;
  (void)in;
  for (int32_t i = 0; i < count; ++i) {
    const float t = ring_at(&r, places.x[i], places.y, places.pitch);
    out.r[i] = r.inner[0] + (r.outer[0] - r.inner[0]) * t;
    out.g[i] = r.inner[1] + (r.outer[1] - r.inner[1]) * t;
    out.b[i] = r.inner[2] + (r.outer[2] - r.inner[2]) * t;
    out.a[i] = r.inner[3] + (r.outer[3] - r.inner[3]) * t;
  }
}

static const VelloUnitInput rings_inputs[] = {
    {"inputCenter", "Center", VELLO_UNIT_VECTOR, "Position", 2, {150, 150, 0, 0}, VELLO_UNIT_UNLIMITED},
    {"inputColor0", "Color 1", VELLO_UNIT_COLOR, "Color", 4, {1, 1, 1, 1}, VELLO_UNIT_UNLIMITED},
    {"inputColor1", "Color 2", VELLO_UNIT_COLOR, "Color", 4, {0, 0, 0, 1}, VELLO_UNIT_UNLIMITED},
    {"inputWidth", "Width", VELLO_UNIT_NUMBER, "Distance", 1, {40, 0, 0, 0}, 1, 10000, 1, 200},
};

/* ---- The unit ---- */

static const VelloUnitFilter filters[] = {
    {"ExampleDuotone", "Duotone", "ColorEffect Video StillImage", VELLO_UNIT_POINT, VELLO_UNIT_FOLLOWS, 1,
     NULL, duotone_inputs, COUNT(duotone_inputs), sizeof(Duotone), duotone_prepare, duotone_run},
    {"ExampleRings", "Rings", "Generator StillImage", VELLO_UNIT_GENERATE, VELLO_UNIT_PATTERN, 0,
     "inputCenter", rings_inputs, COUNT(rings_inputs), sizeof(Rings), rings_prepare, rings_run},
};

static const VelloImageUnit unit = {VELLO_IMAGE_UNIT_VERSION, "Example", filters, COUNT(filters)};

const VelloImageUnit* VelloImageUnitMain(uint32_t version) {
  return version == VELLO_IMAGE_UNIT_VERSION ? &unit : NULL;
}
