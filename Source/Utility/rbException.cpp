#include "rbException.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>

#include "PluginMain.h"
#include "rbDebug.h"
#include "rbFreeLater.h"

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
    REALstringStruct* text = CString2RB(message, REALencodingUTF8);
    const rbFreeLater guard(text);
    RaiseException(className, text, errorNumber);
}

void RaiseException(const char* className, const char* message, std::uint32_t encoding) {
    RaiseException(className, message, encoding, 0);
}

void RaiseException(const std::exception& exception) {
    const char* text = "C++ Exception";
    const char* className = "RuntimeException";
    // Overflow and underflow deliberately share the out-of-bounds class, and out_of_range the range text.
    if (dynamic_cast<const std::bad_alloc*>(&exception)) {
        text = "Failed to allocate memory";
        className = "OutOfMemoryException";
    } else if (dynamic_cast<const std::range_error*>(&exception) ||
               dynamic_cast<const std::out_of_range*>(&exception)) {
        text = "C++ reports range error";
        className = "OutOfBoundsException";
    } else if (dynamic_cast<const std::overflow_error*>(&exception)) {
        text = "C++ reports overflow error";
        className = "OutOfBoundsException";
    } else if (dynamic_cast<const std::underflow_error*>(&exception)) {
        text = "C++ reports underflow error";
        className = "OutOfBoundsException";
    }
    const char* const description = exception.what();
    char message[1000];  // no memory is asked for: it may just have run out
    if (description && *description) {
        std::snprintf(message, sizeof message, "%s: %s", text, description);
    } else {
        std::snprintf(message, sizeof message, "%s.", text);
    }
    RaiseException(className, message);
}

void RaiseCurrentException() noexcept {
    static thread_local bool raising = false;
    if (raising) return;
    raising = true;
    try {
        try {
            throw;
        } catch (const std::exception& exception) {
            RaiseException(exception);
        } catch (...) {
            LogWhenDebugging("Unnamed C++ Exception.");
            RaiseException("RuntimeException", "Sorry, but there was an unnamed C++ Exception.");
        }
    } catch (...) {
        // The host itself failed: nothing is left to tell it with.
    }
    raising = false;
}

REALstringStruct* CString2RB(const char* text, std::uint32_t encoding) {
    return CatchIntoHost([&] {
        return REALBuildStringWithEncoding(text, static_cast<std::int32_t>(std::strlen(text)), encoding);
    });
}
