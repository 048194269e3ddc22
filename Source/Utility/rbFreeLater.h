// References to what the host owns, released: now, or at scope end.
#pragma once

#include <utility>

#include "PluginMain.h"
#include "rbException.h"

/// Releases the object that the variable holds, if any, and sets it to null.
template <class Object>
void rbFreeNow(Object*& object) noexcept {
    if (object) quietly([&] { REALUnlockObject(std::exchange(object, nullptr)); });
}
inline void rbFreeNow(REALstringStruct*& string) noexcept {
    if (string) quietly([&] { REALUnlockString(std::exchange(string, nullptr)); });
}

/// Releases the object and the string that the given variables hold at scope end, and sets them to null.
/// Either pointer may be null. Whatever a function makes or locks it holds by such a guard from then on, and
/// gives it away with `return std::exchange(object, nullptr)`.
template <class Object = REALobjectStruct>
class rbFreeLater {
 public:
    explicit rbFreeLater(Object*& variable) : object_(&variable) {}
    explicit rbFreeLater(REALstringStruct*& variable) : string_(&variable) {}
    rbFreeLater(Object** objectVariable, REALstringStruct** stringVariable)
        : object_(objectVariable), string_(stringVariable) {}
    ~rbFreeLater() {
        if (object_) rbFreeNow(*object_);
        if (string_) rbFreeNow(*string_);
    }
    rbFreeLater(const rbFreeLater&) = delete;
    rbFreeLater& operator=(const rbFreeLater&) = delete;

 private:
    Object** object_ = nullptr;
    REALstringStruct** string_ = nullptr;
};

rbFreeLater(REALstringStruct*&)->rbFreeLater<REALobjectStruct>;
