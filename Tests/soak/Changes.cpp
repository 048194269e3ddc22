// A host that gives extreme arguments, or lies about its pixels; pixels between pages that nobody may touch.
#include <cairo.h>
#include <gd.h>
#include <sys/mman.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <limits>
#include <memory>

#include "Soak.h"

namespace qkzsoak {
namespace {

/// Native pictures that exist for the time of a call.
struct Natives {
    Random& random;
    std::vector<std::shared_ptr<void>> all = {};

    /// A context on the surface, which it takes over.
    cairo_t* context(cairo_surface_t* surface) {
        const std::shared_ptr<cairo_t> context(cairo_create(surface), cairo_destroy);
        cairo_surface_destroy(surface);
        all.push_back(context);
        return context.get();
    }
    /// Memory that touches a forbidden page at its end or at its start.
    std::uint8_t* guarded(int bytes) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE)),
                   size = static_cast<std::size_t>(bytes);
        const std::size_t inside = (size + page - 1) / page * page, whole = inside + 2 * page;
        void* const mapping = mmap(nullptr, whole, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        all.emplace_back(mapping, [whole](void* p) { munmap(p, whole); });
        auto* const start = static_cast<std::uint8_t*>(mapping) + page;
        if (mprotect(start, inside, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
        std::memset(start, random.below(256), inside);
        return start + (random.oneIn(2) ? inside - size : 0);
    }
    gdImage* image(int width, int height) {
        const auto rows = std::make_shared<std::vector<int*>>();
        for (int y = 0; y < height; ++y) rows->push_back(reinterpret_cast<int*>(guarded(width * 4)));
        const auto image = std::make_shared<gdImage>();
        image->sx = width;
        image->sy = height;
        image->trueColor = 1;
        image->tpixels = rows->data();
        all.insert(all.end(), {rows, image});
        return image.get();
    }
};

/// Shows the plug-in another picture: a guarded one of the same size, or as a lie anything at all.
void show(Natives& natives, REALpictureDescription& told, bool lie) {
    Random& random = natives.random;
    const int kind = lie ? random.below(6) : 0;
    const auto size = [&](int truth) {
        return random.of({truth, truth, truth - 1, truth + 1, 2 * truth, 0, -1, 32768, INT_MIN, INT_MAX});
    };
    if (told.nativeType == pictureCairoContext) {
        const int stride = 4 * (told.width + random.below(3));
        cairo_surface_t* surface = cairo_image_surface_create_for_data(
            natives.guarded(stride * told.height), CAIRO_FORMAT_ARGB32, told.width, told.height, stride);
        cairo_t* context = natives.context(surface);
        if (kind == 1) cairo_surface_finish(surface);
        if (kind == 2)
            context = natives.context(cairo_recording_surface_create(CAIRO_CONTENT_COLOR, nullptr));
        if (kind > 2) {  // -1..7: formats that only later versions have, too
            context = natives.context(cairo_image_surface_create(
                static_cast<cairo_format_t>(random.below(9) - 1), size(told.width), size(told.height)));
        }
        told.handle = context;
    } else if (told.nativeType == pictureGDImagePtr) {
        gdImage* const image = natives.image(told.width, told.height);
        if (kind == 1) image->trueColor = 0;
        if (kind == 2) image->tpixels = nullptr;
        if (kind == 3) image->tpixels[random.below(image->sy)] = nullptr;
        if (kind == 4) image->sx = random.of({image->sx - 1, 0, -1, INT_MIN});
        if (kind == 5) image->sy = random.of({image->sy - 1, 0, -1, INT_MIN});
        told.handle = image;
    }
    if (lie && random.oneIn(3)) told.width = size(told.width);
    if (lie && random.oneIn(3)) told.height = size(told.height);
    if (lie && random.oneIn(9)) told.nativeType = random.of({0U, 6U, 10U, 12U});
    if (lie && random.oneIn(9)) told.handle = nullptr;
}

/// What an argument can be at worst; nothing where there is no bad value.
std::optional<Value> extreme(Room& room, Random& random, const Parameter& p, const Arguments& arguments) {
    using Whole = std::numeric_limits<std::int64_t>;
    using Real = std::numeric_limits<double>;
    if (p.type == Type::integer || p.type == Type::int32 || p.type == Type::uint32) {
        return random.of({Whole::min(), Whole::min() + 1, -(1L << 32), -(1L << 31), -1L, 0L, 1L, 1L << 31,
                          1L << 32, 1L << 62, Whole::max()});
    }
    if (p.type == Type::real) {
        return random.of({Real::quiet_NaN(), Real::infinity(), -Real::infinity(), -0.0, Real::max(),
                          -Real::max(), Real::denorm_min(), 2147483648.0});
    }
    const bool isPicture = sameText(p.typeName, "Picture"), isBlock = sameText(p.typeName, "MemoryBlock");
    const int choice = random.below(4);
    if (p.type == Type::string || (choice == 0 && (isPicture || isBlock))) return Value();
    if (isBlock) return room.objects.newMemoryBlock(std::vector<std::uint8_t>(random.of({0U, 255U, 1023U})));
    if (!isPicture) return {};  // nobody calls a method of a class without an instance
    if (choice == 1) return arguments.pictures.begin()->first;
    // The host reads a pixmap row by row over a connection.
    const int longest = room.settings.storage == Storage::pixmap ? 500 : 32767;
    return choice == 2 ? room.newPicture(1, longest) : room.newPicture(longest, 1);
}

}  // namespace

void lieAboutStorage(const Scene& scene) {
    Room room(scene);
    room.callChanged([&](Arguments& arguments, Random& random, std::size_t round) {
        const auto natives = std::make_shared<Natives>(Natives{random});
        const std::size_t trouble = round % 4;  // 1: lies, 2: a lie now and then, 3: pictures in circles
        room.faults.answerLock = [=, &random](PictureHandle, REALpictureDescription& told, bool locked) {
            if (locked) show(*natives, told, trouble == 1 || (trouble == 2 && random.oneIn(2)));
            return locked || (trouble == 2 && random.oneIn(4));
        };
        for (std::size_t i = 0; i < arguments.parameters.size(); ++i) {
            if (arguments.parameters[i].type == Type::integer && random.oneIn(2))
                arguments.set(i, random.coordinate(9));
        }
        for (auto& [picture, mask] : arguments.pictures) {
            if (trouble != 3) break;
            const OwnedPicture itself = OwnedPicture::shared(picture);
            if (random.oneIn(2)) room.objects.picture(picture).mask = itself, mask = picture;
            if (random.oneIn(2)) room.objects.picture(picture).kind = pictureImage;
            room.objects.picture(picture).representation = itself;
        }
    });
}

void giveExtremes(const Scene& scene) {
    Room room(scene);
    room.callChanged([&](Arguments& arguments, Random& random, std::size_t round) {
        const std::vector<Parameter>& parameters = arguments.parameters;
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            if (round % parameters.size() == i || random.oneIn(3)) {
                if (const auto value = extreme(room, random, parameters[i], arguments))
                    arguments.set(i, *value);
            }
        }
        if (!arguments.instance) return;
        for (const RegisteredProperty& p :
             room.registry.registration(room.objects.classOf(arguments.instance))->properties) {
            if (const Type type = typeNamed(p.type); type != Type::object && random.oneIn(3)) {
                room.setProperty(arguments.instance, p.name,
                                 *extreme(room, random, {p.name, p.type, type}, arguments));
            }
        }
    });
}

}  // namespace qkzsoak
