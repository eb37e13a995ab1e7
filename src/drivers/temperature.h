#pragma once

#include <array>
#include <optional>

#include "led/led_base.h"

/// The board's temperatures in °C: readings from the status cache, and the drivers' filters over them. The
/// filters' memory belongs to a driver class: all its lights share it.

/// A sensor that could not be read.
inline constexpr double kNoReading = -9999.0;
/// A filter that has seen no reading.
inline constexpr double kUnseeded = -1000.0;

/// What is said of a sensor that cannot be read; drivers differ in it.
struct TemperatureTexts {
  const char *invalid_sensor;  ///< may take the sensor's id
  const char *no_group;
  const char *no_reading;
};
inline constexpr TemperatureTexts kTemperatureTexts = {"Could not read invalid temperature sensor",
                                                       "Could not allocate for temperature",
                                                       "Could not read temperature"};

/// The same from drivers that name the sensor.
inline constexpr TemperatureTexts kTemperatureTextsWithId = {
    "Could not read invalid temperature sensor (id: %d)", kTemperatureTexts.no_group,
    kTemperatureTexts.no_reading};

/// The temperature of sensor @p id; kNoReading when there is none, which is logged in the words of @p texts.
double read_temperature(gint32 id, const TemperatureTexts &texts = kTemperatureTexts);

/// The id of sensor @p index of @p light, -1 when there is no such sensor.
gint32 sensor_id(const LedBase *light, gint index);

/// The temperature in @p filtered after one more reading of sensor @p id. An unseeded one takes a reading to
/// start with. A failed reading counts as kNoReading degrees.
double filter_temperature(gint32 id, double *filtered);

/// The filters of a board with two sensors.
struct TwoFilters {
  double first = kUnseeded;
  double second = kUnseeded;
};

/// The higher of the temperatures in @p filters after one more reading of the first two sensors of @p light.
/// Without a second sensor only the first counts; without any, its reading fails.
double filter_higher_of_two(const LedBase *light, TwoFilters *filters);

/// The filters of a board with up to four sensors, each of which starts with its first good reading.
using FourFilters = std::array<double, 4>;
inline constexpr FourFilters kFourUnseeded = {kNoReading, kNoReading, kNoReading, kNoReading};

/// The highest of the temperatures in @p filters after one more reading of the sensors of @p light; none when
/// no sensor gives one. A sensor that has never been read and cannot be now is left out, and warned about in
/// the words of @p complaint, which takes its id.
std::optional<double> filter_highest_of_four(const LedBase *light, FourFilters *filters,
                                             const char *complaint);
