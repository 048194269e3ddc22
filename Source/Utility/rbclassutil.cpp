#include "rbclassutil.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "MyMemory.h"
#include "PluginMain.h"
#include "rbDebug.h"
#include "rbException.h"

namespace {

// A combination of targets that hosts below 2020.02 do not know; they take console-safe instead.
constexpr std::uint32_t targetMask = 0x708;
constexpr std::uint32_t newTargets = 0x308;

REALproperty generatedModuleProperty =
    DebuggingProperty(REALpropRuntimeOnly | REALconsoleSafe | REALscopePublic);

/// A generated module. The host keeps pointers into it: it is never freed.
struct GeneratedModule {
    REALmoduleDefinition definition;
    GeneratedModule* previous;
};
[[gnu::used]] GeneratedModule* lastGeneratedModule = nullptr;

std::uint32_t fixedFlags(std::uint32_t flags) {
    if (HostVersion() < 2020.02 && (flags & targetMask) == newTargets) {
        flags = (flags & ~newTargets) | REALconsoleSafe;
    }
    if (flags & deferredConsoleSafe) {
        flags &= ~deferredConsoleSafe;
        if (HostVersion() >= 2010.029) flags |= REALconsoleSafe;
    }
    return flags;
}

template <class Entry>
void fixAll(Entry* entries, std::int64_t count) {
    if (!entries) return;
    for (std::int64_t i = 0; i < count; ++i) entries[i].flags = fixedFlags(entries[i].flags);
}

template <class Entry>
void protectAll(Entry* entries, std::int64_t count, const char* missing) {
    if (count == 0) return;
    if (!entries) return LogMessage(missing);
    for (std::int64_t i = 0; i < count; ++i) {
        if (!(entries[i].flags & REALscopeMask)) entries[i].flags |= REALscopeProtected;
    }
}

std::int64_t signedCount(std::size_t count) { return static_cast<std::int64_t>(count); }

/// Zeroed records of AllocateClearMemory; null when there is no memory.
template <class Record>
using Allocated = std::unique_ptr<Record, MemoryDeleter>;

template <class Record>
Record* allocateRecords(std::int64_t count) {
    return static_cast<Record*>(AllocateClearMemory(count * static_cast<std::int64_t>(sizeof(Record))));
}

char* heapCopy(const char* text) {
    const std::size_t bytes = std::strlen(text) + 1;
    auto* const copy = static_cast<char*>(AllocateClearMemory(static_cast<std::int64_t>(bytes)));
    return copy ? static_cast<char*>(std::memcpy(copy, text, bytes)) : nullptr;
}

void logRefused(const CaughtException& caught) noexcept {
    LogMessage("Warning: The host failed to register a definition:", caught.message());
}

template <class Function>
void registerWithHost(Function function) {
    guarded<logRefused>(function);
}

bool hasNativeExtensions() { return HostVersion() >= 3000.0 || HostVersion() < 2013.0; }

/// The rows of a generated module, in order, with one more flag: global scope.
struct GeneratedRows {
    Allocated<REALmethodDefinition[]> rows;
    bool ownsDeclarations = false;
    std::size_t count = 0;

