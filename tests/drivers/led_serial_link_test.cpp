#include "drivers/led_serial_link.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "daemon/debug.h"
#include "drivers/serial_link_backend.h"
#include "led/led_setup.h"
#include "led/light_error.h"
#include "support/class_slots.h"
#include "support/key_files.h"
#include "support/light_files.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Line = SyslogCapture::Line;

constexpr const char *kLibrary = "/usr/lib/libserial_link_backend.so";
constexpr const char *kCalls = "/run/serial_backend.calls";

const Line kNoTypeLine{LOG_WARNING, "Can't find expander_type, setting as 0, none"};
const Line kMissingLine{LOG_ERR, std::string{"Failed to open lib "} + kLibrary + ": " + kLibrary +
                                     ": cannot open shared object file: No such file or directory"};
const Line kNoEntryLine{LOG_ERR, "Failed to find symbol lib_serial_link_create"};
const Line kNoRecordLine{LOG_ERR, "Failed to create a backend with lib_serial_link_create"};

Line no_head_line(int channel) {
  return {LOG_INFO, "No IR head found on channel " + std::to_string(channel)};
}

bool is_loaded() {
  void *library = dlopen(kLibrary, RTLD_NOW | RTLD_NOLOAD);
  if (library == nullptr)
    return false;
  dlclose(library);
  return true;
}

bool platform_is_full_of(unsigned char value) {
  const auto *bytes = reinterpret_cast<const unsigned char *>(&beamd_platform);
  return std::all_of(bytes, bytes + sizeof beamd_platform,
                     [value](unsigned char byte) { return byte == value; });
}

// From before any backend could write in it.
const bool platform_was_empty = platform_is_full_of(0);

std::string printed(auto print) {
  testing::internal::CaptureStdout();
  print();
  return testing::internal::GetCapturedStdout();
}

/// Without any light, and with no backend to be found. What the backend prints is kept from the tests'
/// output.
class SerialLink : public testing::Test {
 protected:
  SerialLink() {
    std::filesystem::remove(kLibrary);
    write_file(kCalls, "");
    for (const char *setting : {"SERIAL_BACKEND_LACKS", "SERIAL_BACKEND_PROBE"})
      unsetenv(setting);
    EXPECT_FALSE(is_loaded());
  }
  ~SerialLink() override {
    EXPECT_FALSE(is_loaded()) << "no light has it any more";
    BEAMD_DEBUG_FLAG = 0;
  }

  /// Delivers the library that $@p variable names.
  static void install(const char *variable = "BEAMD_SERIAL_BACKEND") {
    const char *built = std::getenv(variable);
    ASSERT_NE(built, nullptr) << variable;
    std::filesystem::remove(kLibrary);
    std::filesystem::copy_file(built, kLibrary);
  }
  static void install_without(const char *what) {
    setenv("SERIAL_BACKEND_LACKS", what, 1);
    install();
  }

  /// A new light on @p channel, whose state file has these words in the group "common".
  static LightPointer new_light(int channel = 0, const std::string &common = "expander_type=3\n") {
    auto light = make_light(LED_TYPE_SERIAL_LINK);
    led_base_set_light_id(light.get(), channel);
    light->state = parsed("[common]\n" + common).release();
    return light;
  }

  /// The driver's own setup finds a head.
  static bool is_found(const LightPointer &light) {
    g_autoptr(GError) error = nullptr;
    const bool found = LED_BASE_GET_CLASS(light.get())->setup(light.get(), &error);
    EXPECT_EQ(found, error == nullptr);
    if (error != nullptr) {
      EXPECT_EQ(error->domain, g_quark_from_static_string("light-control-error-quark"));
      EXPECT_EQ(error->code, 6);
      EXPECT_STREQ(error->message, "No IR head found");
    }
    return found;
  }

  static bool activate(const LightPointer &light, gboolean on) {
    g_autoptr(GError) error = nullptr;
    const bool result = led_base_activate_light(light.get(), on, &error);
    EXPECT_EQ(error, nullptr);
    return result;
  }

  /// What the backend was asked for since this was asked last.
  static std::vector<std::string> calls() {
    std::vector<std::string> calls;
    std::ifstream file{kCalls};
    for (std::string line; std::getline(file, line);)
      calls.push_back(line);
    write_file(kCalls, "");
    return calls;
  }

  SyslogCapture log_;
};

