// The sample of HACKING.md, section "Adding an operation": every block there stands here as it is, and
// scripts/lint compares them. It is registered like the others and run over random pictures in every storage,
// on every processor level.
#include <algorithm>

#include "ClassRows.h"
#include "Operations.h"
#include "Walks.h"

namespace qkztest {
namespace {

// FadeRed.h

/// A new opaque picture like the source with less red: an amount of 0 leaves it, one of 256 takes all of it.
/// Null when the source cannot be read.
REALpictureStruct* FadeRed(REALpictureStruct* picture, RBInteger amount);

// FadeRed.cpp

REALpictureStruct* FadeRed(REALpictureStruct* picture, RBInteger amount) {
    const int kept = static_cast<int>(256 - std::clamp<RBInteger>(amount, 0, 256));
    return mapPicture(picture, [=](const Pixel& p) { return Pixel{p.red * kept >> 8, p.green, p.blue}; });
}

REALmethodDefinition rows[] = {
    method<FadeRed>("FadeRedQKZ(amount as integer) as picture"),
};

// Tests/OperationsColors.cpp

Cells fadeArguments(Random& random, const Image&) { return {random.coordinate(256)}; }

Cell redFaded(Image& picture, Cells& cells) {
    const std::int64_t amount = std::clamp<std::int64_t>(integer(cells, 0), 0, 256);
    return mapped(picture, picture.blank(), [&](const Rgba& p) {
        return Rgba{p.r * static_cast<int>(256 - amount) / 256, p.g, p.b};
    });
}

const std::vector<Operation> samples = {
    {"FadeRed", "FadeRedQKZ", fadeArguments, redFaded},
};

using SampleOperation = OnStorage;

TEST_P(SampleOperation, EqualsNaiveComputation) {
    REALclassDefinition extension = {.name = "Picture", .methods = rows, .methodCount = std::size(rows)};
    MyREALRegisterClassExtension(extension);
    for (int level = 0; level <= static_cast<int>(bestCpuLevel()); ++level) {
        useCpuLevel(static_cast<CpuLevel>(level));
        checkOperation(host, samples[0], storage, 10);
    }
    useCpuLevel(bestCpuLevel());
}

ON_EVERY_STORAGE(SampleOperation);

}  // namespace
}  // namespace qkztest
