// The small real host by itself, and the command line on top of it.
#include <gd.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>

#include <jpeglib.h>  // wants the size_t and FILE of the headers above

#include "Encoding.h"
#include "Host.h"
#include "PictureFiles.h"

namespace {

using namespace qkzhost;
using std::filesystem::path;

// ---- a plug-in of a few lines, linked into the process

template <class F>
F* service(const char* name);
void* (*resolver)(const char*);
template <class F>
F* service(const char* name) {
    return reinterpret_cast<F*>(resolver(name));
}
template <class F>
F* method(REALobjectStruct* object, const char* declaration) {
    return reinterpret_cast<F*>(
        service<void*(REALobjectStruct*, const char*)>("REALLoadObjectMethod")(object, declaration));
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
    if (counter(self).held) service<void(REALobjectStruct*)>("REALUnlockObject")(counter(self).held);
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
    *block = static_cast<REALmemoryBlockStruct*>(
        service<REALobjectStruct*(const char*)>("PluginNewInstance")("MemoryBlock"));
    method<void(REALobjectStruct*, std::int64_t)>(*block, "Constructor(bytes as Integer)")(*block, 3);
    return self != nullptr;
}
void raiseText(REALstringStruct* text) {
    REALobjectStruct* exception =
        service<REALobjectStruct*(const char*)>("PluginNewInstance")("RuntimeException");
    service<RBBoolean(REALobjectStruct*, const char*, REALstringStruct*)>("REALSetPropValueString")(
        exception, "Message", text);
    service<void(REALobjectStruct*)>("RuntimeRaiseException")(exception);
    service<void(REALobjectStruct*)>("REALUnlockObject")(exception);
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
    service<void(REALclassDefinition*)>("PluginRegisterClass")(&counterClass);
    static REALmethodDefinition globals[] = {
        {.function = function(mix),
         .declaration = "Mix(a as integer,b as Int32 = -3, c as double=0.25,d as boolean = true,e as "
                        "color=&c000100) as double"},
        {.function = function(exchange),
         .declaration =
             "Exchange(extends ref as Picture, byref n as integer, byref block as memoryblock) as boolean"},
        {.function = function(raiseText), .declaration = "Raise(text as String)"}};
    static REALmoduleDefinition module{.name = "Fakes", .methods = globals, .methodCount = 3};
    service<void(REALmoduleDefinition*)>("PluginRegisterModule")(&module);
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
    service<void(REALmoduleDefinition*)>("PluginRegisterModule")(&module);
    for (std::size_t i = 0; i < std::size(cases); i++)
        EXPECT_EQ(host.methods().at(i).text(), cases[i].second);
    for (const char* wrong : {"", "F(a as integer", "F(a)", "F(a as)", "F nonsense"})
        EXPECT_THROW(parseDeclaration(wrong), std::invalid_argument) << wrong;
}

TEST(Host, CallsWithDefaultsReferencesAndAssignment) {
    Host host;
    host.start(pluginMain);
    const Census before = host.census();
    EXPECT_EQ(host.call("mix", {1}), Value(1 - 3 + 0.25 + 1 + 256));
    EXPECT_EQ(host.call("Mix", {std::int64_t{1} << 40, 2, 3, false, Color{4}}), Value(0x1p40 + 9));
    EXPECT_THROW(host.call("Mix", {1, 1.5}), std::invalid_argument);
    EXPECT_THROW(host.call("Mix", {}), std::invalid_argument);
    {
        const Owned picture(host, host.newPicture(2, 2));
        Value number = 6, block;
        EXPECT_EQ(host.call("Exchange", {picture.get(), &number, &block}), Value(true));
        EXPECT_EQ(number, Value(-6));
        EXPECT_EQ(host.bytes(block.block()).size(), 3u);
        EXPECT_THROW(host.call("Exchange", {block.object(), &number, &block}), std::invalid_argument);
        host.unlock(block.object());

        const Owned instance(host, host.newInstance("counter"));
        EXPECT_EQ(host.property(instance, "Count"), Value(5));
        EXPECT_TRUE(host.setProperty(instance, "factor", 2));
        EXPECT_EQ(host.property(instance, "Factor"), Value(9.0));
        EXPECT_EQ(host.call("At", {instance.get(), 3}), Value(6.0));
        host.assign("At", {instance.get(), 2}, 5.0);
        EXPECT_EQ(host.property(instance, "Factor"), Value(9.5));
        EXPECT_TRUE(host.setProperty(instance, "Held", picture.get()));  // the destructor releases it
        EXPECT_FALSE(host.setProperty(instance, "Held", instance.get()));
        EXPECT_FALSE(host.setProperty(instance, "Missing", 1));
    }
    host.call("Raise", {"Grüße"});
    EXPECT_EQ(host.takeException(), (RaisedException{"RuntimeException", "Grüße", 0}));
    EXPECT_EQ(host.takeException(), std::nullopt);
    EXPECT_EQ(host.census(), before);
}

TEST(Host, FindsMisuseOfHandlesAndLocks) {
    Host host;
    host.start(pluginMain);
    auto errors = [&host, seen = 0l]() mutable {
        return host.census().errors - std::exchange(seen, host.census().errors);
    };
    REALpictureStruct* picture = host.newPicture(3, 3);
    REALstringStruct* string = host.newString("x");
    service<void(REALpictureStruct*)>("unlockPictureDescription")(picture);
    EXPECT_EQ(errors(), 1) << "unlocked without a lock";
    service<void(REALstringStruct*)>("REALLockString")(reinterpret_cast<REALstringStruct*>(picture));
    service<void(REALstringStruct*)>("REALLockObject")(string);
    EXPECT_EQ(errors(), 2) << "an object is no string, a string no object";
    REALpictureDescription description;
    const auto lock = service<RBBoolean(REALpictureStruct*, REALpictureDescription*, std::uint32_t)>(
        "REALLockPictureDescription");
    EXPECT_FALSE(lock(picture, &description, pictureGDImagePtr));
    EXPECT_TRUE(lock(picture, &description, pictureCairoContext));
    EXPECT_EQ(host.census().descriptionLocks, 1);
    host.unlock(picture);
    EXPECT_EQ(errors(), 1) << "died while locked";
    host.unlock(picture);
    service<void(REALobjectStruct*)>("REALLockObject")(picture);
    EXPECT_EQ(errors(), 2) << "used after its end";
    REALstringData data{};
    EXPECT_TRUE(service<RBBoolean(REALstringStruct*, std::uint32_t, REALstringData*)>("PluginGetStringData")(
        string, REALencodingUTF16, &data));
    EXPECT_EQ(std::string(data.data, data.length), std::string("x\0", 2));
    EXPECT_EQ(host.census().stringData, 1);
    for (int i = 0; i < 2; i++) service<void(REALstringData*)>("PluginDisposeStringData")(&data);
    EXPECT_EQ(errors(), 1) << "disposed twice";
    host.unlock(string);
    EXPECT_EQ(host.census().strings + host.census().objects, 0);
}

TEST(Host, LeavesOutAndFailsServices) {
    Host host;
    host.start(pluginMain);
    host.omit("newPicture");
    EXPECT_EQ(resolver("newPicture"), nullptr);
    host.offer("newPicture");
    host.failCall("newPicture", 2);
    const auto make = service<REALpictureStruct*(std::int64_t, std::int64_t, std::int64_t)>("newPicture");
    for (const bool made : {true, false, true}) {
        const Owned picture(host, make(2, 2, 32));
        EXPECT_EQ(picture.get() != nullptr, made);
        if (!made) continue;
        host.omit("Mask(assigns newMask As Picture)");
        EXPECT_EQ(method<void()>(picture, "Mask(assigns newMask As Picture)"), nullptr);
    }
    EXPECT_EQ(host.asked("newPicture"), 2);
    EXPECT_EQ(host.called("newPicture"), 3);
    host.omit("Counter");
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
    for (const Storage storage : {Storage::cairo, Storage::gd})
        for (const bool alpha : {false, true}) {
            const auto surface = Surface::create(storage, 3, 2, alpha, 8);
            ASSERT_TRUE(surface);
            for (std::uint32_t a = 0; a < 256; a++) {
                // Stored, read as a straight colour and stored again, a word is the same.
                const std::uint32_t stored = surface->fromArgb(a << 24 | 0xFF8003);
                EXPECT_EQ(surface->fromArgb(surface->toArgb(stored)), stored) << a;
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
        const Owned source(host, host.newPicture(2, 2, false, colors));
        const Owned mask(host, host.newPicture(2, 2, false, masking));
        const Owned target(host, host.newPicture(5, 4));
        host.setMask(source, mask);
        const Owned graphics(
            host, service<REALobjectStruct*(REALpictureStruct*)>("pluginPictureGraphicsGetter")(target));
        const auto draw =
            method<void(REALobjectStruct*, REALpictureStruct*, double, double, double, double, double, double,
                        double, double)>(graphics,
                                         "DrawPicture(image As Picture, x As Double, y As Double, destWidth "
                                         "As Double = -10000, destHeight As Double = "
                                         "-10000, sourceX As Double = 0, sourceY As Double = 0, sourceWidth "
                                         "As Double = -10000, sourceHeight As Double = -10000)");
        ASSERT_NE(draw, nullptr);
        draw(graphics, source, 1, 1, -10000, -10000, 0, 0, -10000, -10000);
        draw(graphics, source, 3, -1, 4, 4, 0, 1, 1, 1);
        const auto color = [&](int x, int y) { return host.word(target, x, y) & 0xFFFFFF; };
        EXPECT_EQ(color(0, 0), 0u);
        EXPECT_EQ(color(1, 1), 0x112233u);
        EXPECT_EQ(color(2, 1), 0u) << "masked out";
        EXPECT_EQ(color(2, 2), 0xAABBCCu);
        EXPECT_EQ(color(4, 0), 0x778899u);
        EXPECT_EQ(color(4, 3), 0u);
    }
}

// ---- the command line

struct Outcome {
    int status;
    std::string text;  // of both outputs
};

Outcome qkz(const std::string& arguments, const std::string& before = "", const std::string& after = "2>&1") {
    FILE* pipe = popen((before + "\"" QKZ_BINARY "\" " + arguments + ' ' + after).c_str(), "r");
    Outcome outcome{};
    for (int c; (c = std::fgetc(pipe)) != EOF;) outcome.text += static_cast<char>(c);
    const int status = pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

/// A JPEG file of noise, 64 x 48 pixels.
std::string jpegFile(J_COLOR_SPACE space, bool adobeMarker, bool progressive) {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors;
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    std::uint8_t* made = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &made, &size);
    jpeg.image_width = 64;
    jpeg.image_height = 48;
    jpeg.in_color_space = space;
    jpeg.input_components = space == JCS_CMYK ? 4 : 3;
    jpeg_set_defaults(&jpeg);
    jpeg.write_Adobe_marker = adobeMarker;
    if (progressive) jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    std::mt19937 random;
    for (JSAMPLE row[256], *rows[] = {row}; jpeg.next_scanline < 48; jpeg_write_scanlines(&jpeg, rows, 1))
        for (JSAMPLE& sample : row) sample = static_cast<JSAMPLE>(random());
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    const std::string result(reinterpret_cast<char*>(made), size);
    std::free(made);
    return result;
}

class Qkz : public testing::Test {
 protected:
    void SetUp() override {
        std::filesystem::create_directories(folder);
        for (int i = 0; i < 12; i++)
            photo.argb.push_back(0xFF000000u | static_cast<std::uint32_t>(i * 0x050A14));
        writePng(photo, in);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    /// A command that ends with the status and tells the text.
    void fails(const std::string& arguments, const std::string& text, int status = 2,
               const std::string& before = "") const {
        const Outcome outcome = qkz(arguments + plugin, before);
        EXPECT_EQ(outcome.status, status) << arguments;
        EXPECT_NE(outcome.text.find(text), std::string::npos) << arguments << '\n' << outcome.text;
    }

    const path folder = path(testing::TempDir()) / ("qkz" + std::to_string(getpid()));
    const path in = folder / "in.png", out = folder / "out.png";
    const std::string plugin = " --plugin \"" QKZ_PLUGIN "\" ";
    Image photo{4, 3, false, {}};
};

TEST_F(Qkz, RunsCallsOneAfterTheOther) {
    for (const char* storage : {"cairo", "gd"}) {
        const std::string run =
            "run " + in.string() + plugin + "--storage " + storage + " -o " + out.string();
        EXPECT_EQ(qkz(run + " 'InvertQKZ(1, 1, 2, 9223372036854775807)'").status, 0);
        Image expected = photo;
        for (std::size_t i = 0; i < 12; i++)
            expected.argb[i] =
                i % 4 == 1 || i % 4 == 2 ? i < 4 ? 0xFF000000 : photo.argb[i] ^ 0xFFFFFF : 0xFF000000;
        EXPECT_EQ(readImage(out).argb, expected.argb) << storage;
        EXPECT_EQ(qkz(run + " InvertQKZ 'invertqkz (\n0,0\t,-1,-1 )'").status, 0);
        EXPECT_EQ(readImage(out).argb, photo.argb) << storage;
    }
}

TEST_F(Qkz, KeepsAlpha) {
    photo.alpha = true;
    photo.argb[0] = 0x80FF4000;
    writePng(photo, in);
    EXPECT_EQ(qkz("run " + in.string() + plugin + "InvertQKZ InvertQKZ -o " + out.string()).status, 0);
    EXPECT_TRUE(readImage(out).alpha);
    EXPECT_EQ(readImage(out).argb[0] >> 24, 0x80u);
    EXPECT_EQ(readImage(out).argb[5], photo.argb[5]);
    EXPECT_EQ(qkz("info " + in.string() + plugin).text,
              "4 x 3 pixels, with alpha channel, Cairo, 72 x 72 dpi\n");
}

TEST_F(Qkz, ReadsJpegAsGdDoes) {
    for (const unsigned kind : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u}) {
        std::string file = jpegFile(kind & 4 ? JCS_CMYK : JCS_RGB, kind & 2, kind & 1);
        const auto read = [&](std::size_t size) {
            return readImage("a.jpg", {reinterpret_cast<const std::uint8_t*>(file.data()), size}).argb;
        };
        const gdImagePtr gd = gdImageCreateFromJpegPtr(static_cast<int>(file.size()), file.data());
        std::vector<std::uint32_t> expected;
        for (int i = 0; i < 64 * 48; i++)
            expected.push_back(0xFF000000u | static_cast<std::uint32_t>(gd->tpixels[i / 64][i % 64]));
        gdImageDestroy(gd);
        EXPECT_EQ(read(file.size()), expected) << kind;
        EXPECT_THROW(read(file.size() / 2), std::runtime_error) << kind;
        file.insert(file.size() - 2, "stray");  // some cameras do
        EXPECT_EQ(read(file.size()), expected) << kind;
    }
}

TEST_F(Qkz, RefusesSizesThatTheDataCannotHold) {
    using namespace std::string_literals;
#ifdef QKZ_SANITIZED
    const std::string littleMemory;  // the sanitizers' own counts, too
#else
    const std::string littleMemory = "ulimit -v 400000; ";
#endif
    const auto png = [](const std::string& header) {
        return "\x89PNG\r\n\x1a\n\0\0\0\rIHDR"s + header + "\0\0\0\x08IDAT12345678"s;
    };
    std::string jpeg = jpegFile(JCS_RGB, false, false);
    const std::size_t frame = jpeg.find("\xFF\xC0");
    jpeg.replace(frame + 5, 4, "\x17\x70\x75\x30");
    const std::string tooShort = "too short for 30000 x 6000 pixels";
    const auto refuses = [&](const char* name, const std::string& bytes, const std::string& text,
                             const std::string& options = "") {
        writeFile(folder / name, bytes.data(), bytes.size());
        fails("info " + (folder / name).string() + options, text, 2, littleMemory);
    };
    refuses("a.png", png("\0\0\x75\x30\0\0\x17\x70\x08\2\0\0\0\xfa\x34\x38\x4d"s), tooShort);
    refuses("a.jpg", jpeg, tooShort);
    refuses("a.jpg", jpeg.replace(frame, 2, "\xFF\xC9"), tooShort);  // arithmetic codes
    refuses("a.ppic", "PPIC\0\0\0\x28\0\0\x75\x30\0\0\x17\x70"s, tooShort);
    refuses("a.png", png("\0\0\x80\0\0\0\0\1\x08\0\0\0\0\xa2\x5d\xc5\xf4"s), "longer than 32767 pixels");
    const std::string large = png("\0\0\x4e\x20\0\0\x27\x11\1\0\0\0\0\x1a\x03\xa6\xaa"s);
    refuses("a.png", large, "20000 x 10001 pixels are more than 200000000; --max-pixels allows more");
    refuses("a.png", large, "too short for 20000 x 10001 pixels", " --max-pixels 200020000");
}

TEST_F(Qkz, ReadsNoFurtherThanItMust) {
    for (const auto& [name, start, reason] : {std::tuple{"a.ppic", path(), "not a packed picture"},
                                              {"a.png", path(), "neither a PNG nor a JPEG"},
                                              {"b.png", in, "longer than 67108960 bytes"}}) {
        const std::string fifo = (folder / name).string();
        ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
        fails("info --max-pixels 12 " + fifo, reason, 2,
              "yes | head -c 99999999 | cat " + start.string() + " - >" + fifo + " & ");
    }
}

TEST_F(Qkz, ReplacesAFileWholeOrNotAtAll) {
    const path link = folder / "link", dangling = folder / "dangling", made = folder / "made";
    create_symlink(path("in.png"), link);
    create_symlink(path("made"), dangling);
    permissions(in, std::filesystem::perms(0604));
    const auto old = readFile(in);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full{0, before.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    for (const path& target : {in, link, dangling}) {
        std::string reason;
        setrlimit(RLIMIT_FSIZE, &full);
        try {
            writePng({1, 1, false, {0}}, target);
        } catch (const std::runtime_error& error) {
            reason = error.what();
        }
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(reason, target.string() + ": File too large");
    }
    EXPECT_EQ(readFile(in), old);
    EXPECT_FALSE(exists(made));

    const mode_t mask = umask(027);
    for (const path& target : {link, dangling})
        EXPECT_EQ(qkz("run " + in.string() + plugin + "InvertQKZ -o " + target.string()).status, 0);
    umask(mask);
    EXPECT_TRUE(is_symlink(link) && is_symlink(dangling));
    EXPECT_EQ(readImage(in).argb[0], 0xFFFFFFFF);
    EXPECT_EQ(readImage(made).argb, photo.argb);
    EXPECT_EQ(status(in).permissions(), std::filesystem::perms(0604));
    EXPECT_EQ(status(made).permissions(), std::filesystem::perms(0640));
    const std::filesystem::directory_iterator all(folder);
    EXPECT_EQ(std::distance(begin(all), end(all)), 4) << "something is left over";
}

TEST_F(Qkz, WritesIntoAPipe) {
    const path fifo = folder / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string reader = "timeout 20 cat " + fifo.string() + " >" + out.string() + " & ";
    qkz("run " + in.string() + plugin + "InvertQKZ -o " + fifo.string(), reader, "2>&1; wait");
    EXPECT_TRUE(is_fifo(fifo));
    EXPECT_EQ(readImage(out).argb[0], 0xFFFFFFFF);
}

TEST_F(Qkz, TellsWhenStandardOutputIsFull) {
    const path log = folder / "log";
    std::ofstream(log).close();
    std::filesystem::resize_file(log, 32 << 20);  // the limit, which leaves room for a copy of the plug-in
    for (const std::string& arguments : {std::string("list"), std::string("--help"), "info " + in.string()}) {
        const Outcome full =
            qkz(arguments + plugin, "trap '' XFSZ; ulimit -f 65536; ", "2>&1 >>" + log.string());
        EXPECT_EQ(full.text, "qkz: standard output: File too large\n") << arguments;
        EXPECT_EQ(full.status, 1) << arguments;
    }
}

TEST_F(Qkz, ManagesWithoutProc) {
    const auto run = [](const std::string& arguments) {
        sock_filter rules[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                               BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_readlink, 0, 1),
                               BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOENT),
                               BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
        const sock_fprog noLinks{std::size(rules), rules};
        prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
        if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &noLinks) != 0) std::_Exit(99);
        const Outcome outcome = qkz(arguments);
        std::fputs(outcome.text.c_str(), stderr);
        std::_Exit(outcome.status);
    };
    EXPECT_EXIT(run("--help"), testing::ExitedWithCode(0), "Usage: qkz");
    EXPECT_EXIT(run("list"), testing::ExitedWithCode(2), "qkz: .*say with --plugin");
    EXPECT_EXIT(run("list" + plugin), testing::ExitedWithCode(0), "");
}

