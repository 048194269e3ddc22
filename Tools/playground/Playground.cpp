#include "Playground.h"

#include <sstream>

#include "Files.h"
#include "Listing.h"
#include "Session.h"

namespace qkzplayground {

using namespace qkzhost;

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
    std::ostringstream printed;
    qkz::Session session(host_, {}, printed);
    try {
        session.open(copyOf(picture));
        for (const std::string& call : calls) {
            session.run(call);
            answer.printed.push_back(printed.str());
            printed.str("");
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
    std::ostringstream text;
    qkz::list(host_, text);
    return text.str();
}

}  // namespace qkzplayground
