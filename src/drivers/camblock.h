#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// The registers of a camera block on an I2C bus. Each is named by a sub-device byte and a register byte and
/// holds 16 bits. In the plain operations bit 7 of the sub-device byte tells a read from a write and the low
/// byte of the value comes first; the swap operations leave the sub-device byte alone and send the high byte
/// first. Failures are logged at LOG_ERR.

/// Opens bus "/dev/i2c-<bus>" for the device at @p address, also when a kernel driver has claimed it. 0 with
/// the descriptor, the caller's to close, in @p fd; -1 when the bus cannot be opened, or the negative result
/// of the ioctl that failed: @p fd is then of no use.
int camblock_i2c_open(guint8 bus, guint8 address, int *fd);

/// Reads @p length bytes of a register into @p buffer, which holds two bytes at least. 0, or -1 when the bus
/// did not transfer both messages; @p buffer then holds anything.
int camblock_read_reg_buf(int fd, guint8 address, guint8 subdevice, guint8 reg, guint8 *buffer,
                          guint16 length);

/// Reads a register. 0 with its value in @p value, or -1: @p value is then as it was.
int camblock_read_reg(int fd, guint8 address, guint8 subdevice, guint8 reg, guint16 *value);
int camblock_read_reg_swap(int fd, guint8 address, guint8 subdevice, guint8 reg, guint16 *value);

/// Writes a register. 0, or the negative result of the ioctl.
int camblock_write_reg(int fd, guint8 address, guint8 subdevice, guint8 reg, guint16 value);
int camblock_write_reg_swap(int fd, guint8 address, guint8 subdevice, guint8 reg, guint16 value);

G_END_DECLS