class LoadedSerialLink : public SerialLink {
 protected:
  LoadedSerialLink() {
    install();
    light_ = new_light(2);
    EXPECT_THAT(calls(), ElementsAre("create", "initialise 0"));
  }
  ~LoadedSerialLink() override {
    light_.reset();
    EXPECT_THAT(calls(), ElementsAre("unload"));
  }

  LightPointer light_{nullptr, &g_object_unref};
};

// The class.

TEST_F(SerialLink, IsOfAClassOfItsOwn) {
  EXPECT_STREQ(g_type_name(LED_TYPE_SERIAL_LINK), "LedSerialLink");
  EXPECT_EQ(g_type_parent(LED_TYPE_SERIAL_LINK), LED_TYPE_BASE);
  GTypeQuery own{};
  GTypeQuery base{};
  g_type_query(LED_TYPE_SERIAL_LINK, &own);
  g_type_query(LED_TYPE_BASE, &base);
  EXPECT_EQ(own.class_size, base.class_size);
}

// Switching, the angle (three slots, emptied) and setup.
TEST_F(SerialLink, HasOperationsOfItsOwn) {
  EXPECT_THAT(overridden_slots(LED_TYPE_SERIAL_LINK), ElementsAre(3, 4, 7, 8, 9));
  const auto light = new_light();
  const auto *slots = LED_BASE_GET_CLASS(light.get());
  EXPECT_EQ(slots->get_current_angle_of_illumination, nullptr);
  EXPECT_EQ(slots->set_angle_of_illumination, nullptr);
  EXPECT_EQ(slots->recalculate_angle_of_illumination, nullptr);
}

// What the daemon exports.

TEST_F(SerialLink, PlatformRecordIsEmptyUntilABackendUsesIt) {
  EXPECT_EQ(sizeof beamd_platform, 3528U);
  EXPECT_TRUE(platform_was_empty);
  install();
  const auto light = new_light();
  EXPECT_TRUE(platform_is_full_of(0x5a));
}

TEST_F(SerialLink, ExportsByName) {
  EXPECT_EQ(dlsym(RTLD_DEFAULT, "beamd_platform"), &beamd_platform);
  for (const char *name : {"serial_link_create", "sensor_reinit", "debug_output"})
    EXPECT_NE(dlsym(RTLD_DEFAULT, name), nullptr) << name;
}

TEST_F(SerialLink, MakesEmptyRecords) {
  constexpr std::size_t kSize = 152;
  EXPECT_EQ(sizeof(SerialLinkBackend), kSize);
  auto *first = serial_link_create();
  auto *second = serial_link_create();
  EXPECT_NE(first, second);
  EXPECT_EQ(std::string(reinterpret_cast<const char *>(first), kSize), std::string(kSize, '\0'));
  g_free(first);
  g_free(second);
}

TEST_F(SerialLink, DoesNotInitialiseSensorsAgain) { EXPECT_EQ(sensor_reinit(), -1); }

TEST_F(SerialLink, PrintsWhatABackendSays) {
  EXPECT_EQ(printed([] { debug_output(1, 2, "%s-%d%% ", "abc", 5); }), "abc-5% ");
  EXPECT_EQ(printed([] {
              debug_output(1, 2, "one\n");
              debug_output(1, 2, "%.2f", 2.5);
              debug_output(1, 2, "%s", "");
            }),
            "one\n2.50");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SerialLink, LogsInDebugModeThatABackendSaysSomething) {
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_EQ(printed([] {
              debug_output(1, 2, "%s", "abc");
              debug_output(-1, G_MAXINT, "def\n");
            }),
            "abcdef\n");
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "(1:2):"}, Line{LOG_INFO, "(-1:2147483647):"}));
}

// Loading.

TEST_F(SerialLink, FirstLightLoadsTheBackend) {
  install();
  {
    const auto light = new_light();
    EXPECT_TRUE(is_loaded());
    EXPECT_THAT(calls(), ElementsAre("create", "initialise 0"));
  }
  EXPECT_FALSE(is_loaded());
  EXPECT_THAT(calls(), ElementsAre("unload"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SerialLink, BackendSpeaksThroughTheDaemon) {
  BEAMD_DEBUG_FLAG = 1;
  install();
  EXPECT_EQ(printed([] { new_light(); }), "serial backend: ready, 100%\n");
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "(6:0):"}));
}

