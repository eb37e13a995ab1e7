#include "drivers/camblock.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <syslog.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include "daemon/unique_fd.h"

namespace {

constexpr guint8 kReadFlag = 0x80;
constexpr guint16 kValueLength = 2;

using Value = std::array<guint8, kValueLength>;

int write_frame(int fd, guint8 address, guint8 subdevice, guint8 reg, const Value &value) {
  guint8 frame[] = {subdevice, reg, value[0], value[1]};
  i2c_msg message = {.addr = address, .flags = 0, .len = sizeof frame, .buf = frame};
  i2c_rdwr_ioctl_data transfer = {.msgs = &message, .nmsgs = 1};
  const int result = ioctl(fd, I2C_RDWR, &transfer);
  if (result >= 0)
    return 0;
  syslog(LOG_ERR, "write_reg(read): ret = %d, %s", result, strerror(errno));
  return result;
}

int read_value(int fd, guint8 address, guint8 subdevice, guint8 reg, Value *value) {
  return camblock_read_reg_buf(fd, address, subdevice, reg, value->data(), kValueLength);
}

}  // namespace

int camblock_i2c_open(guint8 bus, guint8 address, int *fd) {
  const std::string path = "/dev/i2c-" + std::to_string(bus);
  UniqueFd device{open(path.c_str(), O_RDWR | O_CLOEXEC)};
  *fd = device.get();
  if (!device) {
    syslog(LOG_ERR, "Error opening i2c device. %m. Path: %s", path.c_str());
    return -1;
  }
  unsigned long functions = 0;
  if (const int result = ioctl(device.get(), I2C_FUNCS, &functions); result < 0) {
    syslog(LOG_ERR, "Error I2C_FUNCS %m : res = %d", result);
    return result;
  }
  if (const int result = ioctl(device.get(), I2C_SLAVE_FORCE, static_cast<unsigned long>(address));
      result < 0) {
    syslog(LOG_ERR, "Error I2C_SLAVE_FORCE %m : res = %d", result);
    return result;
  }
  device.release();
  return 0;
}

int camblock_read_reg_buf(int fd, guint8 address, guint8 subdevice, guint8 reg, guint8 *buffer,
                          guint16 length) {
  buffer[0] = subdevice;
  buffer[1] = reg;
  i2c_msg messages[] = {{.addr = address, .flags = 0, .len = 2, .buf = buffer},
                        {.addr = address, .flags = I2C_M_RD, .len = length, .buf = buffer}};
  i2c_rdwr_ioctl_data transfer = {.msgs = messages, .nmsgs = 2};
  const int result = ioctl(fd, I2C_RDWR, &transfer);
  if (result == 2)
    return 0;
  syslog(LOG_ERR, "read_reg(read): ret = %d, %s", result, strerror(errno));
  return -1;
}

int camblock_read_reg(int fd, guint8 address, guint8 subdevice, guint8 reg, guint16 *value) {
  Value bytes{};
  if (read_value(fd, address, subdevice | kReadFlag, reg, &bytes) != 0)
    return -1;
  *value = static_cast<guint16>(bytes[0] | bytes[1] << 8);
  return 0;
}

int camblock_read_reg_swap(int fd, guint8 address, guint8 subdevice, guint8 reg, guint16 *value) {
  Value bytes{};
  if (read_value(fd, address, subdevice, reg, &bytes) != 0)
    return -1;
  *value = static_cast<guint16>(bytes[0] << 8 | bytes[1]);
  return 0;
}

int camblock_write_reg(int fd, guint8 address, guint8 subdevice, guint8 reg, guint16 value) {
  const Value low_first = {static_cast<guint8>(value), static_cast<guint8>(value >> 8)};
  return write_frame(fd, address, static_cast<guint8>(subdevice & ~kReadFlag), reg, low_first);
}

int camblock_write_reg_swap(int fd, guint8 address, guint8 subdevice, guint8 reg, guint16 value) {
  const Value high_first = {static_cast<guint8>(value >> 8), static_cast<guint8>(value)};
  return write_frame(fd, address, subdevice, reg, high_first);
}
