// The same work on many files.
#pragma once

#include <vector>

#include "Work.h"

namespace qkz {

struct BatchOptions {
    int jobs = 1;        // files at a time
    bool force = false;  // write over what is there
};

/// The output of each file: the pattern with {name} replaced by the file's name without folder and ending.
/// Empty without a pattern. Throws UsageError when one would be written twice, or into a folder that there is
/// not.
std::vector<std::filesystem::path> outputsOf(const Work&);

/// Does the work in processes of its own, which start as copies of this one: the host and the plug-in are for
/// one thread, and what becomes of one file, were it a crash, is nothing to the others. Prints what they
/// print, each line with its file; a summary goes to standard error, and to a terminal how far it is. Returns
/// the exit status: 0, or the highest of its files.
int doFiles(qkzhost::Host&, const Limits&, const Work&, const BatchOptions&);

}  // namespace qkz