TEST_F(SerialLink, LightsShareTheBackendUntilTheLastOneIsGone) {
  install();
  auto first = new_light();
  auto second = new_light(1);
  auto third = new_light(2);
  EXPECT_THAT(calls(), ElementsAre("create", "initialise 0"));

  first.reset();
  third.reset();
  EXPECT_THAT(calls(), IsEmpty());
  EXPECT_TRUE(activate(second, TRUE));
  EXPECT_THAT(calls(), ElementsAre("set_light 1 1"));

  auto fourth = new_light(3);
  second.reset();
  EXPECT_TRUE(is_loaded());
  EXPECT_THAT(calls(), IsEmpty());
  fourth.reset();
  EXPECT_FALSE(is_loaded());
  EXPECT_THAT(calls(), ElementsAre("unload"));
}

// The platform record stays what the backend made of it.
TEST_F(SerialLink, IsLoadedAnewAfterTheLastOneIsGone) {
  install();
  for (const int time : {1, 2, 3}) {
    new_light();
    EXPECT_THAT(calls(), ElementsAre("create", "initialise 0", "unload")) << time;
    EXPECT_TRUE(platform_is_full_of(0x5a));
  }
}

TEST_F(LoadedSerialLink, LightThatIsDisposedTwiceGivesTheBackendBackOnce) {
  const auto second = new_light(1);
  const auto third = new_light(3);
  for (const int time : {1, 2, 3}) {
    g_object_run_dispose(G_OBJECT(second.get()));
    EXPECT_TRUE(is_loaded()) << time;
  }
  EXPECT_THAT(calls(), IsEmpty());
}

// Loading that fails.

TEST_F(SerialLink, NeedsTheLibrary) {
  const auto light = new_light(4);
  EXPECT_THAT(log_.lines(), ElementsAre(kMissingLine));
  log_.clear();
  EXPECT_FALSE(is_found(light));
  EXPECT_THAT(log_.lines(), ElementsAre(no_head_line(4)));
}

TEST_F(SerialLink, NeedsALibrary) {
  write_file(kLibrary, "no library\n");
  const auto light = new_light();
  ASSERT_THAT(log_.lines(), SizeIs(1));
  EXPECT_EQ(log_.lines()[0].priority, LOG_ERR);
  EXPECT_THAT(log_.lines()[0].text,
              StartsWith(std::string{"Failed to open lib "} + kLibrary + ": " + kLibrary + ": "));
  EXPECT_FALSE(is_found(light));
}

// What it needs is looked for at once, not when it is first called.
TEST_F(SerialLink, NeedsALibraryThatFindsAllItNeeds) {
  install("BEAMD_SERIAL_BACKEND_UNRESOLVED");
  const auto light = new_light();
  ASSERT_THAT(log_.lines(), SizeIs(1));
  EXPECT_EQ(log_.lines()[0].priority, LOG_ERR);
  EXPECT_THAT(log_.lines()[0].text, StartsWith(std::string{"Failed to open lib "} + kLibrary + ": "));
  EXPECT_THAT(log_.lines()[0].text, HasSubstr("no_such_function"));
  EXPECT_THAT(calls(), IsEmpty());
  EXPECT_FALSE(is_found(light));
}

TEST_F(SerialLink, NeedsTheLibrarysEntry) {
  install("BEAMD_SERIAL_BACKEND_WITHOUT_ENTRY");
  const auto light = new_light(1);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoEntryLine));
  EXPECT_FALSE(is_loaded());
  EXPECT_THAT(calls(), ElementsAre("unload"));
  log_.clear();
  EXPECT_FALSE(is_found(light));
  EXPECT_THAT(log_.lines(), ElementsAre(no_head_line(1)));
}

TEST_F(SerialLink, NeedsARecord) {
  install_without("record");
  const auto light = new_light(1);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoRecordLine));
  EXPECT_FALSE(is_loaded());
  EXPECT_THAT(calls(), ElementsAre("create", "unload"));
  log_.clear();
  EXPECT_FALSE(is_found(light));
  EXPECT_THAT(log_.lines(), ElementsAre(no_head_line(1)));
}

