#include "CpuLevel.h"
#include "Operations.h"

namespace qkztest {
namespace {

class CpuLevels : public testing::TestWithParam<Operation> {};

TEST_P(CpuLevels, EqualNaiveComputation) {
    for (const StorageCase& storage : storages()) {
        if (storage.settings.storage == Storage::pixmap && !pixmapObstacle().empty()) continue;
        for (int level = 0; level <= static_cast<int>(bestCpuLevel()); ++level) {
            SCOPED_TRACE(testing::Message() << storage.name << ", level " << level);
            useCpuLevel(static_cast<CpuLevel>(level));
            Plugin host(storage.settings);
            checkOperation(host, GetParam(), storage, 10);
        }
    }
    useCpuLevel(bestCpuLevel());
}

INSTANTIATE_TEST_SUITE_P(All, CpuLevels, testing::ValuesIn(operations()), testing::PrintToStringParamName());

}  // namespace
}  // namespace qkztest
