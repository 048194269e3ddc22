#include "OpenedImage.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <string_view>

namespace qkz {
namespace {

using namespace std::string_view_literals;
using std::filesystem::path;
using vips::VImage;

std::atomic<bool> damaged;

struct Kind {
    std::size_t at;  // of the mark
    std::string_view mark;
    const char* loader;
    bool wantsAll = true;  // of a pipe, before it knows the size
};
constexpr Kind kinds[] = {{0, "\x89PNG\r\n\x1a\n", "pngload_source", false},
                          {0, "\xFF\xD8\xFF", "jpegload_source", false},
                          {8, "WEBP", "webpload_source"},
                          {0, "II*\0"sv, "tiffload_source"},
                          {0, "MM\0*"sv, "tiffload_source"},
                          {0, "II+\0"sv, "tiffload_source"},
                          {0, "MM\0+"sv, "tiffload_source"},
                          {0, "GIF8", "gifload_source"},
                          {4, "ftyphei", "heifload_source"},
                          {4, "ftyphev", "heifload_source"},
                          {4, "ftypmif1", "heifload_source"},
                          {4, "ftypavif", "heifload_source"},
                          {0, "BM", "magickload_buffer"}};

/// An open file, closed at the end.
class Descriptor {
 public:
    explicit Descriptor(const path& file) : number_(openToRead(file)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(number_); }
    int number() const { return number_; }
    bool isPipe() const { return lseek(number_, 0, SEEK_CUR) < 0; }

 private:
    const int number_;
};

/// A pipe, which libvips would read into memory without end while it looks for a size.
struct Pipe {
    std::unique_ptr<Descriptor> descriptor;
    std::uint64_t left;  // bytes that may still come
    bool sized = false;

    static gint64 read(VipsSourceCustom*, void* to, gint64 length, void* pipe) {
        auto& [descriptor, left, sized] = *static_cast<Pipe*>(pipe);
        if (left == 0) {
            vips_error("qkz",
                       sized ? "it is too long for its size" : "it is too long before it tells its size");
            return -1;
        }
        ssize_t got = 0;
        do {
            got = ::read(descriptor->number(), to, std::min(static_cast<std::uint64_t>(length), left));
        } while (got < 0 && errno == EINTR);
        left -= static_cast<std::uint64_t>(std::max<ssize_t>(got, 0));
        return got;
    }
    static void destroy(void* pipe, GClosure*) { delete static_cast<Pipe*>(pipe); }
};

const Kind& kindOf(const path& file, VipsSource* source) {
    unsigned char* bytes = nullptr;
    const gint64 count = vips_source_sniff_at_most(source, &bytes, 16);
    if (count < 0) fail(file, libraryReason());
    const std::string_view first(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
    const auto* const kind = std::find_if(std::begin(kinds), std::end(kinds), [&](const Kind& k) {
        return first.size() >= k.at && first.substr(k.at).starts_with(k.mark);
    });
    if (kind == std::end(kinds)) fail(file, "is no PNG, JPEG, WebP, TIFF, GIF, BMP or HEIC file");
    return *kind;
}

VImage load(const Kind& kind, const vips::VSource& source) {
    VImage image;
    auto* const options = VImage::option()
                              ->set("out", &image)
                              ->set("access", VIPS_ACCESS_SEQUENTIAL)
                              ->set("fail_on", VIPS_FAIL_ON_ERROR);
    if (std::string_view(kind.loader).ends_with("_source")) {
        VImage::call(kind.loader, options->set("source", source));
    } else {
        const std::unique_ptr<VipsBlob, void (*)(VipsBlob*)> all(
            vips_source_map_blob(source.get_source()), [](VipsBlob* b) { vips_area_unref(VIPS_AREA(b)); });
        if (!all) throw vips::VError();
        VImage::call(kind.loader, options->set("buffer", all.get()));
    }
    return image;
}

}  // namespace

void startLibrary() {
    static const bool failed = [] {
        if (VIPS_INIT("qkz") != 0) return true;
        vips_cache_set_max(0);
        std::atexit(&vips_shutdown);
        const auto hear = [](const char*, GLogLevelFlags, const char* text, void*) {
            // Many a camera leaves bytes between segments.
            const std::string_view warning = text;
            if (warning.find("Corrupt JPEG") != warning.npos && warning.find("extraneous") == warning.npos) {
                damaged = true;
            }
        };
        g_log_set_handler("VIPS", GLogLevelFlags(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_INFO), hear, nullptr);
        return false;
    }();
    if (failed) throw std::runtime_error("libvips does not start");
    vips_error_clear();
    damaged = false;
}

std::string libraryReason() {
    std::string text = vips_error_buffer();
    vips_error_clear();
    text.resize(std::min(text.find('\n'), text.size()));
    const auto colon = text.find(": ");
    return colon == text.npos || text.find(' ') < colon ? text : text.substr(colon + 2);
}

void checkUndamaged(const path& file) {
    if (damaged) fail(file, "is damaged: its data is corrupt");
}

VImage opened(const path& file, const Limits& limits) {
    startLibrary();
    auto descriptor = std::make_unique<Descriptor>(file);
    return onFile(file, "is damaged", [&] {
        VImage image;
        if (descriptor->isPipe()) {
            constexpr std::uint64_t longestHeader = 64 << 20;
            vips_pipe_read_limit_set(static_cast<gint64>(limits.bytes()));
            VipsSourceCustom* const custom = vips_source_custom_new();
            const vips::VSource source(VIPS_SOURCE(custom));
            auto* const pipe = new Pipe{std::move(descriptor), longestHeader};
            g_signal_connect_data(custom, "read", G_CALLBACK(&Pipe::read), pipe, &Pipe::destroy, {});
            const Kind& kind = kindOf(file, source.get_source());
            if (kind.wantsAll) pipe->left = limits.bytes();
            image = load(kind, source);
            pipe->left = limits.bytes();
            pipe->sized = true;
        } else {
            const auto source = vips::VSource::new_from_descriptor(descriptor->number());  // has its own
            image = load(kindOf(file, source.get_source()), source);
        }
        limits.check(file, static_cast<std::uint64_t>(image.width()),
                     static_cast<std::uint64_t>(image.height()));
        return image;
    });
}

}  // namespace qkz
