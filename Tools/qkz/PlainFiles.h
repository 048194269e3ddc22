// What the files of either kind share.
#pragma once

#include <string>

#include "PictureFiles.h"

namespace qkz {

/// Throws std::runtime_error with the file's name and the reason.
[[noreturn]] void fail(const std::filesystem::path&, const std::string& reason);

/// A descriptor of its own for the file or for standard input; throws like `fail`.
int openToRead(const std::filesystem::path&);

}  // namespace qkz
