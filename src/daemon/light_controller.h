#pragma once

#include "led/led_base.h"
#include "platform/event_producer.h"

G_BEGIN_DECLS

/// Slots for lights, whatever the configuration counts.
#define LIGHT_CONTROLLER_MAX_LEDS 17

/// 1 once the daemon has been told to end. Set by the signal handler, cleared by every new controller.
[[gnu::visibility("default")]] extern int light_controller_shutdown;

/// The one top-level object: owns the lights and what the whole daemon declares.
#define TYPE_LIGHT_CONTROLLER (light_controller_get_type())
#define LIGHT_CONTROLLER(object) \
  (G_TYPE_CHECK_INSTANCE_CAST((object), TYPE_LIGHT_CONTROLLER, LightController))
#define IS_LIGHT_CONTROLLER(object) (G_TYPE_CHECK_INSTANCE_TYPE((object), TYPE_LIGHT_CONTROLLER))

typedef struct {
  GObjectClass parent_class;
} LightControllerClass;

typedef struct {
  GObject parent_instance;

  GMainLoop *main_loop;
  gint32 nbr_of_leds;
  LedBase *leds[LIGHT_CONTROLLER_MAX_LEDS];
  GKeyFile *key_file;
  gboolean day;
  gboolean ir_cut_filter_available;
  EventProducer *event_producer;
  int declaration_id;
} LightController;

GType light_controller_get_type(void);
G_DEFINE_AUTOPTR_CLEANUP_FUNC(LightController, g_object_unref)

GQuark light_controller_error_quark(void);

/// Reads /etc/beamd/beamd.conf, creates a light per LED group, sets each up and switches it off, and declares
/// the daemon's event. FALSE when the daemon cannot go on; a light without its board or with a wrong
/// supply is no reason.
gboolean light_controller_setup(LightController *self);

G_END_DECLS
