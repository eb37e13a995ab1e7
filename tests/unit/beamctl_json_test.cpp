#include "beamctl/json_output.h"

#include <gtest/gtest.h>

#include <cmath>

#include "beamctl/bus.h"

namespace {

std::string json_of(GVariant *floating) {
  const Variant value{g_variant_ref_sink(floating)};
  JsonDocument document;
  document.begin_object();
  document.add("x", value.get());
  document.end_object();
  return document.line();
}

std::string json_of(const char *text) { return json_of(g_variant_new_parsed(text)); }

TEST(JsonDocument, HasNumbersThatAreNoJsonAsNull) {
  EXPECT_EQ(json_of(g_variant_new_double(NAN)), "{\"x\":null}\n");
  EXPECT_EQ(json_of(g_variant_new_double(INFINITY)), "{\"x\":null}\n");
  EXPECT_EQ(json_of(g_variant_new_double(-INFINITY)), "{\"x\":null}\n");
  EXPECT_EQ(json_of("1.5"), "{\"x\":1.5}\n");
  EXPECT_EQ(json_of("{'a': <[inf, 2.5]>}"), "{\"x\":{\"a\":[null,2.5]}}\n");
}

TEST(JsonDocument, HasLargeNumbersAsTheyAre) {
  EXPECT_EQ(json_of("uint64 9223372036854775807"), "{\"x\":9223372036854775807}\n");
  EXPECT_EQ(json_of("uint64 9223372036854775808"), "{\"x\":\"9223372036854775808\"}\n");
  EXPECT_EQ(json_of("int64 -9223372036854775808"), "{\"x\":-9223372036854775808}\n");
  EXPECT_EQ(json_of("(uint64 18446744073709551615, <<uint64 18446744073709551615>>)"),
            "{\"x\":[\"18446744073709551615\",\"18446744073709551615\"]}\n");
}

TEST(JsonDocument, HasEverythingElseOfTheBus) {
  EXPECT_EQ(json_of("(true, byte 0x07, int16 -3, uint32 9, 'text', objectpath '/a', signature 'ai')"),
            "{\"x\":[true,7,-3,9,\"text\",\"/a\",\"ai\"]}\n");
  EXPECT_EQ(json_of("({1: 'a', 2: 'b'}, @a{sv} {}, @ai [], [[1], [2, 3]])"),
            "{\"x\":[{\"1\":\"a\",\"2\":\"b\"},{},[],[[1],[2,3]]]}\n");
}

}  // namespace
