// Picture files: PNG and JPEG in, PNG out.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace qkzhost {

struct Image {
    int width = 0, height = 0;
    bool alpha = false;
    std::vector<std::uint32_t> argb;  // straight (not premultiplied), row by row
};

/// The kind is told by the content, not by the name. Throws std::runtime_error with the reason.
Image readImage(const std::filesystem::path&);
/// PNG, with an alpha channel when the image has alpha. Throws std::runtime_error with the reason.
void writePng(const Image&, const std::filesystem::path&);

/// A whole file; each throws std::runtime_error with the reason.
std::vector<std::uint8_t> readFile(const std::filesystem::path&);
void writeFile(const std::filesystem::path&, const void* bytes, std::size_t count);

}  // namespace qkzhost
