#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// A light on a pan-tilt-zoom unit, which is switched by auxiliary commands to the unit's service.
#define LED_TYPE_2_UART (led_2_uart_get_type())
G_DECLARE_FINAL_TYPE(Led2Uart, led_2_uart, LED, 2_UART, LedBase)

G_END_DECLS
