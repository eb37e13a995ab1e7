#include "support/test_light.h"

#include "led/light_error.h"

namespace {

struct TestLight {
  LedBase parent;
};

struct TestLightClass {
  LedBaseClass parent_class;
};

gboolean answer(bool result, int error_code, GError **error) {
  if (error_code >= 0)
    light_error_set(error, static_cast<LightControlError>(error_code), "the test says so");
  return result;
}

gboolean setup(LedBase *self, GError **error) {
  recorded_calls().emplace_back("setup");
  self->nbr_of_leds = test_light_behaviour().setup_leds;
  return answer(test_light_behaviour().setup_result, test_light_behaviour().setup_error, error);
}

gboolean activate_light(LedBase *, gboolean on, GError **error) {
  recorded_calls().emplace_back(on ? "activate 1" : "activate 0");
  return answer(test_light_behaviour().activate_result, test_light_behaviour().activate_error, error);
}

void recalculate(LedBase *, gint angle) {
  recorded_calls().push_back("recalculate " + std::to_string(angle));
}

void request_power(LedBase *) { recorded_calls().emplace_back("request_power"); }

void update_temperature(LedBase *) { recorded_calls().emplace_back("update_temperature"); }

void test_light_class_init(gpointer klass, gpointer) {
  auto *base = LED_BASE_CLASS(klass);
  base->setup = setup;
  base->activate_light = activate_light;
  base->recalculate_angle_of_illumination = recalculate;
  base->request_power = request_power;
  base->update_temperature = update_temperature;
}

void test_bare_light_class_init(gpointer klass, gpointer) {
  auto *base = LED_BASE_CLASS(klass);
  const auto parent = base->parent_class;
  *base = LedBaseClass{};
  base->parent_class = parent;
}

GType register_light_type(const char *name, GClassInitFunc class_init) {
  return g_type_register_static_simple(LED_TYPE_BASE, name, sizeof(TestLightClass), class_init,
                                       sizeof(TestLight), nullptr, static_cast<GTypeFlags>(0));
}

}  // namespace

std::vector<std::string> &recorded_calls() {
  static std::vector<std::string> calls;
  return calls;
}

GType test_light_get_type() {
  static const GType type = register_light_type("TestLight", test_light_class_init);
  return type;
}

TestLightBehaviour &test_light_behaviour() {
  static TestLightBehaviour behaviour;
  return behaviour;
}

GType test_bare_light_get_type() {
  static const GType type = register_light_type("TestBareLight", test_bare_light_class_init);
  return type;
}

LightPointer make_light(GType type, int leds) {
  LightPointer light{LED_BASE(g_object_new(type, nullptr)), &g_object_unref};
  light->card_detected = TRUE;
  light->correct_poe = TRUE;
  light->nbr_of_leds = leds;
  light->manual_intensities = g_new0(gint, static_cast<gsize>(leds));
  light->automatic_intensities = g_new0(gint, static_cast<gsize>(leds));
  return light;
}
