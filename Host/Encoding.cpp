#include "Encoding.h"

#include <iconv.h>

#include "HostTypes.h"

namespace qkzhost {
namespace {

const char* iconvName(std::uint32_t encoding) {
    switch (encoding) {
        case REALencodingASCII:
            return "ASCII";
        case REALencodingUTF8:
            return "UTF-8";
        case REALencodingUTF16:
            return "UTF-16LE";
        case REALencodingUTF32:
            return "UTF-32LE";
        default:
            return nullptr;
    }
}

}  // namespace

std::optional<std::string> convert(std::string_view bytes, std::uint32_t from, std::uint32_t to) {
    if (from == to || from == REALencodingUnknown || to == REALencodingUnknown) return std::string(bytes);
    const char* fromName = iconvName(from);
    const char* toName = iconvName(to);
    if (!fromName || !toName) return {};
    const iconv_t converter = iconv_open(toName, fromName);
    if (converter == reinterpret_cast<iconv_t>(-1)) return {};
    std::string result(bytes.size() * 4, '\0');  // no encoding needs more than 4 bytes for one
    std::string input(bytes);
    char* in = input.data();
    char* out = result.data();
    std::size_t inLeft = input.size(), outLeft = result.size();
    const bool failed = iconv(converter, &in, &inLeft, &out, &outLeft) != 0;
    iconv_close(converter);
    if (failed) return {};
    result.resize(result.size() - outLeft);
    return result;
}

}  // namespace qkzhost
