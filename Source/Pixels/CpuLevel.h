// One loop, compiled for several processors, the best of which is chosen once at run time.
//
// Write a plain loop as a function object, capture by value (a reference could alias the pixels and would
// keep the compiler from vectorising), and pass it to `runOnBestCpu`.
#pragma once

enum class CpuLevel { baseline, avx2, avx512 };

/// The best level that this machine has.
CpuLevel bestCpuLevel();
/// The level in use: the best one, unless a test chose another.
CpuLevel currentCpuLevel();
/// For tests: use this level from now on. The machine must have it.
void useCpuLevel(CpuLevel level);

// Before a loop: iterations do not depend on each other, even where the target is a source itself. Clang
// checks for overlap at run time instead.
#ifdef __clang__
#define QKZ_TARGET_AVX512 "arch=x86-64-v4"
#define QKZ_INDEPENDENT_ITERATIONS
#else
#define QKZ_TARGET_AVX512 "arch=x86-64-v4,prefer-vector-width=512"
#define QKZ_INDEPENDENT_ITERATIONS _Pragma("GCC ivdep")
#endif

namespace cpu {

#ifdef __x86_64__  // other processors have one level, the baseline
template <class Loop>
[[gnu::target(QKZ_TARGET_AVX512), gnu::flatten, gnu::noinline]] auto runAvx512(Loop loop) {
    return loop();
}

template <class Loop>
[[gnu::target("arch=x86-64-v3"), gnu::flatten, gnu::noinline]] auto runAvx2(Loop loop) {
    return loop();
}
#endif

template <class Loop>
[[gnu::flatten, gnu::noinline]] auto runBaseline(Loop loop) {
    return loop();
}

}  // namespace cpu

/// Runs the loop as compiled for this machine, and returns what it returns. All levels give equal results.
template <class Loop>
auto runOnBestCpu(Loop loop) {
#ifdef __x86_64__
    switch (currentCpuLevel()) {
        case CpuLevel::avx512:
            return cpu::runAvx512(loop);
        case CpuLevel::avx2:
            return cpu::runAvx2(loop);
        case CpuLevel::baseline:
            break;
    }
#endif
    return cpu::runBaseline(loop);
}
