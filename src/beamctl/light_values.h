#pragma once

#include <string>

#include "beamctl/light.h"
#include "beamctl/light_properties.h"

/// The value in one line, as parse_value() understands it.
std::string value_text(GVariant *value);

/// Prints what a property is, or what it has become if the command line gives a value.
void print_property(const Invocation &invocation, const Light &light, const LightProperty &property,
                    GVariant *value);

/// The same for what is no property: @p name is its name, in JSON as well.
void print_number(const Invocation &invocation, const Light &light, const char *name, int value);
