// What the plug-in registered, and the functions in it that can be called.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Declaration.h"
#include "Objects.h"
#include "Registration.h"

namespace qkzhost {

/// A function that can be called: a method of a module, class or extension, or a global one.
struct Method {
    Declaration declaration;  // without the extended object
    void* function = nullptr;
    std::string owner;      // module or class; empty for a loose global method
    std::string selfClass;  // class of the object it is called on, if any
    bool assigns = false;   // the last parameter is the assigned value
    bool shared = false;    // of a class, called without an object
    Attributes attributes;

    /// How a user writes it: `Picture.InvertQKZ(left as integer, ...) as picture`.
    std::string text() const;
    /// With the object first, if it is called on one.
    std::vector<Parameter> parameters() const;
};
using Methods = std::vector<const Method*>;

/// The overload that was chosen.
struct Overload {
    const Method* method = nullptr;
    /// Without a method: why the first one that takes so many arguments does not take these; empty if none
    /// takes so many.
    std::string obstacle = {};
};

/// Chooses the first method that takes so many arguments (of which those with a default may be missing) and
/// that `check` lets pass: it throws std::invalid_argument when an argument does not fit. The object that
/// a method is called on counts as an argument, unless `objectApart` says that it is passed separately.
Overload chooseOverload(const Methods&, std::size_t arguments,
                        const std::function<void(const Method&)>& check, bool objectApart = false);

class Registry {
 public:
    explicit Registry(ObjectTable& objects) : objects_(objects) {}
    /// A declaration that is not understood is an error of the plug-in's.
    void add(Registration);

    /// In the order of registration.
    const std::deque<Registration>& registrations() const { return registrations_; }
    /// The class, module or extension of the name, or null.
    const Registration* registration(std::string_view name) const;
    const std::vector<Method>& methods() const { return methods_; }
    /// The methods of a name, of the assigning form or the other.
    Methods find(std::string_view name, bool assigning = false) const;

 private:
    void addMethods(const std::vector<RegisteredMethod>&, const std::string& owner, const std::string& self,
                    bool shared);
    void addMethod(const RegisteredMethod&, const std::string& owner, const std::string& self, bool shared);

    ObjectTable& objects_;
    std::deque<Registration> registrations_;  // a deque: instances refer to their class
    std::vector<Method> methods_;
};

}  // namespace qkzhost
