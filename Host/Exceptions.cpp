#include "Exceptions.h"

#include <ostream>

namespace qkzhost {

void Exceptions::raise(REALobjectStruct* exception) {
    if (!objects_.find(exception, "raise")) return;
    if (pending_ && !std::exchange(byFault_, false)) {
        objects_.note("an exception is raised while another pends");
    }
    pending_ = OwnedObject::shared(exception);
}

void Exceptions::raise(std::string_view className, std::string_view message) {
    Exception& exception = objects_.add(std::make_unique<Exception>(className));
    const OwnedObject handle(exception.handle());
    exception.message = objects_.newString(message);
    raise(handle);
}

void Exceptions::raiseAsFault() {
    if (pending_) return;
    raise("RuntimeException", "a service fails");
    byFault_ = true;
}

std::optional<RaisedException> Exceptions::take() {
    if (!pending_) return {};
    const OwnedObject handle = exchange(nullptr);
    byFault_ = false;
    RaisedException raised{std::string(objects_.classOf(handle)), "", 0};
    if (const Exception* exception = objects_.find<Exception>(handle, "exception")) {
        raised.message = objects_.text(exception->message);
        raised.errorNumber = exception->number;
    }
    return raised;
}

std::ostream& operator<<(std::ostream& out, const RaisedException& raised) {
    return out << raised.className << ": " << raised.message;
}

}  // namespace qkzhost
