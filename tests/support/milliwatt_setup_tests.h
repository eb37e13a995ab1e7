#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "support/class_slots.h"
#include "support/milliwatt_light_fixture.h"
#include "support/temperature_service.h"

// How lights find and take over what they need whose intensities are milliwatts, whichever their driver.

/// Formats of `basepath` that do not make a path.
inline constexpr const char *kUnusableFormats[] = {nullptr, "/sys/class/%s", "/sys/class/%d/%d",
                                                   "/sys/class/%n", "/sys/class/ir%"};

/// A light that is ready for its setup. @p Driver has the light, its kClassName, and files_to_give(): all the
/// files that a setup gives away, in their order, each with who may do what with it then.
template <typename Driver>
class MilliwattSetup : public Driver {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  /// How many of the files have been given; the running test fails when others have as well.
  static std::size_t given_files() {
    const std::vector<std::pair<std::string, FileAccess>> files = Driver::files_to_give();
    const auto is_given = [](const auto &file) {
      return std::filesystem::is_regular_file(file.first) && access_of(file.first) == file.second;
    };
    const auto first_left = std::ranges::find_if_not(files, is_given);
    EXPECT_TRUE(first_left == files.end() || std::none_of(first_left + 1, files.end(), is_given));
    return static_cast<std::size_t>(first_left - files.begin());
  }

  /// Sets a light up whose `basepath` is @p format.
  Outcome set_up_at(const char *format) {
    this->log_.clear();
    const auto light = Driver::new_light();
    g_free(light->basepath);
    light->basepath = g_strdup(format);
    return Driver::set_up(light);
  }

  TemperatureService service_;
};

TYPED_TEST_SUITE_P(MilliwattSetup);

TYPED_TEST_P(MilliwattSetup, IsThatOfAClassOfItsOwn) {
  EXPECT_STREQ(G_OBJECT_TYPE_NAME(this->light_.get()), this->kClassName);
  EXPECT_EQ(g_type_parent(G_OBJECT_TYPE(this->light_.get())), LED_TYPE_BASE);
}

// Switching, the angle (three slots, emptied), setup, power and temperature.
TYPED_TEST_P(MilliwattSetup, IsOneOfTheOperationsOfItsOwn) {
  EXPECT_THAT(overridden_slots(G_OBJECT_TYPE(this->light_.get())),
              testing::ElementsAre(3, 4, 7, 8, 9, 11, 14));
  const auto *slots = LED_BASE_GET_CLASS(this->light_.get());
  EXPECT_EQ(slots->get_current_angle_of_illumination, nullptr);
  EXPECT_EQ(slots->set_angle_of_illumination, nullptr);
  EXPECT_EQ(slots->recalculate_angle_of_illumination, nullptr);
}

TYPED_TEST_P(MilliwattSetup, SucceedsWithoutAWord) {
  EXPECT_EQ(this->set_up(this->light_), kDone);
  EXPECT_EQ(this->light_->nbr_of_leds, 2);
  EXPECT_EQ(this->light_->temp_sample_time, 5);
  EXPECT_EQ(this->light_->power_reduce, 0.0);
  EXPECT_THAT(this->log_.lines(), testing::IsEmpty());
}

TYPED_TEST_P(MilliwattSetup, GivesAllFilesAwayAndWritesNone) {
  this->written();
  EXPECT_EQ(this->set_up(this->light_), kDone);
  EXPECT_EQ(this->given_files(), this->files_to_give().size());
  EXPECT_THAT(this->written(), testing::IsEmpty());
}

TYPED_TEST_P(MilliwattSetup, GivesThePrimaryGroupOfTheUserAndNotTheOneOfThatName) {
  EXPECT_EQ(this->set_up(this->light_), kDone);
  EXPECT_EQ(access_of(this->files_to_give().front().first).group, primary_group("light"));
  EXPECT_NE(primary_group("light"), group_id("light"));
}

TYPED_TEST_P(MilliwattSetup, IsRefusedWithoutIlluminationFile) {
  std::filesystem::remove(this->kIllumination);
  EXPECT_EQ(this->set_up(this->light_), refused_board("Unable to load LED driver configuration"));
  EXPECT_EQ(this->log_.lines(),
            this->errors({"Could not open /etc/beamd/illumination.conf: No such file or directory"}));
  EXPECT_EQ(this->given_files(), 0U);
}

TYPED_TEST_P(MilliwattSetup, IsRefusedWithABrokenIlluminationFile) {
  write_file(this->kIllumination, "[info]\nleds=2\nno key\n");
  EXPECT_EQ(this->set_up(this->light_), refused_board("Unable to load LED driver configuration"));
  ASSERT_THAT(this->log_.lines(), testing::SizeIs(1));
  EXPECT_THAT(this->log_.lines()[0].text,
              testing::StartsWith("Could not parse key file /etc/beamd/illumination.conf: "));
  EXPECT_EQ(this->given_files(), 0U);
}

TYPED_TEST_P(MilliwattSetup, FailsWithoutLeds) {
  for (const char *text : {"[info]\nleds=0\n", "[info]\nleds=-2\n", "[info]\nleds=two\n", "[info]\nleds=\n",
                           "[info]\nLEDs=2\n", "[leds]\nleds=2\n", "", "[info]\nleds=1025\n"}) {
    this->log_.clear();
    write_file(this->kIllumination, text);
    EXPECT_EQ(this->set_up(this->new_light()), kFailed) << text;
    EXPECT_EQ(this->log_.lines(), this->errors({"Unable to obtain number of LEDs from config"})) << text;
  }
  EXPECT_EQ(this->given_files(), 0U);
}

TYPED_TEST_P(MilliwattSetup, LeavesTheLightWithoutAngle) {
  EXPECT_EQ(this->set_up(this->light_), kDone);
  this->light_->angle_of_illumination = 30;
  led_base_set_angle_of_illumination(this->light_.get(), 70);
  led_base_recalculate_angle_of_illumination(this->light_.get(), 70);
  EXPECT_EQ(this->light_->angle_of_illumination, 30);
  EXPECT_EQ(led_base_get_current_angle_of_illumination(this->light_.get()), -1);
  EXPECT_EQ(this->light_->led_intensities, nullptr);
  EXPECT_THAT(this->log_.lines(), testing::IsEmpty());
}

TYPED_TEST_P(MilliwattSetup, IsNeededToHaveLeds) {
  this->written();
  this->light_->power_intensity = this->kGranted;
  this->light_->light_on = 1;
  EXPECT_EQ(this->activate(this->light_, TRUE), kDone);
  EXPECT_EQ(this->activate(this->light_, FALSE), kDone);
  led_base_update_temperature(this->light_.get());
  EXPECT_THAT(this->written(), testing::IsEmpty());
  EXPECT_THAT(this->log_.lines(), testing::IsEmpty());
}

REGISTER_TYPED_TEST_SUITE_P(MilliwattSetup, IsThatOfAClassOfItsOwn, IsOneOfTheOperationsOfItsOwn,
                            SucceedsWithoutAWord, GivesAllFilesAwayAndWritesNone,
                            GivesThePrimaryGroupOfTheUserAndNotTheOneOfThatName,
                            IsRefusedWithoutIlluminationFile, IsRefusedWithABrokenIlluminationFile,
                            FailsWithoutLeds, LeavesTheLightWithoutAngle, IsNeededToHaveLeds);
