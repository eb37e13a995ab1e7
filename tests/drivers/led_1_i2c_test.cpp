// The single-channel light: its class, what it makes of a grant, and what it writes to its board.

#include "drivers/led_1_i2c.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>

#include "support/mcu_board_fixture.h"

namespace {

/// What becomes of writing the channel.
struct WriteOutcome {
  const char *name;
  ssize_t result;
  int error;
};

void PrintTo(const WriteOutcome &outcome, std::ostream *stream) { *stream << outcome.name; }

std::optional<WriteOutcome> forced_outcome;
std::vector<std::string> channel_writes;

bool is_channel(int descriptor) {
  std::array<char, 64> target{};
  const auto link = "/proc/self/fd/" + std::to_string(descriptor);
  return readlink(link.c_str(), target.data(), target.size() - 1) > 0 &&
         std::string{target.data()} == "/sys/light/led0";
}

}  // namespace

// Comes before the C library's.
extern "C" ssize_t write(int descriptor, const void *data, size_t size) {
  if (!is_channel(descriptor))
    return syscall(SYS_write, descriptor, data, size);
  channel_writes.emplace_back(static_cast<const char *>(data), size);
  // Whoever tries again shall not do so for ever.
  if (!forced_outcome || channel_writes.size() > 3)
    return syscall(SYS_write, descriptor, data, size);
  errno = forced_outcome->error;
  return forced_outcome->result;
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();

size_t open_descriptors() {
  const std::filesystem::directory_iterator all{"/proc/self/fd"};
  return static_cast<size_t>(std::distance(begin(all), end(all)));
}

class Led1I2c : public McuBoard {
 protected:
  Led1I2c() {
    forced_outcome.reset();
    channel_writes.clear();
    light_->power_usage_factor = 0.02F;
  }
  ~Led1I2c() override { forced_outcome.reset(); }

  void grant(gint intensity, gdouble watts) {
    light_->intensity = intensity;
    light_->power_intensity = watts;
    led_base_recalculate_angle_of_illumination(light_.get(), 0);
  }

  /// Lets the effective intensity be @p intensity.
  void shine(gint intensity) { grant(intensity, std::numeric_limits<gdouble>::infinity()); }

  bool activate(gboolean on) {
    g_autoptr(GError) error = nullptr;
    const bool result = led_base_activate_light(light_.get(), on, &error);
    EXPECT_EQ(error, nullptr);
    return result;
  }

  /// What activation writes into an empty file.
  std::string activated(gboolean on = TRUE) {
    write_file(kChannel, "");
    EXPECT_TRUE(activate(on));
    return read_file(kChannel);
  }

  LightPointer light_ = board_light(LED_TYPE_1_I2C);
};

TEST_F(Led1I2c, IsALightOfThisName) {
  EXPECT_STREQ(g_type_name(LED_TYPE_1_I2C), "Led_1_I2C");
  EXPECT_EQ(g_type_parent(LED_TYPE_1_I2C), LED_TYPE_BASE);
}

TEST_F(Led1I2c, OverridesFiveSlotsAndInheritsTheOthers) {
  GTypeQuery driver{};
  GTypeQuery base{};
  g_type_query(LED_TYPE_1_I2C, &driver);
  g_type_query(LED_TYPE_BASE, &base);
  ASSERT_EQ(driver.class_size, base.class_size);

  const auto base_light = make_light(LED_TYPE_BASE);
  const auto *slots = LED_BASE_GET_CLASS(light_.get());
  const auto *inherited = LED_BASE_GET_CLASS(base_light.get());
  ASSERT_NE(slots->update_temperature, nullptr);
  EXPECT_NE(slots->activate_light, nullptr);
  EXPECT_NE(slots->setup, inherited->setup);
  EXPECT_NE(slots->recalculate_angle_of_illumination, inherited->recalculate_angle_of_illumination);
  EXPECT_NE(slots->request_power, inherited->request_power);

  LedBaseClass expected = *inherited;
  expected.activate_light = slots->activate_light;
  expected.setup = slots->setup;
  expected.recalculate_angle_of_illumination = slots->recalculate_angle_of_illumination;
  expected.request_power = slots->request_power;
  expected.update_temperature = slots->update_temperature;
  EXPECT_EQ(std::memcmp(reinterpret_cast<const char *>(slots) + sizeof(GObjectClass),
                        reinterpret_cast<const char *>(&expected) + sizeof(GObjectClass),
                        sizeof(LedBaseClass) - sizeof(GObjectClass)),
            0);
}

TEST_F(Led1I2c, IsNotReducedAtFirst) { EXPECT_EQ(light_->power_reduce, 0.0); }

TEST_F(Led1I2c, GrantOfOneAndAHalfWattsLeaves74Of100) {
  grant(100, 1.5);
  EXPECT_EQ(activated(), "74");
}

TEST_F(Led1I2c, GivesAllOfItsIntensityWithEnoughPower) {
  grant(100, 2.0);
  EXPECT_EQ(activated(), "100");
}

TEST_F(Led1I2c, StaysDarkWithoutAGrant) {
  for (const gdouble watts : {0.0, -3.0, kNotANumber}) {
    grant(100, watts);
    EXPECT_EQ(activated(), "0") << watts;
  }
}

TEST_F(Led1I2c, IsLimitedAlsoWhenItDoesNotRequestPower) {
  light_->use_power_request = FALSE;
  grant(100, 1.5);
  EXPECT_EQ(activated(), "74");
}

TEST_F(Led1I2c, CalculationIgnoresTheAngle) {
  light_->intensity = 100;
  light_->power_intensity = 1.5;
  for (const gint angle : {0, 50, 100, -5, kMost}) {
    led_base_recalculate_angle_of_illumination(light_.get(), angle);
    EXPECT_EQ(activated(), "74") << angle;
  }
}

TEST_F(Led1I2c, CalculationWritesNoHardware) {
  grant(100, 1.5);
  EXPECT_THAT(channel_writes, IsEmpty());
}

TEST_F(Led1I2c, CalculationIsToldInDebugMode) {
  grant(100, 1.5);
  EXPECT_THAT(log_.lines(), IsEmpty());

  BEAMD_DEBUG_FLAG = 1;
  grant(100, 1.5);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO,
                                             "intensity = 100, intensity_factor = 0.75, power_calc = 1.50, "
                                             "power_intensity=1.50"}));
}

