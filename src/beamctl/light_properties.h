#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "beamctl/light.h"

/// A property as the daemon declares it.
struct LightProperty {
  std::string interface;
  std::string name;
  std::string type;  ///< a D-Bus signature
  bool writable;
};

/// What the daemon declares for @p light; never the properties of the bus itself.
std::vector<LightProperty> properties_of(const Light &light);

/// The one of these that is called @p name. Throws a Failure when there is none, which tells those that there
/// are.
LightProperty find_property(const std::vector<LightProperty> &properties, const std::string &name);

/// @p text as a value of @p property, floating. Throws a Failure.
GVariant *parse_value(const LightProperty &property, const std::string &text);
