// The path of an LED's file, from a configured format: nothing in a format may do harm.

#include "drivers/led_path.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <limits>
#include <random>
#include <regex>
#include <string>
#include <vector>

namespace {

constexpr int kMost = std::numeric_limits<int>::max();
constexpr int kLeast = std::numeric_limits<int>::min();

/// The path for an LED's number alone, and for a number with its milliwatts; "(none)" when there is none.
std::string path_of(const std::string &format, int led = 7) {
  return expand_led_path(format.c_str(), {led}).value_or("(none)");
}
std::string path_to_write(const std::string &format) {
  return expand_led_path(format.c_str(), {7, 1500}).value_or("(none)");
}

TEST(LedPath, HasTheNumberInPlaceOfTheConversion) {
  EXPECT_EQ(path_of("/sys/class/leds/ir%d/brightness"), "/sys/class/leds/ir7/brightness");
  EXPECT_EQ(path_of("/sys/class/leds/ir%i/brightness", 0), "/sys/class/leds/ir0/brightness");
  EXPECT_EQ(path_of("/sys/class/leds/ir%u/brightness", 15), "/sys/class/leds/ir15/brightness");
  EXPECT_EQ(path_of("%d"), "7");
}

TEST(LedPath, MayDoWithoutTheNumber) {
  EXPECT_EQ(path_of("/sys/class/leds/ir/brightness"), "/sys/class/leds/ir/brightness");
  EXPECT_EQ(path_of(""), "");
}

TEST(LedPath, TakesFlagsAndWidth) {
  EXPECT_EQ(path_of("ir%5d"), "ir    7");
  EXPECT_EQ(path_of("ir%-3d/"), "ir7  /");
  EXPECT_EQ(path_of("ir%03d"), "ir007");
  EXPECT_EQ(path_of("ir%+d"), "ir+7");
  EXPECT_EQ(path_of("ir% d"), "ir 7");
  EXPECT_EQ(path_of("ir%-+4i/"), "ir+7  /");
  EXPECT_EQ(path_of("ir%1d", 12), "ir12");
}

TEST(LedPath, TakesAnyNumber) {
  EXPECT_EQ(path_of("%d", kLeast), "-2147483648");
  EXPECT_EQ(path_of("%d", kMost), "2147483647");
  EXPECT_EQ(path_of("%u", -1), "4294967295");
}

TEST(LedPath, DoublePercentSignIsOne) {
  EXPECT_EQ(path_of("100%%/ir%d"), "100%/ir7");
  EXPECT_EQ(path_of("%%d"), "%d") << "what was put in is not read again";
  EXPECT_EQ(path_of("%%%d%%"), "%7%");
  EXPECT_EQ(path_of("%%%%"), "%%");
}

TEST(LedPath, GivesTheMilliwattsToASecondConversion) {
  EXPECT_EQ(path_to_write("/ir%d/%d"), "/ir7/1500");
  EXPECT_EQ(path_to_write("/ir%d"), "/ir7");
  EXPECT_EQ(path_to_write("/ir"), "/ir");
}

TEST(LedPath, RefusesMoreConversionsThanNumbers) {
  EXPECT_EQ(path_of("/ir%d/%d"), "(none)");
  EXPECT_EQ(path_to_write("/ir%d/%d/%d"), "(none)");
  EXPECT_EQ(path_to_write("%d%d%d%d%d%d%d%d"), "(none)");
  EXPECT_FALSE(expand_led_path("/ir%d", {}));
}

TEST(LedPath, RefusesOtherConversions) {
  for (const char kind : std::string{"sncoxXeEfFgGaApmCSDUObv@kZ"}) {
    const std::string format = std::string{"/ir%"} + kind;
    EXPECT_EQ(path_of(format), "(none)") << format;
    EXPECT_EQ(path_of("/ir%d" + format), "(none)") << format << " after one that is taken";
    EXPECT_EQ(path_of("/ir%5" + std::string{kind}), "(none)") << format << " with a width";
  }
}

TEST(LedPath, RefusesLengths) {
  for (const char *format : {"%lu", "%ld", "%lld", "%hd", "%hhd", "%jd", "%zu", "%td", "%qd", "%Ld", "%5ld"})
    EXPECT_EQ(path_of(format), "(none)") << format;
}

TEST(LedPath, RefusesPrecisionsAndWhatTakesAnArgumentOfItsOwn) {
  for (const char *format : {"%.3d", "%5.2d", "%.d", "%*d", "%-*d", "%.*d", "%1$d", "%2$d", "%'d", "%Id"}) {
    EXPECT_EQ(path_of(format), "(none)") << format;
    EXPECT_EQ(path_to_write(format), "(none)") << format;
  }
}

TEST(LedPath, RefusesALonePercentSign) {
  for (const char *format : {"%", "/ir%", "/ir%d%", "%%%", "%5", "%-", "%0", "% ", "%/d", "%\nd", "%\t5d"})
    EXPECT_EQ(path_of(format), "(none)") << format;
}

TEST(LedPath, IsNotThereWithoutAFormat) { EXPECT_FALSE(expand_led_path(nullptr, {7})); }

TEST(LedPath, IsAtMostAsLongAsTheSystemTakes) {
  const std::string longest(PATH_MAX - 1, 'a');
  EXPECT_EQ(path_of(longest), longest);
  EXPECT_EQ(path_of(longest + "a"), "(none)");
  EXPECT_EQ(path_of(longest.substr(1) + "%d"), longest.substr(1) + "7");
  EXPECT_EQ(path_of(longest + "%d"), "(none)");
  EXPECT_EQ(path_of(std::string(size_t{1} << 20, 'a') + "%d"), "(none)");
}

TEST(LedPath, MayBeWidenedUpToThat) {
  EXPECT_EQ(path_of("%999d"), std::string(998, ' ') + "7");
  EXPECT_EQ(path_of("%0999d"), std::string(998, '0') + "7");
  EXPECT_EQ(path_of("%-999d"), "7" + std::string(998, ' '));
  EXPECT_EQ(path_of("%4095d"), std::string(PATH_MAX - 2, ' ') + "7");
  for (const char *format : {"%4096d", "/%4095d", "%99999d", "%-99999d", "%2147483647d", "%2147483648d",
                             "%4294967297d", "%18446744073709551617d", "%99999999999999999999999d"})
    EXPECT_EQ(path_of(format), "(none)") << format;
  EXPECT_EQ(path_to_write("%4000d%4000d"), "(none)");
}

TEST(LedPath, PassesEveryOtherByteOn) {
  std::string format;
  for (int byte = 1; byte < 256; ++byte)
    if (byte != '%')
      format += static_cast<char>(byte);
  EXPECT_EQ(path_of(format), format);
  EXPECT_EQ(path_of("/größe%d"), "/größe7");
}

/// The path as the C library makes it, from a format that is safe to give to it.
std::string printed(const std::string &format, int led, int milliwatts) {
  static const std::regex taken{"([^%]|%%|%[-+ #0]*[0-9]*[diu])*"};
  static const std::regex conversion{"%%|%[-+ #0]*[0-9]*[diu]"};
  if (!std::regex_match(format, taken))
    return "(none)";
  const std::sregex_iterator first{format.begin(), format.end(), conversion};
  if (std::count_if(first, {}, [](const auto &match) { return match.str() != "%%"; }) > 2)
    return "(none)";
  std::string text(size_t{PATH_MAX}, '\0');
  const int length = std::snprintf(text.data(), text.size(), format.c_str(), led, milliwatts);
  return length < PATH_MAX ? text.substr(0, static_cast<size_t>(length)) : "(none)";
}

TEST(LedPath, OfAnyFormatIsWhatTheCLibraryMakesOfASafeOne) {
  const std::vector<std::string> pieces = {"%", "%", "%", "%d", "%u", "%%", "d", "i", "u", "s",
                                           "n", "-", "+", " ",  "#",  "0",  "5", "2", "*", ".",
                                           "$", "l", "h", "/",  "ir", "\n", "'", "a", "%i"};
  std::mt19937 random{20'241'121};
  std::uniform_int_distribution<size_t> piece{0, pieces.size() - 1};
  std::uniform_int_distribution<size_t> count{0, 9};
  std::uniform_int_distribution<int> number{kLeast, kMost};
  int expanded = 0;
  for (int i = 0; i < 30'000; ++i) {
    std::string format;
    for (size_t left = count(random); left > 0; --left)
      format += pieces[piece(random)];
    const int led = number(random);
    const int milliwatts = number(random);
    const std::string expected = printed(format, led, milliwatts);
    ASSERT_EQ(expand_led_path(format.c_str(), {led, milliwatts}).value_or("(none)"), expected) << format;
    expanded += expected != "(none)" && expected != format;
  }
  EXPECT_GT(expanded, 1000) << "the formats are worth something";
}

}  // namespace
