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

/// False when the graphics object has no such drawing method.
template <class Number>
bool drawBy(const hostmethod::DrawPicture<Number>& method, REALgraphicsStruct* graphics,
            REALpictureStruct* source, std::int64_t width, std::int64_t height) {
    auto* const draw = objectMethod(graphics, method);
    if (!draw) return false;
    const auto w = static_cast<Number>(width);
    const auto h = static_cast<Number>(height);
    draw(graphics, source, 0, 0, w, h, 0, 0, w, h);
    return true;
}

/// Takes an opaque picture's mask off and puts it back at scope end, whatever happens until then.
class DetachedMask {
 public:
    explicit DetachedMask(REALpictureStruct* of) : DetachedMask(of, MyREALGetPictureMask(of, false)) {
        // Looked up once: what takes the mask off has to be there to put it back. Should anything throw here,
        // the destructor runs all the same.
        if (mask_) setMask_ = objectMethod(picture_, hostmethod::setMask);
        if (setMask_) setMask_(picture_, nullptr);
    }
    ~DetachedMask() {
        const rbFreeLater guard(mask_);
        if (setMask_) quietly([this] { setMask_(picture_, mask_); });
    }
    DetachedMask(const DetachedMask&) = delete;
    DetachedMask& operator=(const DetachedMask&) = delete;

 private:
    DetachedMask(REALpictureStruct* of, REALpictureStruct* itsMask) : picture_(of), mask_(itsMask) {}

    REALpictureStruct* picture_;
    REALpictureStruct* mask_;
    void (*setMask_)(REALobjectStruct*, REALpictureStruct*) = nullptr;
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
    LogWhenDebugging("set resoluton to", horizontal, vertical);  // compatibility.md#a-misspelled-message
}

bool PictureHasAlphaChannel(REALpictureStruct* picture) {
    bool hasAlpha = false;
    if (REALGetPropValueBoolean(picture, "HasAlphaChannel", &hasAlpha)) return hasAlpha;
    LogWhenDebugging("HasAlphaChannel property not found.");
    return false;
}

REALpictureStruct* MyREALGetPictureMask(REALpictureStruct* picture, bool create) {
    if (HostVersion() > 2020.0) {
        if (auto* const mask = objectMethod(picture, hostmethod::getMask)) return mask(picture, create);
        LogWhenDebugging("No Mask function!?");
    }
    return REALGetPictureMask(picture, create);
}

bool AssignMask(REALpictureStruct* picture, REALpictureStruct* mask) {
    if (!picture) return false;
    if (auto* const setMask = objectMethod(picture, hostmethod::setMask)) setMask(picture, mask);
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
    auto* const construct = objectMethod(picture, hostmethod::constructPicture);
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

bool DrawPictureInto(REALpictureStruct* destination, REALpictureStruct* source, std::int64_t width,
                     std::int64_t height) {
    REALgraphicsStruct* graphics = MyREALGetPictureGraphics(destination);
    if (!graphics) return false;
    const rbFreeLater guard(graphics);
    return drawBy(hostmethod::drawPicture, graphics, source, width, height) ||
           drawBy(hostmethod::drawPictureWhole, graphics, source, width, height);
}

REALpictureStruct* BestRepresentation(REALpictureStruct* picture) {
    auto* const representation = objectMethod(picture, hostmethod::bestRepresentation);
    if (!representation) return nullptr;
    return representation(picture, GetPictureWidth(picture), GetPictureHeight(picture), 4.0);
}
