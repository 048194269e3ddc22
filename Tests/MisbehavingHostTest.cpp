// A host whose services throw or raise in the middle of a call, as the loaded file meets it.
#include <unwind.h>

#include <cstdlib>
#include <exception>

#include "Support.h"

namespace qkztest {
namespace {

const std::pair<Failure, RaisedException> throwing[] = {
    {Failure::throwsError, {"RuntimeException", "C++ Exception: a service fails", 0}},
    {Failure::throwsNumber, {"RuntimeException", "Sorry, but there was an unnamed C++ Exception.", 0}}};

/// The drawing call of a host with fractional graphics.
const char* const drawPicture =
    "DrawPicture(image As Picture, x As Double, y As Double, destWidth As Double = -10000, destHeight As "
    "Double = -10000, sourceX As Double = 0, sourceY As Double = 0, sourceWidth As Double = -10000, "
    "sourceHeight As Double = -10000)";

TEST(MisbehavingHost, WhatAServiceThrowsBecomesAHostException) {
    for (const auto& [failure, exception] : throwing) {
        for (const char* service : {"newPicture", "REALLockPictureDescription", "REALPictureClearCache",
                                    "REALLockObject", "REALGetPropValueInteger", "PluginPictureGetType"}) {
            SCOPED_TRACE(service);
            Plugin host;
            const OwnedPicture picture(host.newPicture(3, 2));
            host.faults.failCall(service, 1, failure);
            EXPECT_TRUE(host.call("InvertQKZ", {picture}).isNil());
            EXPECT_EQ(host.exceptions.take(), exception);
            EXPECT_EQ(std::uncaught_exceptions(), 0);
            EXPECT_EQ(host.objects.picture(picture).descriptionLocks, 0);
        }
    }
}

/// As the runtime of another language or compiler does.
[[noreturn]] void throwForeign() {
    static _Unwind_Exception exception{};
    exception.exception_class = 0x434C4E47432B2B00;  // "CLNGC++"
    _Unwind_RaiseException(&exception);
    std::abort();
}

TEST(MisbehavingHost, WhatAnotherRuntimeThrowsBecomesAHostException) {
    for (const char* failing : {"REALBuildStringWithEncoding", "REALSetPropValueString", ""}) {
        SCOPED_TRACE(failing);
        Plugin host;
        const OwnedPicture picture(host.newPicture(3, 2));
        host.faults.answerLock = [](PictureHandle, auto&, bool) -> bool { throwForeign(); };
        host.faults.failCall(failing, 1, Failure::throwsError);  // while it is told
        EXPECT_TRUE(host.call("InvertQKZ", {picture}).isNil());
        const auto raised = host.exceptions.take();
        EXPECT_EQ(raised.has_value(), std::string(failing) != "REALSetPropValueString");
        EXPECT_EQ(std::uncaught_exceptions(), 0);
    }
}

TEST(MisbehavingHost, ThrowingInRegistrationLosesOnlyThatOne) {
    for (const auto& [failure, exception] : throwing) {
        Host host({.version = 2012.0});
        host.faults.failCall("PluginRegisterClass", 1, failure);
        host.faults.failCall("PluginRegisterMethod", 2, failure);
        startPlugin(host);
        EXPECT_EQ(host.registry.registrations().size(), 1u + 1 + 5);
        EXPECT_EQ(host.registry.registration("PictureSepiaQKZ"), nullptr);
        EXPECT_EQ(host.exceptions.take(), std::nullopt);
    }
}

TEST(MisbehavingHost, APictureKeepsItsMaskWhenDrawingThrows) {
    for (const auto& [failure, exception] : throwing) {
        Plugin host;
        const OwnedPicture picture(host.newPicture(4, 3)), mask(host.newPicture(4, 3));
        host.objects.picture(picture).mask = mask;
        // It has to be drawn into a copy, without its mask.
        host.faults.answerLock = [&](PictureHandle locked, auto&, bool works) {
            return works && locked != picture;
        };
        for (const char* service : {drawPicture, "Mask(assigns newMask As Picture)", "newPicture"}) {
            SCOPED_TRACE(service);
            host.faults.failCall(service, 1, failure);
            EXPECT_EQ(host.call("isBlackQKZ", {picture}), Value(false));
            EXPECT_EQ(host.exceptions.take(), exception);
            EXPECT_EQ(host.objects.picture(picture).mask, mask.get());
            EXPECT_EQ(host.call("isBlackQKZ", {picture}), Value(true));
        }
    }
}

TEST(MisbehavingHost, MemoryBlocksGoWhenTheirConstructorThrows) {
    for (const auto& [failure, exception] : throwing) {
        Plugin host;
        const OwnedPicture picture(host.newPicture(4, 3));
        Value red, blue, green, count;
        host.faults.failCall("Constructor(bytes as Integer)", 1, failure);
        host.call("CountColorsQKZ", {picture, &red, &blue, &green, &count});
        EXPECT_TRUE(red.isNil());
        EXPECT_EQ(count, Value(-1));
    }
}

// A pixel that straddles the end of the last row goes into the spare row of a picture that is built from
// bytes.
TEST(MisbehavingHost, PixelsBehindTheLastRowOfPackedPictures) {
    if (!pixmapObstacle().empty()) GTEST_SKIP() << pixmapObstacle();
    Plugin host({.version = 2016.04});
    const OwnedPicture picture =
        makePicture(host, {Format::xrgb, false, 3, 1, {0x102030, 0x405060, 0x708090}});
    host.settings.storage = Storage::pixmap;
    const OwnedPicture result(host.call("InvertQKZ", {picture, 1, 0, 2, 1}).picture());
    ASSERT_TRUE(result.get());
    // The second pixel is written to bytes 4 to 6, the third to bytes 7 to 9, of which 9 is behind the row.
    EXPECT_EQ(readPicture(host, result).words, (std::vector<std::uint32_t>{0x000000, 0x00BFAF, 0x9F8F7F}));
}

}  // namespace
}  // namespace qkztest
