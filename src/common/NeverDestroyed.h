// SPDX-License-Identifier: Apache-2.0
// Objects that live as long as the process.
#pragma once

namespace Na {

// Holds an object that is made with it and never destroyed: for static objects that are used until the very
// end, and whose own end nobody may see.
template <typename T>
class NeverDestroyed {
public:
    NeverDestroyed() : object() {}
    ~NeverDestroyed() {}  // NOLINT(modernize-use-equals-default): a union's own destructor would be deleted
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    T& operator*() { return object; }

private:
    union {
        T object;
    };
};

}  // namespace Na
