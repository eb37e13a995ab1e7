#include "drivers/regulator_step.h"

#include <algorithm>
#include <cmath>

namespace {

// While the output stands beyond what the light can give, the integral must not grow further.
double limited_integral(const RegulatorState &state, double k_i, double reference,
                        const RegulatorStep &step) {
  if (k_i > 0) {
    if (state.prev_output > reference)
      return std::max(0.0, 1.0 - step.proportional - step.derivative);
    if (state.prev_output < 0.0)
      return 0.0;
  }
  return step.accumulated;
}

// The order of the comparisons decides what becomes of NaN.
double clamped_reduction(double output, double reference) {
  const double reduction = reference - output;
  if (reference < reduction)
    return reference;
  return reduction < 0 ? 0.0 : reduction;
}

}  // namespace

RegulatorStep regulator_step(const RegulatorState &state, const RegulatorGains &gains, double sample_time,
                             double temperature, double reference) {
  RegulatorStep step{};
  step.accumulated = sample_time * gains.k_i * state.prev_error + state.integral;
  step.error = gains.ref_temp - temperature;
  step.proportional = step.error * gains.k_p;
  // The last factor weakens the derivative near the temperature to keep.
  step.derivative = (step.error - state.prev_error) / sample_time * gains.k_d * state.prev_error;
  step.integral = limited_integral(state, gains.k_i, reference, step);
  step.output = (step.proportional + step.integral + step.derivative) * reference;
  step.reduction = clamped_reduction(step.output, reference);
  step.next = {step.error, step.integral, step.output};
  return step;
}

double low_pass(double filtered, double reading) { return std::fma(reading, 0.2, 0.8 * filtered); }

double low_pass_rounded_twice(double filtered, double reading) { return 0.2 * reading + 0.8 * filtered; }

double low_pass_in_fifths(double filtered, double reading) { return filtered * 4.0 / 5.0 + reading / 5.0; }
