#include "rbDebug.h"

#include <atomic>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>

namespace {

std::atomic<bool> debugging = false;
const char* logPrefix = "QKZ Debug: ";
std::FILE* logStream = nullptr;  // standard error while null

}  // namespace

void setDebugging(RBBoolean on) { debugging.store(on != 0, std::memory_order_relaxed); }
RBBoolean getDebugging() { return debugging.load(std::memory_order_relaxed); }

void LogMessageX(const char* format, ...) {
    char line[4096];
    std::va_list values;
    va_start(values, format);
    std::vsnprintf(line, sizeof line, format, values);
    va_end(values);
    std::FILE* const stream = logStream ? logStream : stderr;
    std::fprintf(stream, "%s\n", line);
    std::fflush(stream);
}

void LogMessage(const char* text) { LogMessageX("%s%s", logPrefix, text); }
void LogMessage(const char* text, std::int64_t a, std::int64_t b, std::int64_t c, std::int64_t d) {
    LogMessageX("%s%s %" PRId64 ", %" PRId64 ", %" PRId64 ", %" PRId64, logPrefix, text, a, b, c, d);
}
void LogMessage(const char* text, std::int64_t a, std::int64_t b, std::int64_t c) {
    LogMessageX("%s%s %" PRId64 ", %" PRId64 ", %" PRId64, logPrefix, text, a, b, c);
}
void LogMessage(const char* text, std::int64_t a, std::int64_t b) {
    LogMessageX("%s%s %" PRId64 ", %" PRId64, logPrefix, text, a, b);
}
void LogMessage(const char* text, std::int64_t value) {
    LogMessageX("%s%s %" PRId64, logPrefix, text, value);
}
void LogMessage(const char* text, std::int32_t value) { LogMessageX("%s%s %d", logPrefix, text, value); }
void LogMessage(const char* text, std::uint32_t value) { LogMessageX("%s%s %u", logPrefix, text, value); }
void LogMessage(const char* text, std::uint64_t value) {
    LogMessageX("%s%s %" PRIu64, logPrefix, text, value);
}
void LogMessage(const char* text, double value) { LogMessageX("%s%s %f", logPrefix, text, value); }
void LogMessage(const char* text, const void* a, const void* b) {
    LogMessageX("%s%s %p, %p", logPrefix, text, a, b);
}
void LogMessage(const char* text, const void* pointer) { LogMessageX("%s%s %p", logPrefix, text, pointer); }
void LogMessage(const char* text, const char* string) { LogMessageX("%s%s %s", logPrefix, text, string); }
