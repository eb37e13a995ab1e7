#include "led/light_checks.h"

#include "led/light_error.h"

bool light_check_usable(const LedBase *light, GError **error) {
  if (!light->card_detected)
    light_error_set(error, LIGHT_CONTROL_ERROR_NO_BOARD, "No IR light PCB found");
  else if (!light->correct_poe)
    light_error_set(error, LIGHT_CONTROL_ERROR_WRONG_POE, "Wrong poe");
  return light->card_detected && light->correct_poe;
}

bool light_check_angle_supported(const LedBase *light, GError **error) {
  if (!light->has_angle_of_illumination)
    light_error_set(error, LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "Angle of illumination is not supported");
  return light->has_angle_of_illumination;
}

bool light_check_intensity(const LedBase *light, gint value, GError **error) {
  const bool in_range = value >= light->intensity_low && value <= light->intensity_high;
  if (!in_range)
    light_refuse_intensity(error);
  return in_range;
}

bool light_check_angle(const LedBase *light, gint value, GError **error) {
  const bool in_range = value >= light->aoi_low && value <= light->aoi_high;
  if (!in_range)
    light_error_set(error, LIGHT_CONTROL_ERROR_INVALID_ANGLE,
                    "Invalid Angle of illumination. Angle of illumination is not set");
  return in_range;
}

void light_refuse_intensity(GError **error) {
  light_error_set(error, LIGHT_CONTROL_ERROR_INVALID_INTENSITY, "Invalid Intensity. Intensity is not set");
}
