// SPDX-License-Identifier: Apache-2.0
// Owners of the GLib resources that the library and navoctl hold.
#pragma once

#include <gio/gio.h>

#include <memory>

namespace Navo {

struct ObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct ErrorFree {
    void operator()(GError* error) const { g_error_free(error); }
};
struct ContextUnref {
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
struct VariantUnref {
    void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
struct SourceDestroy {
    void operator()(GSource* source) const {
        g_source_destroy(source);
        g_source_unref(source);
    }
};
struct GlibFree {
    void operator()(gpointer memory) const { g_free(memory); }
};

using ConnectionPtr = std::unique_ptr<GDBusConnection, ObjectUnref>;
using MessagePtr = std::unique_ptr<GDBusMessage, ObjectUnref>;
using CancellablePtr = std::unique_ptr<GCancellable, ObjectUnref>;
using ErrorPtr = std::unique_ptr<GError, ErrorFree>;
using ContextPtr = std::unique_ptr<GMainContext, ContextUnref>;
using VariantPtr = std::unique_ptr<GVariant, VariantUnref>;
using SourcePtr = std::unique_ptr<GSource, SourceDestroy>;  // an attached source, removed with its owner
using TextPtr = std::unique_ptr<char, GlibFree>;

}  // namespace Navo
