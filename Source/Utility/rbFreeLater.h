// A scope guard for host handles.
#pragma once

#include "PluginMain.h"

/// Releases the object and the string that the given variables hold at scope end, and sets them to null.
/// Either pointer may be null.
template <class Object = REALobjectStruct>
class rbFreeLater {
 public:
    explicit rbFreeLater(Object*& variable) : object(&variable) {}
    explicit rbFreeLater(REALstringStruct*& variable) : string(&variable) {}
    rbFreeLater(Object** objectVariable, REALstringStruct** stringVariable)
        : object(objectVariable), string(stringVariable) {}
    ~rbFreeLater() {
        if (object && *object) {
            REALUnlockObject(*object);
            *object = nullptr;
        }
        if (string && *string) {
            REALUnlockString(*string);
            *string = nullptr;
        }
    }
    rbFreeLater(const rbFreeLater&) = delete;
    rbFreeLater& operator=(const rbFreeLater&) = delete;

 private:
    Object** object = nullptr;
    REALstringStruct** string = nullptr;
};

rbFreeLater(REALstringStruct*&)->rbFreeLater<REALobjectStruct>;
