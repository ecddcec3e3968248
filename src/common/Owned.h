// SPDX-License-Identifier: Apache-2.0
// Owners of what C libraries hand out: each gives its object back through the library's own function.
#pragma once

#include <glib-object.h>

#include <cstdlib>
#include <memory>

namespace Na {

// Anything that has a release function of its own: OwnedBy<CURL, curl_easy_cleanup>.
template <typename T, void (*Release)(T*)>
struct Releaser {
    void operator()(T* object) const { Release(object); }
};
template <typename T, void (*Release)(T*)>
using OwnedBy = std::unique_ptr<T, Releaser<T, Release>>;

// What malloc made: the platform's functions hand their texts out so.
struct Freer {
    void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using OwnedMemory = std::unique_ptr<T, Freer>;

// What GLib's allocator made.
struct GlibFreer {
    void operator()(void* memory) const { g_free(memory); }
};
template <typename T>
using OwnedGlibMemory = std::unique_ptr<T, GlibFreer>;

// One reference to a GObject.
struct ObjectReleaser {
    void operator()(void* object) const { g_object_unref(object); }
};
template <typename T>
using OwnedObject = std::unique_ptr<T, ObjectReleaser>;

using OwnedError = OwnedBy<GError, g_error_free>;

}  // namespace Na
