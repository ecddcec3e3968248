// SPDX-License-Identifier: Apache-2.0
// Owners of the C resources that the floors use.
#pragma once

#include <curl/curl.h>
#include <gio/gio.h>

#include <cstdlib>
#include <memory>

namespace Floor {

template <auto Release>
struct Releases {
    template <typename Resource>
    void operator()(Resource* resource) const {
        Release(resource);
    }
};

template <typename Resource, auto Release>
using Owned = std::unique_ptr<Resource, Releases<Release>>;

using Variant = Owned<GVariant, g_variant_unref>;
using Loop = Owned<GMainLoop, g_main_loop_unref>;
using NodeInfo = Owned<GDBusNodeInfo, g_dbus_node_info_unref>;
using EasyHandle = Owned<CURL, curl_easy_cleanup>;
using ShareHandle = Owned<CURLSH, curl_share_cleanup>;
using HeaderList = Owned<curl_slist, curl_slist_free_all>;
template <typename Value>
using Allocated = Owned<Value, std::free>;

}  // namespace Floor
