#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// The three members of the light's GDBusInterfaceVTable; @p user_data is the light (borrowed).
/// While the light cannot work, all is refused with LIGHT_CONTROL_ERROR_NO_BOARD or
/// LIGHT_CONTROL_ERROR_WRONG_POE, except reading CardDetected and CorrectPoe. GDBus answers calls that the
/// introspection data does not list; should one get through, it is left without a reply. The property
/// handlers are in led_properties.cpp.
void led_base_handle_dbus_method_call(GDBusConnection *connection, const gchar *sender,
                                      const gchar *object_path, const gchar *interface_name,
                                      const gchar *method_name, GVariant *parameters,
                                      GDBusMethodInvocation *invocation, gpointer user_data);

GVariant *led_base_handle_dbus_get_property(GDBusConnection *connection, const gchar *sender,
                                            const gchar *object_path, const gchar *interface_name,
                                            const gchar *property_name, GError **error, gpointer user_data);

gboolean led_base_handle_dbus_set_property(GDBusConnection *connection, const gchar *sender,
                                           const gchar *object_path, const gchar *interface_name,
                                           const gchar *property_name, GVariant *value, GError **error,
                                           gpointer user_data);

G_END_DECLS
