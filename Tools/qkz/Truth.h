// Questions that are answered by the exit status.
#pragma once

#include "Session.h"

namespace qkz {

/// Makes the calls on a picture file and gives what the last one says. Throws as Session does, and UsageError
/// when that is neither true nor false. Prints what the calls print only when asked.
bool truth(qkzhost::Host&, const Limits&, const std::filesystem::path& file,
           const std::vector<std::string>& calls, bool print);

}  // namespace qkz
