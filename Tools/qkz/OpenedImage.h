// Image files as libvips reads them. Only files of this folder that use libvips include this.
#pragma once

#include <vips/vips8>

#include "PlainFiles.h"

namespace qkz {

/// Makes libvips ready for another file. Throws std::runtime_error.
void startLibrary();

/// What libvips tells of its last error: the first line, without the name of the part that tells it.
std::string libraryReason();

/// The file, of which no more than its header is read. Pixels come from the top to the bottom, once. Throws
/// as `fail` does.
vips::VImage opened(const std::filesystem::path&, const Limits&);

/// Throws when data that was read last is corrupt, which libvips tells as nothing but a warning, the last one
/// when no reference to the image is left.
void checkUndamaged(const std::filesystem::path&);

/// Does it; what libvips throws is told of the file.
template <class F>
auto onFile(const std::filesystem::path& file, const char* what, F function) {
    try {
        return function();
    } catch (const vips::VError&) {
        const std::string why = libraryReason();
        fail(file, why.empty() ? what : what + (": " + why));
    }
}

}  // namespace qkz
