// Calls that need no whole picture.
#pragma once

#include "Work.h"

namespace qkz {

/// Does the same as `doFile`, in little memory, and reads, changes and writes at the same time. False, and
/// nothing done, unless each of the calls looks at every pixel alone, wherever it is, and what comes of the
/// last one goes into a picture file; and where a call fails: the error is to be told of the whole picture.
bool doInStrips(qkzhost::Host&, const Limits&, const Work&, const std::filesystem::path& file,
                const std::optional<std::filesystem::path>& output);

}  // namespace qkz
