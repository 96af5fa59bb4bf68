// Which machine instructions a loop was compiled for. Loops that matter are compiled for all of them and one
// is picked at run time, so that one program runs everywhere; every set gives the same bits.
#pragma once

namespace vello {

enum class InstructionSet {
  baseline,  // what the whole program is compiled for
  v3,        // x86-64-v3: 256-bit vectors
  v4,        // x86-64-v4: 512-bit vectors
};
inline constexpr int kInstructionSets = 3;

#if defined(__x86_64__)
// FMA is left out on purpose: a fused product has other bits. No `arch=`, which would keep GCC from inlining
// the functions that loops call.
#define VELLO_V3 __attribute__((target("avx2,bmi,bmi2,f16c,lzcnt,movbe,popcnt")))
#if defined(__clang__)
#define VELLO_V4                                                                         \
  __attribute__((                                                                        \
      target("avx2,bmi,bmi2,f16c,lzcnt,movbe,popcnt,avx512f,avx512bw,avx512cd,avx512dq," \
             "avx512vl")))
#else
#define VELLO_V4                                                                                  \
  __attribute__((                                                                                 \
      target("avx2,bmi,bmi2,f16c,lzcnt,movbe,popcnt,avx512f,avx512bw,avx512cd,avx512dq,avx512vl," \
             "prefer-vector-width=512")))
#endif
#else
#define VELLO_V3
#define VELLO_V4
#endif

// Says of the loop that follows that no pass touches what another one reads.
#if defined(__clang__)
#define VELLO_INDEPENDENT_LOOP _Pragma("clang loop vectorize(assume_safety)")
#else
#define VELLO_INDEPENDENT_LOOP _Pragma("GCC ivdep")
#endif

// Says of the loop that follows that it is worth some more code.
#if defined(__clang__)
#define VELLO_UNROLLED_LOOP _Pragma("clang loop unroll_count(8)")
#else
#define VELLO_UNROLLED_LOOP _Pragma("GCC unroll 8")
#endif

// The widest this machine has.
InstructionSet bestInstructionSet();
// "baseline", "x86-64-v3" or "x86-64-v4".
const char* nameOf(InstructionSet set);

// The one of three tables of functions that was compiled for `set`.
template <class Table>
const Table& compiledFor(InstructionSet set, const Table& baseline, const Table& v3, const Table& v4) {
  const Table* const tables[kInstructionSets] = {&baseline, &v3, &v4};
  return *tables[static_cast<int>(set)];
}

}  // namespace vello
