#include "drivers/led_serial_link.h"

#include <syslog.h>

#include "drivers/serial_link_backend.h"
#include "led/light_error.h"

struct _LedSerialLink {
  LedBase parent;
  gboolean has_backend;  // one of its users, until dispose
};

G_DEFINE_FINAL_TYPE(LedSerialLink, led_serial_link, LED_TYPE_BASE)

namespace {

gint read_expander_type(const LedBase *light) {
  g_autoptr(GError) error = nullptr;
  const gint type = g_key_file_get_integer(light->state, "common", "expander_type", &error);
  if (error != nullptr)
    syslog(LOG_WARNING, "Can't find expander_type, setting as 0, none");
  return type;
}

gboolean led_serial_link_setup(LedBase *light, GError **error) {
  if (probe_serial_link(light->light_id, read_expander_type(light)))
    return TRUE;
  syslog(LOG_INFO, "No IR head found on channel %d", light->light_id);
  return light_error_no_board(error, "No IR head found");
}

gboolean led_serial_link_activate_light(LedBase *light, gboolean on, GError **) {
  set_serial_link_light(light->light_id, on);
  return TRUE;
}

}  // namespace

static void led_serial_link_dispose(GObject *object) {
  auto *self = LED_SERIAL_LINK(object);
  if (self->has_backend)
    release_serial_link_backend();
  self->has_backend = FALSE;
  G_OBJECT_CLASS(led_serial_link_parent_class)->dispose(object);
}

static void led_serial_link_class_init(LedSerialLinkClass *klass) {
  auto *base = LED_BASE_CLASS(klass);
  led_base_class_remove_angle(base);
  base->activate_light = led_serial_link_activate_light;
  base->setup = led_serial_link_setup;
  G_OBJECT_CLASS(klass)->dispose = led_serial_link_dispose;
}

static void led_serial_link_init(LedSerialLink *self) { self->has_backend = acquire_serial_link_backend(); }
