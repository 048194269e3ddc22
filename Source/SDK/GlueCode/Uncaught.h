// The C++ runtime's count of exceptions that were thrown on this thread and are not caught yet.
#pragma once

#include <cxxabi.h>

#ifdef __EMSCRIPTEN__  // where there is one copy of the runtime

class KeepUncaught {
 public:
    ~KeepUncaught() {}
};

#else

/// What the runtime keeps for each thread.
struct ThreadExceptions {
    void* handled;
    unsigned uncaught;
};

/// Sets the count back at scope end. What is caught in between may have been thrown by another copy of the
/// runtime, which counted it elsewhere.
class KeepUncaught {
 public:
    KeepUncaught() : before_(count()) {}
    ~KeepUncaught() { count() = before_; }
    KeepUncaught(const KeepUncaught&) = delete;
    KeepUncaught& operator=(const KeepUncaught&) = delete;

 private:
    static unsigned& count() {
        return reinterpret_cast<ThreadExceptions*>(abi::__cxa_get_globals())->uncaught;
    }

    unsigned before_;
};

#endif
