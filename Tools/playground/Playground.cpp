#include "Playground.h"

#include <iostream>
#include <sstream>

#include "Files.h"
#include "Listing.h"
#include "Session.h"

namespace qkzplayground {
namespace {

using namespace qkzhost;

/// Standard output until the scope ends.
class Output {
 public:
    Output() : before_(std::cout.rdbuf(text_.rdbuf())) {}
    ~Output() { std::cout.rdbuf(before_); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    /// What was printed since the last time.
    std::string take() {
        std::string result = text_.str();
        text_.str("");
        return result;
    }

 private:
    std::ostringstream text_;
    std::streambuf* const before_;
};

}  // namespace

void Playground::addPicture(const std::string& name, Image image) {
    originals_.erase(name);
    files().pictures[name] = std::move(image);
}

void Playground::addFile(const std::string& name, std::vector<std::uint8_t> bytes) {
    files().others[name] = std::move(bytes);
}

OwnedPicture Playground::copyOf(const std::string& name) {
    OwnedPicture& original = originals_[name];
    if (!original) original = qkz::readPicture(host_, name).picture;
    Surface& from = host_.objects.surface(original);
    OwnedPicture copy = host_.newPicture(from.width, from.height, from.alpha);
    if (!copy) throw std::bad_alloc();
    Surface& to = host_.objects.surface(copy);
    for (int y = 0; y < from.height; ++y) {
        from.read(0, y, from.width, reinterpret_cast<std::uint32_t*>(to.row(y)));
    }
    return copy;
}

Answer Playground::run(const std::string& picture, const std::vector<std::string>& calls) {
    Answer answer;
    Output output;
    qkz::Session session(host_, {});
    try {
        session.open(copyOf(picture));
        for (const std::string& call : calls) {
            session.run(call);
            answer.printed.push_back(output.take());
        }
    } catch (const std::bad_alloc&) {
        answer.error = "not enough memory";
    } catch (const std::exception& error) {
        answer.error = error.what();
    }
    answer.string = session.string();
    answer.picture = session.picture();
    return answer;
}

std::string Playground::declarations() const {
    Output output;
    qkz::list(host_);
    return output.take();
}

}  // namespace qkzplayground
