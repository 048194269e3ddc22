// 3D colour tables in .cube files.
#pragma once

#include <array>
#include <filesystem>
#include <iosfwd>
#include <vector>

#include "Host.h"

namespace qkz {

struct Cube {
    std::size_t size = 0;                      // entries along each side, 2..256
    std::vector<std::array<double, 3>> table;  // red, green, blue of each entry; red runs fastest

    /// The table between its entries, by trilinear interpolation; an argument outside 0..1 counts as the
    /// nearer end.
    std::array<double, 3> at(double red, double green, double blue) const;
};

/// Each throws std::runtime_error with the reason.
Cube readCube(std::istream&);
Cube readCube(const std::filesystem::path&);

/// Fills the look-up table of an instance of PictureLut3DQKZ.
void fillTable(qkzhost::Host&, REALobjectStruct* instance, const Cube&);

}  // namespace qkz