TEST_F(Led1I2c, LowerGrantReachesALitLightAtOnce) {
  light_->light_on = 1;
  light_->intensity = 100;
  led_base_set_power_intensity(light_.get(), 2.5);
  led_base_set_power_intensity(light_.get(), 1.5);
  EXPECT_THAT(channel_writes, ElementsAre("100", "74"));
}

TEST_F(Led1I2c, GrantLeavesALightThatIsOffAlone) {
  light_->intensity = 100;
  led_base_set_power_intensity(light_.get(), 2.5);
  EXPECT_THAT(channel_writes, IsEmpty());
}

TEST_F(Led1I2c, IntensityIsWrittenAsADecimalWithoutANewline) {
  for (const gint intensity : {1, 74, 1023, kMost}) {
    shine(intensity);
    EXPECT_EQ(activated(), std::to_string(intensity));
  }
}

TEST_F(Led1I2c, ReductionIsTakenOffAndTheRestLosesItsFraction) {
  shine(74);
  light_->power_reduce = 20.5;
  EXPECT_EQ(activated(), "53");
}

TEST_F(Led1I2c, ReductionBeyondTheIntensityLeavesZero) {
  grant(100, 1.5);
  light_->power_reduce = 80.4;
  EXPECT_EQ(activated(), "0");
}

TEST_F(Led1I2c, OffIsZero) {
  shine(74);
  EXPECT_EQ(activated(FALSE), "0");
}

TEST_F(Led1I2c, OnIsAnythingButZero) {
  shine(74);
  EXPECT_EQ(activated(2), "74");
  EXPECT_EQ(activated(-1), "74");
}

TEST_F(Led1I2c, NegativeIntensityIsZero) {
  shine(-5);
  light_->power_reduce = -20.0;
  EXPECT_EQ(activated(), "0");
}

TEST_F(Led1I2c, LongerOldContentIsNotCut) {
  shine(74);
  write_file(kChannel, "12345");
  EXPECT_TRUE(activate(TRUE));
  EXPECT_EQ(read_file(kChannel), "74345") << "a file of the kernel's has no length to be cut to";
}

