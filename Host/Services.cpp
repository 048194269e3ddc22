// The services that plug-ins ask for by name, and the methods of objects that they look up.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <stdexcept>

#include "Encoding.h"
#include "Host.h"

namespace qkzhost {

using ObjectRef = REALobjectStruct*;
using PictureRef = REALpictureStruct*;
using StringRef = REALstringStruct*;
using BlockRef = REALmemoryBlockStruct*;
using Text = const char*;
using Function = void*;

struct Services {
    // ---- the seam: one call at a time, counting, faults, and nothing else thrown into the plug-in

    static const void* addressIn() { return nullptr; }
    template <class First, class... Others>
    static const void* addressIn(First first, Others...) {
        if constexpr (std::is_convertible_v<First, const void*>) return first;
        return nullptr;
    }

    /// Stands before the functions of one signature; one that is of another does not compile.
    template <class Signature>
    struct Entry;
    template <class R, class... A>
    struct Entry<R(A...)> {
        template <const HostFunctionType<R(A...)>& type, R (*function)(Host&, A...)>
        static R call(A... arguments) {
            static int knownHost = 0;  // the look-up by name is for the first call on each host
            static Faults::State* state = nullptr;
            Host& host = Host::current();
            const std::lock_guard turn(host.faults.mutex);
            if (std::exchange(knownHost, host.number) != host.number) state = &host.faults.of(type.name);
            if (host.faults.enter(*state, addressIn(arguments...))) {
                try {
                    return function(host, arguments...);
                } catch (const InjectedError&) {
                    throw;
                } catch (const std::bad_alloc&) {
                    host.exceptions.raise("OutOfMemoryException", type.name);
                } catch (const std::exception& error) {
                    host.objects.note(std::string(type.name) + ": " + error.what());
                }
            }
            if constexpr (!std::is_void_v<R>) return R{};
        }
    };

    template <class T>
    static T* find(Host& host, const void* handle, const char* purpose) {
        return host.objects.find<T>(handle, purpose);
    }

    // ---- start and registration

    static double version(Host& host) { return host.settings.version; }
    static void sdkVersion(Host& host, std::int32_t version) { host.sdkVersion = version; }
    /// A plug-in may leave its records to the host, which has them for the life of the process.
    static void keep(const void* definition) {
        static auto& kept = *new std::vector<const void*>;
        kept.push_back(definition);
    }
    template <Registration::Kind kind>
    static void registerClass(Host& host, REALclassDefinition* definition) {
        keep(definition);
        Registration copy(kind, *definition);
        if (kind == Registration::classType) {
            // Every class has its data somewhere else, so that nobody can rely on one distance.
            copy.instanceOffset = 32 + 16 * static_cast<std::int64_t>(host.registry.registrations().size());
            definition->forSystemUse = copy.instanceOffset;
        }
        host.registry.add(std::move(copy));
    }
    static void registerModule(Host& host, REALmoduleDefinition* definition) {
        keep(definition);
        host.registry.add(Registration(*definition));
    }
    static void registerMethod(Host& host, REALmethodDefinition* definition) {
        keep(definition);
        host.registry.add(Registration(*definition));
    }

    // ---- objects

