#include "rbpictureUtil.h"

#include <utility>

#include "PluginMain.h"
#include "rbDebug.h"
#include "rbFreeLater.h"

ApplicationKind Application;

namespace {

std::int64_t integerProperty(REALpictureStruct* picture, const char* name) {
    RBInteger value = 0;
    if (!picture || !REALGetPropValueInteger(picture, name, &value)) return 0;
    return value;
}

void setIntegerProperty(REALpictureStruct* picture, const char* name, std::int64_t value) {
    if (picture) REALSetPropValueInteger(picture, name, value);
}

/// The address of an object's method as the given function type, or null.
template <class Function>
Function objectMethod(REALobjectStruct* object, const char* declaration) {
    return reinterpret_cast<Function>(REALLoadObjectMethod(object, declaration));
}

template <class Number>
void callDrawPicture(void* method, REALgraphicsStruct* graphics, REALpictureStruct* source,
                     std::int64_t width, std::int64_t height) {
    using DrawPicture =
        void (*)(REALobjectStruct*, REALpictureStruct*, Number x, Number y, Number destWidth,
                 Number destHeight, Number sourceX, Number sourceY, Number sourceWidth, Number sourceHeight);
    const auto w = static_cast<Number>(width);
    const auto h = static_cast<Number>(height);
    reinterpret_cast<DrawPicture>(method)(graphics, source, 0, 0, w, h, 0, 0, w, h);
}

using SetMask = void (*)(REALobjectStruct*, REALpictureStruct*);

SetMask maskSetter(REALpictureStruct* picture) {
    return objectMethod<SetMask>(picture, "Mask(assigns newMask As Picture)");
}

/// Takes an opaque picture's mask off and puts it back at scope end, whatever happens until then.
class DetachedMask {
 public:
    explicit DetachedMask(REALpictureStruct* of) : DetachedMask(of, MyREALGetPictureMask(of, false)) {
        // Looked up once: what takes the mask off has to be there to put it back. Should anything throw here,
        // the destructor runs all the same.
        if (mask) setMask = maskSetter(picture);
        if (setMask) setMask(picture, nullptr);
    }
    ~DetachedMask() {
        const rbFreeLater guard(mask);
        if (setMask) Quietly([this] { setMask(picture, mask); });
    }
    DetachedMask(const DetachedMask&) = delete;
    DetachedMask& operator=(const DetachedMask&) = delete;

 private:
    DetachedMask(REALpictureStruct* of, REALpictureStruct* itsMask) : picture(of), mask(itsMask) {}

    REALpictureStruct* picture;
    REALpictureStruct* mask;
    SetMask setMask = nullptr;
};

}  // namespace

void CheckApplication() {
    REALclassStruct* const desktop = REALGetClassRef("Application");
    REALclassStruct* const web = REALGetClassRef("WebApplication");
    REALclassStruct* const console = REALGetClassRef("ConsoleApplication");
    if (desktop) {
        Application.desktop = true;
    } else if (web || console) {
        Application.console = true;
    }
    Application.checked = true;
}

void CheckApplicationOnce() {
    if (!Application.checked) CheckApplication();
}

std::int64_t GetPictureWidth(REALpictureStruct* picture) { return integerProperty(picture, "Width"); }
std::int64_t GetPictureHeight(REALpictureStruct* picture) { return integerProperty(picture, "Height"); }
std::int64_t GetPictureVerticalResolution(REALpictureStruct* picture) {
    return integerProperty(picture, "VerticalResolution");
}
std::int64_t GetPictureHorizontalResolution(REALpictureStruct* picture) {
    return integerProperty(picture, "HorizontalResolution");
}
void SetPictureVerticalResolution(REALpictureStruct* picture, std::int64_t value) {
    setIntegerProperty(picture, "VerticalResolution", value);
}
void SetPictureHorizontalResolution(REALpictureStruct* picture, std::int64_t value) {
    setIntegerProperty(picture, "HorizontalResolution", value);
}

void ApplyResolution(REALpictureStruct* source, REALpictureStruct* destination) {
    if (!source || !destination) return;
    const std::int64_t vertical = GetPictureVerticalResolution(source);
    const std::int64_t horizontal = GetPictureHorizontalResolution(source);
    if (vertical < 1 || horizontal < 1) return;
    SetPictureVerticalResolution(destination, vertical);
    SetPictureHorizontalResolution(destination, horizontal);
    LogWhenDebugging("set resoluton to", horizontal, vertical);  // the spelling is deliberate
}

bool PictureHasAlphaChannel(REALpictureStruct* picture) {
    bool hasAlpha = false;
    if (REALGetPropValueBoolean(picture, "HasAlphaChannel", &hasAlpha)) return hasAlpha;
    LogWhenDebugging("HasAlphaChannel property not found.");
    return false;
}