    ~GeneratedRows() {
        if (!rows || !ownsDeclarations) return;
        for (std::size_t i = 0; i < count; ++i) FreeMemoryNow(const_cast<char*>(rows[i].declaration));
    }
    void add(const REALmethodDefinition& row) {
        rows[count] = row;
        rows[count++].flags |= REALscopeGlobal;
    }
};

Allocated<GeneratedModule> newModule() {
    Allocated<GeneratedModule> module(allocateRecords<GeneratedModule>(1));
    if (!module) LogMessage("Warning: Failed to allocate memory for module definition.");
    return module;
}

bool allocateRows(GeneratedRows& generated, std::int64_t count) {
    generated.rows.reset(allocateRecords<REALmethodDefinition>(count));
    if (!generated.rows) LogMessage("Warning: Failed to allocate memory for method definitions.");
    return generated.rows != nullptr;
}

/// Takes over module and rows: from here on the host keeps pointers into them.
void registerGenerated(Allocated<GeneratedModule> module, const char* name, GeneratedRows& generated) {
    REALmoduleDefinition& definition = module->definition;
    definition.version = definitionVersion;
    definition.name = heapCopy(name);
    if (!definition.name) return LogMessage("Warning: Failed to allocate memory for module name.");
    definition.methods = generated.rows.release();
    definition.methodCount = generated.count;
    definition.properties = &generatedModuleProperty;
    definition.propertyCount = 1;
    definition.flags = REALconsoleSafe;
    module->previous = std::exchange(lastGeneratedModule, module.get());
    MyREALRegisterModule(module.release()->definition);
}

/// The table's rows as methods with an `extends` parameter, each assigning form before the reading one.
bool addExtensionRows(GeneratedRows& generated, const REALclassDefinition& definition) {
    generated.ownsDeclarations = true;
    for (std::size_t i = 0; i < definition.methodCount; ++i) {
        const REALmethodDefinition& method = definition.methods[i];
        REALmethodDefinition row = method;
        row.setterFunction = nullptr;
        if (method.setterFunction) {
            row.function = method.setterFunction;
            row.declaration = AddClassParameterAssign(method.declaration, definition.name);
            if (!row.declaration) return false;
            generated.add(row);
        }
        if (method.function) {
            row.function = method.function;
            row.declaration = AddClassParameter(method.declaration, definition.name);
            if (!row.declaration) return false;
            generated.add(row);
        }
    }
    return true;
}

}  // namespace

std::uint32_t FixFlags(REALmethodDefinition& method, const char* /*owner*/) {
    return method.flags = fixedFlags(method.flags);
}

void FixFlags(REALmethodDefinition* methods, std::int64_t count, const char* /*owner*/) {
    fixAll(methods, count);
}

void FixFlags(REALmethodDefinition* globalMethods, std::int64_t count) {
    FixFlags(globalMethods, count, "global");
}

void FixFlags(REALproperty* properties, std::int64_t count, const char* /*owner*/) {
    fixAll(properties, count);
}

void FixFlags(REALclassDefinition& definition) {
    definition.flags = fixedFlags(definition.flags);
    FixFlags(definition.methods, signedCount(definition.methodCount), definition.name);
    FixFlags(definition.sharedMethods, signedCount(definition.sharedMethodCount), definition.name);
    FixFlags(definition.properties, signedCount(definition.propertyCount), definition.name);
    FixFlags(definition.sharedProperties, signedCount(definition.sharedPropertyCount), definition.name);
}

void FixFlags(REALmoduleDefinition& module) {
    FixFlags(module.methods, signedCount(module.methodCount), module.name);
    FixFlags(module.properties, signedCount(module.propertyCount), module.name);
}

void MarkProtected(REALproperty* properties, std::int64_t count) {
    protectAll(properties, count, "Error: property array is nil while count is not zero!");
}

void MarkProtected(REALmethodDefinition* methods, std::int64_t count) {
    protectAll(methods, count, "Error: method array is nil while count is not zero!");
}

void MarkProtected(REALmoduleDefinition& module) {
    MarkProtected(module.methods, signedCount(module.methodCount));
    MarkProtected(module.properties, signedCount(module.propertyCount));
    protectAll(module.enums, signedCount(module.enumCount),
               "Error: enum array is nil while count is not zero!");
}

char* AddClassParameter(const char* declaration, const char* className) {
    char text[1000];
    const auto head = static_cast<int>(std::strcspn(declaration, "( "));
    const char* const rest = declaration + head;
    // An empty parameter list keeps its trailing comma and blank: "Name(extends ref as Class, )".
    if (*rest == '(') {
        std::snprintf(text, sizeof text, "%.*s(extends ref as %s, %s", head, declaration, className,
                      rest + 1);
    } else {
        std::snprintf(text, sizeof text, "%.*s(extends ref as %s)%s", head, declaration, className, rest);
    }
    return heapCopy(text);
}