    static void lockObject(Host& host, ObjectRef object) { host.objects.lock(object); }
    static void unlockObject(Host& host, ObjectRef object) { host.objects.unlock(object); }
    static bool isException(std::string_view name) { return name.ends_with("Exception"); }
    static bool classExists(Host& host, std::string_view name) {
        if (host.faults.of(name).omitted) return false;
        const std::pair<std::string_view, AppKind> applications[] = {{"Application", AppKind::desktop},
                                                                     {"ConsoleApplication", AppKind::console},
                                                                     {"WebApplication", AppKind::web}};
        for (const auto& [text, kind] : applications)
            if (sameText(text, name)) return host.settings.app == kind;
        for (const char* text :
             {"Picture", "MemoryBlock", "Graphics", "NilObjectException", "OutOfMemoryException",
              "OutOfBoundsException", "RuntimeException", "UnsupportedOperationException",
              "PlatformNotSupportedException", "InvalidArgumentException"})
            if (sameText(text, name)) return true;
        const Registration* registered = host.registry.registration(name);
        return registered && registered->kind == Registration::classType;
    }
    static REALclassStruct* classRef(Host& host, Text name) {
        auto& state = host.faults.of(name);
        ++state.asked;
        // Any address will do that stays and is one for each class.
        return classExists(host, name) ? reinterpret_cast<REALclassStruct*>(&state) : nullptr;
    }
    static ObjectRef newInstance(Host& host, Text name) {
        if (!classExists(host, name) || !host.faults.enter(host.faults.of(name), nullptr)) return nullptr;
        if (sameText(name, "Picture")) return host.objects.add(std::make_unique<Picture>()).handle();
        if (sameText(name, "MemoryBlock")) return host.objects.add(std::make_unique<MemoryBlock>()).handle();
        if (isException(name)) return host.objects.add(std::make_unique<Exception>(name)).handle();
        const Registration* type = host.registry.registration(name);
        if (!type || type->kind != Registration::classType) return nullptr;
        Instance& instance = host.objects.add(std::make_unique<Instance>(*type));
        Argument self[] = {{Type::object, instance.handle()}};
        if (type->constructor) callNative(type->constructor, self, Type::none);
        return instance.handle();
    }
    static ObjectRef callWithHandler(Host& host, void (*function)(void*), void* data) {
        OwnedObject before = host.exceptions.exchange(nullptr);
        try {
            function(data);
        } catch (...) {
            host.exceptions.raise("RuntimeException", "an exception was thrown");
        }
        return host.exceptions.exchange(std::move(before)).release();
    }
    static void raise(Host& host, ObjectRef exception) { host.exceptions.raise(exception); }
    static RBBoolean inDebugMode(Host&) { return 0; }
    static void messageBox(Host& host, StringRef text) {
        std::cerr << "message: " << host.objects.text(text) << '\n';
    }

    // ---- properties by name

    template <class T, class Out>
    static RBBoolean getProperty(Host& host, ObjectRef handle, Text name, Out* out) {
        Object* object = host.objects.find(handle, name);
        const auto value = object ? object->get(name) : std::nullopt;
        const T* content = value ? value->as<T>() : nullptr;
        if (content) *out = static_cast<Out>(*content);
        return content != nullptr;
    }
    static RBBoolean setInteger(Host& host, ObjectRef object, Text name, std::int64_t value) {
        return host.setProperty(object, name, value);
    }
    static RBBoolean setDouble(Host& host, ObjectRef object, Text name, double value) {
        return host.setProperty(object, name, value);
    }
    static RBBoolean setString(Host& host, ObjectRef object, Text name, StringRef value) {
        return host.setProperty(object, name, value);
    }
    static RBBoolean setColor(Host& host, ObjectRef object, Text name, std::uint32_t value) {
        return host.setProperty(object, name, Color{value});
    }

    // ---- strings

    static RBBoolean stringData(Host& host, StringRef handle, std::uint32_t encoding, REALstringData* out) {
        const String* string = find<String>(host, handle, "string data");
        const auto bytes = string ? convert(string->bytes, string->encoding, encoding) : std::nullopt;
        if (!bytes) return 0;
        char* copy = static_cast<char*>(std::malloc(bytes->size() + 1));
        if (!copy) return 0;
        std::memcpy(copy, bytes->c_str(), bytes->size() + 1);
        *out = {copy, bytes->size(), encoding, copy, 0};
        ++host.objects.stringData;
        return 1;
    }
    static void disposeStringData(Host& host, REALstringData* data) {
        if (!data->privateData) return host.objects.note("string data is disposed twice");
        std::free(data->privateData);
        *data = {};
        --host.objects.stringData;
    }
    static StringRef buildWithEncoding(Host& host, const void* bytes, std::int32_t length,
                                       std::uint32_t encoding) {
        if (length < 0 || (!bytes && length > 0)) return nullptr;
        const std::string_view text(bytes ? static_cast<Text>(bytes) : "", static_cast<std::size_t>(length));
        return host.objects.newString(text, encoding).release();
    }
    static StringRef build(Host& host, const void* bytes, std::int32_t length) {
        return buildWithEncoding(host, bytes, length, REALencodingUnknown);
    }
    static void lockString(Host& host, StringRef string) { host.objects.lock(string); }
    static void unlockString(Host& host, StringRef string) { host.objects.unlock(string); }
    static Text stringContents(Host& host, StringRef handle) {
        const String* string = find<String>(host, handle, "string contents");
        return string ? string->bytes.c_str() : nullptr;
    }
    static std::int64_t lenB(Host& host, StringRef handle) {
        const String* string = find<String>(host, handle, "LenB");
        return string ? static_cast<std::int64_t>(string->bytes.size()) : 0;
    }
    static std::uint32_t stringEncoding(Host& host, StringRef string) {
        return host.objects.encoding(string);
    }
    static StringRef convertString(Host& host, StringRef handle, std::uint32_t encoding) {
        const String* string = find<String>(host, handle, "convert string");
        const auto bytes = string ? convert(string->bytes, string->encoding, encoding) : std::nullopt;
        return bytes ? host.objects.newString(*bytes, encoding).release() : nullptr;
    }
    static void setStringEncoding(Host& host, StringRef handle, std::uint32_t encoding) {
        if (String* string = find<String>(host, handle, "set string encoding")) string->encoding = encoding;
    }