TEST_F(SerialLink, EachLightTriesToLoadUntilOneCould) {
  const auto first = new_light(0);
  const auto second = new_light(1);
  EXPECT_THAT(log_.lines(), ElementsAre(kMissingLine, kMissingLine));
  install("BEAMD_SERIAL_BACKEND_WITHOUT_ENTRY");
  const auto third = new_light(2);
  EXPECT_THAT(log_.lines(), ElementsAre(kMissingLine, kMissingLine, kNoEntryLine));
  install_without("record");
  const auto fourth = new_light(3);
  EXPECT_THAT(log_.lines(), ElementsAre(kMissingLine, kMissingLine, kNoEntryLine, kNoRecordLine));
  EXPECT_THAT(calls(), ElementsAre("unload", "create", "unload"));

  log_.clear();
  unsetenv("SERIAL_BACKEND_LACKS");
  const auto fifth = new_light(4);
  const auto sixth = new_light(5);
  EXPECT_THAT(calls(), ElementsAre("create", "initialise 0"));
  EXPECT_TRUE(is_found(fifth));
  EXPECT_TRUE(is_found(sixth));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SerialLink, LightThatCouldNotLoadIsNotCounted) {
  auto uncounted = new_light(0);
  auto another = new_light(1);
  install();
  auto counted = new_light(2);
  calls();

  uncounted.reset();
  another.reset();
  EXPECT_TRUE(is_loaded());
  EXPECT_TRUE(activate(counted, TRUE));
  EXPECT_THAT(calls(), ElementsAre("set_light 2 1"));
  counted.reset();
  EXPECT_THAT(calls(), ElementsAre("unload"));
}

TEST_F(SerialLink, LightThatCouldNotLoadDoesNotKeepTheBackend) {
  const auto uncounted = new_light(0);
  install();
  auto counted = new_light(1);
  EXPECT_TRUE(is_found(uncounted)) << "there is one backend for all";
  counted.reset();
  EXPECT_FALSE(is_loaded());
  EXPECT_FALSE(is_found(uncounted));
}

// Setup.

