// Any text as a .cube file: a colour of the table that comes out of it lies between the table's entries.
#include <algorithm>
#include <limits>
#include <sstream>

#include "CubeFile.h"
#include "Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Reals = std::numeric_limits<double>;
    std::istringstream text{std::string(textOf(data, size))};
    const auto cube = attempt<std::runtime_error>([&] { return qkz::readCube(text); });
    if (!cube) return 0;
    require(cube->size >= 2 && cube->table.size() == cube->size * cube->size * cube->size);
    std::array<double, 3> least = cube->table[0], most = least;
    for (const auto& entry : cube->table) {
        for (std::size_t i = 0; i < 3; ++i) {
            least[i] = std::min(least[i], entry[i]);
            most[i] = std::max(most[i], entry[i]);
        }
    }
    for (const double level : {-Reals::infinity(), -1.0, -0.0, 1e-300, 0.3, 0.999999999, 1.0, 1.5, 1e300,
                               Reals::infinity(), Reals::quiet_NaN()}) {
        for (const auto& color : {cube->at(level, 0.5, 1), cube->at(1, level, 0.1), cube->at(0, 0.7, level)})
            for (std::size_t i = 0; i < 3; ++i) require(color[i] >= least[i] && color[i] <= most[i]);
    }
    return 0;
}
