// How what is thrown becomes a text and an exit status.
#pragma once

#include <ios>
#include <new>
#include <ostream>

#include "CallSyntax.h"

namespace qkz {

/// Does it and returns 0; tells what it throws and returns `status`, or 2 for a UsageError. That standard
/// output cannot be written is for the caller.
template <class F>
int attempt(std::ostream& error, F function, const int& status = 1) {
    try {
        function();
        return 0;
    } catch (const std::ios_base::failure&) {
        throw;
    } catch (const UsageError& wrong) {
        error << wrong.what();
        return 2;
    } catch (const std::bad_alloc&) {
        error << "not enough memory";
    } catch (const std::exception& failure) {
        error << failure.what();
    }
    return status;
}

}  // namespace qkz