    // ---- pictures

    static RBBoolean lockDescription(Host& host, PictureRef handle, REALpictureDescription* out,
                                     std::uint32_t nativeType) {
        Picture* picture = find<Picture>(host, handle, "lock picture description");
        if (!picture) return 0;
        void* native = picture->surface ? picture->surface->nativeHandle(nativeType) : nullptr;
        REALpictureDescription answer;
        if (native) answer = {nativeType, native, picture->surface->width, picture->surface->height, 32, 0};
        bool locked = native != nullptr;
        if (host.faults.answerLock) locked = host.faults.answerLock(handle, answer, locked);
        if (!locked) return 0;
        *out = answer;
        ++picture->descriptionLocks;
        return 1;
    }
    static void unlockDescription(Host& host, PictureRef handle) {
        Picture* picture = find<Picture>(host, handle, "unlock picture description");
        if (!picture) return;
        if (picture->descriptionLocks == 0) return host.objects.note("a picture is unlocked but not locked");
        --picture->descriptionLocks;
    }
    static void clearCache(Host& host, PictureRef handle) { find<Picture>(host, handle, "clear cache"); }
    static PictureRef pictureMask(Host& host, PictureRef handle, RBBoolean create) {
        Picture* picture = find<Picture>(host, handle, "mask");
        if (!picture || !picture->surface) return nullptr;
        const Surface& surface = *picture->surface;
        if (!picture->mask && create && !surface.alpha) {  // a new mask is black: everything shows
            picture->mask = host.newPicture(surface.width, surface.height);
        }
        return OwnedPicture(picture->mask).release();
    }
    static REALgraphicsStruct* graphics(Host& host, PictureRef handle) {
        Picture* picture = find<Picture>(host, handle, "graphics");
        if (!picture || !picture->surface) return nullptr;
        return static_cast<REALgraphicsStruct*>(
            host.objects.add(std::make_unique<Graphics>(OwnedPicture::shared(handle))).handle());
    }
    static PictureRef newPicture(Host& host, std::int64_t width, std::int64_t height, std::int64_t depth) {
        return depth == 32 ? host.newPicture(width, height).release() : nullptr;
    }
    /// The buffer is the host's from here on, also when no picture comes of it.
    static PictureRef pictureFromBuffer(Host& host, std::uint32_t width, std::uint32_t height,
                                        std::int32_t pixelType, void* bytes, std::uint32_t rowBytes) {
        if (!bytes || pixelType != REALpixelRGB || rowBytes < std::uint64_t{width} * 3) return nullptr;
        OwnedPicture picture = host.newPicture(width, height);
        if (!picture) return nullptr;
        Surface& surface = host.objects.surface(picture);
        std::vector<std::uint32_t> words(width);
        for (std::uint32_t y = 0; y < height; ++y) {
            const auto* rgb = static_cast<const std::uint8_t*>(bytes) + std::size_t{y} * rowBytes;
            for (std::uint32_t& word : words) {
                word = surface.fromArgb(0xFF000000u |
                                        static_cast<std::uint32_t>(rgb[0] << 16 | rgb[1] << 8 | rgb[2]));
                rgb += 3;
            }
            surface.write(0, static_cast<int>(y), surface.width, words.data());
        }
        return picture.release();
    }
    static PictureRef buildFromBuffer(std::uint32_t width, std::uint32_t height, std::int32_t pixelType,
                                      void* bytes, std::uint32_t rowBytes) {
        const std::unique_ptr<void, decltype(&std::free)> owned(bytes, &std::free);
        return Entry<PictureRef(std::uint32_t, std::uint32_t, std::int32_t, void*, std::uint32_t)>::call<
            service::REALBuildPictureFromBuffer, pictureFromBuffer>(width, height, pixelType, bytes,
                                                                    rowBytes);
    }
    static std::int64_t pictureType(Host& host, PictureRef handle) {
        const Picture* picture = find<Picture>(host, handle, "picture type");
        return picture ? picture->kind : 0;
    }

