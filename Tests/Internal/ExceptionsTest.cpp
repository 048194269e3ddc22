// C++ exceptions on their way to the user's program, and the debug log.
#include <new>
#include <stdexcept>
#include <typeinfo>

#include "Linked.h"
#include "PluginMain.h"
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
        {called<throwPlain<std::bad_alloc>>, "OutOfMemoryException",
         "Failed to allocate memory: std::bad_alloc"},
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
        {called<throwText<std::invalid_argument>>, "RuntimeException", "C++ Exception: the text"},
        {called<throwText<std::domain_error>>, "RuntimeException", "C++ Exception: the text"},
        {called<throwText<std::logic_error>>, "RuntimeException", "C++ Exception: the text"},
        {called<throwText<std::runtime_error>>, "RuntimeException", "C++ Exception: the text"},
        {called<throwPlain<std::bad_cast>>, "RuntimeException", "C++ Exception: std::bad_cast"},
        {called<throwPlain<std::exception>>, "RuntimeException", "C++ Exception: std::exception"},
        {called<throwPlain<Undescribed>>, "RuntimeException", "C++ Exception."},
        {called<throwNumber>, "RuntimeException", "Sorry, but there was an unnamed C++ Exception."},
    };
    Plugin host;
    for (const auto& c : cases) {
        EXPECT_EQ(c.call(7), 0);
        EXPECT_EQ(host.takeException(), (RaisedException{c.className, c.message, 0}));
    }
    EXPECT_EQ(called<addOne>(), 8);
    REALpictureStruct* const picture = host.newPicture(1, 1);
    EXPECT_EQ(reinterpret_cast<PictureHandle (*)(PictureHandle)>(HostCall<throwPicture>())(picture), nullptr);
    EXPECT_EQ(host.takeException()->className, "OutOfMemoryException");
    host.unlock(picture);
    reinterpret_cast<void (*)()>(HostCall<throwVoid>())();
    EXPECT_EQ(host.takeException()->message, "C++ Exception: long");
}

TEST(Exceptions, UnnamedOnesAreLogged) {
    Plugin host;
    EXPECT_EQ(host.log([] { called<throwNumber>(); }), (std::vector<std::string>{"Unnamed C++ Exception."}));
    EXPECT_TRUE(host.takeException());
}

TEST(Exceptions, RaisingFallsBack) {
    Plugin host;
    RaiseException("NilObjectException", "gone", 1536);
    EXPECT_EQ(host.takeException(), (RaisedException{"NilObjectException", "gone", 0}));
    RaiseException("NilObjectException", "numbered", 1536, -5);
    EXPECT_EQ(host.takeException(), (RaisedException{"NilObjectException", "numbered", -5}));
    RaiseException("NoSuchException", "\xC3\xA4", 0);
    EXPECT_EQ(host.takeException(), (RaisedException{"RuntimeException", "\xC3\xA4", 0}));
    RaiseException("OutOfBoundsException", static_cast<REALstringStruct*>(nullptr), 3);
    EXPECT_EQ(host.takeException(), (RaisedException{"OutOfBoundsException", "", 3}));
    host.failCall("REALBuildStringWithEncoding", 1);
    RaiseException("NilObjectException", "cannot be said");
    EXPECT_EQ(host.takeException(), (RaisedException{"NilObjectException", "", 0}));
    host.omit("RuntimeException");
    RaiseException("NoSuchException", "unheard");
    EXPECT_EQ(host.takeException(), std::nullopt);
    called<throwNumber>();
    EXPECT_EQ(host.takeException(), std::nullopt);
}

TEST(Exceptions, HostServicesMayThrow) {
    void (*const throwers[])() = {[] { throw std::runtime_error("the host"); }, [] { throw 1; }};
    for (const auto thrower : throwers) {
        Host host;
        startPlugin(host);
        const Census before = host.census();
        thrownByBuildString = thrower;
        EXPECT_EQ(CString2RB("text", REALencodingUTF8), nullptr);
        EXPECT_EQ(host.takeException()->className, "RuntimeException");
        EXPECT_EQ(called<throwText<std::out_of_range>>(), 0);
        EXPECT_EQ(host.takeException()->message, "");
        thrownByBuildString = nullptr;
        thrownByNewInstance = thrower;
        EXPECT_EQ(called<throwNumber>(), 0);
        EXPECT_EQ(host.takeException(), std::nullopt);  // nothing could be made to be raised
        thrownByNewInstance = nullptr;
        EXPECT_EQ(host.census(), before);
        EXPECT_EQ(called<throwText<std::out_of_range>>(), 0);  // and the next is raised as ever
        EXPECT_EQ(host.takeException()->className, "OutOfBoundsException");
    }
}

TEST(Log, Formats) {
    const auto pointer = reinterpret_cast<const void*>(0x1234);
    const std::int64_t least = INT64_MIN;
    testing::internal::CaptureStderr();
    LogMessage("text");
    LogMessage("four", std::int64_t{1}, std::int64_t{-2}, least, std::int64_t{4});
    LogMessage("three", std::int64_t{1}, std::int64_t{2}, std::int64_t{3});
    LogMessage("two", std::int64_t{1}, std::int64_t{2});
    LogMessage("one", least);
    LogMessage("i32", std::int32_t{-1});
    LogMessage("u32", std::uint32_t{4294967295});
    LogMessage("u64", std::uint64_t{18446744073709551615U});
    LogMessage("double", 0.5);
    LogMessage("pointers", pointer, pointer);
    LogMessage("pointer", pointer);
    LogMessage("string", "%d");
    LogMessage("100%s");
    LogMessageX("own %s", "format");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "QKZ Debug: text\n"
              "QKZ Debug: four 1, -2, -9223372036854775808, 4\n"
              "QKZ Debug: three 1, 2, 3\n"
              "QKZ Debug: two 1, 2\n"
              "QKZ Debug: one -9223372036854775808\n"
              "QKZ Debug: i32 -1\n"
              "QKZ Debug: u32 4294967295\n"
              "QKZ Debug: u64 18446744073709551615\n"
              "QKZ Debug: double 0.500000\n"
              "QKZ Debug: pointers 0x1234, 0x1234\n"
              "QKZ Debug: pointer 0x1234\n"
              "QKZ Debug: string %d\n"
              "QKZ Debug: 100%s\n"
              "own format\n");
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
