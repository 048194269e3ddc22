// How much of a call's fixed cost is the host's.
#pragma once

#include "Report.h"

namespace qkzbench {

/// Times each operation on the smallest picture with a plug-in of its own, whose calls of the host are
/// timed, too. No other host may be alive.
std::vector<FixedCost> fixedCosts(const std::string& plugin, const std::vector<Row>&);

}  // namespace qkzbench
