// Definitions on their way to the host.
#include <memory>

#include "MyMemory.h"
#include "PluginMain.h"
#include "Support.h"
#include "rbclassutil.h"

namespace qkztest {
namespace {

TEST(Definitions, FlagsFollowTheHostsVersion) {
    const struct {
        double version;
        std::uint32_t before, after;
    } cases[] = {{2020.01, 0x308, 4},     {2020.02, 0x308, 0x308},   {2019.03, 0x318, 0x14},
                 {2019.03, 0x708, 0x708}, {2019.03, 0x300, 0x300},   {2010.029, 0x40000, 4},
                 {2010.028, 0x40002, 2},  {2020.02, 0x40308, 0x30C}, {2009.05, 0x40308, 4}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.version << std::hex << ' ' << c.before);
        Plugin host({.version = c.version});
        REALmethodDefinition rows[4];
        REALproperty properties[2];
        for (auto& row : rows) row.flags = c.before;
        for (auto& property : properties) property.flags = c.before;
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
        EXPECT_EQ(FixFlags(rows[2], "owner"), c.after);
        EXPECT_EQ(type.flags, c.after);
        for (const int i : {0, 1, 2}) EXPECT_EQ(rows[i].flags, c.after) << i;
        for (const auto& property : properties) EXPECT_EQ(property.flags, c.after);
        FixFlags(rows + 3, -1, "owner");
        FixFlags(static_cast<REALmethodDefinition*>(nullptr), 3);
        EXPECT_EQ(rows[3].flags, c.before);
    }
}

TEST(Definitions, EntriesWithoutScopeBecomeProtected) {
    for (const auto& [before, after] : {std::pair(0x40004u, 0x40044u), {0x10, 0x10}, {0x80, 0x80}}) {
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
    REALmoduleDefinition module{.methodCount = 1, .propertyCount = 1, .enumCount = 1}, empty{};
    testing::internal::CaptureStderr();
    MarkProtected(module);
    MarkProtected(empty);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "QKZ Debug: Error: method array is nil while count is not zero!\n"
              "QKZ Debug: Error: property array is nil while count is not zero!\n"
              "QKZ Debug: Error: enum array is nil while count is not zero!\n");
}

TEST(Definitions, DeclarationsOfExtensions) {
    const struct {
        const char *declaration, *extended, *assigning;
    } cases[] = {
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

TEST(Definitions, SizesAndFlagsAreCompleted) {
    Plugin host;
    REALclassDefinition types[] = {
        {.name = "None"}, {.name = "One", .dataSize = 1}, {.name = "Full", .dataSize = 32}};
    for (REALclassDefinition& type : types) MyREALRegisterClass(type);
    EXPECT_EQ(host.registry.registration("None")->dataSize, 0u);
    EXPECT_EQ(host.registry.registration("One")->dataSize, 16u);
    EXPECT_EQ(host.registry.registration("Full")->dataSize, 32u);
    REALmoduleDefinition module{.name = "Plain"};
    MyREALRegisterModule(module);
    EXPECT_EQ(host.registry.registration("Plain")->flags, 4u);
}

TEST(Definitions, GeneratedModules) {
    Plugin host;
    const std::size_t before = host.registry.registrations().size();
    REALclassDefinition empty{.name = "Nothing"};
    MyREALRegisterClassExtension(empty);
    EXPECT_EQ(host.registry.registrations().size(), before);

    int reads, writes;  // whose addresses stand for functions
    const REALattribute attribute{"Deprecated", "x"};
    REALmethodDefinition rows[] = {{&reads, nullptr, "ReadQKZ as T", 0x40000, 1, &attribute},
                                   {&reads, &writes, "BothQKZ as T", 0x20, 0, nullptr},
                                   {nullptr, &writes, "WriteQKZ as T", 0x4, 0, nullptr}};
    const std::string longName(200, 'C');
    REALclassDefinition type{.name = longName.c_str(), .methods = rows, .methodCount = 3};
    MyREALRegisterClassExtension(type);
    const Registration& module = host.registry.registrations().back();
    EXPECT_EQ(module.name, longName.substr(0, 99));
    Lines lines;
    for (const RegisteredMethod& m : module.methods) {
        lines.push_back(m.declaration.substr(0, m.declaration.find('(')) + ' ' + std::to_string(m.flags) +
                        (m.function == &reads ? " reads" : " writes") + (m.setterFunction ? " twice" : "") +
                        (m.attributes.empty() ? "" : " deprecated"));
    }
    EXPECT_EQ(lines, (Lines{"ReadQKZ 20 reads deprecated", "BothQKZ 48 writes", "BothQKZ 48 reads",
                            "WriteQKZ 20 writes"}));
}

TEST(Definitions, WithoutAResolverNothingIsRegistered) {
    Plugin host({.version = 2013.03});
    const std::size_t before = host.registry.registrations().size();
    host.sdkVersion = 0;
    REALPluginMain(nullptr);
    EXPECT_EQ(SDKVersion(), 12);  // the host's version is still known
    EXPECT_EQ(HostVersion(), 2013.03);
    EXPECT_EQ(host.sdkVersion, 0);
    EXPECT_EQ(host.registry.registrations().size(), before);
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
