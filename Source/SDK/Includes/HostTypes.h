// The host's records, handles, constants and functions on Linux x86-64. No code, only declarations: this is
// the one header that the plug-in, the small real host and the tools have in common.
#pragma once

#include <cstddef>
#include <cstdint>

// Handles: opaque, reference-counted by the host, null for nil. Every handle but a string is an object.
struct REALobjectStruct {};
struct REALpictureStruct : REALobjectStruct {};
struct REALmemoryBlockStruct : REALobjectStruct {};
struct REALgraphicsStruct : REALobjectStruct {};
struct REALclassStruct;
struct REALstringStruct {};

// Values as the host passes them.
using RBInteger = std::int64_t;
using RBBoolean = std::int8_t;  // only the low 8 bits of the register are meaningful; test against 0
using RBColor = std::uint32_t;  // red in bits 16-23, green 8-15, blue 0-7, top byte transparency

// Records. A list is a pointer to its first entry and a count.

struct REALattribute {
    const char* name{};
    const char* value{};
};

struct REALmethodDefinition {
    void* function{};
    void* setterFunction{};
    const char* declaration{};
    std::uint32_t flags{};
    std::size_t attributeCount{};
    const REALattribute* attributes{};
};

struct REALproperty {
    const char* group{};
    const char* name{};
    const char* type{};
    std::uint32_t flags{};
    void* getter{};  // a function, or REALstandardAccessor
    void* setter{};
    std::int32_t param{};
    const char* editor{};
    std::size_t enumCount{};
    const char* const* enumEntries{};
    std::size_t attributeCount{};
    const REALattribute* attributes{};
};

struct REALdelegate {
    const char* declaration{};
    std::uint32_t flags{};
    std::size_t attributeCount{};
    const REALattribute* attributes{};
};

struct REALenum {
    const char* name{};
    const char* type{};
    std::uint32_t flags{};
    const char* const* fields{};
    std::size_t fieldCount{};
    std::size_t attributeCount{};
    const REALattribute* attributes{};
};

struct REALconstant {
    const char* declaration{};
    const void* reserved{};
    std::uint32_t flags{};
    std::size_t attributeCount{};
    const REALattribute* attributes{};
};

struct REALclassDefinition {
    std::uint32_t version{};
    const char* name{};
    const char* superName{};
    std::size_t dataSize{};
    std::int64_t forSystemUse{};  // the host's: distance from an instance's handle to its plug-in data
    void* constructor{};
    void* destructor{};
    REALproperty* properties{};
    std::size_t propertyCount{};
    REALmethodDefinition* methods{};
    std::size_t methodCount{};
    const void* events{};
    std::size_t eventCount{};
    const void* eventInstances{};
    std::size_t eventInstanceCount{};
    const char* interfaces{};
    const REALattribute* attributes{};
    std::size_t attributeCount{};
    const REALconstant* constants{};
    std::size_t constantCount{};
    std::uint32_t flags{};
    REALproperty* sharedProperties{};
    std::size_t sharedPropertyCount{};
    REALmethodDefinition* sharedMethods{};
    std::size_t sharedMethodCount{};
    const REALdelegate* delegates{};
    std::size_t delegateCount{};
    REALenum* enums{};
    std::size_t enumCount{};
};

struct REALmoduleDefinition {
    std::uint32_t version{};
    const char* name{};
    REALmethodDefinition* methods{};
    std::size_t methodCount{};
    const REALconstant* constants{};
    std::size_t constantCount{};
    REALproperty* properties{};
    std::size_t propertyCount{};
    const void* structures{};
    std::size_t structureCount{};
    REALenum* enums{};
    std::size_t enumCount{};
    const REALattribute* attributes{};
    std::size_t attributeCount{};
    const REALdelegate* delegates{};
    std::size_t delegateCount{};
    REALclassDefinition** classes{};
    std::size_t classCount{};
    const void* interfaces{};
    std::size_t interfaceCount{};
    REALmoduleDefinition** modules{};
    std::size_t moduleCount{};
    const void* const* controls{};
    std::size_t controlCount{};
    std::uint32_t flags{};
    const void* const* mobileControls{};
    std::size_t mobileControlCount{};
};

struct REALpictureDescription {
    std::uint32_t nativeType{};
    void* handle{};
    std::int32_t width{};
    std::int32_t height{};
    std::int32_t depth{};
    std::int8_t transparent{};
};

