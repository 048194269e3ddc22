// The small real host by itself.
#include <gtest/gtest.h>

#include "Encoding.h"
#include "Host.h"

namespace {

using namespace qkzhost;

// A plug-in of a few lines, linked into the process.

void* (*resolver)(const char*);
template <class Signature>
Signature* offered(const HostFunctionType<Signature>& type) {
    return reinterpret_cast<Signature*>(resolver(type.name));
}

template <class Signature>
Signature* methodOf(REALobjectStruct* object, const HostFunctionType<Signature>& type) {
    return reinterpret_cast<Signature*>(offered(service::REALLoadObjectMethod)(object, type.name));
}

struct CounterData {
    std::int64_t count;
    double factor;
    REALobjectStruct* held;
};
REALclassDefinition counterClass;
CounterData& counter(REALobjectStruct* self) {
    return *reinterpret_cast<CounterData*>(reinterpret_cast<char*>(self) + counterClass.forSystemUse);
}
void construct(REALobjectStruct* self) { counter(self).count += 5; }
void destruct(REALobjectStruct* self) {
    if (counter(self).held) offered(service::REALUnlockObject)(counter(self).held);
}
double getFactor(REALobjectStruct* self, std::int64_t param) {
    return counter(self).factor + static_cast<double>(param);
}
void setFactor(REALobjectStruct* self, std::int64_t, double value) { counter(self).factor = value; }
double at(REALobjectStruct* self, std::uint32_t place) { return counter(self).factor * place; }
void setAt(REALobjectStruct* self, std::uint32_t place, double value) {
    counter(self).factor = value / place;
}

double mix(std::int64_t a, std::int32_t b, double c, RBBoolean d, RBColor e) {
    return static_cast<double>(a) + b + c + d + e;
}
RBBoolean exchange(REALobjectStruct* self, std::int64_t* number, REALmemoryBlockStruct** block) {
    *number = -*number;
    *block = static_cast<REALmemoryBlockStruct*>(offered(service::PluginNewInstance)("MemoryBlock"));
    methodOf(*block, hostmethod::constructMemoryBlock)(*block, 3);
    return self != nullptr;
}
void raiseText(REALstringStruct* text) {
    REALobjectStruct* exception = offered(service::PluginNewInstance)("RuntimeException");
    offered(service::REALSetPropValueString)(exception, "Message", text);
    offered(service::RuntimeRaiseException)(exception);
    offered(service::REALUnlockObject)(exception);
}

void* function(auto* f) { return reinterpret_cast<void*>(f); }

void pluginMain(void* (*given)(const char*)) {
    resolver = given;
    void* const direct = reinterpret_cast<void*>(REALstandardAccessor);
    static REALproperty properties[] = {
        {.name = "Count", .type = "Integer", .getter = direct, .setter = direct, .param = 0},
        {.name = "Factor",
         .type = "Double",
         .getter = function(getFactor),
         .setter = function(setFactor),
         .param = 7},
        {.name = "Held",
         .type = "Picture",
         .getter = direct,
         .setter = direct,
         .param = offsetof(CounterData, held)}};
    static REALmethodDefinition methods[] = {{.function = function(at),
                                              .setterFunction = function(setAt),
                                              .declaration = "At(place as UInt32) as double"}};
    counterClass = {.name = "Counter",
                    .dataSize = sizeof(CounterData),
                    .constructor = function(construct),
                    .destructor = function(destruct),
                    .properties = properties,
                    .propertyCount = 3,
                    .methods = methods,
                    .methodCount = 1};
    offered(service::PluginRegisterClass)(&counterClass);
    static REALmethodDefinition globals[] = {
        {.function = function(mix),
         .declaration = "Mix(a as integer,b as Int32 = -3, c as double=0.25,d as boolean = true,e as "
                        "color=&c000100) as double"},
        {.function = function(exchange),
         .declaration =
             "Exchange(extends ref as Picture, byref n as integer, byref block as memoryblock) as boolean"},
        {.function = function(raiseText), .declaration = "Raise(text as String)"}};
    static REALmoduleDefinition module{.name = "Fakes", .methods = globals, .methodCount = 3};
    offered(service::PluginRegisterModule)(&module);
}

TEST(Declaration, IsReadAndWritten) {
    const std::pair<const char*, const char*> cases[] = {
        {"Plain", "Plain"},
        {"Has as boolean", "Has as boolean"},
        {"F(left as integer,top as Integer) as picture", "F(left as integer, top as Integer) as picture"},
        {"F\t()", "F"},
        {"F\nas\tboolean", "F as boolean"},
        {"F(extends ref as Picture, ) as picture", "Picture.F as picture"},
        {"F(byref x as integer, c as color=&c203F4E, d as integer = -1)",
         "F(byref x as integer, c as color = &c203F4E, d as integer = -1)"},
        {"F(extends ref as Picture, swap as boolean, assigns value as picture)",
         "Picture.F(swap as boolean) = value as picture"}};
    Host host;
    std::vector<REALmethodDefinition> rows;
    for (const auto& [declared, shown] : cases)
        rows.push_back({.function = function(raiseText), .declaration = declared});
    REALmoduleDefinition module{.name = "M", .methods = rows.data(), .methodCount = rows.size()};
    host.start([](void* (*given)(const char*)) { resolver = given; });
    offered(service::PluginRegisterModule)(&module);
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(host.registry.methods().at(i).text(), cases[i].second);
    for (const char* wrong : {"", "F(a as integer", "F(a)", "F(a as)", "F nonsense"})
        EXPECT_THROW(parseDeclaration(wrong), std::invalid_argument) << wrong;
}

TEST(Host, CallsWithDefaultsReferencesAndAssignment) {
    Host host;
    host.start(pluginMain);
    const Census before = host.objects.census();
    EXPECT_EQ(host.call("mix", {1}), Value(1 - 3 + 0.25 + 1 + 256));
    EXPECT_EQ(host.call("Mix", {std::int64_t{1} << 40, 2, 3, false, Color{4}}), Value(0x1p40 + 9));
    EXPECT_THROW(host.call("Mix", {1, 1.5}), std::invalid_argument);
    EXPECT_THROW(host.call("Mix", {}), std::invalid_argument);
    {
        const Owned picture(host.newPicture(2, 2));
        Value number = 6, block;
        EXPECT_EQ(host.call("Exchange", {picture, &number, &block}), Value(true));
        EXPECT_EQ(number, Value(-6));
        EXPECT_EQ(host.objects.bytes(block.block()).size(), 3u);
        EXPECT_THROW(host.call("Exchange", {block, &number, &block}), std::invalid_argument);

        const Owned instance(host.newInstance("counter"));
        EXPECT_EQ(host.property(instance, "Count"), Value(5));
        EXPECT_TRUE(host.setProperty(instance, "factor", 2));
        EXPECT_EQ(host.property(instance, "Factor"), Value(9.0));
        EXPECT_EQ(host.call("At", {instance, 3}), Value(6.0));
        host.assign("At", {instance, 2}, 5.0);
        EXPECT_EQ(host.property(instance, "Factor"), Value(9.5));
        EXPECT_TRUE(host.setProperty(instance, "Held", picture.get()));  // the destructor releases it
        EXPECT_FALSE(host.setProperty(instance, "Held", instance.get()));
        EXPECT_FALSE(host.setProperty(instance, "Missing", 1));
    }
    host.call("Raise", {"Grüße"});
    EXPECT_EQ(host.exceptions.take(), (RaisedException{"RuntimeException", "Grüße", 0}));
    EXPECT_EQ(host.exceptions.take(), std::nullopt);
    EXPECT_EQ(host.objects.census(), before);
}

TEST(Host, FindsMisuseOfHandlesAndLocks) {
    Host host;
    host.start(pluginMain);
    auto errors = [&host, seen = 0l]() mutable {
        return host.objects.census().errors - std::exchange(seen, host.objects.census().errors);
    };
    REALpictureStruct* picture = host.newPicture(3, 3).release();
    REALstringStruct* string = host.objects.newString("x").release();
    offered(service::unlockPictureDescription)(picture);
    EXPECT_EQ(errors(), 1) << "unlocked without a lock";
    offered(service::REALLockString)(reinterpret_cast<REALstringStruct*>(picture));
    offered(service::REALLockObject)(reinterpret_cast<REALobjectStruct*>(string));
    EXPECT_EQ(errors(), 2) << "an object is no string, a string no object";
    REALpictureDescription description;
    const auto lock = offered(service::REALLockPictureDescription);
    EXPECT_FALSE(lock(picture, &description, pictureGDImagePtr));
    EXPECT_TRUE(lock(picture, &description, pictureCairoContext));
    EXPECT_EQ(host.objects.census().descriptionLocks, 1);
    host.objects.unlock(picture);
    EXPECT_EQ(errors(), 1) << "died while locked";
    host.objects.unlock(picture);
    offered(service::REALLockObject)(picture);
    EXPECT_EQ(errors(), 2) << "used after its end";
    REALstringData data{};
    EXPECT_TRUE(offered(service::PluginGetStringData)(string, REALencodingUTF16, &data));
    EXPECT_EQ(std::string(data.data, data.length), std::string("x\0", 2));
    EXPECT_EQ(host.objects.census().stringData, 1);
    for (int i = 0; i < 2; ++i) offered(service::PluginDisposeStringData)(&data);
    EXPECT_EQ(errors(), 1) << "disposed twice";
    host.objects.unlock(string);
    EXPECT_EQ(host.objects.census().strings + host.objects.census().objects, 0);
}

TEST(Host, MayDieBeforeItsObjects) {
    OwnedPicture held;
    {
        Host host;
        held = host.newPicture(2, 2);
        const OwnedPicture other = host.newPicture(2, 2);
        host.objects.picture(held).mask = other;
        host.objects.picture(other).mask = held;
    }
    EXPECT_THROW(Host::current(), std::logic_error);
}

TEST(Host, LeavesOutAndFailsServices) {
    Host host;
    host.start(pluginMain);
    host.faults.omit("newPicture");
    EXPECT_EQ(resolver("newPicture"), nullptr);
    host.faults.offer("newPicture");
    host.faults.failCall("newPicture", 2);
    const auto make = offered(service::newPicture);
    for (const bool made : {true, false, true}) {
        const Owned picture(make(2, 2, 32));
        EXPECT_EQ(picture.get() != nullptr, made);
        if (!made) continue;
        host.faults.omit(hostmethod::setMask.name);
        EXPECT_EQ(methodOf(picture, hostmethod::setMask), nullptr);
    }
    EXPECT_EQ(host.faults.asked("newPicture"), 2);
    EXPECT_EQ(host.faults.called("newPicture"), 3);
    host.faults.omit("Counter");
    EXPECT_EQ(host.newInstance("Counter"), nullptr);
}

TEST(Encoding, Converts) {
    const struct {
        std::uint32_t from, to;
        std::string bytes;
        std::optional<std::string> result;
    } cases[] = {{REALencodingUTF8, REALencodingUTF16, "é€", std::string("\xE9\0\xAC\x20", 4)},
                 {REALencodingUTF16, REALencodingUTF8, std::string("\x3D\xD8\x00\xDE", 4), "😀"},
                 {REALencodingASCII, REALencodingUTF32, "A", std::string("A\0\0\0", 4)},
                 {REALencodingUTF8, REALencodingASCII, "é", std::nullopt},
                 {REALencodingUTF8, REALencodingUTF16, "\xFF", std::nullopt},
                 {REALencodingUnknown, REALencodingUTF16, "\xFF", "\xFF"},
                 {REALencodingUTF8, 0x1234, "A", std::nullopt}};
    for (const auto& c : cases) EXPECT_EQ(convert(c.bytes, c.from, c.to), c.result) << c.bytes;
}

TEST(Surface, WordsKeepTheirColors) {
    for (const Storage storage : {Storage::cairo, Storage::gd}) {
        for (const bool alpha : {false, true}) {
            const auto surface = Surface::create(storage, 3, 2, alpha, 8);
            ASSERT_TRUE(surface);
            for (std::uint32_t a = 0; a < 256; ++a) {
                // Stored, read as a straight colour and stored again, a word is the same.
                const std::uint32_t stored = surface->fromArgb(a << 24 | 0xFF8003);
                EXPECT_EQ(surface->fromArgb(surface->toArgb(stored)), stored) << a;
            }
        }
    }
    const auto wide = Surface::create(Storage::cairo, 3, 2, true, 8);
    EXPECT_EQ(wide->rowBytes(), 20);
    EXPECT_EQ(wide->fromArgb(0x80FF8000), 0x80804000u);
    EXPECT_EQ(Surface::create(Storage::gd, 3, 2, true, 0)->fromArgb(0x00000000), 0x7F000000u);
    EXPECT_EQ(Surface::create(Storage::cairo, 40000, 1, false, 0), nullptr);
}

TEST(Surface, DrawsThroughAMaskAndScaled) {
    std::vector<Storage> storages{Storage::cairo, Storage::gd};
    if (pixmapObstacle().empty()) storages.push_back(Storage::pixmap);
    for (const Storage storage : storages) {
        Host host({.storage = storage});
        host.start(pluginMain);
        const std::vector<std::uint32_t> colors{0xFF112233, 0xFF445566, 0xFF778899, 0xFFAABBCC};
        const std::vector<std::uint32_t> masking{0xFF000000, 0xFFFFFFFF, 0xFF000000, 0xFF000000};
        const Owned source(host.newPicture(2, 2, false, colors));
        const Owned mask(host.newPicture(2, 2, false, masking));
        const Owned target(host.newPicture(5, 4));
        host.objects.picture(source).mask = mask;
        const Owned graphics(offered(service::pluginPictureGraphicsGetter)(target));
        const auto draw = methodOf(graphics, hostmethod::drawPicture);
        ASSERT_NE(draw, nullptr);
        draw(graphics, source, 1, 1, -10000, -10000, 0, 0, -10000, -10000);
        draw(graphics, source, 3, -1, 4, 4, 0, 1, 1, 1);
        const auto color = [&](int x, int y) { return host.objects.surface(target).word(x, y) & 0xFFFFFF; };
        EXPECT_EQ(color(0, 0), 0u);
        EXPECT_EQ(color(1, 1), 0x112233u);
        EXPECT_EQ(color(2, 1), 0u) << "masked out";
        EXPECT_EQ(color(2, 2), 0xAABBCCu);
        EXPECT_EQ(color(4, 0), 0x778899u);
        EXPECT_EQ(color(4, 3), 0u);
    }
}

}  // namespace
