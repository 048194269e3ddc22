#include "rbData.h"

#include "PluginMain.h"
#include "rbDebug.h"
#include "rbFreeLater.h"
#include "rbMemoryBlock.h"

rbData::rbData(REALstringStruct* from) : rbData() {
    if (!from) return;
    REALLockString(from);
    string = from;
    std::int64_t length = 0;
    data = reinterpret_cast<std::uint8_t*>(const_cast<char*>(REALGetStringContents(from, &length)));
    size = length > 0 ? static_cast<std::uint64_t>(length) : 0;
    dropSizeWithoutData();
}

rbData::rbData(REALmemoryBlockStruct* from, unsigned long offset, unsigned long bytes) : rbData() {
    if (!from) return;
    REALLockObject(from);
    memoryBlock = from;
    size = bytes;
    if (bytes == 0) {
        const std::int64_t whole = MyREALMemoryBlockGetSize(from);
        if (whole > 0) size = static_cast<std::uint64_t>(whole);
    }
    if (void* const start = MyREALMemoryBlockGetPtr(from)) data = static_cast<std::uint8_t*>(start) + offset;
    dropSizeWithoutData();
}

rbData::~rbData() {
    clear();
    Clear();
}

void rbData::Clear() {
    string = nullptr;
    memoryBlock = nullptr;
    stringData = {};
    ownsStringData = false;
    data = nullptr;
    size = 0;
    reserved = 0;
}

void rbData::clear() {
    rbFreeNow(string);
    rbFreeNow(memoryBlock);
    if (std::exchange(ownsStringData, false)) {
        LogWhenDebugging("REALDisposeStringData");
        quietly([this] { REALDisposeStringData(&stringData); });
    }
}

void rbData::dropSizeWithoutData() {
    if (data || size == 0) return;
    size = 0;
    LogWhenDebugging("data is NULL, so size fixed to zero.");
}
