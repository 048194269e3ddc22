#include "Faults.h"

namespace qkzhost {

Faults::State& Faults::of(std::string_view name) { return states_[canonical(name)]; }

Faults::State Faults::known(std::string_view name) const {
    const auto found = states_.find(canonical(name));
    return found == states_.end() ? State() : found->second;
}

int Faults::asked(std::string_view name) const { return known(name).asked; }

int Faults::called(std::string_view name) const { return known(name).called; }

std::vector<std::string> Faults::names() const {
    std::vector<std::string> all;
    for (const auto& [name, state] : states_) all.push_back(name);
    return all;
}

void Faults::failCall(std::string_view name, int nth, Failure how) {
    State& state = of(name);
    state.failIn = nth;
    state.failure = how;
}

bool Faults::succeeds(std::string_view name) {
    const std::lock_guard turn(mutex);
    return enter(of(name), nullptr);
}

bool Faults::enter(State& state, const void* firstArgument) {
    ++state.called;
    if (state.failIn == 0 || --state.failIn != 0) return true;
    failedOn = firstArgument;
    switch (state.failure) {
        case Failure::neutral:
            break;
        case Failure::lasting:
            state.failIn = 1;
            break;
        case Failure::raises:
            exceptions_.raiseAsFault();
            break;
        case Failure::throwsError:
            throw InjectedError("a service fails");
        case Failure::throwsNumber:
            throw 1;
    }
    return false;
}

}  // namespace qkzhost