char* AddClassParameterAssign(const char* declaration, const char* className) {
    char* const extended = AddClassParameter(declaration, className);
    if (!extended) return nullptr;
    char text[1000];
    char* result = nullptr;
    if (const char* const bracket = std::strchr(extended, ')')) {
        std::snprintf(text, sizeof text, "%.*s, assigns value%s)", static_cast<int>(bracket - extended),
                      extended, bracket + 1);
        result = heapCopy(text);
    } else if (const char* const blank = std::strchr(extended, ' ')) {
        std::snprintf(text, sizeof text, "%.*s(assigns value%s)", static_cast<int>(blank - extended),
                      extended, blank);
        result = heapCopy(text);
    } else {
        // compatibility.md#a-message-in-german
        LogMessage("Error: Keine Klammer in der Deklaration", extended);
    }
    FreeMemoryNow(extended);
    return result;
}

REALproperty DebuggingProperty(std::uint32_t flags) {
    static constexpr REALattribute hidden{"Hidden", ""};
    REALproperty property{};
    property.name = "Debugging";
    property.type = "Boolean";
    property.flags = flags;
    property.getter = HostCall<getDebugging>();
    property.setter = HostCall<setDebugging>();
    property.attributeCount = 1;
    property.attributes = &hidden;
    return property;
}

void MyREALRegisterClass(REALclassDefinition& definition) {
    FixFlags(definition);
    definition.dataSize = (definition.dataSize + 15) / 16 * 16;
    definition.version = definitionVersion;
    registerWithHost([&] { REALRegisterClass(&definition); });
}

void MyREALRegisterModule(REALmoduleDefinition& module) {
    MarkProtected(module);
    FixFlags(module);
    if (module.flags == 0) module.flags = REALconsoleSafe;
    module.version = definitionVersion;
    registerWithHost([&] { REALRegisterModule(&module); });
}

void MyREALRegisterClassExtension(REALclassDefinition& definition) {
    FixFlags(definition);
    if (hasNativeExtensions()) {
        definition.version = definitionVersion;
        return registerWithHost([&] { REALRegisterClassExtension(&definition); });
    }
    if (!definition.methods || definition.methodCount == 0) return;
    char name[100];
    std::snprintf(name, sizeof name, "%s%s%s", definition.name, MyPluginName(), "ExtensionQKZ");
    Allocated<GeneratedModule> module = newModule();
    if (!module) return;
    std::int64_t count = 0;
    for (std::size_t i = 0; i < definition.methodCount; ++i) {
        count += (definition.methods[i].function ? 1 : 0) + (definition.methods[i].setterFunction ? 1 : 0);
    }
    GeneratedRows generated;
    if (!allocateRows(generated, count)) return;
    if (!addExtensionRows(generated, definition)) {
        return LogMessage("Warning: Failed to make the method declarations.");
    }
    registerGenerated(std::move(module), name, generated);
}

void MyREALRegisterMethodArray(REALmethodDefinition* methods, std::int64_t count) {
    FixFlags(methods, count);
    if (hasNativeExtensions()) {
        for (std::int64_t i = 0; i < count; ++i) MyREALRegisterMethod(methods[i]);
        return;
    }
    char name[100];
    std::snprintf(name, sizeof name, "%s%s", MyPluginName(), "GlobalsQKZ");
    Allocated<GeneratedModule> module = newModule();
    if (!module) return;
    GeneratedRows generated;
    if (!allocateRows(generated, count)) return;
    for (std::int64_t i = 0; i < count; ++i) generated.add(methods[i]);
    registerGenerated(std::move(module), name, generated);
}

void MyREALRegisterMethod(REALmethodDefinition& method) {
    registerWithHost([&] { REALRegisterMethod(&method); });
}
