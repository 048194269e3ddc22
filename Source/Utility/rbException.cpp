#include "rbException.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>

#include "PluginMain.h"
#include "rbDebug.h"
#include "rbFreeLater.h"

namespace {

REALstringStruct* built(const char* text, std::uint32_t encoding) {
    return REALBuildStringWithEncoding(text, static_cast<std::int32_t>(std::strlen(text)), encoding);
}

}  // namespace

void RaiseException(const char* className, REALstringStruct* message, std::int64_t errorNumber) {
    REALobjectStruct* exception = REALnewInstance(className);
    if (!exception) exception = REALnewInstance("RuntimeException");
    if (!exception) return;
    const rbFreeLater guard(exception);
    REALSetPropValueString(exception, "Message", message);
    REALSetPropValueInteger(exception, "ErrorNumber", errorNumber);
    REALRaiseException(exception);
}

void RaiseException(const char* className, const char* message, std::uint32_t /*encoding*/,
                    std::int64_t errorNumber) {
    REALstringStruct* text = nullptr;
    const rbFreeLater guard(text);
    // Not by CString2RB, which would raise an exception of its own should the host throw here.
    quietly([&] { text = built(message, REALencodingUTF8); });
    RaiseException(className, text, errorNumber);
}

void RaiseException(const char* className, const char* message, std::uint32_t encoding) {
    RaiseException(className, message, encoding, 0);
}

void CaughtException::describe(const std::exception& exception) noexcept {
    unnamed_ = false;
    const char* text = "C++ Exception";
    // compatibility.md#overflow-is-out-of-bounds
    if (dynamic_cast<const std::bad_alloc*>(&exception)) {
        text = "Failed to allocate memory";
        className_ = "OutOfMemoryException";
    } else if (dynamic_cast<const std::range_error*>(&exception) ||
               dynamic_cast<const std::out_of_range*>(&exception)) {
        text = "C++ reports range error";
        className_ = "OutOfBoundsException";
    } else if (dynamic_cast<const std::overflow_error*>(&exception)) {
        text = "C++ reports overflow error";
        className_ = "OutOfBoundsException";
    } else if (dynamic_cast<const std::underflow_error*>(&exception)) {
        text = "C++ reports underflow error";
        className_ = "OutOfBoundsException";
    }
    const char* const description = exception.what();
    if (description && *description) {
        std::snprintf(message_, sizeof message_, "%s: %s", text, description);
    } else {
        std::snprintf(message_, sizeof message_, "%s.", text);
    }
}

void RaiseCaught(const CaughtException& caught) noexcept {
    if (caught.unnamed()) LogWhenDebugging("Unnamed C++ Exception.");
    quietly([&] { RaiseException(caught.className(), caught.message()); });
}

void LogCaught(const CaughtException& caught) noexcept { LogWhenDebugging(caught.message()); }

void RaiseException(const std::exception& exception) {
    CaughtException caught;
    caught.describe(exception);
    RaiseException(caught.className(), caught.message());
}

REALstringStruct* CString2RB(const char* text, std::uint32_t encoding) {
    return catchIntoHost([=] { return built(text, encoding); });
}