    // ---- memory blocks

    static void* blockPointer(Host& host, BlockRef handle) {
        MemoryBlock* block = find<MemoryBlock>(host, handle, "memory block pointer");
        return block ? block->bytes.data() : nullptr;
    }
    static std::int64_t blockSize(Host& host, BlockRef handle) {
        const MemoryBlock* block = find<MemoryBlock>(host, handle, "memory block size");
        return block ? static_cast<std::int64_t>(block->bytes.size()) : 0;
    }

    // ---- methods of objects

    static PictureRef bestRepresentation(Host& host, ObjectRef handle, std::int64_t, std::int64_t, double) {
        const Picture* picture = find<Picture>(host, handle, "BestRepresentation");
        return picture ? OwnedPicture(picture->representation).release() : nullptr;
    }
    static PictureRef getMask(Host& host, ObjectRef picture, RBBoolean create) {
        return pictureMask(host, static_cast<PictureRef>(picture), create);
    }
    static void setMask(Host& host, ObjectRef picture, PictureRef mask) {
        host.objects.picture(static_cast<PictureRef>(picture)).mask = OwnedPicture::shared(mask);
    }
    static void constructPicture(Host& host, ObjectRef handle, std::int64_t width, std::int64_t height) {
        if (Picture* picture = find<Picture>(host, handle, "Picture.Constructor")) {
            picture->surface =
                Surface::create(host.settings.storage, width, height, true, host.settings.extraStride);
        }
    }
    static void constructBlock(Host& host, ObjectRef handle, std::int64_t size) {
        MemoryBlock* block = find<MemoryBlock>(host, handle, "MemoryBlock.Constructor");
        if (!block || size < 0) return;
        if (static_cast<std::uint64_t>(size) > block->bytes.max_size()) throw std::bad_alloc();
        block->bytes.assign(static_cast<std::size_t>(size), 0);
    }
    template <class Number>
    static void drawPicture(Host& host, ObjectRef handle, PictureRef image, Number x, Number y, Number width,
                            Number height, Number sourceX, Number sourceY, Number sourceWidth,
                            Number sourceHeight) {
        const Graphics* target = find<Graphics>(host, handle, "DrawPicture");
        const Picture* source = find<Picture>(host, image, "DrawPicture");
        if (!target || !source || !source->surface) return;
        const auto size = [](Number given, double whole) {  // -10000 stands for the natural size
            return given == Number{-10000} ? whole : static_cast<double>(given);
        };
        const Area from{static_cast<double>(sourceX), static_cast<double>(sourceY),
                        size(sourceWidth, source->surface->width),
                        size(sourceHeight, source->surface->height)};
        const Area to{static_cast<double>(x), static_cast<double>(y), size(width, from.width),
                      size(height, from.height)};
        const Picture* mask = find<Picture>(host, source->mask, "mask");
        draw(host.objects.surface(target->picture), to, *source->surface,
             mask ? mask->surface.get() : nullptr, from);
    }

    // ---- the tables

    template <class Signature>
    static Entry<Signature> entryOf(const HostFunctionType<Signature>&);

    template <class Signature>
    static Function address(const HostFunctionType<Signature>&, Signature* function) {
        return reinterpret_cast<Function>(function);
    }

    template <const auto& type, auto function>
    static std::pair<std::string, Function> entry() {
        using Before = decltype(entryOf(type));
        return {type.name, reinterpret_cast<Function>(&Before::template call<type, function>)};
    }

    struct ObjectMethod {
        Text className;
        std::string declaration;  // canonical
        Function function;
    };
    template <const auto& type, auto function>
    static ObjectMethod method(Text className) {
        const auto [declaration, address] = entry<type, function>();
        return {className, canonical(declaration), address};
    }

