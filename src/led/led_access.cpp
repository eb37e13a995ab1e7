#include "led/led_access.h"

#include "led/light_error.h"

bool led_access_check(const LedBase *light, GError **error) {
  if (!light->card_detected)
    light_error_set(error, LIGHT_CONTROL_ERROR_NO_BOARD, "No IR light PCB found");
  else if (!light->correct_poe)
    light_error_set(error, LIGHT_CONTROL_ERROR_WRONG_POE, "Wrong poe");
  return light->card_detected && light->correct_poe;
}

bool led_access_check_angle(const LedBase *light, GError **error) {
  if (!light->has_angle_of_illumination)
    light_error_set(error, LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "Angle of illumination is not supported");
  return light->has_angle_of_illumination;
}

bool led_access_check_intensity(const LedBase *light, gint value, GError **error) {
  const bool in_range = value >= light->intensity_low && value <= light->intensity_high;
  if (!in_range)
    light_error_set(error, LIGHT_CONTROL_ERROR_INVALID_INTENSITY, "Invalid Intensity. Intensity is not set");
  return in_range;
}

bool led_access_check_angle_range(const LedBase *light, gint value, GError **error) {
  const bool in_range = value >= light->aoi_low && value <= light->aoi_high;
  if (!in_range)
    light_error_set(error, LIGHT_CONTROL_ERROR_INVALID_ANGLE,
                    "Invalid Angle of illumination. Angle of illumination is not set");
  return in_range;
}
