// The debug log: lines on standard error, written while the hidden `Debugging` property is on.
#pragma once

#include "HostTypes.h"

/// The switch behind the `Debugging` property.
void setDebugging(RBBoolean on);
RBBoolean getDebugging();

/// Writes one line in the caller's own printf format, without the prefix. Cut to 4095 characters.
[[gnu::format(printf, 1, 2)]] void LogMessageX(const char* format, ...);

/// Writes one line: prefix, text, then the values. Writes whether or not the switch is on: callers ask first.
void LogMessage(const char* text);
void LogMessage(const char* text, std::int64_t a, std::int64_t b, std::int64_t c, std::int64_t d);
void LogMessage(const char* text, std::int64_t a, std::int64_t b, std::int64_t c);
void LogMessage(const char* text, std::int64_t a, std::int64_t b);
void LogMessage(const char* text, std::int64_t value);
void LogMessage(const char* text, std::int32_t value);
void LogMessage(const char* text, std::uint32_t value);
void LogMessage(const char* text, std::uint64_t value);
void LogMessage(const char* text, double value);
void LogMessage(const char* text, const void* a, const void* b);
void LogMessage(const char* text, const void* pointer);
void LogMessage(const char* text, const char* string);

/// `LogMessage` while the switch is on, nothing otherwise.
template <class... Values>
void LogWhenDebugging(const char* text, Values... values) {
    if (getDebugging()) LogMessage(text, values...);
}