TEST_F(Led1I2c, ValueIsWrittenInOnePiece) {
  shine(1023);
  EXPECT_TRUE(activate(TRUE));
  EXPECT_THAT(channel_writes, ElementsAre("1023"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Led1I2c, ValueIsToldInDebugMode) {
  BEAMD_DEBUG_FLAG = 1;
  shine(74);
  log_.clear();
  EXPECT_TRUE(activate(TRUE));
  EXPECT_TRUE(activate(FALSE));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "led0 74"}, Line{LOG_INFO, "led0 0"}));
}

TEST_F(Led1I2c, ActivationNeedsABasepath) {
  BEAMD_DEBUG_FLAG = 1;
  g_clear_pointer(&light_->basepath, g_free);
  for (const bool on : {true, false}) {
    log_.clear();
    EXPECT_FALSE(activate(on));
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "Failed find path to led 0"}));
  }
}

TEST_F(Led1I2c, ActivationMakesNoFile) {
  BEAMD_DEBUG_FLAG = 1;
  std::filesystem::remove(kChannel);
  for (const bool on : {true, false}) {
    log_.clear();
    EXPECT_FALSE(activate(on));
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "Failed to open fd for led 0"}));
  }
  EXPECT_FALSE(std::filesystem::exists(kChannel));
}

TEST_F(Led1I2c, ActivationRefusesAFolder) {
  std::filesystem::remove(kChannel);
  std::filesystem::create_directory(kChannel);
  EXPECT_FALSE(activate(TRUE));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "Failed to open fd for led 0"}));
}

TEST_F(Led1I2c, ActivationDoesNotWaitForTheReaderOfAFifo) {
  std::filesystem::remove(kChannel);
  ASSERT_EQ(mkfifo(kChannel, 0600), 0);
  EXPECT_FALSE(activate(TRUE));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "Failed to open fd for led 0"}));
}

TEST_F(Led1I2c, ActivationLeavesNoDescriptorOpen) {
  shine(74);
  const size_t before = open_descriptors();
  EXPECT_TRUE(activate(TRUE));
  forced_outcome = {"Failure", -1, EIO};
  EXPECT_FALSE(activate(TRUE));
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Led1I2c, FullDeviceFailsActivation) {
  std::filesystem::remove(kChannel);
  std::filesystem::create_symlink("/dev/full", kChannel);
  for (const bool on : {true, false}) {
    log_.clear();
    EXPECT_FALSE(activate(on));
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Write failure to led 0"}));
  }
}

class FailedWrite : public Led1I2c, public testing::WithParamInterface<WriteOutcome> {};

TEST_P(FailedWrite, FailsActivationAndIsNotRepeated) {
  BEAMD_DEBUG_FLAG = 1;
  shine(74);
  light_->light_on = 1;
  log_.clear();
  forced_outcome = GetParam();

  EXPECT_FALSE(activate(TRUE));

  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "led0 74"}, Line{LOG_ERR, "Write failure to led 0"}));
  EXPECT_THAT(channel_writes, ElementsAre("74"));
  EXPECT_EQ(light_->light_on, 1);

  forced_outcome.reset();
  EXPECT_TRUE(activate(TRUE)) << "the next one starts afresh";
}

INSTANTIATE_TEST_SUITE_P(Driver, FailedWrite,
                         testing::Values(WriteOutcome{"BusError", -1, EIO},
                                         WriteOutcome{"Refused", -1, EINVAL},
                                         WriteOutcome{"NoDevice", -1, ENODEV},
                                         WriteOutcome{"Interrupted", -1, EINTR},
                                         WriteOutcome{"Nothing", 0, 0}, WriteOutcome{"Half", 1, 0}),
                         [](const auto &tested) { return tested.param.name; });

TEST_F(Led1I2c, LightWithoutItsSetupDoesNothingHarmful) {
  auto light = LightPointer{LED_BASE(g_object_new(LED_TYPE_1_I2C, nullptr)), &g_object_unref};
  light->light_on = 1;
  light->intensity = 50;

  led_base_set_intensity(light.get(), 100);
  led_base_set_power_intensity(light.get(), 2.0);
  led_base_update_temperature(light.get());

  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "Can not request at wattd: wattd is down"},
                                        Line{LOG_WARNING, "Failed find path to led 0"},
                                        Line{LOG_WARNING, "Failed find path to led 0"},
                                        Line{LOG_WARNING, "Failed find path to led 0"}))
      << "for the new intensity, for the grant and for the tick";
}

}  // namespace
