// SPDX-License-Identifier: Apache-2.0
// The interface's description that is installed says what the service itself answers.
#include <gio/gio.h>
#include <gtest/gtest.h>

#include <memory>

#include "app/tizen/DbusMaps.h"
#include "tests/support/TemporaryFolder.h"

namespace {

struct NodeUnref {
    void operator()(GDBusNodeInfo* node) const { g_dbus_node_info_unref(node); }
};
using Node = std::unique_ptr<GDBusNodeInfo, NodeUnref>;

// Types in order, without the names: "a{ss} s ".
std::string Types(GDBusArgInfo** arguments) {
    std::string types;
    for (; arguments != nullptr && *arguments != nullptr; ++arguments) {
        types += std::string((*arguments)->signature) + " ";
    }
    return types;
}

// All that a caller depends on, one member a line.
std::string Summary(const std::string& xml) {
    const Node node(g_dbus_node_info_new_for_xml(xml.c_str(), nullptr));
    if (node == nullptr || node->interfaces == nullptr || node->interfaces[0] == nullptr) {
        return "no interface";
    }
    const GDBusInterfaceInfo& interface = *node->interfaces[0];
    std::string summary = std::string(interface.name) + "\n";
    for (GDBusMethodInfo** method = interface.methods; method != nullptr && *method != nullptr; ++method) {
        summary += std::string((*method)->name) + ": " + Types((*method)->in_args) + "-> " +
                   Types((*method)->out_args) + "\n";
        for (GDBusArgInfo** in = (*method)->in_args; in != nullptr && *in != nullptr; ++in) {
            summary += std::string("  ") + (*in)->name + "\n";
        }
    }
    for (GDBusSignalInfo** signal = interface.signals; signal != nullptr && *signal != nullptr; ++signal) {
        summary += std::string((*signal)->name) + " signals " + Types((*signal)->args) + "\n";
    }
    return summary + (interface.properties == nullptr ? "" : "properties\n");
}

}  // namespace

TEST(Interface, IsDescribedAsTheServiceDescribesItself) {
    const std::string shipped = Summary(ReadFile(NAVO_SOURCE_DIR "/data/com.orvenco.navoa.xml"));
    EXPECT_EQ(shipped, Summary(Tizen::IntrospectionDocument()));
    EXPECT_NE(shipped.find("Exec: a{ss} s -> a{ss} \n"), std::string::npos) << shipped;
}
