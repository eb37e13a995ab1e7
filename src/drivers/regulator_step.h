#pragma once

/// The arithmetic of the thermal regulator: a PI-D controller whose output, in intensity steps, is what the
/// light may give. Pure and without any library, so that its bits can be compared between architectures.

/// What dimming.conf says; all 0 when it says nothing.
struct RegulatorGains {
  double k_p;
  double k_i;
  double k_d;
  double ref_temp;  ///< the temperature to keep, °C
};

/// What one step leaves for the next one.
struct RegulatorState {
  double prev_error = 0.0;   ///< °C
  double integral = 0.0;     ///< fractions of full intensity
  double prev_output = 0.0;  ///< intensity steps
};

/// The terms of one step in the order in which they are formed.
struct RegulatorStep {
  double accumulated;   ///< the integral before it is limited
  double error;         ///< how far below `ref_temp` the temperature is, °C
  double proportional;  ///< fractions of full intensity, like the next two
  double derivative;
  double integral;
  double output;     ///< intensity steps
  double reduction;  ///< intensity steps to be taken off, 0 to the reference; NaN when the output is
  RegulatorState next;
};

/// One step at @p temperature (°C), @p sample_time seconds after the one before, for a light that gives @p
/// reference intensity steps when cool. A sample time of 0 makes the derivative infinite or NaN.
RegulatorStep regulator_step(const RegulatorState &state, const RegulatorGains &gains, double sample_time,
                             double temperature, double reference);

/// Low-pass filters, which differ in their last bits only. This one is fma(reading, 0.2, 0.8 * filtered).
double low_pass(double filtered, double reading);

/// 0.2 * reading + 0.8 * filtered
double low_pass_rounded_twice(double filtered, double reading);

/// filtered * 4 / 5 + reading / 5
double low_pass_in_fifths(double filtered, double reading);