    static Function loadObjectMethod(Host& host, ObjectRef handle, Text declaration) {
        static const std::vector<ObjectMethod> methods = {
            method<hostmethod::bestRepresentation, bestRepresentation>("Picture"),
            method<hostmethod::getMask, getMask>("Picture"),
            method<hostmethod::setMask, setMask>("Picture"),
            method<hostmethod::constructPicture, constructPicture>("Picture"),
            method<hostmethod::constructMemoryBlock, constructBlock>("MemoryBlock"),
            method<hostmethod::drawPicture, drawPicture<double>>("Graphics"),
            method<hostmethod::drawPictureWhole, drawPicture<RBInteger>>("Graphics"),
        };
        const Object* object = host.objects.find(handle, declaration);
        const std::string wanted = canonical(declaration);
        auto& state = host.faults.of(declaration);
        ++state.asked;
        if (!object || state.omitted) return nullptr;
        for (const ObjectMethod& candidate : methods) {
            if (candidate.declaration != wanted || object->className != candidate.className) continue;
            const bool wholeNumbers = candidate.function == methods.back().function;
            if (object->className != "Graphics" || wholeNumbers == host.settings.wholeNumberGraphics)
                return candidate.function;
        }
        return nullptr;
    }
    static Function loadGlobalMethod(Host& host, Text declaration) {
        static const auto length = entry<hostmethod::lenB, lenB>();
        auto& state = host.faults.of(declaration);
        ++state.asked;
        return !state.omitted && canonical(declaration) == canonical(length.first) ? length.second : nullptr;
    }

    static const std::unordered_map<std::string, Function>& table() {
        static const std::unordered_map<std::string, Function> services = {
            entry<service::REALGetRBVersion, version>(),
            entry<service::RegisterPluginVersion, sdkVersion>(),
            entry<service::PluginRegisterClass, registerClass<Registration::classType>>(),
            entry<service::PluginRegisterClassExtension, registerClass<Registration::extension>>(),
            entry<service::PluginRegisterModule, registerModule>(),
            entry<service::PluginRegisterMethod, registerMethod>(),
            entry<service::REALLockObject, lockObject>(),
            entry<service::REALUnlockObject, unlockObject>(),
            entry<service::pluginObjectType, classRef>(),
            entry<service::PluginNewInstance, newInstance>(),
            entry<service::REALLoadObjectMethod, loadObjectMethod>(),
            entry<service::REALLoadGlobalMethod, loadGlobalMethod>(),
            entry<service::PluginCallFunctionWithExceptionHandler, callWithHandler>(),
            entry<service::RuntimeRaiseException, raise>(),
            entry<service::REALInDebugMode, inDebugMode>(),
            entry<service::RuntimeMsgBox, messageBox>(),
            entry<service::REALGetPropValueInteger, getProperty<std::int64_t, std::int64_t>>(),
            entry<service::REALGetPropValueBool, getProperty<bool, RBBoolean>>(),
            entry<service::REALSetPropValueInteger, setInteger>(),
            entry<service::REALSetPropValueDouble, setDouble>(),
            entry<service::REALSetPropValueString, setString>(),
            entry<service::REALSetPropValueColor, setColor>(),
            entry<service::PluginGetStringData, stringData>(),
            entry<service::PluginDisposeStringData, disposeStringData>(),
            entry<service::REALBuildString, build>(),
            entry<service::REALBuildStringWithEncoding, buildWithEncoding>(),
            entry<service::REALLockString, lockString>(),
            entry<service::REALUnlockString, unlockString>(),
            entry<service::StringGetCString, stringContents>(),
            entry<service::REALGetStringEncoding, stringEncoding>(),
            entry<service::REALConvertString, convertString>(),
            entry<service::REALSetStringEncoding, setStringEncoding>(),
            entry<service::REALLockPictureDescription, lockDescription>(),
            entry<service::unlockPictureDescription, unlockDescription>(),
            entry<service::REALPictureClearCache, clearCache>(),
            entry<service::REALGetPictureMask, pictureMask>(),
            entry<service::pluginPictureGraphicsGetter, graphics>(),
            entry<service::newPicture, newPicture>(),
            {service::REALBuildPictureFromBuffer.name,
             address(service::REALBuildPictureFromBuffer, &buildFromBuffer)},
            entry<service::PluginPictureGetType, pictureType>(),
            entry<service::memoryBlockGetPtr, blockPointer>(),
            entry<service::memoryBlockGetSize, blockSize>(),
        };
        return services;
    }
};

void* Host::resolve(const char* name) noexcept try {
    Host& host = current();
    const std::lock_guard turn(host.faults.mutex);
    Faults::State& state = host.faults.of(name);
    ++state.asked;
    if (state.omitted) return nullptr;
    if (!host.settings.answersVersion && sameText(name, "REALGetRBVersion")) return nullptr;
    const auto found = Services::table().find(name);
    return found == Services::table().end() ? nullptr : found->second;
} catch (const std::bad_alloc&) {
    return nullptr;
}

OwnedObject Host::newInstance(std::string_view className) {
    return OwnedObject(Services::newInstance(*this, std::string(className).c_str()));
}

}  // namespace qkzhost