TEST_F(Qkz, RunsClassesGlobalMethodsAndAssignments) {
    // A table that keeps red only, and a picture of what it leaves.
    std::ofstream(folder / "red.cube") << "TITLE \"red\"\nLUT_3D_SIZE 2\n\n"
                                          "0 0 0\n1 0 0\n0 0 0\n1 0 0\n0 0 0\n1 0 0\n0 0 0\n1 0 0\n";
    photo.argb.assign(12, 0xFFEEEEEE);
    photo.argb[0] = 0xFF000000;
    writePng(photo, in);
    Image red = photo;
    for (std::uint32_t& argb : red.argb) argb &= 0xFFFF0000;
    writePng(red, folder / "red.png");
    const auto quoted = [this](const char* name) { return '"' + (folder / name).string() + '"'; };
    const struct {
        std::string call;
        std::uint32_t first, second;
    } cases[] = {{"PictureSepiaQKZ(SepiaRed=40, SepiaGreen=20)", 0xFF281400, 0xFFFFFFED},
                 {"PictureLut3DQKZ(Table=" + quoted("red.cube") + ")", 0xFF000000, 0xFFEE0000},
                 {"CombinePicturesQKZ($, " + quoted("red.png") + ", $)", 0xFF000000, 0xFFEEEE00},
                 {"MergePictureQKZ(" + quoted("red.png") + ", $)", 0xFF000000, 0xFFEEEEEE},
                 {"ReplaceColorQKZ(&cEEEEEE, &c010203)", 0xFF000000, 0xFF010203},
                 {"EmbeddedMaskQKZ(true) = " + quoted("red.png"), 0xFF0000FF, 0xFFEEEE11}};
    for (const auto& c : cases) {
        const Outcome outcome = qkz("run " + in.string() + plugin + '\'' + c.call + "' -o " + out.string());
        ASSERT_EQ(outcome.status, 0) << c.call << outcome.text;
        EXPECT_EQ(readImage(out).argb[0], c.first) << c.call;
        EXPECT_EQ(readImage(out).argb[1], c.second) << c.call;
    }
    fails("run " + in.string() + " 'PictureSepiaQKZ(SepiaBlu=1)'",
          "qkz: PictureSepiaQKZ has no property SepiaBlu; the nearest: SepiaBlue, SepiaRed\n");
}

