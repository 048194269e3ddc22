// Any string to BinaryStringtoPictureQKZ: the picture must be the one that the header tells of, nil for every
// other string, and nothing may be left behind.
#include "Fuzz.h"
#include "PictureString.h"

/// Most strings get the length that they have into their header: there the reader's work only begins.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most,
                                               unsigned seed) {
    size = LLVMFuzzerMutate(data, size, most);
    if (size >= 8 && seed % 8 != 0)
        for (std::size_t i = 0; i < 4; ++i) data[4 + i] = static_cast<std::uint8_t>(size >> (24 - 8 * i));
    return size;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace qkztest;
    static Host host;
    static const bool started = (startPlugin(host), true);
    const std::string_view bytes = textOf(data, size);
    const Census before = host.objects.census();
    Image picture;
    {
        const OwnedString string(host.objects.newString(bytes, REALencodingUnknown));
        const OwnedPicture result(host.call("BinaryStringtoPictureQKZ", {string}).picture());
        if (result.get()) picture = readPicture(host, result);
    }
    const std::string wrong = difference(picture, unpackedPicture(bytes, Format::xrgb));
    if (started && wrong.empty() && host.objects.census() == before && !host.exceptions.take()) return 0;
    std::cerr << wrong << '\n' << before << '\n' << host.objects.census() << '\n';
    std::abort();
}
