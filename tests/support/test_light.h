#pragma once

#include <memory>
#include <string>
#include <vector>

#include "led/led_base.h"

/// What the lights and the event library were asked to do, in order: one timeline for the whole test program.
std::vector<std::string> &recorded_calls();

/// How a TestLight answers.
struct TestLightBehaviour {
  bool activate_result = true;
  int activate_error = -1;  ///< code in the light-control domain that activation sets; -1 = none
  bool setup_result = true;
  int setup_error = -1;  ///< likewise for setup
  int setup_leds = 0;    ///< number of LEDs that setup finds
};

/// A light whose driver records its calls: "setup", "activate 1", "activate 0", "request_power", "recalculate
/// ANGLE", "update_temperature". Every other slot keeps the base's default. One behaviour for all lights of
/// the class.
#define TEST_TYPE_LIGHT (test_light_get_type())
GType test_light_get_type();
TestLightBehaviour &test_light_behaviour();

/// A light of a class with every slot empty.
#define TEST_TYPE_BARE_LIGHT (test_bare_light_get_type())
GType test_bare_light_get_type();

/// Access to the slots of a light's class; puts back what was there in the end.
class ChangedSlots {
 public:
  explicit ChangedSlots(LedBase *light) : slots_{LED_BASE_GET_CLASS(light)}, before_{*slots_} {}
  ~ChangedSlots() { *slots_ = before_; }
  ChangedSlots(const ChangedSlots &) = delete;
  ChangedSlots &operator=(const ChangedSlots &) = delete;

  LedBaseClass *operator->() const { return slots_; }

 private:
  LedBaseClass *slots_;
  LedBaseClass before_;
};

using LightPointer = std::unique_ptr<LedBase, decltype(&g_object_unref)>;

/// A new light of @p type with @p leds LEDs whose manual and automatic levels are 0. It has its board and its
/// power, and no files.
LightPointer make_light(GType type, int leds = 0);
