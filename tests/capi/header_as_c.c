/* The header in plain C; the two functions whose symbols carry their argument type are bound here. */
#include <vello/image_unit.h>
#include <vello/vello.h>

int32_t call_filter_image_at_path(CFURLRef url);
CFStringRef call_localized_string(CFStringRef key);

int32_t call_filter_image_at_path(CFURLRef url) { return FilterImageAtPath(url); }

CFStringRef call_localized_string(CFStringRef key) {
  return (CFStringRef)KPLocalizedString((NSString*)(uintptr_t)key);
}
