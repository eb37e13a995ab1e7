#include "led/led_setup.h"

#include <syslog.h>

#include <algorithm>

#include "daemon/debug.h"
#include "daemon/util.h"
#include "led/led_interface.h"
#include "led/light_error.h"
#include "led/light_events.h"
#include "led/power_client.h"
#include "led/state_reader.h"

namespace {

void load_light_file(const char *file_name, GKeyFile *key_file, int open_priority) {
  debug_log("Reading state from file '%s'", file_name);
  load_key_file_logging(
      file_name, key_file,
      {open_priority, "could not open %s: %s", "failed reading file", "Could not load data to GKeyFile"});
}

void load_files(LedBase *self) {
  self->state = g_key_file_new();
  self->state_filename = g_strdup_printf("/etc/beamd/led%d.conf", self->light_id);
  // When it cannot be read, the first required key ends setup.
  load_light_file(self->state_filename, self->state, LOG_ERR);

  self->defaults = g_key_file_new();
  self->defaults_filename = g_strdup_printf("/usr/share/beamd/led%d.conf", self->light_id);
  load_light_file(self->defaults_filename, self->defaults, LOG_INFO);
}

void read_basepath(LedBase *self) {
  g_autoptr(GError) error = nullptr;
  g_autofree gchar *basepath = g_key_file_get_string(self->defaults, "common", "basepath", &error);
  if (error != nullptr)
    syslog(LOG_ERR, "Failed to get basepath: %s", error->message);
  else
    self->basepath = g_steal_pointer(&basepath);
}

bool probe_hardware(LedBase *self) {
  g_autoptr(GError) error = nullptr;
  const auto setup = LED_BASE_GET_CLASS(self)->setup;
  if (setup == nullptr || setup(self, &error)) {
    self->card_detected = TRUE;
    return true;
  }
  if (error == nullptr)
    return false;

  self->card_detected = !g_error_matches(error, LIGHT_CONTROL_ERROR, LIGHT_CONTROL_ERROR_NO_BOARD);
  self->correct_poe = !g_error_matches(error, LIGHT_CONTROL_ERROR, LIGHT_CONTROL_ERROR_WRONG_POE);
  return true;
}

bool read_settings(LedBase *self, const StateReader &common) {
  if (!common.optional_boolean("syncdaynight", FALSE, &self->sync_day_night, &self->has_sync_day_night) ||
      !common.required_boolean("enable", &self->enabled) ||
      !common.optional_boolean("automaticintensity", FALSE, &self->automatic_intensity,
                               &self->has_automatic_intensity) ||
      !common.optional("manualangleofillumination", 0, &self->manual_aoi, &self->has_manual_aoi) ||
      !common.optional_boolean("usepowerrequest", TRUE, &self->use_power_request))
    return false;
  self->rampdown_time = common.lenient("rampdown_time", 0);
  return common.required("intensityLOW", &self->intensity_low) &&
         common.required("intensity", &self->intensity) &&
         common.optional("manualintensity", 0, &self->manual_intensity, &self->has_manual_intensity);
}

void apply_initial_intensity(LedBase *self) {
  if (self->has_automatic_intensity && self->has_manual_intensity)
    led_base_set_automatic_intensity(self);
  else
    led_base_set_intensity(self, self->intensity);
}

bool read_description(LedBase *self, const StateReader &common) {
  self->max_brightness_level = common.lenient("max_brightness_level", -1);
  return common.required("nbrofinterfaces", &self->nbr_of_interfaces) &&
         common.required("ledtype", &self->ledtype) &&
         common.optional_boolean("usemanualoverride", FALSE, &self->use_manual_override) &&
         common.optional_boolean("individualintensitysupport", FALSE, &self->individual_intensity_support);
}

// In manual mode `intensity` is the manual one by now.
void make_individual_intensities(LedBase *self) {
  const gsize count = static_cast<gsize>(std::max(self->nbr_of_leds, 0));

  gsize stored_count = 0;
  g_autofree gint *stored =
      g_key_file_get_integer_list(self->state, "common", "intensities", &stored_count, nullptr);
  if (stored != nullptr && stored_count == count) {
    self->manual_intensities = g_steal_pointer(&stored);
  } else {
    self->manual_intensities = g_new(gint, count);
    std::fill_n(self->manual_intensities, count, self->manual_intensity);
  }

  self->automatic_intensities = g_new(gint, count);
  std::fill_n(self->automatic_intensities, count, self->intensity);
}

bool read_power_requirement(LedBase *self, const StateReader &common) {
  if (!common.optional_number_text("powerusagefactor", LED_DEFAULT_POWER_USAGE_FACTOR,
                                   &self->power_usage_factor) ||
      !common.optional("required_total_power", 0.0, &self->required_total_power) ||
      !common.optional("minimum_poe_class", 0, &self->minimum_poe_class))
    return false;
  // A light with a requirement has to wait for what the power daemon says.
  self->correct_poe = self->minimum_poe_class < 1 && !(self->required_total_power > 0.0);
  return true;
}

bool read_zoom(LedBase *self) {
  if (!g_key_file_has_group(self->state, "zoom"))
    return true;

  const StateReader zoom{self->state, "zoom"};
  gint angle = 0;
  if (!zoom.optional_boolean("automaticangleofillumination", FALSE, &self->automatic_aoi,
                             &self->has_automatic_aoi) ||
      !zoom.optional("angleofillumination", 0, &angle, &self->has_angle_of_illumination))
    return false;
  if (!self->has_angle_of_illumination)
    return true;

  led_base_set_angle_of_illumination(self, angle);
  return zoom.required("angleofilluminationLOW", &self->aoi_low) &&
         zoom.required("angleofilluminationHIGH", &self->aoi_high);
}

}  // namespace

gboolean led_base_setup(LedBase *self, GError **) {
  g_return_val_if_fail(LED_IS_BASE(self) && self->state == nullptr, FALSE);

  load_files(self);
  read_basepath(self);
  const StateReader common{self->state, "common"};
  if (!common.required("intensityHIGH", &self->intensity_high) || !probe_hardware(self))
    return FALSE;

  self->light_on = 0;
  self->requested_power = 0;
  if (!read_settings(self, common))
    return FALSE;
  apply_initial_intensity(self);
  if (!read_description(self, common))
    return FALSE;
  make_individual_intensities(self);
  if (!read_power_requirement(self, common) || !read_zoom(self))
    return FALSE;

  self->activate = FALSE;
  light_events_declare(self);
  if (self->use_power_request)
    power_client_register(self);
  self->introspection = led_interface_new();
  return TRUE;
}
