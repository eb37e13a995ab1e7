#include "led/light_events.h"

#include <syslog.h>

#include "daemon/bus_names.h"

namespace {

// An event that still says what was declared is better not sent.
bool set_and_send(EventProducer *producer, Event *event, const char *state) {
  return event != nullptr && event_set_value(event, "state", state) &&
         event_producer_send_event(producer, event);
}

void send_state(EventProducer *producer, guint declaration, const char *state) {
  Event *event = event_producer_prepare_event(producer, declaration);
  if (!set_and_send(producer, event, state)) {
    if (event_producer_declaration_complete(producer, declaration))
      syslog(LOG_WARNING, "Failed to send event");
    else
      syslog(LOG_INFO, "Event declaration process not complete. Event not sent.");
  }
  event_free(event);
}

void undeclare(EventProducer *producer, guint *declaration) {
  if (*declaration != 0)
    event_producer_undeclare(producer, *declaration);
  *declaration = 0;
}

}  // namespace

void light_events_declare(LedBase *light) {
  if (light->event_producer == nullptr)
    return;
  light->status_changed_decl =
      event_producer_register(light->event_producer, EVENT_INTERFACE "." EVENT_LIGHT_STATUS_CHANGED, "state",
                              "OFF", EVENT_VALUE_TEXT, nullptr);
  light->status_decl =
      event_producer_register(light->event_producer, EVENT_INTERFACE "." EVENT_LIGHT_STATUS, "id",
                              static_cast<const void *>(&light->light_id), EVENT_VALUE_INTEGER, "type",
                              light->ledtype, EVENT_VALUE_TEXT, "state", "OFF", EVENT_VALUE_TEXT, nullptr);
}

void light_events_send(const LedBase *light, gboolean on) {
  if (light->event_producer == nullptr)
    return;
  const char *state = on ? "ON" : "OFF";
  send_state(light->event_producer, light->status_changed_decl, state);
  send_state(light->event_producer, light->status_decl, state);
}

void light_events_undeclare(LedBase *light) {
  if (light->event_producer == nullptr)
    return;
  undeclare(light->event_producer, &light->status_changed_decl);
  undeclare(light->event_producer, &light->status_decl);
}
