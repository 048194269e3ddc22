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
    if (value.as<REALstringStruct*>()) return "string of " + summary(host.text(value.string()));
    if (!value.as<REALobjectStruct*>()) return text << value, text.str();
    const std::string name(host.classOf(value.object()));
    if (name == "MemoryBlock") return "block of " + summary(host.bytes(value.block()));
    if (name != "Picture" || !host.property(value.object(), "Width")) return name;
    const Image image = readPicture(host, value.picture());
    return text << image << ", " << summary(image.words), text.str();
}

void release(Host& host, const Value& value) {
    if (const auto* object = value.as<REALobjectStruct*>()) host.unlock(*object);
    if (const auto* string = value.as<REALstringStruct*>()) host.unlock(*string);
}

}  // namespace

Room::Room(const Scene& chosen, const std::function<void(Host&)>& prepare)
    : Host(chosen.storage.settings), scene(chosen) {
    allowImport = [this] {
        if (slowImports) usleep(100);
        return succeeds("import");
    };
    answerLock = [this](PictureHandle picture, REALpictureDescription&, bool locked) {
        return locked && !unlockable.contains(picture);
    };
    if (prepare) prepare(*this);
    startPlugin(*this);
    takeException();
    for (const std::string& error : errors()) finding(error);
    for (const Registration& r : registrations()) {
        if (r.name.empty() && r.kind != Registration::method) finding("registers what has no name");
        setProperty(r.name, "Debugging", true);  // the log goes nowhere
    }
    const auto found = std::ranges::find(methods(), scene.function, &Method::text);
    if (found != methods().end()) function = &*found;
}

std::string Room::call(const std::function<void(Arguments&)>& change, std::string_view failing) {
    if (!function) return "";
    Census before = census();
    failedOn = nullptr;
    std::string outcome;
    {
        Arguments arguments(*this);
        if (change) change(arguments);
        arguments.call();
        outcome = arguments.outcome();
        for (const auto& [picture, itsMask] : arguments.pictures)
            if (mask(picture) != itsMask && failing != "mask(assignsnewmaskaspicture)")
                finding("takes a picture's mask away");
    }
    if (!failing.empty()) takeException();  // of a destructor
    void* const unreleased = const_cast<void*>(failedOn);
    if (failing == "realunlockobject") unlock(static_cast<REALobjectStruct*>(unreleased));
    if (failing == "realunlockstring") unlock(static_cast<REALstringStruct*>(unreleased));
    if (failing == "unlockpicturedescription") before.errors++;  // which is told when the picture dies
    std::ostringstream left;
    left << "leaves " << census() << " of " << before;
    if (census() != before) finding(left.str());
    return outcome;
}

void Room::expect(const std::string& outcome, const std::string& other) {
    if (const std::string found = call(); found != outcome && found != other)
        finding("then gives " + found + " instead of " + outcome);
}

void Room::callChanged(const std::function<void(Arguments&, Random&, std::size_t)>& change) {
    const std::string clean = call();
    const auto truth = answerLock;
    Random random(scene.seed);
    for (std::size_t round = 0; round < 200 && function; round++) {
        trying("round " + std::to_string(round));
        call([&](Arguments& arguments) { change(arguments, random, round); });
        answerLock = truth;
        expect(clean);
    }
}

Arguments::Arguments(Room& room)
    : parameters(room.function->declaration.parameters),
      room_(room),
      method_(*room.function),
      random_(room.scene.seed),
      like_{room.scene.storage.format, room.scene.storage.alpha} {
    if (!method_.selfClass.empty())
        parameters.insert(parameters.begin(), {.name = "self", .typeName = method_.selfClass});
    for (const Parameter& p : parameters) values_.push_back({p.type, made(p), p.byref});
}

Arguments::~Arguments() {
    for (const auto& [picture, mask] : pictures) {  // which may hold each other
        room_.setMask(picture, nullptr);
        room_.setBestRepresentation(picture, nullptr);
        room_.unlockable.erase(picture);
    }
    for (const Argument& variable : values_)
        if (variable.byref) release(room_, variable.value);
    for (const Value& value : held_) release(room_, value);
    release(room_, result_);
}

PictureHandle Arguments::picture(const Image& like) {
    OwnedPicture made =
        makePicture(room_, randomImage(random_, like.format, like.alpha, like.width, like.height));
    room_.lock(made);
    pictures[made] = nullptr;
    return held_.emplace_back(made.get()).picture();
}

Value Arguments::made(const Parameter& p) {
    if (p.type == Type::real) return random_.below(17) / 8.0 - 1;
    if (p.type == Type::boolean) return random_.oneIn(2);
    if (p.type == Type::color) return Color{random_.word() & 0xFFFFFF};
    if (p.type == Type::string)
        return held_.emplace_back(
            room_.newString(packedPicture(randomImage(random_, Format::xrgb, false, 5, 4))));
    if (p.type != Type::object)
        return p.defaultText && random_.oneIn(2) ? parseLiteral(*p.defaultText, p.type)
                                                 : 1 + random_.below(9);
    if (sameText(p.typeName, "MemoryBlock")) {
        if (p.byref && random_.oneIn(2)) return nullptr;
        std::vector<std::uint8_t> bytes(1024);
        for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random_.word());
        const Value block = room_.newMemoryBlock(bytes);
        return p.byref ? block : held_.emplace_back(block);
    }
    if (sameText(p.typeName, "Picture")) {
        if (like_.width == 0 || random_.oneIn(3))
            like_ = like_.blank(1 + random_.below(9), 1 + random_.below(9));
        const PictureHandle made = picture(like_);
        const std::uint64_t kind = room_.scene.seed % 4;
        if (kind == 3) room_.unlockable.insert(made);
        if (kind == 2) room_.setKind(made, pictureImage);
        if (kind == 2) room_.setBestRepresentation(made, picture(like_));
        if (kind % 2 == 0 || like_.alpha) return made;
        room_.setMask(made, pictures[made] = picture(opaque(like_)));
        return made;
    }
    if (!room_.registration(p.typeName)) return nullptr;
    instance = held_.emplace_back(room_.newInstance(p.typeName)).object();
    room_.setProperty(instance, "SourcePicture", made({.name = "", .typeName = "Picture"}));
    return instance;
}

void Arguments::set(std::size_t index, const Value& value) {
    const Value old = std::exchange(values_[index].value, value);
    parameters[index].byref ? release(room_, old) : held_.push_back(value);
}

std::string Arguments::outcome() {
    if (const auto result = instance ? room_.property(instance, "DestinationPicture") : std::nullopt)
        held_.push_back(*result);
    std::string text = described(room_, result_) + ';';
    for (const Argument& a : values_)
        if (a.byref) text += ' ' + described(room_, a.value);
    for (const Value& value : held_) text += ' ' + described(room_, value);
    if (const auto raised = room_.takeException()) text += ' ' + raised->className + ": " + raised->message;
    return text;
}

}  // namespace qkzsoak
