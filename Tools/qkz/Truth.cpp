#include "Truth.h"

#include <new>

#include "Help.h"

namespace qkz {

int truth(qkzhost::Host& host, const qkzhost::Limits& limits, const std::filesystem::path& file,
          const std::vector<std::string>& calls, bool print) {
    try {
        std::ostream nowhere(nullptr);
        Session session(host, limits, print ? std::cout : nowhere);
        session.open(file);
        for (const std::string& call : calls) explaining([&] { session.run(call); });
        if (print) std::cout.flush();
        if (session.truth()) return *session.truth() ? 0 : 1;
    } catch (const std::bad_alloc&) {
        throw UsageError("not enough memory");
    } catch (const std::exception& error) {
        throw UsageError(error.what());
    }
    throw UsageError(calls.back() + " says neither true nor false, as isGrayQKZ or FindPictureQKZ do");
}

}  // namespace qkz
