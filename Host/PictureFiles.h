// Picture files: PNG and JPEG in, PNG out; and plain files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <vector>

namespace qkzhost {

struct Image {
    int width = 0, height = 0;
    bool alpha = false;
    std::vector<std::uint32_t> argb;  // straight (not premultiplied), row by row
};

/// What a picture file may ask for. A side is never longer than 32767 pixels.
struct Limits {
    std::uint64_t pixels = 200'000'000;
    /// Of a file: what 16 bits of red, green, blue and alpha take, and as much again as metadata may.
    std::uint64_t bytes() const { return pixels * 8 + (64 << 20); }
};

/// A picture of more pixels than the limits allow.
struct TooManyPixels : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Each throws std::runtime_error with the file's name and the reason.

/// The kind is told by the content, not by the name. The size is judged before memory is taken for pixels.
Image readImage(const std::filesystem::path&, const Limits& = {});
/// The same from memory; the name is for the errors.
Image readImage(const std::filesystem::path& name, std::span<const std::uint8_t>, const Limits& = {});
/// PNG, with an alpha channel when the image has alpha.
void writePng(const Image&, const std::filesystem::path&);

/// A whole file of at most `most` bytes.
std::vector<std::uint8_t> readFile(const std::filesystem::path&, std::uint64_t most = 1 << 30);
void writeFile(const std::filesystem::path&, const void* bytes, std::size_t count);

}  // namespace qkzhost
