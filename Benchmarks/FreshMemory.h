// Calls as an application's first ones find the memory: not there yet.
#pragma once

#include "Report.h"

namespace qkzbench {

/// Times those operations, and their peers, that make a picture in one pass, fifty times each. To be run
/// before anything is told the C library about memory.
std::vector<FreshMemory> inFreshMemory(const std::vector<Operation>&);

}  // namespace qkzbench
