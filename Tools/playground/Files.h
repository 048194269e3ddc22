// Pictures and files by name, in the place of a file system.
#pragma once

#include <map>
#include <string>

#include "PictureFiles.h"

namespace qkzplayground {

struct Image {
    int width = 0, height = 0;
    bool alpha = false;
    std::vector<std::uint32_t> argb;  // straight (not premultiplied), row by row
};

struct Files {
    std::map<std::string, Image> pictures;
    std::map<std::string, std::vector<std::uint8_t>> others;
};

/// What readPicture, readPacked and readFile find; writeFile adds to `others`.
Files& files();

}  // namespace qkzplayground
