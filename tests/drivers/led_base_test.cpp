// The class, its slots and what a light without them does.

#include "led/led_base.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "led/light_error.h"
#include "support/fake_event_producer.h"
#include "support/test_light.h"

namespace {

using Calls = std::vector<std::string>;

class LedBaseObject : public testing::Test {
 protected:
  void SetUp() override {
    recorded_calls().clear();
    fake_events() = {};
    test_light_behaviour() = {};
  }
};

void record(const std::string &call) { recorded_calls().push_back(call); }

TEST_F(LedBaseObject, IsAPlainGObjectTypeOfThisName) {
  EXPECT_STREQ(g_type_name(LED_TYPE_BASE), "LedBase");
  EXPECT_EQ(g_type_parent(LED_TYPE_BASE), G_TYPE_OBJECT);
  EXPECT_FALSE(G_TYPE_IS_ABSTRACT(LED_TYPE_BASE));
  EXPECT_EQ(led_base_get_type(), LED_TYPE_BASE);
}

TEST_F(LedBaseObject, HasNoPropertiesAndNoSignals) {
  const auto light = make_light(LED_TYPE_BASE);
  guint properties = 0;
  guint signals = 0;
  g_free(g_object_class_list_properties(G_OBJECT_GET_CLASS(light.get()), &properties));
  g_free(g_signal_list_ids(LED_TYPE_BASE, &signals));

  EXPECT_EQ(properties, 0U);
  EXPECT_EQ(signals, 0U);
}

TEST_F(LedBaseObject, TheSlotsFollowTheGObjectClassInThisOrder) {
  const std::vector<std::size_t> offsets{
      offsetof(LedBaseClass, get_intensity),
      offsetof(LedBaseClass, set_intensity),
      offsetof(LedBaseClass, activate_light),
      offsetof(LedBaseClass, get_current_angle_of_illumination),
      offsetof(LedBaseClass, reserved),
      offsetof(LedBaseClass, get_nbr_of_interfaces),
      offsetof(LedBaseClass, setup),
      offsetof(LedBaseClass, set_angle_of_illumination),
      offsetof(LedBaseClass, recalculate_angle_of_illumination),
      offsetof(LedBaseClass, set_power_intensity),
      offsetof(LedBaseClass, request_power),
      offsetof(LedBaseClass, set_automatic_intensity),
      offsetof(LedBaseClass, get_introspect),
      offsetof(LedBaseClass, update_temperature),
      offsetof(LedBaseClass, set_individual_led_intensity),
      offsetof(LedBaseClass, get_individual_led_intensity),
  };
  for (std::size_t slot = 0; slot < offsets.size(); ++slot)
    EXPECT_EQ(offsets[slot], sizeof(GObjectClass) + slot * sizeof(void (*)())) << "slot " << slot + 1;
  EXPECT_EQ(sizeof(LedBaseClass), sizeof(GObjectClass) + offsets.size() * sizeof(void (*)()));
}

#define FIELD(name) offsetof(LedBase, name)

TEST_F(LedBaseObject, TheFieldsFollowTheGObjectInThisOrder) {
  const std::vector<std::size_t> offsets{FIELD(reserved),
                                         FIELD(light_id),
                                         FIELD(ledtype),
                                         FIELD(activate),
                                         FIELD(manual_on),
                                         FIELD(use_manual_override),
                                         FIELD(enabled),
                                         FIELD(max_brightness_level),
                                         FIELD(light_on),
                                         FIELD(intensity),
                                         FIELD(power_intensity),
                                         FIELD(power_reduce),
                                         FIELD(required_total_power),
                                         FIELD(minimum_poe_class),
                                         FIELD(angle_of_illumination),
                                         FIELD(sync_disable_count),
                                         FIELD(sync_day_night),
                                         FIELD(automatic_aoi),
                                         FIELD(automatic_intensity),
                                         FIELD(manual_intensity),
                                         FIELD(manual_aoi),
                                         FIELD(requested_power),
                                         FIELD(intensity_low),
                                         FIELD(intensity_high),
                                         FIELD(aoi_low),
                                         FIELD(aoi_high),
                                         FIELD(card_detected),
                                         FIELD(correct_poe),
                                         FIELD(nbr_of_interfaces),
                                         FIELD(state_filename),
                                         FIELD(defaults_filename),
                                         FIELD(basepath),
                                         FIELD(use_power_request),
                                         FIELD(rampdown_time),
                                         FIELD(power_usage_factor),
                                         FIELD(has_automatic_intensity),
                                         FIELD(has_angle_of_illumination),
                                         FIELD(has_automatic_aoi),
                                         FIELD(has_sync_day_night),
                                         FIELD(has_manual_intensity),
                                         FIELD(has_manual_aoi),
                                         FIELD(individual_intensity_support),
                                         FIELD(state),
                                         FIELD(defaults),
                                         FIELD(introspection),
                                         FIELD(event_producer),
                                         FIELD(status_changed_decl),
                                         FIELD(status_decl),
                                         FIELD(consumer_proxy),
                                         FIELD(status_proxy),
                                         FIELD(owner_handler),
                                         FIELD(props_handler),
                                         FIELD(led_intensities),
                                         FIELD(illumination_table),
                                         FIELD(nbr_of_leds),
                                         FIELD(automatic_intensities),
                                         FIELD(manual_intensities),
                                         FIELD(temp_sample_time),
                                         FIELD(temp_sensor_ids),
                                         FIELD(temp_sensor_temps),
                                         FIELD(nbr_of_temp_sensors)};

  EXPECT_EQ(offsets.front(), sizeof(GObject));
  EXPECT_TRUE(std::is_sorted(offsets.begin(), offsets.end()));
}

TEST_F(LedBaseObject, StartsWithTheseValuesAndTheRestZero) {
  const LightPointer light{LED_BASE(g_object_new(LED_TYPE_BASE, nullptr)), &g_object_unref};

  EXPECT_EQ(light->use_power_request, TRUE);
  EXPECT_EQ(light->power_usage_factor, 0.0018F);
  EXPECT_EQ(light->temp_sample_time, 180);

  // With those three cleared, there is nothing but zero behind the GObject.
  light->use_power_request = FALSE;
  light->power_usage_factor = 0;
  light->temp_sample_time = 0;
  const auto *bytes = reinterpret_cast<const unsigned char *>(light.get());
  EXPECT_TRUE(
      std::all_of(bytes + sizeof(GObject), bytes + sizeof(LedBase), [](auto byte) { return byte == 0; }));
}

TEST_F(LedBaseObject, TheBaseLeavesTheDriversSlotsEmpty) {
  const auto light = make_light(LED_TYPE_BASE);
  const auto *slots = LED_BASE_GET_CLASS(light.get());

  EXPECT_EQ(slots->activate_light, nullptr);
  EXPECT_EQ(slots->reserved, nullptr);
  EXPECT_EQ(slots->get_nbr_of_interfaces, nullptr);
  EXPECT_EQ(slots->set_power_intensity, nullptr);
  EXPECT_EQ(slots->set_automatic_intensity, nullptr);
  EXPECT_EQ(slots->get_introspect, nullptr);
  EXPECT_EQ(slots->update_temperature, nullptr);
}

TEST_F(LedBaseObject, TheBaseHasDefaultsForWhatAllLightsShare) {
  const auto light = make_light(LED_TYPE_BASE);
  const auto *slots = LED_BASE_GET_CLASS(light.get());

  EXPECT_NE(slots->get_intensity, nullptr);
  EXPECT_NE(slots->set_intensity, nullptr);
  EXPECT_NE(slots->get_current_angle_of_illumination, nullptr);
  EXPECT_NE(slots->setup, nullptr);
  EXPECT_NE(slots->set_angle_of_illumination, nullptr);
  EXPECT_NE(slots->recalculate_angle_of_illumination, nullptr);
  EXPECT_NE(slots->request_power, nullptr);
  EXPECT_NE(slots->set_individual_led_intensity, nullptr);
  EXPECT_NE(slots->get_individual_led_intensity, nullptr);
}

TEST_F(LedBaseObject, WhatIsSetBeforeSetupIsStored) {
  const auto light = make_light(LED_TYPE_BASE);

  led_base_set_light_id(light.get(), 7);
  led_base_set_event_producer(light.get(), fake_event_producer());

  EXPECT_EQ(light->light_id, 7);
  EXPECT_EQ(light->event_producer, fake_event_producer());
}

TEST_F(LedBaseObject, TheDefaultsReturnTheStoredValues) {
  const auto light = make_light(LED_TYPE_BASE);
  light->intensity = 42;
  light->angle_of_illumination = 17;

  EXPECT_EQ(led_base_get_intensity(light.get()), 42);
  EXPECT_EQ(led_base_get_current_angle_of_illumination(light.get()), 17);
}

TEST_F(LedBaseObject, WithoutASlotThereIsNoIntensity) {
  const auto light = make_light(TEST_TYPE_BARE_LIGHT);
  light->intensity = 42;

  EXPECT_EQ(led_base_get_intensity(light.get()), -1);
}

TEST_F(LedBaseObject, WithoutSlotsEveryOperationHasAnAnswer) {
  const auto light = make_light(TEST_TYPE_BARE_LIGHT, 1);
  light->light_on = 1;
  light->individual_intensity_support = TRUE;
  light->intensity = 42;
  light->angle_of_illumination = 17;
  light->nbr_of_interfaces = 3;
  light->introspection = g_dbus_node_info_new_for_xml("<node/>", nullptr);
  g_autoptr(GError) error = nullptr;

  EXPECT_EQ(led_base_get_introspect(light.get()), light->introspection);
  EXPECT_EQ(led_base_get_nbr_of_interfaces(light.get()), 3);
  EXPECT_FALSE(led_base_activate_light(light.get(), TRUE, &error));
  EXPECT_EQ(error, nullptr);
  EXPECT_EQ(led_base_get_current_angle_of_illumination(light.get()), -1);
  EXPECT_EQ(led_base_get_individual_led_intensity(light.get(), 0, LED_INTENSITY_TYPE_MANUAL), -1);
  EXPECT_FALSE(led_base_set_individual_led_intensity(light.get(), 0, 5, LED_INTENSITY_TYPE_AUTOMATIC));
  led_base_set_intensity(light.get(), 5);
  led_base_set_angle_of_illumination(light.get(), 5);
  led_base_recalculate_angle_of_illumination(light.get(), 5);
  led_base_request_power(light.get());
  led_base_update_temperature(light.get());

  EXPECT_EQ(light->intensity, 42);
  EXPECT_EQ(light->angle_of_illumination, 17);
  EXPECT_EQ(light->automatic_intensities[0], 0);
}

TEST_F(LedBaseObject, TheQueriesGoToTheSlots) {
  const auto light = make_light(TEST_TYPE_BARE_LIGHT);
  const ChangedSlots slots{light.get()};
  static GDBusNodeInfo node{};
  slots->get_intensity = [](LedBase *) { return 11; };
  slots->get_current_angle_of_illumination = [](LedBase *) { return 12; };
  slots->get_nbr_of_interfaces = [](LedBase *) { return 13; };
  slots->get_introspect = [](LedBase *) { return &node; };
  slots->get_individual_led_intensity = [](LedBase *, gint led, gint type) { return 100 * led + type; };

  EXPECT_EQ(led_base_get_intensity(light.get()), 11);
  EXPECT_EQ(led_base_get_current_angle_of_illumination(light.get()), 12);
  EXPECT_EQ(led_base_get_nbr_of_interfaces(light.get()), 13);
  EXPECT_EQ(led_base_get_introspect(light.get()), &node);
  EXPECT_EQ(led_base_get_individual_led_intensity(light.get(), 3, 2), 302);
}

TEST_F(LedBaseObject, TheCommandsGoToTheSlots) {
  const auto light = make_light(TEST_TYPE_LIGHT);
  const ChangedSlots slots{light.get()};
  slots->set_intensity = [](LedBase *, gint value) { record("intensity " + std::to_string(value)); };
  slots->set_angle_of_illumination = [](LedBase *, gint angle) { record("angle " + std::to_string(angle)); };
  slots->set_individual_led_intensity = [](LedBase *, gint led, gint value, gint type) -> gboolean {
    record("level " + std::to_string(led) + " " + std::to_string(value) + " " + std::to_string(type));
    return TRUE;
  };

  led_base_set_intensity(light.get(), 5);
  led_base_set_angle_of_illumination(light.get(), -6);
  led_base_recalculate_angle_of_illumination(light.get(), 7);
  led_base_request_power(light.get());
  led_base_update_temperature(light.get());
  EXPECT_TRUE(led_base_set_individual_led_intensity(light.get(), 1, 2, 3));
  EXPECT_TRUE(led_base_activate_light(light.get(), TRUE, nullptr));
  EXPECT_TRUE(led_base_activate_light(light.get(), FALSE, nullptr));

  EXPECT_EQ(recorded_calls(), (Calls{"intensity 5", "angle -6", "recalculate 7", "request_power",
                                     "update_temperature", "level 1 2 3", "activate 1", "activate 0"}));
}

TEST_F(LedBaseObject, TheAnswerAndTheErrorOfTheDriverArePassedOn) {
  const auto light = make_light(TEST_TYPE_LIGHT);
  test_light_behaviour().activate_result = false;
  test_light_behaviour().activate_error = LIGHT_CONTROL_ERROR_NO_BOARD;
  g_autoptr(GError) error = nullptr;

  EXPECT_FALSE(led_base_activate_light(light.get(), TRUE, &error));

  ASSERT_NE(error, nullptr);
  EXPECT_STREQ(g_quark_to_string(error->domain), "light-control-error-quark");
  EXPECT_EQ(error->code, LIGHT_CONTROL_ERROR_NO_BOARD);
}

TEST_F(LedBaseObject, ALightThatDoesWithoutPowerRequestsMakesNone) {
  const auto light = make_light(TEST_TYPE_LIGHT);
  light->use_power_request = FALSE;

  led_base_request_power(light.get());

  EXPECT_EQ(recorded_calls(), Calls{});
}

/// A table of one row with one point, closed as tables are.
IlluminationRow *small_table(int leds) {
  auto *points = g_new0(IlluminationPoint, 2);
  points[0] = {100, g_new0(gint, static_cast<gsize>(leds))};
  auto *rows = g_new0(IlluminationRow, 2);
  rows[0] = {0, points};
  return rows;
}

/// A light that owns one of everything.
LightPointer make_full_light() {
  auto light = make_light(TEST_TYPE_LIGHT, 2);
  light->ledtype = g_strdup("IR");
  light->state_filename = g_strdup("/etc/beamd/led0.conf");
  light->defaults_filename = g_strdup("/usr/share/beamd/led0.conf");
  light->basepath = g_strdup("/sys/bus/i2c");
  light->state = g_key_file_new();
  light->defaults = g_key_file_new();
  light->introspection = g_dbus_node_info_new_for_xml("<node/>", nullptr);
  light->illumination_table = small_table(2);
  light->led_intensities = g_new0(gint, 2);
  light->temp_sensor_ids = g_new0(gint, 1);
  light->temp_sensor_temps = g_new0(gdouble, 1);
  light->event_producer = fake_event_producer();
  light->status_changed_decl = 21;
  light->status_decl = 22;
  return light;
}

TEST_F(LedBaseObject, DisposeFreesAndForgetsWhatTheLightOwns) {
  const auto light = make_full_light();

  g_object_run_dispose(G_OBJECT(light.get()));

  EXPECT_EQ(light->illumination_table, nullptr);
  EXPECT_EQ(light->led_intensities, nullptr);
  EXPECT_EQ(light->manual_intensities, nullptr);
  EXPECT_EQ(light->automatic_intensities, nullptr);
  EXPECT_EQ(light->state, nullptr);
  EXPECT_EQ(light->defaults, nullptr);
  EXPECT_EQ(light->introspection, nullptr);
  EXPECT_EQ(light->temp_sensor_ids, nullptr);
  EXPECT_EQ(light->temp_sensor_temps, nullptr);
  // The names go only in the end.
  EXPECT_STREQ(light->ledtype, "IR");
  EXPECT_STREQ(light->state_filename, "/etc/beamd/led0.conf");
  EXPECT_EQ(recorded_calls(), (Calls{"undeclare 21", "undeclare 22"}));
}

TEST_F(LedBaseObject, DisposeUndeclaresOnlyOnce) {
  auto light = make_full_light();

  g_object_run_dispose(G_OBJECT(light.get()));
  light.reset();

  EXPECT_EQ(recorded_calls(), (Calls{"undeclare 21", "undeclare 22"}));
}

TEST_F(LedBaseObject, ADeclarationThatWasNotMadeIsNotUndeclared) {
  auto light = make_full_light();
  light->status_changed_decl = 0;
  light.reset();
  EXPECT_EQ(recorded_calls(), Calls{"undeclare 22"});

  recorded_calls().clear();
  light = make_full_light();
  light->status_decl = 0;
  light.reset();
  EXPECT_EQ(recorded_calls(), Calls{"undeclare 21"});
}

#define EXPECT_REFUSED(call)                                                         \
  do {                                                                               \
    g_test_expect_message("beamd", G_LOG_LEVEL_CRITICAL, "*assertion*LED_IS_BASE*"); \
    call;                                                                            \
    g_test_assert_expected_messages();                                               \
  } while (false)

TEST_F(LedBaseObject, EveryFunctionRefusesWhatIsNoLight) {
  EXPECT_REFUSED(led_base_set_light_id(nullptr, 1));
  EXPECT_REFUSED(led_base_set_event_producer(nullptr, fake_event_producer()));
  EXPECT_REFUSED(EXPECT_EQ(led_base_get_introspect(nullptr), nullptr));
  EXPECT_REFUSED(led_base_get_nbr_of_interfaces(nullptr));
  EXPECT_REFUSED(EXPECT_EQ(led_base_get_intensity(nullptr), -1));
  EXPECT_REFUSED(led_base_set_intensity(nullptr, 1));
  EXPECT_REFUSED(EXPECT_EQ(led_base_get_requested_intensity(nullptr, 0), 0));
  EXPECT_REFUSED(EXPECT_LT(led_base_get_individual_led_intensity(nullptr, 0, 0), 0));
  EXPECT_REFUSED(EXPECT_FALSE(led_base_set_individual_led_intensity(nullptr, 0, 0, 0)));
  EXPECT_REFUSED(EXPECT_FALSE(led_base_activate_light(nullptr, TRUE, nullptr)));
  EXPECT_REFUSED(led_base_update_light_state(nullptr, nullptr));
  EXPECT_REFUSED(EXPECT_EQ(led_base_get_current_angle_of_illumination(nullptr), -1));
  EXPECT_REFUSED(led_base_set_angle_of_illumination(nullptr, 1));
  EXPECT_REFUSED(led_base_recalculate_angle_of_illumination(nullptr, 1));
  EXPECT_REFUSED(led_base_request_power(nullptr));
  EXPECT_REFUSED(led_base_set_power_intensity(nullptr, 1.0));
  EXPECT_REFUSED(led_base_set_automatic_intensity(nullptr));
  EXPECT_REFUSED(led_base_update_temperature(nullptr));
  EXPECT_REFUSED(EXPECT_FALSE(led_base_store_state(nullptr)));
}

}  // namespace
