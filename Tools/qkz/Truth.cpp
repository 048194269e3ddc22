#include "Truth.h"

#include "Help.h"

namespace qkz {

bool truth(qkzhost::Host& host, const Limits& limits, const std::filesystem::path& file,
           const std::vector<std::string>& calls, bool print) {
    std::ostream nowhere(nullptr);
    Session session(host, limits, print ? std::cout : nowhere);
    session.open(file);
    for (const std::string& call : calls) explaining([&] { session.run(call); });
    if (session.truth()) return *session.truth();
    throw UsageError(calls.back() + " says neither true nor false, as isGrayQKZ or FindPictureQKZ do");
}

}  // namespace qkz