REALpictureStruct* MyREALGetPictureMask(REALpictureStruct* picture, bool create) {
    if (HostVersion() > 2020.0) {
        using Mask = REALpictureStruct* (*)(REALobjectStruct*, RBBoolean);
        if (const auto mask = objectMethod<Mask>(picture, "Mask(create As Boolean = True) As Picture")) {
            return mask(picture, create);
        }
        LogWhenDebugging("No Mask function!?");
    }
    return REALGetPictureMask(picture, create);
}

bool AssignMask(REALpictureStruct* picture, REALpictureStruct* mask) {
    if (!picture) return false;
    if (const SetMask setMask = maskSetter(picture)) setMask(picture, mask);
    return true;
}

REALpictureStruct* MyREALNewPicture(std::int64_t width, std::int64_t height, std::int64_t depth) {
    return width < 1 || height < 1 ? nullptr : REALNewPicture(width, height, depth);
}

REALpictureStruct* NewPictureWithAlphaChannel(std::int64_t width, std::int64_t height) {
    if (width < 1 || height < 1 || HostVersion() < 2011.04) return nullptr;
    auto* picture = static_cast<REALpictureStruct*>(REALnewInstance("Picture"));
    if (!picture) {
        LogWhenDebugging("Failed to allocate picture.");
        return nullptr;
    }
    const rbFreeLater guard(picture);
    using Constructor = void (*)(REALobjectStruct*, RBInteger, RBInteger);
    const auto construct =
        objectMethod<Constructor>(picture, "Constructor(width as integer, height as integer)");
    if (!construct) {
        LogWhenDebugging("Failed to get picture constructor.");
        return nullptr;
    }
    construct(picture, width, height);
    return std::exchange(picture, nullptr);
}

REALpictureStruct* DuplicatePictureWithoutMaskOrAlpha(REALpictureStruct* picture) {
    if (!picture) return nullptr;
    return DuplicatePictureWithoutMaskOrAlpha(picture, GetPictureWidth(picture), GetPictureHeight(picture));
}

REALpictureStruct* DuplicatePictureWithoutMaskOrAlpha(REALpictureStruct* picture, std::int64_t width,
                                                      std::int64_t height) {
    if (width <= 0 || height <= 0 || !picture) return nullptr;
    REALpictureStruct* copy = nullptr;
    const rbFreeLater guard(copy);
    if (PictureHasAlphaChannel(picture)) {
        copy = NewPictureWithAlphaChannel(width, height);
        if (copy) DrawPictureInto(copy, picture, width, height);
    } else {
        const DetachedMask mask(picture);
        copy = MyREALNewPicture(width, height, 32);
        if (copy) DrawPictureInto(copy, picture, width, height);
    }
    ApplyResolution(picture, copy);
    return std::exchange(copy, nullptr);
}

REALpictureStruct* ClonePicture(REALpictureStruct* picture) {
    return DuplicatePictureWithoutMaskOrAlpha(picture);
}

REALgraphicsStruct* MyREALGetPictureGraphics(REALpictureStruct* picture) {
    return REALGetPictureGraphics(picture);
}

// Hosts declare the method with Double numbers, or with whole ones.
#define QKZ_DRAW_PICTURE(number)                                                                  \
    "DrawPicture(image As Picture, x As " number ", y As " number ", destWidth As " number        \
    " = -10000, destHeight As " number " = -10000, sourceX As " number " = 0, sourceY As " number \
    " = 0, sourceWidth As " number " = -10000, sourceHeight As " number " = -10000)"

bool DrawPictureInto(REALpictureStruct* destination, REALpictureStruct* source, std::int64_t width,
                     std::int64_t height) {
    REALgraphicsStruct* graphics = MyREALGetPictureGraphics(destination);
    if (!graphics) return false;
    const rbFreeLater guard(graphics);
    if (void* const draw = REALLoadObjectMethod(graphics, QKZ_DRAW_PICTURE("Double"))) {
        callDrawPicture<double>(draw, graphics, source, width, height);
        return true;
    }
    if (void* const draw = REALLoadObjectMethod(graphics, QKZ_DRAW_PICTURE("Integer"))) {
        callDrawPicture<RBInteger>(draw, graphics, source, width, height);
        return true;
    }
    return false;
}

REALpictureStruct* BestRepresentation(REALpictureStruct* picture) {
    using Representation = REALpictureStruct* (*)(REALobjectStruct*, RBInteger, RBInteger, double);
    const auto representation = objectMethod<Representation>(
        picture, "BestRepresentation(width As Integer, height As Integer, scale As Double) As Picture");
    if (!representation) return nullptr;
    return representation(picture, GetPictureWidth(picture), GetPictureHeight(picture), 4.0);
}
