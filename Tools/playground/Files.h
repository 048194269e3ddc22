// Pictures and files by name, in the place of a file system.
#pragma once

#include <map>
#include <string>

#include "PictureFiles.h"

namespace qkzplayground {

struct Files {
    std::map<std::string, qkzhost::Image> pictures;
    std::map<std::string, std::vector<std::uint8_t>> others;
};

/// What readImage, readPacked and readFile find; writeFile adds to `others`.
Files& files();

}  // namespace qkzplayground
