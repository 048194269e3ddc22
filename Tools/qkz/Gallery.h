// The pictures of the help, of a photograph of the user's.
#pragma once

#include <filesystem>

#include "Session.h"

namespace qkz {

/// Makes a folder, if there is none, with index.html, the photograph scaled down, and what each method makes
/// of it or says of it. The calls run in the folder, so that they can be run there again, on these files:
/// photo.png; mirrored.png; piece.png, cut out of its middle; colours.png, reduced to black, white and six
/// pure colours; spots.png, its lightest places in red on black; soft.png, with soft transparent edges;
/// photo.ppic; levels.raw, a table for four levels of a channel; look.cube, a table of colours; samples.raw,
/// the brightness along the middle row. Throws UsageError, also when the folder holds another page.
void makeGallery(qkzhost::Host&, const Limits&, const std::filesystem::path& folder,
                 const std::filesystem::path& photo);

}  // namespace qkz
