#include "led/led_interface.h"

#include "light_introspection.h"

GDBusNodeInfo *led_interface_new() { return g_dbus_node_info_new_for_xml(kLightIntrospection, nullptr); }
