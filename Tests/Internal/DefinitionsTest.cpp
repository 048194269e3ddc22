// Definitions on their way to the host.
#include <memory>

#include "Linked.h"
#include "MyMemory.h"
#include "PluginMain.h"
#include "rbclassutil.h"

namespace qkztest {
namespace {

using Lines = std::vector<std::string>;

TEST(Definitions, FlagsFollowTheHostsVersion) {
    const struct {
        double version;
        std::uint32_t before, after;
    } cases[] = {{2019.03, 0x308, 4},     {2020.01, 0x308, 4},     {2020.02, 0x308, 0x308},
                 {2024.0, 0x308, 0x308},  {2019.03, 0x318, 0x14},  {2019.03, 0x708, 0x708},
                 {2019.03, 0x300, 0x300}, {2019.03, 0x40000, 4},   {2010.029, 0x40000, 4},
                 {2010.028, 0x40000, 0},  {2009.05, 0x40000, 0},   {0.0, 0x40000, 0},
                 {2020.01, 0x40308, 4},   {2009.05, 0x40308, 4},   {2020.02, 0x40308, 0x30C},
                 {3000.0, 0x40002, 6},    {2024.0, 0x40042, 0x46}, {2024.0, 0x26, 0x26},
                 {2019.03, 0, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.version << std::hex << ' ' << c.before);
        Plugin host({.version = c.version});
        REALmethodDefinition single{.flags = c.before}, rows[2]{{.flags = c.before}, {.flags = c.before}};
        REALproperty properties[2];
        properties[0].flags = properties[1].flags = c.before;
        EXPECT_EQ(FixFlags(single, "owner"), c.after);
        EXPECT_EQ(single.flags, c.after);
        REALclassDefinition type{.properties = properties,
                                 .propertyCount = 1,
                                 .methods = rows,
                                 .methodCount = 1,
                                 .flags = c.before,
                                 .sharedProperties = properties + 1,
                                 .sharedPropertyCount = 1,
                                 .sharedMethods = rows + 1,
                                 .sharedMethodCount = 1};
        FixFlags(type);
        FixFlags(type);  // again changes nothing
        EXPECT_EQ(type.flags, c.after);
        for (const int i : {0, 1}) {
            EXPECT_EQ(rows[i].flags, c.after);
            EXPECT_EQ(properties[i].flags, c.after);
        }
        REALmethodDefinition kept{.flags = c.before};
        FixFlags(&kept, -1, "owner");
        FixFlags(static_cast<REALmethodDefinition*>(nullptr), 3);
        EXPECT_EQ(kept.flags, c.before);
    }
}

TEST(Definitions, EntriesWithoutScopeBecomeProtected) {
    for (const auto& [before, after] : {std::pair(0u, 0x40u),
                                        {0x400, 0x440},
                                        {0x40004, 0x40044},
                                        {0x26, 0x26},
                                        {0x10, 0x10},
                                        {0x80, 0x80},
                                        {0x40, 0x40}}) {
        REALmethodDefinition methods[2]{{.flags = before}, {.flags = before}};
        REALproperty property;
        REALenum enumeration;
        property.flags = enumeration.flags = before;
        REALmoduleDefinition module{.methods = methods,
                                    .methodCount = 1,
                                    .properties = &property,
                                    .propertyCount = 1,
                                    .enums = &enumeration,
                                    .enumCount = 1,
                                    .flags = before};
        MarkProtected(module);
        EXPECT_EQ(methods[0].flags, after);
        EXPECT_EQ(methods[1].flags, before);
        EXPECT_EQ(property.flags, after);
        EXPECT_EQ(enumeration.flags, after);
        EXPECT_EQ(module.flags, before);
    }
    // Missing arrays are told whether or not the debug log is on.
    REALmoduleDefinition module{.methodCount = 1, .propertyCount = 1, .enumCount = 1};
    testing::internal::CaptureStderr();
    MarkProtected(module);
    module = {};
    MarkProtected(module);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "QKZ Debug: Error: method array is nil while count is not zero!\n"
              "QKZ Debug: Error: property array is nil while count is not zero!\n"
              "QKZ Debug: Error: enum array is nil while count is not zero!\n");
}

TEST(Definitions, DeclarationsOfExtensions) {
    const struct {
        const char *declaration, *extended, *assigning;
    } cases[] = {
        {"ThresholdQKZ(Threshold as integer) as picture",
         "ThresholdQKZ(extends ref as Picture, Threshold as integer) as picture",
         "ThresholdQKZ(extends ref as Picture, Threshold as integer, assigns value as picture)"},
        {"HasMaskQKZ as boolean", "HasMaskQKZ(extends ref as Picture) as boolean",
         "HasMaskQKZ(extends ref as Picture, assigns value as boolean)"},
        {"Name", "Name(extends ref as Picture)", "Name(extends ref as Picture, assigns value)"},
        {"Name()", "Name(extends ref as Picture, )", "Name(extends ref as Picture, , assigns value)"},
        {"Name (a as T)", "Name(extends ref as Picture) (a as T)",
         "Name(extends ref as Picture, assigns value (a as T))"},
        {"Name(a as T = F(1)) as R", "Name(extends ref as Picture, a as T = F(1)) as R",
         "Name(extends ref as Picture, a as T = F(1, assigns value) as R)"},
        // A bracket that is never closed: the first blank takes its place.
        {"Name(a as T", "Name(extends ref as Picture, a as T",
         "Name(extends(assigns value ref as Picture, a as T)"},
    };
    using Text = std::unique_ptr<char, MemoryDeleter>;
    for (const auto& c : cases) {
        EXPECT_STREQ(Text(AddClassParameter(c.declaration, "Picture")).get(), c.extended);
        EXPECT_STREQ(Text(AddClassParameterAssign(c.declaration, "Picture")).get(), c.assigning);
    }
    // The results are made in 1000 bytes. A name that fills them leaves no bracket to be found.
    for (const std::size_t length : {900U, 1000U, 5000U}) {
        const std::string declaration = std::string(length, 'n') + "(a as T)";
        const std::string extended = std::string(length, 'n') + "(extends ref as Picture, a as T)";
        EXPECT_EQ(Text(AddClassParameter(declaration.c_str(), "Picture")).get(), extended.substr(0, 999));
        testing::internal::CaptureStderr();
        EXPECT_EQ(Text(AddClassParameterAssign(declaration.c_str(), "Picture")) != nullptr, length == 900);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  length == 900 ? ""
                                : "QKZ Debug: Error: Keine Klammer in der Deklaration " +
                                      extended.substr(0, 999) + '\n');
    }
}

