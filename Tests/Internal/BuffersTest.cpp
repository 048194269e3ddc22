// Bytes of the host and of the plug-in, guards, and libraries opened at run time.
#include <gd.h>

#include <algorithm>

#include "MyMemory.h"
#include "PluginMain.h"
#include "Support.h"
#include "rbDL.h"
#include "rbData.h"
#include "rbFreeLater.h"
#include "rbMemoryBlock.h"
#include "rbMultiplyUtil.h"
#include "rbpicturereader.h"

namespace qkztest {
namespace {

static_assert(offsetof(GDImageFields, pixels) == offsetof(gdImage, pixels));
static_assert(offsetof(GDImageFields, sx) == offsetof(gdImage, sx));
static_assert(offsetof(GDImageFields, sy) == offsetof(gdImage, sy));
static_assert(offsetof(GDImageFields, trueColor) == offsetof(gdImage, trueColor));
static_assert(offsetof(GDImageFields, tpixels) == offsetof(gdImage, tpixels));

const Lines dropped{"data is NULL, so size fixed to zero."};

TEST(Data, ViewsAString) {
    Plugin host;
    const OwnedString string(host.objects.newString(std::string("a\0b", 3)));
    const long references = host.objects.census().stringReferences;
    rbData view(string.get());
    EXPECT_EQ(host.objects.census().stringReferences, references + 1);
    EXPECT_EQ(std::string(view.data, view.data + view.size), std::string("a\0b", 3));
    view.clear();
    view.clear();
    EXPECT_EQ(host.objects.census().stringReferences, references);
    host.faults.failCall("StringGetCString", 1);
    for (REALstringStruct* const without : {static_cast<REALstringStruct*>(nullptr), string.get()}) {
        const rbData none(without);
        EXPECT_EQ(none.data, nullptr);
        EXPECT_EQ(none.size, 0u);
    }
}

TEST(Data, ViewsAMemoryBlock) {
    Plugin host;
    const OwnedBlock block(host.objects.newMemoryBlock({1, 2, 3, 4, 5}));
    const OwnedBlock empty(host.objects.newMemoryBlock({}));
    const struct {
        REALmemoryBlockStruct* block;
        unsigned long offset, size;
        int failing;  // the pointer's service
        int firstByte;
        std::uint64_t expectedSize;
        Lines log;
    } cases[] = {
        {block, 0, 0, 0, 1, 5, {}},       {block, 2, 0, 0, 3, 5, {}},  // the offset is not subtracted
        {block, 1, 3, 0, 2, 3, {}},       {block, 0, 9, 0, 1, 9, {}},  // nor is the size checked
        {block, 3, 4, 1, -1, 0, dropped}, {nullptr, 4, 7, 0, -1, 0, {}},
        {empty, 0, 0, 0, -1, 0, {}},      {empty, 0, 2, 0, -1, 0, dropped},
    };
    for (const auto& c : cases) {
        if (c.failing) host.faults.failCall("memoryBlockGetPtr", 1);
        EXPECT_EQ(host.log([&] {
            const rbData view(c.block, c.offset, c.size);
            EXPECT_EQ(view.data ? *view.data : -1, c.firstByte);
            EXPECT_EQ(view.size, c.expectedSize);
            EXPECT_EQ(host.objects.census().references, c.block ? 3 : 2);
        }),
                  c.log);
    }
}

TEST(Data, DisposesStringDataThatItOwns) {
    Plugin host;
    const OwnedString string(host.objects.newString("text"));
    EXPECT_EQ(host.log([&] {
        rbData view(static_cast<REALstringStruct*>(nullptr));
        view.ownsStringData = REALGetStringData(string, REALencodingUTF16, &view.stringData);
        EXPECT_EQ(view.stringData.length, 8u);
    }),
              Lines{"REALDisposeStringData"});
}

TEST(MemoryBlocks, AreMadeBySize) {
    const char* constructor = "Constructor(bytes as Integer)";
    Plugin host;
    for (const std::int64_t size : {0, 1, 1000}) {
        const OwnedBlock block(MyREALNewMemoryBlock(size));
        ASSERT_NE(block.get(), nullptr);
        EXPECT_EQ(MyREALMemoryBlockGetSize(block), size);
        EXPECT_EQ(std::ranges::count(host.objects.bytes(block), 0), size);
    }
    EXPECT_EQ(MyREALNewMemoryBlock(-1), nullptr);
#ifndef __SANITIZE_ADDRESS__                              // it ends the program at such a request
    EXPECT_EQ(MyREALNewMemoryBlock(INT64_MAX), nullptr);  // the host raises, and catches
#endif
    for (const char* service : {constructor, "PluginCallFunctionWithExceptionHandler", "MemoryBlock"}) {
        host.faults.failCall(service, 1);
        EXPECT_EQ(MyREALNewMemoryBlock(5), nullptr) << service;
    }
    host.faults.omit(constructor);
    EXPECT_EQ(MyREALNewMemoryBlock(5), nullptr);
    EXPECT_EQ(MyREALMemoryBlockGetPtr(nullptr), nullptr);
    EXPECT_EQ(MyREALMemoryBlockGetSize(nullptr), 0);
}

TEST(MemoryBlocks, AreMadeWithoutAnExceptionHandler) {
    Plugin host({}, {"PluginCallFunctionWithExceptionHandler"});
    int runs = 0;
    const auto run = [](void* count) { ++*static_cast<int*>(count); };
    EXPECT_EQ(REALCallFunctionWithExceptionHandler(run, &runs), nullptr);
    if (host.faults.asked("PluginCallFunctionWithExceptionHandler") == 0)
        GTEST_SKIP() << "an earlier test of this process has found the service";
    EXPECT_EQ(runs, 1);
    const OwnedBlock block(MyREALNewMemoryBlock(3));
    EXPECT_EQ(host.objects.bytes(block).size(), 3u);
}

TEST(FreeLater, ReleasesWhatTheVariablesHold) {
    Plugin host;
    REALobjectStruct* object = host.newPicture(1, 1).release();
    REALobjectStruct* changed = nullptr;
    REALstringStruct* string = host.objects.newString("x").release();
    {
        const rbFreeLater<> both(&object, &string);
        const rbFreeLater<> later(&changed, nullptr);
        changed = host.newPicture(1, 1).release();
    }
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(changed, nullptr);
    EXPECT_EQ(string, nullptr);
}

TEST(Memory, IsZeroed) {
    for (const std::int64_t size : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN})
        EXPECT_EQ(AllocateClearMemory(size), nullptr);
    for (int round = 0; round < 2; ++round) {  // the second time it may be used memory
        auto* const bytes = static_cast<std::uint8_t*>(AllocateClearMemory(1000));
        ASSERT_NE(bytes, nullptr);
        EXPECT_EQ(std::count(bytes, bytes + 1000, 0), 1000);
        std::fill(bytes, bytes + 1000, std::uint8_t{255});
        FreeMemoryNow(bytes);
    }
    FreeMemoryNow(nullptr);
}

TEST(Libraries, FirstThatOpensIsTaken) {
    const char* const second[] = {"libno-such-thing.so", "libc.so.6", "libm.so.6", nullptr};
    const char* const none[] = {"libno-such-thing.so", nullptr};
    const char* const empty[] = {nullptr};
    for (const auto* nothing : {none, empty}) {
        EXPECT_NE(dlopenMulti(second), nullptr);
        EXPECT_STREQ(dlopenMultiPath(), "libc.so.6");
        EXPECT_EQ(dlopenMulti(nothing), nullptr);
        EXPECT_EQ(dlopenMultiPath(), nullptr);
    }
}

TEST(MultiplyTables, EqualNaiveComputation) {
    const MultiplyTables& tables = InitMultiplyTable();
    int wrong = 0;
    for (int a = 0; a < 256; ++a) {
        for (int v = 0; v < 256; ++v) {
            wrong +=
                (tables.multiply[a][v] != multiplied(a, v)) + (tables.unmultiply[a][v] != unmultiplied(a, v));
        }
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(tables.multiply[128][255], 128);
    EXPECT_EQ(tables.unmultiply[128][128], 255);
    EXPECT_EQ(tables.unmultiply[0][0], 255);  // every value gives it: the largest counts
}

}  // namespace
}  // namespace qkztest