TEST_F(LoadedSerialLink, ProbesForTheHeadOnItsChannel) {
  EXPECT_TRUE(is_found(light_));
  EXPECT_THAT(calls(), ElementsAre("probe 2 3"));
  EXPECT_TRUE(is_found(new_light(0, "expander_type=1\n")));
  EXPECT_TRUE(is_found(new_light(9, "expander_type=0\n")));
  EXPECT_THAT(calls(), ElementsAre("probe 0 1", "probe 9 0"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LoadedSerialLink, FindsNoHeadUnlessTheProbeReturnsZero) {
  setenv("SERIAL_BACKEND_PROBE", "0=1 1=-1 3=256 4=-2147483648", 1);
  for (const int channel : {0, 1, 3, 4}) {
    log_.clear();
    EXPECT_FALSE(is_found(new_light(channel)));
    EXPECT_THAT(log_.lines(), ElementsAre(no_head_line(channel)));
  }
  EXPECT_TRUE(is_found(light_));
  EXPECT_THAT(calls(), ElementsAre("probe 0 3", "probe 1 3", "probe 3 3", "probe 4 3", "probe 2 3"));
}

TEST_F(LoadedSerialLink, SetsNoErrorWhereNobodyWantsOne) {
  setenv("SERIAL_BACKEND_PROBE", "2=1", 1);
  EXPECT_FALSE(LED_BASE_GET_CLASS(light_.get())->setup(light_.get(), nullptr));
  EXPECT_THAT(calls(), ElementsAre("probe 2 3"));
}

TEST_F(SerialLink, FindsNoHeadWithoutProbeOperation) {
  install_without("probe");
  const auto light = new_light(1);
  EXPECT_FALSE(is_found(light));
  EXPECT_THAT(log_.lines(), ElementsAre(no_head_line(1)));
  EXPECT_TRUE(activate(light, TRUE));
  EXPECT_THAT(calls(), ElementsAre("create", "initialise 0", "set_light 1 1"));
}

TEST_F(SerialLink, DoesWithoutInitialiseOperation) {
  install_without("initialise");
  const auto light = new_light(1);
  EXPECT_TRUE(is_found(light));
  EXPECT_TRUE(activate(light, TRUE));
  EXPECT_THAT(calls(), ElementsAre("create", "probe 1 3", "set_light 1 1"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// The expander type.

TEST_F(LoadedSerialLink, TakesAnyNumberAsExpanderType) {
  for (const auto &[value, probed] : std::vector<std::pair<std::string, std::string>>{
           {"0", "0"}, {"7", "7"}, {"-1", "-1"}, {"010", "10"}, {"2147483647", "2147483647"}}) {
    EXPECT_TRUE(is_found(new_light(0, "expander_type=" + value + "\n")));
    EXPECT_THAT(calls(), ElementsAre("probe 0 " + probed)) << value;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LoadedSerialLink, WarnsAboutAnExpanderTypeThatIsNoNumber) {
  for (const char *value : {"", "none", "3x", "0x3", "3.5", "true", "2147483648", "99999999999999999999"}) {
    log_.clear();
    EXPECT_TRUE(is_found(new_light(0, std::string{"expander_type="} + value + "\n"))) << value;
    EXPECT_THAT(log_.lines(), ElementsAre(kNoTypeLine)) << value;
    EXPECT_THAT(calls(), ElementsAre("probe 0 0")) << value;
  }
}

TEST_F(LoadedSerialLink, WarnsAboutAMissingExpanderType) {
  for (const char *common : {"", "Expander_Type=3\n", "[zoom]\nexpander_type=3\n"}) {
    log_.clear();
    EXPECT_TRUE(is_found(new_light(0, common))) << common;
    EXPECT_THAT(log_.lines(), ElementsAre(kNoTypeLine)) << common;
    EXPECT_THAT(calls(), ElementsAre("probe 0 0")) << common;
  }
}

TEST_F(SerialLink, WarnsAboutTheExpanderTypeFirst) {
  const auto light = new_light(1, "");
  log_.clear();
  EXPECT_FALSE(is_found(light));
  EXPECT_THAT(log_.lines(), ElementsAre(kNoTypeLine, no_head_line(1)));
}

// Switching.

TEST_F(LoadedSerialLink, SwitchesItsChannel) {
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_TRUE(activate(light_, FALSE));
  EXPECT_TRUE(activate(new_light(7), TRUE));
  EXPECT_THAT(calls(), ElementsAre("set_light 2 1", "set_light 2 0", "set_light 7 1"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LoadedSerialLink, SaysOneForWhateverIsNotZero) {
  for (const gboolean on : {2, -1, 256, G_MININT})
    EXPECT_TRUE(activate(light_, on));
  EXPECT_THAT(calls(), ElementsAre("set_light 2 1", "set_light 2 1", "set_light 2 1", "set_light 2 1"));
}

TEST_F(LoadedSerialLink, SwitchesAChannelWithoutHead) {
  setenv("SERIAL_BACKEND_PROBE", "2=1", 1);
  EXPECT_FALSE(is_found(light_));
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(calls(), ElementsAre("probe 2 3", "set_light 2 1"));
}

TEST_F(SerialLink, IsSwitchedWithoutSetLightOperation) {
  install_without("set_light");
  const auto light = new_light(1);
  EXPECT_TRUE(is_found(light));
  EXPECT_TRUE(activate(light, TRUE));
  EXPECT_TRUE(activate(light, FALSE));
  EXPECT_THAT(calls(), ElementsAre("create", "initialise 0", "probe 1 3"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SerialLink, IsSwitchedWithoutBackend) {
  const auto light = new_light(1);
  log_.clear();
  EXPECT_TRUE(activate(light, TRUE));
  EXPECT_TRUE(activate(light, FALSE));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// As part of the daemon.

class SerialLinkInDaemon : public SerialLink {
 protected:
  SerialLinkInDaemon() {
    files_.write_state(state_text({{{"common", "expander_type"}, "5"}}));
    files_.write_defaults("[common]\nbasepath=/none\n");
  }

  static LightPointer fresh_light() {
    return {LED_BASE(g_object_new(LED_TYPE_SERIAL_LINK, nullptr)), &g_object_unref};
  }

  LightFiles files_;
};

TEST_F(SerialLinkInDaemon, IsSetUpWithItsHead) {
  install();
  const auto light = fresh_light();
  EXPECT_TRUE(led_base_setup(light.get(), nullptr));
  EXPECT_TRUE(light->card_detected);
  EXPECT_THAT(calls(), ElementsAre("create", "initialise 0", "probe 0 5"));
  EXPECT_THAT(log_.lines(), IsEmpty());

  light->enabled = TRUE;
  light->activate = TRUE;
  led_base_update_light_state(light.get(), nullptr);
  EXPECT_EQ(light->light_on, 1);
  EXPECT_THAT(calls(), ElementsAre("set_light 0 1"));
}

TEST_F(SerialLinkInDaemon, IsSetUpWithoutTheLibrary) {
  const auto light = fresh_light();
  EXPECT_TRUE(led_base_setup(light.get(), nullptr));
  EXPECT_FALSE(light->card_detected);
  EXPECT_THAT(log_.lines(), ElementsAre(kMissingLine, no_head_line(0)));
}

}  // namespace
