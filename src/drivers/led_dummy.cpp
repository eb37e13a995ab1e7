#include "drivers/led_dummy.h"

struct _LedDummy {
  LedBase parent;
  gpointer reserved;
};

G_DEFINE_FINAL_TYPE(LedDummy, led_dummy, LED_TYPE_BASE)

namespace {

gboolean led_dummy_activate_light(LedBase *, gboolean, GError **) { return TRUE; }

}  // namespace

static void led_dummy_class_init(LedDummyClass *klass) {
  LED_BASE_CLASS(klass)->activate_light = led_dummy_activate_light;
}

static void led_dummy_init(LedDummy *) {}
