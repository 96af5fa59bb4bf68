#include "platform/instruction_set.h"

namespace vello {

InstructionSet bestInstructionSet() {
#if defined(__x86_64__)
  const bool v3 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
                  __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
  const bool v4 = v3 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                  __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
                  __builtin_cpu_supports("avx512vl");
  if (v4) return InstructionSet::v4;
  if (v3) return InstructionSet::v3;
#endif
  return InstructionSet::baseline;
}

const char* nameOf(InstructionSet set) {
  switch (set) {
    case InstructionSet::v3:
      return "x86-64-v3";
    case InstructionSet::v4:
      return "x86-64-v4";
    default:
      return "baseline";
  }
}

}  // namespace vello
