// References to what the host owns, released: now, or at scope end.
#pragma once

#include <utility>

#include "PluginMain.h"
#include "rbException.h"

/// Releases the object that the variable holds, if any, and sets it to null.
template <class Object>
void rbFreeNow(Object*& object) noexcept {
    if (object) Quietly([&] { REALUnlockObject(std::exchange(object, nullptr)); });
}
inline void rbFreeNow(REALstringStruct*& string) noexcept {
    if (string) Quietly([&] { REALUnlockString(std::exchange(string, nullptr)); });
}

/// Releases the object and the string that the given variables hold at scope end, and sets them to null.
/// Either pointer may be null. Whatever a function makes or locks it holds by such a guard from then on, and
/// gives it away with `return std::exchange(object, nullptr)`.
template <class Object = REALobjectStruct>
class rbFreeLater {
 public:
    explicit rbFreeLater(Object*& variable) : object(&variable) {}
    explicit rbFreeLater(REALstringStruct*& variable) : string(&variable) {}
    rbFreeLater(Object** objectVariable, REALstringStruct** stringVariable)
        : object(objectVariable), string(stringVariable) {}
    ~rbFreeLater() {
        if (object) rbFreeNow(*object);
        if (string) rbFreeNow(*string);
    }
    rbFreeLater(const rbFreeLater&) = delete;
    rbFreeLater& operator=(const rbFreeLater&) = delete;

 private:
    Object** object = nullptr;
    REALstringStruct** string = nullptr;
};

rbFreeLater(REALstringStruct*&)->rbFreeLater<REALobjectStruct>;