struct REALstringData {
    const char* data{};
    std::size_t length{};
    std::uint32_t encoding{};
    void* privateData{};
    std::uint32_t privateFlags{};
};

// Constants.

/// A getter or setter field with this value: the host reads or writes the instance data itself, at byte
/// offset `param` of the plug-in's instance data.
inline constexpr std::intptr_t REALstandardAccessor = -1;

enum REALflags : std::uint32_t {
    REALpropRuntimeOnly = 0x2,
    REALconsoleSafe = 0x4,
    REALscopeGlobal = 0x10,
    REALscopePublic = 0x20,
    REALscopeProtected = 0x40,
    REALscopeMask = 0xF0,
    REALtargetIOS = 0x400,
};

enum REALencoding : std::uint32_t {
    REALencodingUTF16 = 0x0100,
    REALencodingASCII = 0x600,
    REALencodingUnknown = 0xFFFF,
    REALencodingUTF8 = 0x08000100,
    REALencodingUTF32 = 0x0C000100,
};

/// Kinds of native storage that a picture description is locked for.
enum REALnativePicture : std::uint32_t {
    pictureGdkPixmap = 6,
    pictureGDImagePtr = 10,    // handle: libgd's gdImage*
    pictureCairoContext = 12,  // handle: cairo_t* whose target is an image surface
};

/// What `PluginPictureGetType` answers.
enum REALpictureKind : std::int64_t {
    pictureImage = 0,  // several representations
    pictureVector = 1,
    pictureMutableBitmap = 2,
    pictureImmutableImage = 3,
};

/// Pixel type of `REALBuildPictureFromBuffer`: three bytes a pixel, red, green, blue.
inline constexpr std::int32_t REALpixelRGB = 1;

// What a plug-in asks the host for: each function's name and type, written once. The plug-in's wrappers, the
// host's functions and whatever stands between them are made of these, so that none can be of another type.

/// A function of the host's: a service by its name, or a method by its declaration, the object first.
template <class Signature>
struct HostFunctionType {
    const char* name;
};

