// Owners of GLib's and GIO's resources.
#pragma once

#include <gio/gio.h>

#include <memory>

namespace Tizen {

struct GlibRelease {
    void operator()(gpointer object) const { g_object_unref(object); }
    void operator()(GVariant* value) const { g_variant_unref(value); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(GDBusNodeInfo* node) const { g_dbus_node_info_unref(node); }
};

// One reference to an object, value or error; null when it owns nothing.
template <typename Resource>
using Owned = std::unique_ptr<Resource, GlibRelease>;

// Takes a further reference to a live object.
template <typename Object>
Owned<Object> Share(Object* object) {
    return Owned<Object>(static_cast<Object*>(g_object_ref(object)));
}

// Message of an error that may be missing: GLib reports a broken precondition without one.
inline const char* MessageOf(const GError* error, const char* otherwise) {
    return error != nullptr ? error->message : otherwise;
}

}  // namespace Tizen