void function() {}

TEST(Definitions, ClassesAreRoundedAndStamped) {
    for (const auto& [before, after] :
         {std::pair<std::size_t, std::size_t>(0, 0), {1, 16}, {104, 112}, {112, 112}, {140016, 140016}}) {
        Plugin host;
        REALclassDefinition type{.name = "Rounded", .dataSize = before};
        MyREALRegisterClass(type);
        EXPECT_EQ(host.registration("Rounded")->dataSize, after);
        EXPECT_EQ(host.registration("Rounded")->version, 15u);
    }
}

TEST(Definitions, ModulesAreConsoleSafeUnlessTheySaySomethingElse) {
    for (const auto& [before, after] : {std::pair(0u, 4u), {0x400, 0x400}}) {
        Plugin host;
        REALmethodDefinition row{
            .function = reinterpret_cast<void*>(&function), .declaration = "F", .flags = 0x40000};
        REALmoduleDefinition module{.name = "Plain", .methods = &row, .methodCount = 1, .flags = before};
        MyREALRegisterModule(module);
        const Registration& registered = *host.registration("Plain");
        EXPECT_EQ(registered.flags, after);
        EXPECT_EQ(registered.version, 15u);
        EXPECT_EQ(registered.methods.at(0).flags, 0x44u);  // first protected, then fixed
    }
}

TEST(Definitions, GeneratedModules) {
    Plugin host;
    const std::size_t before = host.registrations().size();
    REALclassDefinition empty{.name = "Nothing"};
    MyREALRegisterClassExtension(empty);
    EXPECT_EQ(host.registrations().size(), before);

    const auto address = reinterpret_cast<void*>(&function);
    const REALattribute attribute{"Deprecated", "x"};
    REALmethodDefinition rows[] = {{address, nullptr, "ReadQKZ as T", 0x40000, 1, &attribute},
                                   {address, address, "BothQKZ(a as T) as T", 0x20, 0, nullptr},
                                   {nullptr, address, "WriteQKZ as T", 0x4, 0, nullptr}};
    const std::string longName(200, 'C');
    REALclassDefinition type{.name = longName.c_str(), .methods = rows, .methodCount = 3};
    MyREALRegisterClassExtension(type);
    ASSERT_EQ(host.registrations().size(), before + 1);
    const Registration& module = host.registrations().back();
    EXPECT_EQ(module.kind, Registration::module);
    EXPECT_EQ(module.name, longName.substr(0, 99));
    Lines lines;
    for (const RegisteredMethod& m : module.methods) {
        lines.push_back(m.declaration.substr(0, m.declaration.find('(')) + ' ' + std::to_string(m.flags));
        EXPECT_EQ(m.declaration.find("assigns value as T") != std::string::npos,
                  lines.size() == 2 || lines.size() == 4);
        EXPECT_EQ(m.function, address);
        EXPECT_EQ(m.setterFunction, nullptr);
        EXPECT_EQ(m.attributes.size(), lines.size() == 1 ? 1u : 0u);
    }
    EXPECT_EQ(lines, (Lines{"ReadQKZ 20", "BothQKZ 48", "BothQKZ 48", "WriteQKZ 20"}));
}

TEST(Definitions, StartedTwiceEverythingIsRegisteredTwice) {
    for (const double version : {2012.0, 2024.0}) {
        Plugin host({.version = version});
        const auto texts = [&] {
            Lines lines;
            for (const Registration& r : host.registrations()) {
                lines.push_back(r.name);
                for (const auto& m : r.methods) lines.push_back(m.declaration + std::to_string(m.flags));
                for (const auto& p : r.properties) lines.push_back(p.name + std::to_string(p.flags));
            }
            return lines;
        };
        const Lines once = texts();
        Lines twice = once;
        twice.insert(twice.end(), once.begin(), once.end());
        startPlugin(host);
        EXPECT_EQ(texts(), twice);
    }
}

TEST(Definitions, WithoutAResolverNothingIsRegistered) {
    Plugin host({.version = 2013.03});
    const std::size_t before = host.registrations().size();
    host.sdkVersion = 0;
    REALPluginMain(nullptr);
    EXPECT_EQ(SDKVersion(), 12);  // the host's version is still known
    EXPECT_EQ(HostVersion(), 2013.03);
    EXPECT_EQ(host.sdkVersion, 0);
    EXPECT_EQ(host.registrations().size(), before);
}

TEST(Clock, TicksAreSixtiethsOfASecond) {
    const double start = LinuxGetTime();
    const std::int64_t ticks = TickCount();
    const double end = LinuxGetTime();
    EXPECT_LE(start, end);
    EXPECT_GE(ticks, static_cast<std::int64_t>(start * 60.0));
    EXPECT_LE(ticks, static_cast<std::int64_t>(end * 60.0));
}

}  // namespace
}  // namespace qkztest
