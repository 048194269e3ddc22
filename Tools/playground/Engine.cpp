// The playground as JavaScript sees it.
#include <emscripten/bind.h>

#include <utility>

#include "Playground.h"

extern "C" void REALPluginMain(void* (*resolver)(const char*));

namespace {

using emscripten::typed_memory_view;
using emscripten::val;
using namespace qkzhost;

Host& host() {
    static Host theHost{{}};
    return theHost;
}

class Engine {
 public:
    Engine() { host().start(&REALPluginMain); }

    /// Room for `size` bytes of the next picture or file, to be filled before it is added.
    val room(std::size_t size) {
        room_.resize(size);
        return view(room_);
    }
    /// The room holds straight red, green, blue, alpha bytes, row by row.
    void addPicture(const std::string& name, int width, int height, bool alpha) {
        qkzplayground::Image image{width, height, alpha, {}};
        image.argb.reserve(room_.size() / 4);
        for (std::size_t i = 0; i + 3 < room_.size(); i += 4) {
            image.argb.push_back(std::uint32_t{room_[i + 3]} << 24 | std::uint32_t{room_[i]} << 16 |
                                 std::uint32_t{room_[i + 1]} << 8 | room_[i + 2]);
        }
        room_ = {};
        playground_.addPicture(name, std::move(image));
    }
    void addFile(const std::string& name) { playground_.addFile(name, std::exchange(room_, {})); }

    /// The answer's texts; what it holds of pixels and bytes stays until the next run.
    val run(const std::string& picture, const val& calls) {
        answer_ = {};
        answer_ = playground_.run(picture, emscripten::vecFromJSArray<std::string>(calls));
        val result = val::object();
        result.set("printed", val::array(answer_.printed));
        result.set("error", answer_.error);
        if (!answer_.picture) return result;
        const Surface& surface = host().objects.surface(answer_.picture);
        result.set("width", surface.width);
        result.set("height", surface.height);
        result.set("alpha", surface.alpha);
        return result;
    }
    /// Straight red, green, blue, alpha bytes of the answer's picture.
    val rgba() {
        Surface& surface = host().objects.surface(answer_.picture);
        fill(surface);
        surface.toArgb(words_);
        for (std::uint32_t& word : words_) {
            word = (word & 0xFF00FF00) | (word >> 16 & 0xFF) | (word & 0xFF) << 16;
        }
        return val(
            typed_memory_view(words_.size() * 4, reinterpret_cast<const std::uint8_t*>(words_.data())));
    }
    /// The words of the answer's picture as it keeps them; of one without alpha the top byte is 255.
    val words() {
        Surface& surface = host().objects.surface(answer_.picture);
        fill(surface);
        if (!surface.alpha) surface.toArgb(words_);
        return view(words_);
    }
    val string() {
        if (!answer_.string) return val::null();
        const std::string& bytes = *answer_.string;
        return val(typed_memory_view(bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data())));
    }
    std::string declarations() { return playground_.declarations(); }

 private:
    /// A window on memory, which the next call may move: to be copied at once.
    template <class Container>
    static val view(Container& content) {
        return val(typed_memory_view(content.size(), content.data()));
    }

    /// Copies the surface's words.
    void fill(Surface& surface) {
        const auto width = static_cast<std::size_t>(surface.width);
        words_.resize(width * static_cast<std::size_t>(surface.height));
        for (int y = 0; y < surface.height; ++y) {
            surface.read(0, y, surface.width, &words_[static_cast<std::size_t>(y) * width]);
        }
    }

    qkzplayground::Playground playground_{host()};
    qkzplayground::Answer answer_;
    std::vector<std::uint8_t> room_;
    std::vector<std::uint32_t> words_;
};

}  // namespace

EMSCRIPTEN_BINDINGS(playground) {
    emscripten::class_<Engine>("Engine")
        .constructor<>()
        .function("room", &Engine::room)
        .function("addPicture", &Engine::addPicture)
        .function("addFile", &Engine::addFile)
        .function("run", &Engine::run)
        .function("rgba", &Engine::rgba)
        .function("words", &Engine::words)
        .function("string", &Engine::string)
        .function("declarations", &Engine::declarations);
}
