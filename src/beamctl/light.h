#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "beamctl/bus.h"

/// The number of the light that is called "led3" or "3".
std::optional<int> parse_light(std::string_view text);

/// @p text as a whole number; none if it is anything else or does not fit.
std::optional<int> parse_number(std::string_view text);

/// The same for the command line: throws a Failure that says that @p what is meant.
int number_argument(const std::string &text, const std::string &what);

/// One light of the daemon.
class Light {
 public:
  /// The light that the command line calls @p name. Throws a Failure when there is none.
  Light(const Bus &bus, const std::string &name);
  /// The light with that number, which has to be there.
  Light(const Bus &bus, int number);

  const std::string &name() const { return name_; }
  const std::string &path() const { return path_; }
  const Bus &bus() const { return bus_; }

  /// As Bus has it. The interface is one of LED_INTERFACE_...
  Variant call(const char *interface, const char *method, GVariant *arguments, const char *reply_type,
               int timeout_ms = kAnswerMs) const;
  Variant get(const char *interface, const char *property) const;
  void set(const char *interface, const char *property, GVariant *value) const;

  /// A property that is true or false; none where the light does not support it.
  std::optional<bool> flag(const char *interface, const char *property) const;

  /// Getters without arguments.
  bool boolean(const char *interface, const char *method) const;
  int integer(const char *interface, const char *method) const;
  int count_leds() const;

 private:
  const Bus &bus_;
  std::string name_;
  std::string path_;
};

/// How many lights the daemon has.
int count_lights(const Bus &bus);
