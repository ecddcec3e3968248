// SPDX-License-Identifier: Apache-2.0
// Maps and texts in their D-Bus form.
#include "app/tizen/DbusMaps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/service/DeviceWorld.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

Tizen::OwnedVariant Parsed(const char* text) {
    GVariant* const value = g_variant_parse(nullptr, text, nullptr, nullptr, nullptr);
    return Tizen::OwnedVariant(g_variant_take_ref(value));
}

std::string Printed(const Tizen::OwnedVariant& value) {
    char* const raw = g_variant_print(value.get(), TRUE);
    const std::string text = raw;
    g_free(raw);
    return text;
}

}  // namespace

TEST(DbusMaps, DescribeTheObjectLineByLine) {
    EXPECT_EQ(
        Tizen::IntrospectionDocument(),
        "<node>\n"
        "  <interface name='com.orvenco.navoa'>\n"
        "    <method name='Session'>\n"
        "      <arg type='a{ss}' name='data' direction='in'/>\n"
        "      <arg type='a{ss}' direction='out'/>\n"
        "    </method>\n"
        "    <method name='Cmd'>\n"
        "      <arg type='a{ss}' name='args' direction='in'/>\n"
        "      <arg type='a{ss}' direction='out'/>\n"
        "    </method>\n"
        "    <method name='Exec'>\n"
        "      <arg type='a{ss}' name='args' direction='in'/>\n"
        "      <arg type='s' name='result_tag' direction='in'/>\n"
        "      <arg type='a{ss}' direction='out'/>\n"
        "    </method>\n"
        "    <signal name='Progress'>\n"
        "      <arg type='s' name='value' direction='out'/>\n"
        "    </signal>\n"
        "  </interface>\n"
        "</node>");
}

TEST(DbusMaps, AreReadPairByPair) {
    EXPECT_THAT(
        Tizen::ReadMap(Parsed("{'Cmd': '67', 'Session': '', '': 'x'}").get()),
        ElementsAre(Pair("", "x"), Pair("Cmd", "67"), Pair("Session", "")));
    EXPECT_THAT(Tizen::ReadMap(Parsed("@a{ss} {}").get()), IsEmpty());
}

TEST(DbusMaps, KeepTheLaterOfTwoEqualKeys) {
    EXPECT_THAT(Tizen::ReadMap(Parsed("{'Cmd': '67', 'Cmd': '68'}").get()), ElementsAre(Pair("Cmd", "68")));
}

TEST(DbusMaps, AreEmptyWhenAChildHasAnotherType) {
    DeviceWorld world;
    world.ForgetLog();
    EXPECT_THAT(Tizen::ReadMap(Parsed("{'Cmd': <'67'>}").get()), IsEmpty());
    EXPECT_THAT(Tizen::ReadMap(Parsed("['Cmd', '67']").get()), IsEmpty());
    EXPECT_THAT(Tizen::ReadMap(Parsed("({'Cmd', '67'}, 5)").get()), IsEmpty());
    EXPECT_THAT(Tizen::ReadMap(Parsed("({'Cmd', '67'}, 5, {'Cmd', '68'})").get()), IsEmpty());
    EXPECT_THAT(world.Log(), IsEmpty()) << "only a trace line is due";
}

TEST(DbusMaps, AreWrittenInTheOrderOfTheirKeys) {
    EXPECT_EQ(
        Printed(Tizen::ReplyBody({{"b", "3"}, {"ReturnCode", "1"}, {"a", "2"}})),
        "({'ReturnCode': '1', 'a': '2', 'b': '3'},)");
    EXPECT_EQ(Printed(Tizen::ReplyBody({})), "(@a{ss} {},)");
}

TEST(DbusMaps, CarryOnlyUtf8) {
    EXPECT_EQ(Printed(Tizen::ReplyBody({{"k\xC3", "v\xFF\xFEw"}})), "({'k\uFFFD': 'v\uFFFD\uFFFDw'},)");
    EXPECT_EQ(Printed(Tizen::TextBody("\x80")), "('\uFFFD',)");
}

TEST(DbusMaps, LetValidUtf8Pass) {
    EXPECT_EQ(Printed(Tizen::TextBody("Grüße")), "('Grüße',)");
    EXPECT_TRUE(g_variant_is_of_type(Tizen::TextBody("x").get(), G_VARIANT_TYPE("(s)")));
    EXPECT_TRUE(g_variant_is_of_type(Tizen::ReplyBody({{"a", "b"}}).get(), G_VARIANT_TYPE("(a{ss})")));
}
