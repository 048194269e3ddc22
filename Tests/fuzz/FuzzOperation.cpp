// Any method with any arguments on any picture: every processor level gives the naive answer.
#include "CpuLevel.h"
#include "Fuzz.h"
#include "Operations.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace qkztest;
    const std::span bytes(data, size);
    const std::size_t seed = std::hash<std::string_view>()(textOf(data, size));
    // The pixels do not take the bytes that decide on all else.
    const auto others = std::min<std::size_t>(size, 64);
    Random random(seed, bytes.first(others)), pixels(~seed, bytes.subspan(others));
    const auto any = [&random](const auto& of) {
        return of.begin() + random.below(static_cast<int>(of.size()));
    };
    const Operation& operation = *any(operations());
    const StorageCase& storage = *any(storages());
    if (storage.settings.storage == Storage::pixmap && !pixmapObstacle().empty()) return 0;
    const bool wide = random.oneIn(8);
    const int width = 1 + random.below(70) + (wide ? random.of({960, 1024, 4032, 4096}) : 0);
    const int height = 1 + random.below(wide ? 3 : 40);
    Image picture = randomImage(pixels, storage.format, storage.alpha, width, height);
    if (operation.prepare) operation.prepare(pixels, picture);
    const Cells arguments = operation.arguments(random, picture);
    // Of these versions the plug-in makes, and keeps, no definitions of its own for each host that starts it.
    Settings settings = storage.settings;
    settings.version = settings.storage == Storage::pixmap ? 2012.0 : 3000.0;
    Plugin host(settings);
    for (int level = 0; level <= static_cast<int>(bestCpuLevel()); ++level) {
        SCOPED_TRACE(testing::Message() << operation.label << " on " << storage.name << ", level " << level);
        useCpuLevel(static_cast<CpuLevel>(level));
        checkOperation(host, operation, picture, arguments);
    }
    if (testing::UnitTest::GetInstance()->Failed()) std::abort();
    return 0;
}