namespace service {

#define QKZ_SERVICE(name, ...) \
    inline constexpr HostFunctionType<__VA_ARGS__> name { #name }

// clang-format off
// Start and registration
QKZ_SERVICE(REALGetRBVersion, double());
QKZ_SERVICE(RegisterPluginVersion, void(std::int32_t));
QKZ_SERVICE(PluginRegisterClass, void(REALclassDefinition*));
QKZ_SERVICE(PluginRegisterClassExtension, void(REALclassDefinition*));
QKZ_SERVICE(PluginRegisterModule, void(REALmoduleDefinition*));
QKZ_SERVICE(PluginRegisterMethod, void(REALmethodDefinition*));

// Objects and classes. What is made comes with one reference for the caller.
QKZ_SERVICE(REALLockObject, void(REALobjectStruct*));
QKZ_SERVICE(REALUnlockObject, void(REALobjectStruct*));
QKZ_SERVICE(pluginObjectType, REALclassStruct*(const char* className));
QKZ_SERVICE(PluginNewInstance, REALobjectStruct*(const char* className));
QKZ_SERVICE(REALLoadObjectMethod, void*(REALobjectStruct*, const char* declaration));
QKZ_SERVICE(REALLoadGlobalMethod, void*(const char* declaration));
QKZ_SERVICE(PluginCallFunctionWithExceptionHandler, REALobjectStruct*(void (*)(void*), void* data));
QKZ_SERVICE(RuntimeRaiseException, void(REALobjectStruct* exception));
QKZ_SERVICE(REALInDebugMode, RBBoolean());
QKZ_SERVICE(RuntimeMsgBox, void(REALstringStruct*));

// Properties. The answer: is there one of that name?
QKZ_SERVICE(REALGetPropValueInteger, RBBoolean(REALobjectStruct*, const char* name, RBInteger* value));
QKZ_SERVICE(REALGetPropValueBool, RBBoolean(REALobjectStruct*, const char* name, RBBoolean* value));
QKZ_SERVICE(REALSetPropValueInteger, RBBoolean(REALobjectStruct*, const char* name, RBInteger value));
QKZ_SERVICE(REALSetPropValueDouble, RBBoolean(REALobjectStruct*, const char* name, double value));
QKZ_SERVICE(REALSetPropValueString, RBBoolean(REALobjectStruct*, const char* name, REALstringStruct* value));
QKZ_SERVICE(REALSetPropValueColor, RBBoolean(REALobjectStruct*, const char* name, RBColor value));

// Strings
QKZ_SERVICE(PluginGetStringData, RBBoolean(REALstringStruct*, std::uint32_t encoding, REALstringData*));
QKZ_SERVICE(PluginDisposeStringData, void(REALstringData*));
QKZ_SERVICE(REALBuildString, REALstringStruct*(const void* bytes, std::int32_t length));
QKZ_SERVICE(REALBuildStringWithEncoding, REALstringStruct*(const void* bytes, std::int32_t length, std::uint32_t encoding));
QKZ_SERVICE(REALLockString, void(REALstringStruct*));
QKZ_SERVICE(REALUnlockString, void(REALstringStruct*));
QKZ_SERVICE(StringGetCString, const char*(REALstringStruct*));
QKZ_SERVICE(REALGetStringEncoding, std::uint32_t(REALstringStruct*));
QKZ_SERVICE(REALConvertString, REALstringStruct*(REALstringStruct*, std::uint32_t encoding));
QKZ_SERVICE(REALSetStringEncoding, void(REALstringStruct*, std::uint32_t encoding));

// Pictures
QKZ_SERVICE(REALLockPictureDescription, RBBoolean(REALpictureStruct*, REALpictureDescription*, std::uint32_t nativeType));
QKZ_SERVICE(unlockPictureDescription, void(REALpictureStruct*));
QKZ_SERVICE(REALPictureClearCache, void(REALpictureStruct*));
QKZ_SERVICE(REALGetPictureMask, REALpictureStruct*(REALpictureStruct*, RBBoolean create));
QKZ_SERVICE(pluginPictureGraphicsGetter, REALgraphicsStruct*(REALpictureStruct*));
QKZ_SERVICE(newPicture, REALpictureStruct*(RBInteger width, RBInteger height, RBInteger depth));
QKZ_SERVICE(REALBuildPictureFromBuffer, REALpictureStruct*(std::uint32_t width, std::uint32_t height, std::int32_t pixelType, void* bytes, std::uint32_t rowBytes));
QKZ_SERVICE(PluginPictureGetType, RBInteger(REALpictureStruct*));

// Memory blocks
QKZ_SERVICE(memoryBlockGetPtr, void*(REALmemoryBlockStruct*));
QKZ_SERVICE(memoryBlockGetSize, RBInteger(REALmemoryBlockStruct*));
// clang-format on

#undef QKZ_SERVICE

}  // namespace service

/// Methods of objects, by "REALLoadObjectMethod", and global ones, by "REALLoadGlobalMethod".
namespace hostmethod {

inline constexpr HostFunctionType<REALpictureStruct*(REALobjectStruct*, RBInteger width, RBInteger height,
                                                     double scale)>
    bestRepresentation{"BestRepresentation(width As Integer, height As Integer, scale As Double) As Picture"};
inline constexpr HostFunctionType<REALpictureStruct*(REALobjectStruct*, RBBoolean create)> getMask{
    "Mask(create As Boolean = True) As Picture"};
inline constexpr HostFunctionType<void(REALobjectStruct*, REALpictureStruct* mask)> setMask{
    "Mask(assigns newMask As Picture)"};
inline constexpr HostFunctionType<void(REALobjectStruct*, RBInteger width, RBInteger height)>
    constructPicture{"Constructor(width as integer, height as integer)"};
inline constexpr HostFunctionType<void(REALobjectStruct*, RBInteger size)> constructMemoryBlock{
    "Constructor(bytes as Integer)"};
inline constexpr HostFunctionType<RBInteger(REALstringStruct*)> lenB{"LenB( s as string ) as integer"};

// A Graphics object draws by floating-point numbers, or on other hosts by whole ones.
template <class Number>
using DrawPicture = HostFunctionType<void(REALobjectStruct*, REALpictureStruct*, Number x, Number y,
                                          Number destWidth, Number destHeight, Number sourceX, Number sourceY,
                                          Number sourceWidth, Number sourceHeight)>;
#define QKZ_DRAW_PICTURE(number)                                                                  \
    "DrawPicture(image As Picture, x As " number ", y As " number ", destWidth As " number        \
    " = -10000, destHeight As " number " = -10000, sourceX As " number " = 0, sourceY As " number \
    " = 0, sourceWidth As " number " = -10000, sourceHeight As " number " = -10000)"
inline constexpr DrawPicture<double> drawPicture{QKZ_DRAW_PICTURE("Double")};
inline constexpr DrawPicture<RBInteger> drawPictureWhole{QKZ_DRAW_PICTURE("Integer")};
#undef QKZ_DRAW_PICTURE

}  // namespace hostmethod

// The layout is the host's: every size and offset is fixed. In WebAssembly, where pointers are shorter, host
// and plug-in are compiled together.
#ifndef __wasm__

#define QKZ_OFFSET(record, field, bytes) static_assert(offsetof(record, field) == (bytes))

static_assert(sizeof(void*) == 8 && sizeof(std::size_t) == 8);

static_assert(sizeof(REALattribute) == 16);
QKZ_OFFSET(REALattribute, name, 0);
QKZ_OFFSET(REALattribute, value, 8);

static_assert(sizeof(REALmethodDefinition) == 48);
QKZ_OFFSET(REALmethodDefinition, function, 0);
QKZ_OFFSET(REALmethodDefinition, setterFunction, 8);
QKZ_OFFSET(REALmethodDefinition, declaration, 16);
QKZ_OFFSET(REALmethodDefinition, flags, 24);
QKZ_OFFSET(REALmethodDefinition, attributeCount, 32);
QKZ_OFFSET(REALmethodDefinition, attributes, 40);

static_assert(sizeof(REALproperty) == 96);
QKZ_OFFSET(REALproperty, group, 0);
QKZ_OFFSET(REALproperty, name, 8);
QKZ_OFFSET(REALproperty, type, 16);
QKZ_OFFSET(REALproperty, flags, 24);
QKZ_OFFSET(REALproperty, getter, 32);
QKZ_OFFSET(REALproperty, setter, 40);
QKZ_OFFSET(REALproperty, param, 48);
QKZ_OFFSET(REALproperty, editor, 56);
QKZ_OFFSET(REALproperty, enumCount, 64);
QKZ_OFFSET(REALproperty, enumEntries, 72);
QKZ_OFFSET(REALproperty, attributeCount, 80);
QKZ_OFFSET(REALproperty, attributes, 88);

static_assert(sizeof(REALdelegate) == 32);
QKZ_OFFSET(REALdelegate, declaration, 0);
QKZ_OFFSET(REALdelegate, flags, 8);
QKZ_OFFSET(REALdelegate, attributeCount, 16);
QKZ_OFFSET(REALdelegate, attributes, 24);

static_assert(sizeof(REALenum) == 56);
QKZ_OFFSET(REALenum, name, 0);
QKZ_OFFSET(REALenum, type, 8);
QKZ_OFFSET(REALenum, flags, 16);
QKZ_OFFSET(REALenum, fields, 24);
QKZ_OFFSET(REALenum, fieldCount, 32);
QKZ_OFFSET(REALenum, attributeCount, 40);
QKZ_OFFSET(REALenum, attributes, 48);

static_assert(sizeof(REALconstant) == 40);
QKZ_OFFSET(REALconstant, declaration, 0);
QKZ_OFFSET(REALconstant, reserved, 8);
QKZ_OFFSET(REALconstant, flags, 16);
QKZ_OFFSET(REALconstant, attributeCount, 24);
QKZ_OFFSET(REALconstant, attributes, 32);

static_assert(sizeof(REALclassDefinition) == 232);
QKZ_OFFSET(REALclassDefinition, version, 0);
QKZ_OFFSET(REALclassDefinition, name, 8);
QKZ_OFFSET(REALclassDefinition, superName, 16);
QKZ_OFFSET(REALclassDefinition, dataSize, 24);
QKZ_OFFSET(REALclassDefinition, forSystemUse, 32);
QKZ_OFFSET(REALclassDefinition, constructor, 40);
QKZ_OFFSET(REALclassDefinition, destructor, 48);
QKZ_OFFSET(REALclassDefinition, properties, 56);
QKZ_OFFSET(REALclassDefinition, propertyCount, 64);
QKZ_OFFSET(REALclassDefinition, methods, 72);
QKZ_OFFSET(REALclassDefinition, methodCount, 80);
QKZ_OFFSET(REALclassDefinition, events, 88);
QKZ_OFFSET(REALclassDefinition, eventCount, 96);
QKZ_OFFSET(REALclassDefinition, eventInstances, 104);
QKZ_OFFSET(REALclassDefinition, eventInstanceCount, 112);
QKZ_OFFSET(REALclassDefinition, interfaces, 120);
QKZ_OFFSET(REALclassDefinition, attributes, 128);
QKZ_OFFSET(REALclassDefinition, attributeCount, 136);
QKZ_OFFSET(REALclassDefinition, constants, 144);
QKZ_OFFSET(REALclassDefinition, constantCount, 152);
QKZ_OFFSET(REALclassDefinition, flags, 160);
QKZ_OFFSET(REALclassDefinition, sharedProperties, 168);
QKZ_OFFSET(REALclassDefinition, sharedPropertyCount, 176);
QKZ_OFFSET(REALclassDefinition, sharedMethods, 184);
QKZ_OFFSET(REALclassDefinition, sharedMethodCount, 192);
QKZ_OFFSET(REALclassDefinition, delegates, 200);
QKZ_OFFSET(REALclassDefinition, delegateCount, 208);
QKZ_OFFSET(REALclassDefinition, enums, 216);
QKZ_OFFSET(REALclassDefinition, enumCount, 224);

static_assert(sizeof(REALmoduleDefinition) == 216);
QKZ_OFFSET(REALmoduleDefinition, version, 0);
QKZ_OFFSET(REALmoduleDefinition, name, 8);
QKZ_OFFSET(REALmoduleDefinition, methods, 16);
QKZ_OFFSET(REALmoduleDefinition, methodCount, 24);
QKZ_OFFSET(REALmoduleDefinition, constants, 32);
QKZ_OFFSET(REALmoduleDefinition, constantCount, 40);
QKZ_OFFSET(REALmoduleDefinition, properties, 48);
QKZ_OFFSET(REALmoduleDefinition, propertyCount, 56);
QKZ_OFFSET(REALmoduleDefinition, structures, 64);
QKZ_OFFSET(REALmoduleDefinition, structureCount, 72);
QKZ_OFFSET(REALmoduleDefinition, enums, 80);
QKZ_OFFSET(REALmoduleDefinition, enumCount, 88);
QKZ_OFFSET(REALmoduleDefinition, attributes, 96);
QKZ_OFFSET(REALmoduleDefinition, attributeCount, 104);
QKZ_OFFSET(REALmoduleDefinition, delegates, 112);
QKZ_OFFSET(REALmoduleDefinition, delegateCount, 120);
QKZ_OFFSET(REALmoduleDefinition, classes, 128);
QKZ_OFFSET(REALmoduleDefinition, classCount, 136);
QKZ_OFFSET(REALmoduleDefinition, interfaces, 144);
QKZ_OFFSET(REALmoduleDefinition, interfaceCount, 152);
QKZ_OFFSET(REALmoduleDefinition, modules, 160);
QKZ_OFFSET(REALmoduleDefinition, moduleCount, 168);
QKZ_OFFSET(REALmoduleDefinition, controls, 176);
QKZ_OFFSET(REALmoduleDefinition, controlCount, 184);
QKZ_OFFSET(REALmoduleDefinition, flags, 192);
QKZ_OFFSET(REALmoduleDefinition, mobileControls, 200);
QKZ_OFFSET(REALmoduleDefinition, mobileControlCount, 208);

static_assert(sizeof(REALpictureDescription) == 32);
QKZ_OFFSET(REALpictureDescription, nativeType, 0);
QKZ_OFFSET(REALpictureDescription, handle, 8);
QKZ_OFFSET(REALpictureDescription, width, 16);
QKZ_OFFSET(REALpictureDescription, height, 20);
QKZ_OFFSET(REALpictureDescription, depth, 24);
QKZ_OFFSET(REALpictureDescription, transparent, 28);

static_assert(sizeof(REALstringData) == 40);
QKZ_OFFSET(REALstringData, data, 0);
QKZ_OFFSET(REALstringData, length, 8);
QKZ_OFFSET(REALstringData, encoding, 16);
QKZ_OFFSET(REALstringData, privateData, 24);
QKZ_OFFSET(REALstringData, privateFlags, 32);

#undef QKZ_OFFSET

#endif
