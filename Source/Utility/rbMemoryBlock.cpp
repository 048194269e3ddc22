#include "rbMemoryBlock.h"

#include "PluginMain.h"

namespace {

struct NewBlock {
    std::int64_t size;
    REALmemoryBlockStruct* result;
};

void makeBlock(void* request) {
    auto& [size, result] = *static_cast<NewBlock*>(request);
    auto* const block = static_cast<REALmemoryBlockStruct*>(REALnewInstance("MemoryBlock"));
    if (!block) return;
    using Constructor = void (*)(REALobjectStruct*, RBInteger);
    const auto construct =
        reinterpret_cast<Constructor>(REALLoadObjectMethod(block, "Constructor(bytes as Integer)"));
    if (construct) {
        construct(block, size);
        if (MyREALMemoryBlockGetSize(block) >= size) {
            result = block;
            return;
        }
    }
    REALUnlockObject(block);
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
    NewBlock request{size, nullptr};
    if (REALobjectStruct* const exception = REALCallFunctionWithExceptionHandler(makeBlock, &request)) {
        REALUnlockObject(exception);
    }
    return request.result;
}
