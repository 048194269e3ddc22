// Pictures as strings of bytes, without the plug-in: 40 bytes of header, then red, green and blue of every
// pixel. All numbers have 32 bits, the most significant byte first.
#pragma once

#include <string_view>

#include "Support.h"

namespace qkztest {

inline void putNumber(std::string& bytes, std::size_t at, std::uint32_t number) {
    for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(number >> (24 - 8 * i));
}

/// Sign-extended.
inline std::int64_t numberAt(std::string_view bytes, std::size_t at) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) number = number << 8 | static_cast<std::uint8_t>(bytes[at + i]);
    return static_cast<std::int32_t>(number);
}

inline std::string packedPicture(const Image& picture) {
    std::string bytes("PPIC");
    bytes.resize(40);
    for (const std::uint32_t word : picture.words)
        for (const int shift : {16, 8, 0}) bytes += static_cast<char>(word >> shift);
    const std::uint32_t numbers[] = {static_cast<std::uint32_t>(bytes.size()),
                                     static_cast<std::uint32_t>(picture.width),
                                     static_cast<std::uint32_t>(picture.height), 32, 40};
    for (std::size_t i = 0; i < 5; ++i) putNumber(bytes, 4 + 4 * i, numbers[i]);
    return bytes;
}

/// The picture in the storage of the format, opaque; of no size when the string is refused.
inline Image unpackedPicture(std::string_view bytes, Format format) {
    const auto length = static_cast<std::int64_t>(bytes.size());
    if (length < 24 || !bytes.starts_with("PPIC") || numberAt(bytes, 4) != length) return {};
    const std::int64_t width = numberAt(bytes, 8), height = numberAt(bytes, 12), offset = numberAt(bytes, 20);
    if (width < 1 || height < 1 || width > 32767 || height > 32767 || offset < 0 ||
        offset + width * height * 3 > length)
        return {};
    Image image = Image{format, false, 0, 0}.blank(static_cast<int>(width), static_cast<int>(height));
    auto at = static_cast<std::size_t>(offset);
    for (std::uint32_t& word : image.words) {
        const auto next = [&] { return static_cast<int>(static_cast<std::uint8_t>(bytes[at++])); };
        Rgba p;
        for (int* channel : {&p.r, &p.g, &p.b}) *channel = next();
        word = image.encode(p);
    }
    return image;
}

}  // namespace qkztest
