// Definitions on their way to the host: checked, adapted to its version, and registered.
#pragma once

#include "HostTypes.h"

/// The version that every definition record carries.
inline constexpr std::uint32_t definitionVersion = 15;

/// This plug-in's own flag: becomes console-safe on hosts from 2010.029 on and disappears on older ones.
inline constexpr std::uint32_t deferredConsoleSafe = 0x40000;

// Flags rewritten in place for the running host. The owner's name is accepted and not used.
std::uint32_t FixFlags(REALmethodDefinition& method, const char* owner);
void FixFlags(REALmethodDefinition* methods, std::int64_t count, const char* owner);
void FixFlags(REALmethodDefinition* globalMethods, std::int64_t count);
void FixFlags(REALproperty* properties, std::int64_t count, const char* owner);
void FixFlags(REALclassDefinition& definition);
void FixFlags(REALmoduleDefinition& module);

// Entries without a scope become protected. A null array with a count is logged, debugging or not.
void MarkProtected(REALproperty* properties, std::int64_t count);
void MarkProtected(REALmethodDefinition* methods, std::int64_t count);
void MarkProtected(REALmoduleDefinition& module);

/// "Name(a as T) as R" becomes "Name(extends ref as Class, a as T) as R": a new string of
/// AllocateClearMemory, or null.
char* AddClassParameter(const char* declaration, const char* className);
/// The assigning form: "Name(extends ref as Class, a as T, assigns value as R)". Null, and a message in the
/// log, when the declaration has neither a bracket nor a blank.
char* AddClassParameterAssign(const char* declaration, const char* className);

/// The hidden property `Debugging`: the switch of the debug log. Every generated module carries one.
REALproperty DebuggingProperty(std::uint32_t flags);

// A host that throws at one registration gets the others all the same.

/// Registers a class, its instance data rounded up to 16 bytes.
void MyREALRegisterClass(REALclassDefinition& definition);
/// Registers a module: what has no scope becomes protected, a module without flags console-safe.
void MyREALRegisterModule(REALmoduleDefinition& module);
/// Registers methods onto a class of the host: natively on hosts below 2013.0 and from 3000.0 on, otherwise
/// as a generated module of methods with an `extends` parameter.
void MyREALRegisterClassExtension(REALclassDefinition& definition);
/// Registers global methods: one by one on hosts below 2013.0 and from 3000.0 on, otherwise as a generated
/// module.
void MyREALRegisterMethodArray(REALmethodDefinition* methods, std::int64_t count);
/// Registers one global method as it is.
void MyREALRegisterMethod(REALmethodDefinition& method);
