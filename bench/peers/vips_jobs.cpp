// The jobs as libvips pipelines; its command line has no chain without files in between.
//   vips_jobs bytes|linear JOB A.tif B.tif OUT.tif
// `bytes` works on the file's own 8-bit samples, `linear` on light as floats.
#include <vips/vips.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "bench/peers/parameters.h"

namespace {

using namespace vello::bench;

// The result of an operation, whose options follow its picture; images live until the process ends.
template <class Operation, class... Rest>
VipsImage* make(Operation operation, VipsImage* in, Rest... rest) {
  VipsImage* out = nullptr;
  if (operation(in, &out, rest..., nullptr) != 0) vips_error_exit(nullptr);
  return out;
}
template <class Operation>
VipsImage* join(Operation operation, VipsImage* a, VipsImage* b) {
  VipsImage* out = nullptr;
  if (operation(a, b, &out, nullptr) != 0) vips_error_exit(nullptr);
  return out;
}

struct Scene {
  bool linear;
  const char *pathA, *pathB;

  VipsImage* load(const char* path, VipsAccess access) const {
    VipsImage* file = vips_image_new_from_file(path, "access", access, nullptr);
    if (!file) vips_error_exit(nullptr);
    return linear ? make(vips_colourspace, file, VIPS_INTERPRETATION_scRGB) : file;
  }
  double white() const { return linear ? 1 : 255; }
  // Back to 8-bit samples.
  VipsImage* finished(VipsImage* image) const {
    return linear ? make(vips_colourspace, image, VIPS_INTERPRETATION_sRGB) : make(vips_cast_uchar, image);
  }
};

VipsImage* scaled(VipsImage* a, double gain, double offset = 0) {
  return make(vips_linear1, a, gain, offset);
}
VipsImage* mixed(VipsImage* a, const Matrix3& m) {
  return make(vips_recomb, a, vips_image_new_matrix_from_array(3, 3, m.data(), 9));
}
VipsImage* blurred(const Scene& scene, VipsImage* a, double sigma) {
  return make(vips_gaussblur, a, sigma, "precision",
              scene.linear ? VIPS_PRECISION_FLOAT : VIPS_PRECISION_INTEGER, "min_ampl", 0.01);
}
VipsImage* multiplied(const Scene& scene, VipsImage* a, VipsImage* b) {
  return scaled(join(vips_multiply, a, b), 1 / scene.white());
}
VipsImage* sharpened(const Scene& scene, VipsImage* a) {
  VipsImage* detail = join(vips_subtract, a, blurred(scene, a, kUnsharpSigma));
  return join(vips_add, a, scaled(detail, kUnsharpAmount));
}

// Darker towards the corners: 1 in the middle, 1 - kVignetteAlpha from kVignetteReach heights on.
VipsImage* vignetted(VipsImage* a) {
  const double w = vips_image_get_width(a), h = vips_image_get_height(a);
  double ones[] = {1, 1}, middle[] = {-w / 2, -h / 2};
  VipsImage* pairs = nullptr;
  if (vips_xyz(&pairs, static_cast<int>(w), static_cast<int>(h), nullptr) != 0) vips_error_exit(nullptr);
  VipsImage* places = make(vips_linear, pairs, ones, middle, 2);
  VipsImage* squares = join(vips_multiply, places, places);
  VipsImage* sum = join(vips_add, make(vips_extract_band, squares, 0), make(vips_extract_band, squares, 1));
  VipsImage* distance = make(vips_math2_const1, sum, VIPS_OPERATION_MATH2_POW, 0.5);
  VipsImage* shade = scaled(distance, -kVignetteAlpha / (kVignetteReach * h), 1);
  VipsImage* least = scaled(shade, 0, 1 - kVignetteAlpha);
  VipsImage* choice = nullptr;
  if (vips_ifthenelse(join(vips_more, shade, least), shade, least, &choice, nullptr) != 0)
    vips_error_exit(nullptr);
  return join(vips_multiply, a, choice);
}

VipsImage* stack(const Scene& scene, VipsImage* a, VipsImage* b) {
  a = blurred(scene, mixed(scaled(a, kExposureGain), kColorMatrix), kStackSigma);
  a = sharpened(scene, vignetted(multiplied(scene, a, b)));
  const int w = vips_image_get_width(a), h = vips_image_get_height(a);
  const int left = int(std::lround(kCropMargin * w)), top = int(std::lround(kCropMargin * h));
  return make(vips_extract_area, a, left, top, w - 2 * left, h - 2 * top);
}

VipsImage* fiveColors(const Scene& scene, VipsImage* a) {
  a = mixed(mixed(mixed(scaled(a, kExposureGain), kColorMatrix), hueMatrix()), saturationMatrix());
  return scaled(a, -1, scene.white());
}

VipsImage* pixellated(VipsImage* a) {
  VipsImage* cells = make(vips_subsample, a, kCell, kCell);
  return make(vips_zoom, cells, kCell, kCell);
}

// What stays within the picture.
VipsImage* turned(VipsImage* a) {
  const int w = vips_image_get_width(a), h = vips_image_get_height(a);
  VipsImage* all = make(vips_rotate, a, double{-kTurnDegrees});
  const int left = (vips_image_get_width(all) - w) / 2, top = (vips_image_get_height(all) - h) / 2;
  return make(vips_extract_area, all, left, top, w, h);
}

VipsImage* result(const Scene& scene, const std::string& job) {
  const bool anywhere = job == "rotate" || job == "startup";
  VipsImage* a = scene.load(scene.pathA, anywhere ? VIPS_ACCESS_RANDOM : VIPS_ACCESS_SEQUENTIAL);
  const auto second = [&] { return scene.load(scene.pathB, VIPS_ACCESS_SEQUENTIAL); };
  if (job.rfind("gaussian", 0) == 0) return blurred(scene, a, std::atof(job.c_str() + 8));
  if (job == "five") return fiveColors(scene, a);
  if (job == "rotate") return turned(a);
  if (job == "median") return make(vips_rank, a, 3, 3, 4);
  if (job == "unsharp") return sharpened(scene, a);
  if (job == "multiply") return multiplied(scene, a, second());
  if (job == "pixellate") return pixellated(a);
  if (job == "stack") return stack(scene, a, second());
  return a;
}

}  // namespace

int main(int count, char** words) {
  if (count != 6 || VIPS_INIT(words[0]) != 0) {
    std::fputs("usage: vips_jobs bytes|linear JOB A.tif B.tif OUT.tif\n", stderr);
    return 2;
  }
  const Scene scene{words[1] == std::string("linear"), words[3], words[4]};
  VipsImage* image = scene.finished(result(scene, words[2]));
  if (vips_image_write_to_file(image, words[5], nullptr) != 0) vips_error_exit(nullptr);
  return 0;
}