TEST_F(Qkz, ListsWhatTheHostGets) {
    const auto lists = [this](const char* version, const char* text) {
        return qkz(std::string("list") + plugin + "--host-version " + version).text.find(text) !=
               std::string::npos;
    };
    const char* invert =
        "  Picture.InvertQKZ(left as integer, top as integer, width as integer, height as integer) as "
        "picture\n";
    for (const char* version : {"2012.0", "2024.0", "3000"}) EXPECT_TRUE(lists(version, invert)) << version;
    EXPECT_TRUE(lists("2024.0", "\nModule PicturePictureExtensionQKZ\n  Debugging as Boolean  [Hidden]\n"));
    EXPECT_TRUE(lists("2012.0", "\nExtension of Picture\n"));
    EXPECT_FALSE(lists("2020.01", "iOSPictureQKZ"));
}

TEST_F(Qkz, SwitchesTheLogOn) {
    const std::string info = "info " + in.string() + " --debug --host-version ";
    EXPECT_EQ(qkz(info + "2024" + plugin).status, 0);
    fails(info + "2012", "qkz: --debug: on host version 2012 no Debugging property is registered\n");
}

TEST_F(Qkz, TellsWhatIsWrong) {
    std::ofstream(folder / "empty.png").put('x');
    const std::string file = in.string(), half = (folder / "half.png").string();
    std::filesystem::copy_file(in, half);
    std::filesystem::resize_file(half, file_size(in) - 30);
    const std::pair<std::string, std::string> cases[] = {
        {"run " + file + " InverQKZ", "there is no method InverQKZ; the nearest: InvertQKZ"},
        {"run " + file + " 'InvertQKZ(1, x, 2, 3)'",
         "InvertQKZ: the argument for top (integer) is not a whole number: x"},
        {"run " + file + " 'InvertQKZ(9223372036854775808,0,0,0)'", "left (integer) is not a whole number"},
        {"run " + file + " 'InvertQKZ(1, 2)'",
         "InvertQKZ takes other arguments:\n  Picture.InvertQKZ(left as integer"},
        {"run " + file + " 'InvertQKZ(1'", "lacks its closing parenthesis"},
        {"run " + file + " 'CountColorsQKZ(nil>, nil, nil, 0)'", "has an empty file name"},
        {"run " + file + " 'InvertQKZ = \"a.png\"'", "InvertQKZ cannot be assigned to"},
        {"run " + file, "CALL is required"},
        {"run " + (folder / "no.png").string() + " InvertQKZ", "no.png: No such file or directory"},
        {"run " + folder.string() + " InvertQKZ", "Is a directory"},
        {"run " + (folder / "empty.png").string() + " InvertQKZ", "neither a PNG nor a JPEG file"},
        {"run " + file + " InvertQKZ -o " + (folder / "no/out.png").string(),
         "no/out.png: No such file or directory"},
        {"info " + half, "half.png: "},
        {"info --max-pixels 11 " + file, "4 x 3 pixels are more than 11; --max-pixels allows more"},
        {"run " + file + " InvertQKZ -o ''", "No such file or directory"},
        {"run " + file + " 'CountColorsQKZ(nil, nil, nil, count > \"\")'", "has an empty file name"},
        {"run " + file + " InvertQKZ -o out.jpg", "pictures are written as PNG"},
        {"list --storage tape", "--storage"},
        {"list --fast", "--fast"}};
    for (const auto& [arguments, text] : cases) fails(arguments, text);
    EXPECT_EQ(qkz("list --plugin " + file).status, 2) << "no library";
    EXPECT_EQ(qkz("--help").status, 0);
}

TEST_F(Qkz, PrintsARaisedException) {
    fails("run " + in.string() + " 'SaveImageAtPathToSavedPhotosAlbum(\"text:a\", nil)'",
          "PlatformNotSupportedException: iOS only\n", 1);
}

}  // namespace
