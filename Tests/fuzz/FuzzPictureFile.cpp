// Any bytes as a PNG or JPEG file: a picture within the limits comes out of them, or an error.
#include <zlib.h>

#include <cstring>

#include "Fuzz.h"
#include "PictureFiles.h"

/// The chunks of a PNG file get the checksums that they have to have: what follows a wrong one is not read.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most,
                                               unsigned) {
    size = LLVMFuzzerMutate(data, size, most);
    if (size == 0 || data[0] != 0x89) return size;
    std::uint32_t length, sum;  // the most significant byte comes first
    for (std::size_t at = 8; at + 12 <= size; at += 12 + length) {
        std::memcpy(&length, data + at, 4);
        length = __builtin_bswap32(length);
        if (length > size - at - 12) break;
        sum = __builtin_bswap32(static_cast<std::uint32_t>(crc32(0, data + at + 4, length + 4)));
        std::memcpy(data + at + 8 + length, &sum, 4);
    }
    return size;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int most = 1 << 18;
    const auto image = attempt<std::runtime_error>([&] {
        return qkzhost::readImage("", {data, size}, {.pixels = most});
    });
    if (!image) return 0;
    require(image->width > 0 && image->width <= 32767 && image->height > 0 && image->height <= 32767);
    require(image->argb.size() <= most && std::ssize(image->argb) == image->width * image->height);
    return 0;
}
