#pragma once

#include "daemon/numbers.h"

/// What the channel's duty cycle is made of, in the kernel's PWM units.
struct PwmTiming {
  gint period;
  gint duty_high;  ///< what full brightness takes off
  gint duty_low;   ///< what is left of it then
};

/// The duty cycle for @p brightness percent: the channel is inverted, so darkness is the longest one.
constexpr gint duty_cycle(const PwmTiming &timing, gint brightness) {
  return to_int(gint64{timing.duty_low} + timing.duty_high - gint64{timing.duty_high} * brightness / 100);
}
