// What each version of the host gets registered.
#include <sstream>

#include "Support.h"

namespace qkztest {
namespace {

constexpr std::uint32_t deferred = 0x40000;  // becomes 4 on hosts from 2010.029 on

struct Row {
    std::string declaration;
    std::uint32_t flags = deferred;
    std::string attribute = "";  // name=value
    std::string assigned = "";   // the declaration of the assigning form in a generated module
};

const std::vector<Row> pictureMethods = {
    {"ThresholdQKZ(Threshold as integer) as picture"},
    {"ColornessQKZ(threshold as integer = 10) as double"},
    {"ScrollVerticalQKZ(delta as integer, wrap as boolean, scrollmask as boolean) as boolean"},
    {"ScrollHorizontalQKZ(delta as integer, wrap as boolean, scrollmask as boolean) as boolean"},
    {"ScrollQKZ(deltaX as integer, deltaY as integer, wrap as boolean, scrollmask as boolean) as boolean"},
    {"HasMaskQKZ as boolean"},
    {"ChangeContrastBrightnessAbsoluteQKZ(ContrastRed as double, ContrastGreen as double, ContrastBlue as "
     "double, BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture"},
    {"ChangeContrastBrightnessLinearQKZ(ContrastRed as double, ContrastGreen as double, ContrastBlue as "
     "double, BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture"},
    {"ChangeContrastBrightnessAbsoluteQKZ(Contrast as double, Brightness as double) as picture"},
    {"ChangeContrastBrightnessLinearQKZ(Contrast as double, Brightness as double) as picture"},
    {"ChangeBrightnessAbsoluteQKZ(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as "
     "double) as picture"},
    {"ChangeBrightnessLinearQKZ(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as "
     "double) as picture"},
    {"ChangeBrightnessAbsoluteQKZ(Brightness as double) as picture"},
    {"ChangeBrightnessLinearQKZ(Brightness as double) as picture"},
    {"ChangeContrastQKZ(Contrast as double) as picture"},
    {"ChangeContrastQKZ(ContrastRed as double, ContrastGreen as double, ContrastBlue as double) as picture"},
    {"ChangeCustomQKZ(a as double, b as double) as picture"},
    {"ChangeCustomQKZ(Ra as double, Rb as double, Ga as double, Gb as double, Ba as double, Bb as double) as "
     "picture"},
    {"InvertQKZ(left as integer,top as integer,width as integer,height as integer) as picture"},
    {"InvertQKZ as picture"},
    {"InvertGrayQKZ(left as integer,top as integer,width as integer,height as integer) as picture"},
    {"InvertGrayQKZ as picture"},
    {"ExtractColorRectangleMaskQKZ(left as integer,top as integer,width as integer,height as integer) as "
     "picture"},
    {"ExtractColorRectangleMaskQKZ as picture"},
    {"EmbeddedMaskQKZ(swap as boolean) as picture", deferred, "",
     "EmbeddedMaskQKZ(extends ref as Picture, swap as boolean, assigns value as picture)"},
    {"CountColorQKZ(col as color) as integer"},
    {"CountColorsQKZ(byref red as memoryblock, byref blue as memoryblock, byref green as memoryblock, byref "
     "count as integer)"},
    {"TransformColorsQKZ(red as memoryblock, blue as memoryblock, green as memoryblock, dest as picture = "
     "nil) as picture"},
    {"ReplaceColorQKZ(SearchColor as color, ReplaceWithColor as color) as picture"},
    {"ExtractColorQKZ(SearchColor as color, ReplaceWithColor as color, BackGroundColor as color) as picture"},
    {"ChangeSaturationQKZ(Amount as integer) as picture"},
    {"ReplaceRedChannelQKZ(RedChannel as picture) as picture"},
    {"ReplaceGreenChannelQKZ(GreenChannel as picture) as picture"},
    {"ReplaceBlueChannelQKZ(BlueChannel as picture) as picture"},
    {"FindPictureQKZ(pic as picture, byref x as integer, byref y as integer, StartX as Integer = 0, StartY "
     "as Integer = 0, Tolerance as Integer = 3) as boolean"},
    {"isWhiteQKZ as boolean"},
    {"isWhiteQKZ(left as integer,top as integer,width as integer,height as integer) as boolean"},
    {"isBlackQKZ as boolean"},
    {"isBlackQKZ(left as integer,top as integer,width as integer,height as integer) as boolean"},
    {"isGrayQKZ(tolerance as integer = 0) as boolean"},
    {"isGrayQKZ(tolerance as integer, left as integer,top as integer,width as integer,height as integer) as "
     "boolean"},
};

const std::vector<Row> globalMethods = {
    {"BinaryStringtoPictureQKZ(data as String) as Picture", deferred, "Deprecated=\"PNG format\""},
    {"PicturetoBinaryStringQKZ(p as picture) as string", deferred, "Deprecated=\"PNG format\""},
    {"CombinePicturesQKZ(red as picture, blue as picture, green as picture) as picture"},
    {"MergePictureQKZ(source1 as picture, source2 as picture) as picture"},
    {"TintPictureQKZ(source as picture, GreyBase as color, SepiaBase as color) as picture"},
    {"RenderSamplesQKZ(Samples as memoryblock, SampleCount as integer, Smooth as integer, Width as integer, "
     "Height as integer, outlinewidth as integer, BackColor as color=&c88B5C4, ForeColor as color=&c274C5A, "
     "OutLineColor as color=&c203F4E, Bits as Integer = 8, AutoScale as boolean = false) as Picture"},
};

struct PropertyRow {
    std::string declaration;  // "Name as Type"
    std::uint32_t flags;
    int offset = -1;  // of the field, if the host reads and writes it itself
};

struct ClassRow {
    std::string name;
    std::size_t dataSize;  // a multiple of 16
    std::vector<Row> methods;
    std::vector<PropertyRow> properties;
};

// FactorBlue and FactorGreen are bound crosswise.
const std::vector<ClassRow> classes = {
    {"PictureSepiaQKZ",
     112,
     {{"Close", 4}, {"Run as boolean", 4}},
     {{"SourcePicture as Picture", deferred | 2, 24},
      {"DestinationPicture as Picture", deferred | 2, 32},
      {"MaxX as Integer", 6, 56},
      {"MinX as Integer", 6, 40},
      {"MaxY as Integer", 6, 64},
      {"MinY as Integer", 6, 48},
      {"SepiaRed as Integer", 6, 72},
      {"SepiaGreen as Integer", 6, 80},
      {"SepiaBlue as Integer", 6, 88},
      {"FactorRed as Double", 6},
      {"FactorBlue as Double", 6},
      {"FactorGreen as Double", 6}}},
    {"PictureLut3DQKZ",
     140016,
     {{"Close"},
      {"Run as boolean"},
      {"Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32) as double", deferred, "", "by value"}},
     {{"SourcePicture as Picture", deferred, 0},
      {"DestinationPicture as Picture", deferred, 8},
      {"MaxX as Integer", deferred, 32},
      {"MinX as Integer", deferred, 16},
      {"MaxY as Integer", deferred, 40},
      {"MinY as Integer", deferred, 24}}},
};

const std::vector<Row> iOSMethods = {
    {"VideoAtPathIsCompatibleWithSavedPhotosAlbum(VideoPath as String) as Boolean"},
    {"VideoAtPathIsCompatibleWithSavedPhotosAlbum(VideoFile as FolderItem) as Boolean"},
    {"WriteImageToSavedPhotosAlbum(Pic as Picture, CompletionDelegate as ImageSaveCompletedQKZ)"},
    {"SaveVideoAtPathToSavedPhotosAlbum(VideoPath as String, CompletionDelegate as VideoSaveCompletedQKZ)"},
    {"SaveVideoAtPathToSavedPhotosAlbum(VideoFile as FolderItem, CompletionDelegate as "
     "VideoSaveCompletedQKZ)"},
    {"SaveImageAtPathToSavedPhotosAlbum(ImagePath as String, CompletionDelegate as ImageSaveCompletedQKZ)"},
    {"SaveImageAtPathToSavedPhotosAlbum(ImageFile as FolderItem, CompletionDelegate as "
     "ImageSaveCompletedQKZ)"},
};

using Lines = std::vector<std::string>;

template <class... Parts>
std::string line(const Parts&... parts) {
    std::ostringstream text;
    ((text << std::hex << std::showbase) << ... << parts);
    return text.str();
}

/// Of texts of many lines a failed comparison shows the difference.
std::string joined(const Lines& lines) {
    std::string text;
    for (const std::string& each : lines) text += each + '\n';
    return text;
}

std::string attributeText(const Attributes& attributes) {
    std::string text;
    for (const auto& [name, value] : attributes) text += name + '=' + value;
    return text;
}

std::string accessor(const char* name, const void* address, int offset) {
    if (!address) return "";
    const bool standard = reinterpret_cast<std::intptr_t>(address) == -1;
    return name + (standard ? "at " + std::to_string(offset) : "call");
}

/// A registration as lines, one for each thing in it.
Lines described(const Registration& r) {
    const char* kinds[] = {"class", "module", "extension", "method"};
    Lines lines{line(kinds[r.kind], ' ', r.name, " super ", r.superName, " version ", r.version, " flags ",
                     r.flags, " data ", r.dataSize, r.constructor ? " constructor" : "",
                     r.destructor ? " destructor" : "")};
    for (const RegisteredMethod& m : r.methods)
        lines.push_back(line(m.declaration, " flags ", m.flags, m.function ? " call" : "",
                             m.setterFunction ? " assign " : " ", attributeText(m.attributes)));
    for (const RegisteredProperty& p : r.properties)
        lines.push_back(line(p.name, " as ", p.type, " flags ", p.flags, accessor(" get ", p.getter, p.param),
                             accessor(" set ", p.setter, p.param), ' ', attributeText(p.attributes)));
    for (const RegisteredDelegate& d : r.delegates) lines.push_back(line(d.declaration, " flags ", d.flags));
    if (!r.sharedMethods.empty() || !r.sharedProperties.empty()) lines.push_back("shared");
    return lines;
}

/// What a host of the version is to get, in order.
Lines expectedRegistrations(double version) {
    const bool generated = version >= 2013.0 && version < 3000.0;
    const auto fixed = [&](std::uint32_t flags) {
        return flags & deferred ? (flags ^ deferred) | (version >= 2010.029 ? 4u : 0u) : flags;
    };
    const auto head = [](const std::string& kindAndName, std::uint32_t flags, std::size_t data = 0) {
        return line(kindAndName, " super  version ", 15, " flags ", flags, " data ", data);
    };
    const auto method = [](const std::string& declaration, std::uint32_t flags, const std::string& attribute,
                           bool assign = false) {
        return line(declaration, " flags ", flags, " call", assign ? " assign " : " ", attribute);
    };
    const std::string debugging = " get call set call Hidden=";
    Lines lines;
    if (version >= 2020.02) {
        lines.push_back(head("module iOSPictureQKZ", 0x400));
        for (const Row& row : iOSMethods) lines.push_back(method(row.declaration, 0x440, ""));
        lines.push_back("Debugging as Boolean flags 0x422" + debugging);
        lines.push_back("ImageSaveCompletedQKZ(error as NSErrorQKZ) flags 0x400");
        lines.push_back("VideoSaveCompletedQKZ(videoPath as String, error as NSErrorQKZ) flags 0x400");
    }
    for (const ClassRow& type : classes) {
        lines.push_back(head("class " + type.name, 4, type.dataSize) + " constructor destructor");
        for (const Row& row : type.methods)
            lines.push_back(method(row.declaration, fixed(row.flags), "", !row.assigned.empty()));
        for (const PropertyRow& row : type.properties) {
            const std::string access = row.offset < 0 ? "call" : "at " + std::to_string(row.offset);
            lines.push_back(
                line(row.declaration, " flags ", fixed(row.flags), " get ", access, " set ", access, ' '));
        }
    }
    lines.push_back(generated ? head("module PicturePictureExtensionQKZ", 4) : head("extension Picture", 4));
    for (const Row& row : pictureMethods) {
        if (!generated) {
            lines.push_back(method(row.declaration, fixed(row.flags), row.attribute, !row.assigned.empty()));
            continue;
        }
        const std::size_t end = row.declaration.find_first_of("( ");
        const std::string rest = row.declaration.substr(end);
        const std::string extended = row.declaration.substr(0, end) + "(extends ref as Picture" +
                                     (rest[0] == '(' ? ", " + rest.substr(1) : ")" + rest);
        if (!row.assigned.empty()) lines.push_back(method(row.assigned, 0x14, row.attribute));
        lines.push_back(method(extended, 0x14, row.attribute));
    }
    if (generated) lines.push_back("Debugging as Boolean flags 0x26" + debugging);
    if (generated) lines.push_back(head("module PictureGlobalsQKZ", 4));
    for (const Row& row : globalMethods) {
        if (!generated)
            lines.push_back(line("method  super  version ", 0, " flags ", fixed(row.flags), " data ", 0));
        lines.push_back(method(row.declaration, fixed(row.flags) | (generated ? 0x10 : 0), row.attribute));
    }
    if (generated) lines.push_back("Debugging as Boolean flags 0x26" + debugging);
    return lines;
}

struct VersionCase {
    double version;
    int sdk;
};
void PrintTo(const VersionCase& c, std::ostream* out) { *out << c.version; }

class Registrations : public testing::TestWithParam<VersionCase> {};

TEST_P(Registrations, AreThoseOfTheHostsVersion) {
    const auto [version, sdk] = GetParam();
    Plugin host({.version = version});
    EXPECT_EQ(host.sdkVersion, sdk);
    Lines lines;
    for (const Registration& r : host.registrations())
        for (const std::string& text : described(r)) lines.push_back(text);
    EXPECT_EQ(joined(lines), joined(expectedRegistrations(version)));
    EXPECT_EQ(host.asked("REALGetRBVersion"), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Versions, Registrations,
    testing::Values(VersionCase{0.0, 9}, VersionCase{2009.05, 9}, VersionCase{2011.99, 9},
                    VersionCase{2012.0, 10}, VersionCase{2013.0, 11}, VersionCase{2013.03, 12},
                    VersionCase{2013.039, 12}, VersionCase{2013.04, 13}, VersionCase{2019.03, 13},
                    VersionCase{2020.01, 13}, VersionCase{2020.02, 13}, VersionCase{2024.0, 13},
                    VersionCase{3000.0, 13}),
    [](const auto& param) {
        return "Host" + std::to_string(static_cast<int>(param.param.version * 1000 + 0.5));
    });

TEST(Registration, HostThatDoesNotTellItsVersionIsAnOldOne) {
    Plugin host({.answersVersion = false});
    EXPECT_EQ(host.sdkVersion, 9);
    ASSERT_EQ(host.registrations().size(), classes.size() + 1 + globalMethods.size());
    EXPECT_EQ(host.registrations().back().kind, Registration::method);
}

TEST(Registration, MissingServicesLoseOnlyTheirOwn) {
    const struct {
        double version;
        const char* missing;
        std::size_t registered;
    } cases[] = {{2024.0, "PluginRegisterClass", 3},
                 {2012.0, "PluginRegisterClass", 1 + globalMethods.size()},
                 {2012.0, "PluginRegisterClassExtension", classes.size() + globalMethods.size()},
                 {2012.0, "PluginRegisterMethod", classes.size() + 1}};
    for (const auto& c : cases) {
        Plugin host({.version = c.version}, {c.missing});
        EXPECT_EQ(host.registrations().size(), c.registered) << c.version << ' ' << c.missing;
    }
}

TEST(Registration, DebuggingPropertiesAreOneSwitch) {
    Plugin host;
    const char *first = "iOSPictureQKZ", *second = "PicturePictureExtensionQKZ";
    for (const bool on : {true, false}) {
        EXPECT_TRUE(host.setProperty(on ? first : second, "Debugging", on));
        EXPECT_EQ(host.property(first, "Debugging"), Value(on));
        EXPECT_EQ(host.property(second, "Debugging"), Value(on));
    }
}

TEST(Registration, iOSMethodsRaise) {
    Plugin host;
    int count = 0;
    for (const Method& method : host.methods()) {
        if (method.owner != "iOSPictureQKZ") continue;
        const Value result = host.invoke(method, std::vector<Value>(method.declaration.parameters.size()));
        EXPECT_EQ(host.takeException(), (RaisedException{"PlatformNotSupportedException", "iOS only", 0}));
        EXPECT_EQ(result, method.declaration.result == Type::boolean ? Value(false) : Value())
            << method.text();
        count++;
    }
    EXPECT_EQ(count, 7);
}

}  // namespace
}  // namespace qkztest
