// Questions that are answered by the exit status.
#pragma once

#include "Session.h"

namespace qkz {

/// Makes the calls on a picture file. Returns 0 when the last one says true and 1 when it says false; throws
/// UsageError for everything else, so that nothing that failed is taken for an answer. Prints what the calls
/// print only when asked.
int truth(qkzhost::Host&, const qkzhost::Limits&, const std::filesystem::path& file,
          const std::vector<std::string>& calls, bool print);

}  // namespace qkz
