// C++ exceptions on their way to the user's program, and the debug log.
#include <new>
#include <stdexcept>
#include <typeinfo>

#include "PluginMain.h"
#include "Support.h"
#include "rbDebug.h"
#include "rbException.h"

namespace qkztest {
namespace {

struct Described : std::bad_alloc {
    const char* what() const noexcept override { return ""; }
};
struct Undescribed : std::exception {
    const char* what() const noexcept override { return nullptr; }
};

template <class Exception>
std::int64_t throwText(std::int64_t) {
    throw Exception("the text");
}
template <class Exception>
std::int64_t throwPlain(std::int64_t) {
    throw Exception();
}
std::int64_t throwNumber(std::int64_t) { throw 42; }
std::int64_t addOne(std::int64_t n) { return n + 1; }
REALpictureStruct* throwPicture(REALpictureStruct*) { throw std::bad_alloc(); }
void throwVoid() { throw std::length_error("long"); }

template <auto function>
std::int64_t called(std::int64_t argument = 7) {
    return reinterpret_cast<std::int64_t (*)(std::int64_t)>(HostCall<function>())(argument);
}

TEST(Exceptions, BecomeHostExceptions) {
    const struct {
        std::int64_t (*call)(std::int64_t);
        const char *className, *message;
    } cases[] = {
        {called<throwPlain<Described>>, "OutOfMemoryException", "Failed to allocate memory."},
        {called<throwPlain<std::bad_array_new_length>>, "OutOfMemoryException",
         "Failed to allocate memory: std::bad_array_new_length"},
        {called<throwText<std::range_error>>, "OutOfBoundsException", "C++ reports range error: the text"},
        {called<throwText<std::out_of_range>>, "OutOfBoundsException", "C++ reports range error: the text"},
        {called<throwText<std::overflow_error>>, "OutOfBoundsException",
         "C++ reports overflow error: the text"},
        {called<throwText<std::underflow_error>>, "OutOfBoundsException",
         "C++ reports underflow error: the text"},
        {called<throwText<std::length_error>>, "RuntimeException", "C++ Exception: the text"},
        {called<throwText<std::runtime_error>>, "RuntimeException", "C++ Exception: the text"},
        {called<throwPlain<std::exception>>, "RuntimeException", "C++ Exception: std::exception"},
        {called<throwPlain<Undescribed>>, "RuntimeException", "C++ Exception."},
        {called<throwNumber>, "RuntimeException", "Sorry, but there was an unnamed C++ Exception."},
    };
    Plugin host;
    for (const auto& c : cases) {
        EXPECT_EQ(c.call(7), 0);
        EXPECT_EQ(host.exceptions.take(), (RaisedException{c.className, c.message, 0}));
    }
    EXPECT_EQ(host.log([] { called<throwNumber>(); }), Lines{"Unnamed C++ Exception."});
    EXPECT_TRUE(host.exceptions.take());
    EXPECT_EQ(called<addOne>(), 8);
    const OwnedPicture picture = host.newPicture(1, 1);
    EXPECT_EQ(reinterpret_cast<PictureHandle (*)(PictureHandle)>(HostCall<throwPicture>())(picture), nullptr);
    EXPECT_EQ(host.exceptions.take()->className, "OutOfMemoryException");
    reinterpret_cast<void (*)()>(HostCall<throwVoid>())();
    EXPECT_EQ(host.exceptions.take()->message, "C++ Exception: long");
}

TEST(Exceptions, RaisingFallsBack) {
    Plugin host;
    RaiseException("NilObjectException", "gone", 1536);
    EXPECT_EQ(host.exceptions.take(), (RaisedException{"NilObjectException", "gone", 0}));
    RaiseException("NilObjectException", "numbered", 1536, -5);
    EXPECT_EQ(host.exceptions.take(), (RaisedException{"NilObjectException", "numbered", -5}));
    RaiseException("NoSuchException", "\xC3\xA4", 0);
    EXPECT_EQ(host.exceptions.take(), (RaisedException{"RuntimeException", "\xC3\xA4", 0}));
    RaiseException("OutOfBoundsException", static_cast<REALstringStruct*>(nullptr), 3);
    EXPECT_EQ(host.exceptions.take(), (RaisedException{"OutOfBoundsException", "", 3}));
    host.faults.failCall("REALBuildStringWithEncoding", 1);
    RaiseException("NilObjectException", "cannot be said");
    EXPECT_EQ(host.exceptions.take(), (RaisedException{"NilObjectException", "", 0}));
    host.faults.omit("RuntimeException");
    RaiseException("NoSuchException", "unheard");
    EXPECT_EQ(host.exceptions.take(), std::nullopt);
    called<throwNumber>();
    EXPECT_EQ(host.exceptions.take(), std::nullopt);
}

TEST(Exceptions, HostServicesMayThrow) {
    for (const Failure how : {Failure::throwsError, Failure::throwsNumber}) {
        for (const auto& [service, raises] : {std::pair("REALBuildStringWithEncoding", true),
                                              {"PluginNewInstance", false},
                                              {"REALSetPropValueString", false},
                                              {"RuntimeRaiseException", false}}) {
            Plugin host;
            host.faults.failCall(service, 1, how);
            EXPECT_EQ(called<throwText<std::out_of_range>>(), 0);
            const auto raised = host.exceptions.take();
            EXPECT_EQ(raised.has_value(), raises) << service;
            EXPECT_EQ(raised ? raised->message : "", "");
            EXPECT_EQ(called<throwText<std::out_of_range>>(), 0);  // and the next is raised as ever
            EXPECT_EQ(host.exceptions.take()->message, "C++ reports range error: the text");
        }
    }
    Plugin host;
    host.faults.failCall("REALBuildStringWithEncoding", 1, Failure::throwsError);
    EXPECT_EQ(CString2RB("text", REALencodingUTF8), nullptr);
    EXPECT_EQ(host.exceptions.take()->message, "C++ Exception: a service fails");
}

TEST(Log, Formats) {
    const auto pointer = reinterpret_cast<const void*>(0x1234);
    const std::int64_t one = 1, two = 2, three = 3, least = INT64_MIN;
    Plugin host;
    EXPECT_EQ(host.log([&] {
        LogMessage("text");
        LogMessage("four", one, -two, least, three);
        LogMessage("three", one, two, three);
        LogMessage("two", one, two);
        LogMessage("one", least);
        LogMessage("i32", std::int32_t{-1});
        LogMessage("u32", std::uint32_t{4294967295});
        LogMessage("u64", std::uint64_t{18446744073709551615U});
        LogMessage("double", 0.5);
        LogMessage("pointers", pointer, pointer);
        LogMessage("pointer", pointer);
        LogMessage("string", "%d");
        LogMessage("100%s");
        LogMessageX("QKZ Debug: own %s", "format");
    }),
              (Lines{"text", "four 1, -2, -9223372036854775808, 3", "three 1, 2, 3", "two 1, 2",
                     "one -9223372036854775808", "i32 -1", "u32 4294967295", "u64 18446744073709551615",
                     "double 0.500000", "pointers 0x1234, 0x1234", "pointer 0x1234", "string %d", "100%s",
                     "own format"}));
    for (const std::size_t length : {4083U, 4084U, 4085U, 9000U}) {
        const std::string text(length, 'x');
        testing::internal::CaptureStderr();
        LogMessage(text.c_str());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), ("QKZ Debug: " + text).substr(0, 4095) + '\n');
    }
}

TEST(Log, SwitchTakesAnyByte) {
    for (const int value : {1, -1, 64, 0}) {
        setDebugging(static_cast<RBBoolean>(value));
        EXPECT_EQ(getDebugging(), value != 0);
    }
}

}  // namespace
}  // namespace qkztest
