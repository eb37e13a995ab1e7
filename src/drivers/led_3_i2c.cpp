#include "drivers/led_3_i2c.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "drivers/attribute_file.h"
#include "drivers/mcu_board.h"
#include "drivers/output_table.h"
#include "drivers/output_table_file.h"
#include "drivers/regulator.h"
#include "drivers/temperature.h"
#include "led/board_file.h"
#include "led/light_error.h"
#include "led/power_client.h"

struct _Led_3_I2C {
  LedBase parent;
  gint outputs[3];
  OutputTable *table;
  RegulatorConfig regulator;
  gboolean no_qxid_node;  // such a board is always there
  gboolean poe_class_present;
};

G_DEFINE_FINAL_TYPE(Led_3_I2C, led_3_i2c, LED_TYPE_BASE)

namespace {

constexpr const char *kOutputFiles[] = {"led0", "led1", "led2"};
constexpr gsize kWritingOrder[] = {0, 2, 1};
constexpr const char *kPoeClassFile = "/var/run/poeclass";
constexpr SensorLimit kSensors = {2, "sensors"};

// Of the class, not of the light.
RegulatorState regulator_state;
TwoFilters filters;
gint last_angle = 0;

bool configure_dimming(Led_3_I2C *self) {
  g_autoptr(GKeyFile) dimming = g_key_file_new();
  if (!load_dimming_config(dimming))
    return false;
  configure_regulator(&self->parent, dimming, kSensors, &self->regulator);
  if (g_key_file_has_key(dimming, "regulator", "poe_class_present", nullptr))
    self->poe_class_present = g_key_file_get_boolean(dimming, "regulator", "poe_class_present", nullptr);
  return true;
}

bool is_poe_class_right(GError **error) {
  char poe_class = '\0';
  switch (read_first_byte(kPoeClassFile, &poe_class)) {
    case FirstByte::kNotOpened:
      syslog(LOG_ERR, "Could not read poe class");
      break;
    case FirstByte::kNotRead:
    case FirstByte::kMissing:
      syslog(LOG_ERR, "Could not read poe class value");
      break;
    case FirstByte::kRead:
      break;
  }
  if (poe_class == '3')
    return true;
  light_error_set(error, LIGHT_CONTROL_ERROR_WRONG_POE, "Must run on poe class 3");
  syslog(LOG_INFO, "Wrong poe for IR light");
  return false;
}

bool check_board(Led_3_I2C *self, GError **error) {
  const auto path = mcu_board_mark(&self->parent);
  if (!path) {
    self->no_qxid_node = TRUE;
    return true;
  }
  char mark = '\0';
  read_first_byte(*path, &mark);
  if (mark != '1')
    return refuse_mcu_board(error);
  return !self->poe_class_present || is_poe_class_right(error);
}

gboolean led_3_i2c_setup(LedBase *light, GError **error) {
  auto *self = LED_3_I2C(light);
  if (!configure_dimming(self))
    return FALSE;
  const bool is_board_right = check_board(self, error);
  return load_output_table(self->table) && give_mcu_files_to_light(light, kOutputFiles) && is_board_right;
}

bool still_has_board(const Led_3_I2C *self, GError **error) {
  if (self->no_qxid_node)
    return true;
  const auto path = board_file_path(&self->parent, "QXID");
  if (!path) {
    syslog(LOG_INFO, "Failed find path to QXID");
    return false;
  }
  char mark = '\0';
  switch (read_first_byte(*path, &mark)) {
    case FirstByte::kNotOpened:
      return false;
    case FirstByte::kNotRead:
      syslog(LOG_ERR, "Failed to read QXID. Error: %m");
      return false;
    case FirstByte::kMissing:
    case FirstByte::kRead:
      break;
  }
  if (mark == '1')
    return true;
  syslog(LOG_ERR, "No IR light PCB found");
  return light_error_no_board(error, "No IR light PCB found");
}

// The micro-controller takes a whole record: the text with zeros after it.
bool write_output(const UniqueFd &file, gsize output, gint value, gboolean on) {
  char record[12] = {};
  snprintf(record, sizeof record, "%d", value);
  if (write_attribute(file, {record, sizeof record}))
    return true;
  syslog(LOG_ERR, "Failed to %s led %d. Error: %m", on ? "set new value for" : "disable",
         static_cast<int>(output));
  return false;
}

gboolean led_3_i2c_activate_light(LedBase *light, gboolean on, GError **error) {
  auto *self = LED_3_I2C(light);
  UniqueFd files[3];
  for (gsize output = 0; output < 3; ++output) {
    files[output] = open_attribute(board_file_path(light, kOutputFiles[output]));
    if (!files[output])
      return FALSE;
  }
  if (!still_has_board(self, error))
    return FALSE;

  const Outputs values = on ? reduced_outputs(std::to_array(self->outputs), light->power_reduce) : Outputs{};
  for (const gsize output : kWritingOrder)
    if (!write_output(files[output], output, values[output], on))
      return FALSE;
  return TRUE;
}

void led_3_i2c_recalculate(LedBase *light, gint angle) {
  auto *self = LED_3_I2C(light);
  if (angle >= 0)
    last_angle = angle;
  const Outputs outputs = granted_outputs(
      *self->table, last_angle, light->intensity,
      {led_base_get_requested_intensity(light, 0), led_base_get_requested_intensity(light, 1)},
      light->power_intensity);
  std::copy(outputs.begin(), outputs.end(), self->outputs);
}

void led_3_i2c_request_power(LedBase *light) {
  gdouble watts = 0.0;
  if (light->light_on != 0) {
    light->requested_power = static_cast<gfloat>(
        needed_watts(*LED_3_I2C(light)->table, light->angle_of_illumination, light->intensity));
    watts = light->requested_power;
  }
  led_base_send_power_request(light, watts);
}

void led_3_i2c_update_temperature(LedBase *light) {
  const auto *self = LED_3_I2C(light);
  const auto total = static_cast<double>(total_of(std::to_array(self->outputs)));
  if (!begin_tick(light, TRUE, total))
    return;
  regulate(light, &regulator_state, self->regulator.gains, filter_higher_of_two(light, &filters), total);
}

}  // namespace

static void led_3_i2c_finalize(GObject *object) {
  delete LED_3_I2C(object)->table;
  G_OBJECT_CLASS(led_3_i2c_parent_class)->finalize(object);
}

static void led_3_i2c_class_init(Led_3_I2CClass *klass) {
  auto *base = LED_BASE_CLASS(klass);
  base->activate_light = led_3_i2c_activate_light;
  base->setup = led_3_i2c_setup;
  base->recalculate_angle_of_illumination = led_3_i2c_recalculate;
  base->request_power = led_3_i2c_request_power;
  base->update_temperature = led_3_i2c_update_temperature;
  G_OBJECT_CLASS(klass)->finalize = led_3_i2c_finalize;
}

static void led_3_i2c_init(Led_3_I2C *self) {
  self->parent.nbr_of_leds = OutputTable::kLeds;
  self->table = new OutputTable;
  self->poe_class_present = TRUE;
}
