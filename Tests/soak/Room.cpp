#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "Operations.h"
#include "PictureString.h"
#include "Soak.h"

namespace qkzsoak {
namespace {

template <class Range>
std::string summary(const Range& range) {
    const auto bytes = std::as_bytes(std::span(range));
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return std::to_string(bytes.size()) + " bytes #" + std::to_string(std::hash<std::string_view>{}(text));
}

/// The content, so that values of different hosts can be compared.
std::string described(Host& host, const Value& value) {
    std::ostringstream text;
    if (value.isNil()) return "nil";
    if (value.as<OwnedString>()) return "string of " + summary(host.objects.text(value.string()));
    if (!value.as<OwnedObject>()) return text << value, text.str();
    std::string name(host.objects.classOf(value.object()));
    if (name == "MemoryBlock") return "block of " + summary(host.objects.bytes(value.block()));
    if (name != "Picture" || !host.property(value.object(), "Width")) return name;
    const Image image = readPicture(host, value.picture());
    return text << image << ", " << summary(image.words), text.str();
}

}  // namespace

Room::Room(const Scene& chosen, const std::function<void(Host&)>& prepare)
    : Host(chosen.storage.settings), scene(chosen) {
    faults.allowImport = [this] {
        if (slowImports) usleep(100);
        return faults.succeeds("import");
    };
    faults.answerLock = [this](PictureHandle picture, REALpictureDescription&, bool locked) {
        return locked && !unlockable.contains(picture);
    };
    if (prepare) prepare(*this);
    startPlugin(*this);
    exceptions.take();
    for (const std::string& error : objects.errors()) finding(error);
    for (const Registration& r : registry.registrations()) {
        if (r.name.empty() && r.kind != Registration::method) finding("registers what has no name");
        setProperty(r.name, "Debugging", true);  // the log goes nowhere
    }
    const auto found = std::ranges::find(registry.methods(), scene.function, &Method::text);
    if (found != registry.methods().end()) function = &*found;
}

std::string Room::call(const std::function<void(Arguments&)>& change, std::string_view failing) {
    if (!function) return "";
    Census before = objects.census();
    faults.failedOn = nullptr;
    std::string outcome;
    {
        Arguments arguments(*this);
        if (change) change(arguments);
        arguments.call();
        outcome = arguments.outcome();
        for (const auto& [picture, mask] : arguments.pictures) {
            if (objects.picture(picture).mask != mask && failing != "mask(assignsnewmaskaspicture)") {
                finding("takes a picture's mask away");
            }
        }
    }
    if (!failing.empty()) exceptions.take();  // of a destructor
    void* const unreleased = const_cast<void*>(faults.failedOn);
    if (failing == "realunlockobject") objects.unlock(static_cast<REALobjectStruct*>(unreleased));
    if (failing == "realunlockstring") objects.unlock(static_cast<REALstringStruct*>(unreleased));
    if (failing == "unlockpicturedescription") ++before.errors;  // which is told when the picture dies
    std::ostringstream left;
    left << "leaves " << objects.census() << " of " << before;
    if (objects.census() != before) finding(left.str());
    return outcome;
}

void Room::expect(const std::string& outcome, const std::string& other) {
    if (const std::string found = call(); found != outcome && found != other)
        finding("then gives " + found + " instead of " + outcome);
}

void Room::callChanged(const std::function<void(Arguments&, Random&, std::size_t)>& change) {
    const std::string clean = call();
    const auto truth = faults.answerLock;
    Random random(scene.seed);
    for (std::size_t round = 0; round < 200 && function; ++round) {
        trying("round " + std::to_string(round));
        call([&](Arguments& arguments) { change(arguments, random, round); });
        faults.answerLock = truth;
        expect(clean);
    }
}

Arguments::Arguments(Room& room)
    : parameters(room.function->parameters()),
      room_(room),
      method_(*room.function),
      random_(room.scene.seed),
      like_{room.scene.storage.format, room.scene.storage.alpha} {
    for (const Parameter& p : parameters) values_.push_back({p.type, made(p), p.byref});
}

Arguments::~Arguments() {
    for (const auto& [handle, mask] : pictures) {  // which may hold each other
        Picture& picture = room_.objects.picture(handle);
        picture.mask = picture.representation = nullptr;
        room_.unlockable.erase(handle);
    }
}

OwnedPicture Arguments::picture(const Image& like) {
    OwnedPicture made =
        makePicture(room_, randomImage(random_, like.format, like.alpha, like.width, like.height));
    pictures[made] = nullptr;
    held_.emplace_back(made);
    return made;
}

Value Arguments::made(const Parameter& p) {
    if (p.type == Type::real) return random_.below(17) / 8.0 - 1;
    if (p.type == Type::boolean) return random_.oneIn(2);
    if (p.type == Type::color) return Color{random_.word() & 0xFFFFFF};
    if (p.type == Type::string) {
        return held_.emplace_back(
            room_.objects.newString(packedPicture(randomImage(random_, Format::xrgb, false, 5, 4))));
    }
    if (p.type != Type::object) {
        return p.defaultText && random_.oneIn(2) ? parseLiteral(*p.defaultText, p.type)
                                                 : 1 + random_.below(9);
    }
    if (sameText(p.typeName, "MemoryBlock")) {
        if (p.byref && random_.oneIn(2)) return nullptr;
        std::vector<std::uint8_t> bytes(1024);
        for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random_.word());
        const Value block = room_.objects.newMemoryBlock(bytes);
        return p.byref ? block : held_.emplace_back(block);
    }
    if (sameText(p.typeName, "Picture")) {
        if (like_.width == 0 || random_.oneIn(3)) {
            like_ = like_.blank(1 + random_.below(9), 1 + random_.below(9));
        }
        const OwnedPicture handle = picture(like_);
        Picture& made = room_.objects.picture(handle);
        const std::uint64_t kind = room_.scene.seed % 4;
        if (kind == 3) room_.unlockable.insert(handle);
        if (kind == 2) made.kind = pictureImage;
        if (kind == 2) made.representation = picture(like_);
        if (kind % 2 == 1 && !like_.alpha) {
            made.mask = picture(opaque(like_));
            pictures[handle] = made.mask;
        }
        return handle;
    }
    if (!room_.registry.registration(p.typeName)) return nullptr;
    instance = held_.emplace_back(room_.newInstance(p.typeName)).object();
    room_.setProperty(instance, "SourcePicture", made({.name = "", .typeName = "Picture"}));
    return instance;
}

void Arguments::set(std::size_t index, const Value& value) {
    values_[index].value = value;
    if (!parameters[index].byref) held_.push_back(value);
}

std::string Arguments::outcome() {
    if (const auto result = instance ? room_.property(instance, "DestinationPicture") : std::nullopt) {
        held_.push_back(*result);
    }
    std::string text = described(room_, result_) + ';';
    for (const Argument& a : values_) {
        if (a.byref) text += ' ' + described(room_, a.value);
    }
    for (const Value& value : held_) text += ' ' + described(room_, value);
    if (const auto raised = room_.exceptions.take()) text += ' ' + raised->className + ": " + raised->message;
    return text;
}

}  // namespace qkzsoak
