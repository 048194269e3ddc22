#include "rbMemoryBlock.h"

#include "PluginMain.h"
#include "rbFreeLater.h"

namespace {

/// The block is kept here as soon as it exists: any call of the host may throw and end makeBlock.
struct NewBlock {
    std::int64_t size;
    REALmemoryBlockStruct* block;
    bool done;
};

void makeBlock(void* request) {
    auto& [size, block, done] = *static_cast<NewBlock*>(request);
    block = static_cast<REALmemoryBlockStruct*>(REALnewInstance("MemoryBlock"));
    if (!block) return;
    auto* const construct = objectMethod(block, hostmethod::constructMemoryBlock);
    if (!construct) return;
    construct(block, size);
    done = MyREALMemoryBlockGetSize(block) >= size;
}

}  // namespace

void* MyREALMemoryBlockGetPtr(REALmemoryBlockStruct* block) {
    return block ? REALMemoryBlockGetPtr(block) : nullptr;
}

std::int64_t MyREALMemoryBlockGetSize(REALmemoryBlockStruct* block) {
    return block ? REALMemoryBlockGetSize(block) : 0;
}

REALmemoryBlockStruct* MyREALNewMemoryBlock(std::int64_t size) {
    if (size < 0) return nullptr;
    NewBlock request{size, nullptr, false};
    const rbFreeLater blockGuard(request.block);
    REALobjectStruct* exception = nullptr;
    const rbFreeLater exceptionGuard(exception);
    quietly([&] { exception = REALCallFunctionWithExceptionHandler(makeBlock, &request); });
    return request.done ? std::exchange(request.block, nullptr) : nullptr;
}
