/* Renders a stored filter chain on a picture, as a host program does: no window, no toolkit.
 *
 *   render PICTURE CHAIN RESULT */
#include <stdio.h>
#include <vello/vello.h>

/* The pixels of a result as an image; it shares them. */
static CGImageRef image_of_result(CGImageRef source, CFDataRef pixels, size_t width, size_t height) {
  CGDataProviderRef provider = KP_CGDataProviderCreateWithCFData(pixels);
  CGColorSpaceRef space = VelloImageCopyResultColorSpace(source);
  CGImageRef image = KP_CGImageCreate(width, height, 8, 32, width * 4, space, kVelloAlphaPremultipliedLast,
                                      provider, NULL, 0, 0);
  VelloRelease(space);
  VelloRelease(provider);
  return image;
}

static int render(CGImageRef source, CFStringRef chain, const char* path) {
  CFDataRef pixels = NULL;
  size_t width = 0, height = 0;
  CreateFilteredImageWithChain(source, chain, &pixels, &width, &height);
  CGImageRef result = image_of_result(source, pixels, width, height);
  const int failed = VelloImageWriteToFile(result, path);
  VelloRelease(result);
  VelloRelease(pixels);
  return failed;
}

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: %s PICTURE CHAIN RESULT\n", argv[0]);
    return 2;
  }
  LoadImageUnits();
  SetHostApplicationID(kVelloHostStandalone);
  CGImageRef source = VelloImageCreateWithFile(argv[1]);
  CFStringRef chain = VelloStringCreateWithFile(argv[2]);
  /* What went wrong stands in the log already. */
  const int failed = !source || !chain || render(source, chain, argv[3]) != 0;
  VelloRelease(chain);
  VelloRelease(source);
  return failed;
}
