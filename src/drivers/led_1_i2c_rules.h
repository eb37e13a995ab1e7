#pragma once

#include <algorithm>

#include "daemon/numbers.h"

/// An intensity within the granted power.
struct GrantedIntensity {
  gint intensity;
  gdouble factor;  ///< the share of the wanted intensity; may end just under 0
  gdouble watts;   ///< what the intensity needs
};

/// What is left of @p intensity when its watts come down in hundredths to @p granted, or to none.
inline GrantedIntensity granted_intensity(gint intensity, gfloat watts_per_unit, gdouble granted) {
  const gdouble wanted = static_cast<gfloat>(intensity) * watts_per_unit;
  gdouble factor = 1.0;
  gdouble watts = wanted;
  // A grant that is no number counts as none.
  while (!(granted >= watts) && watts > 0.0) {
    factor -= 0.01;
    watts = wanted * factor;
  }
  return {to_int(intensity * factor), factor, watts};
}

/// What the channel is set to.
inline gint channel_value(gboolean on, gint intensity, gdouble reduction) {
  return on && intensity > 0 ? std::max(to_int(intensity - reduction), 0) : 0;
}
