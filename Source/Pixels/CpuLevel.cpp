#include "CpuLevel.h"

#include <algorithm>

namespace {
CpuLevel currentLevel = bestCpuLevel();
}

// Asked by single features: the names of whole levels are not known to every compiler.
CpuLevel bestCpuLevel() {
#ifdef __x86_64__
    __builtin_cpu_init();
    bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
                __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("fma");
#ifndef __clang__
    avx2 = avx2 && __builtin_cpu_supports("f16c") && __builtin_cpu_supports("lzcnt") &&
           __builtin_cpu_supports("movbe");
#endif
    const bool avx512 = avx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                        __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
                        __builtin_cpu_supports("avx512vl");
    const CpuLevel present = avx512 ? CpuLevel::avx512 : avx2 ? CpuLevel::avx2 : CpuLevel::baseline;
    return std::min(present, CpuLevel::QKZ_HIGHEST_LEVEL);
#else
    return CpuLevel::baseline;
#endif
}

CpuLevel currentCpuLevel() { return currentLevel; }
void useCpuLevel(CpuLevel level) { currentLevel = level; }
