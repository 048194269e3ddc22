#include "rbString.h"

#include <algorithm>
#include <limits>

#include "PluginMain.h"

REALstringStruct* REALBuildUnicodeString(const void* bytes, std::int64_t count, std::uint32_t encoding) {
    if (count < 0 || count > std::numeric_limits<std::int32_t>::max()) return nullptr;
    const auto* const first = static_cast<const std::uint8_t*>(bytes);
    if (encoding == REALencodingUnknown &&
        std::all_of(first, first + count, [](std::uint8_t byte) { return byte < 128; })) {
        encoding = REALencodingASCII;
    }
    return REALBuildStringWithEncoding(bytes, static_cast<std::int32_t>(count), encoding);
}
