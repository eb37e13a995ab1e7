#include "beamctl/bus_failure.h"

#include <array>

#include "daemon/bus_names.h"
#include "led/light_error.h"

namespace {

struct Refusal {
  int code;
  const char *name;
  const char *advice;  ///< %s stands for the light
};

constexpr std::array kRefusals = {
    Refusal{LIGHT_CONTROL_ERROR_VARIANT, "no-reply-made",
            "beamd could not put its answer together; its log may tell why: journalctl -u beamd"},
    Refusal{LIGHT_CONTROL_ERROR_INVALID_INTENSITY, "invalid-intensity",
            "\"beamctl show %s\" tells the valid intensities and how many LEDs there are"},
    Refusal{LIGHT_CONTROL_ERROR_INVALID_ANGLE, "invalid-angle", "\"beamctl show %s\" tells the valid angles"},
    Refusal{
        LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "not-supported",
        "\"beamctl show %s\" tells what is supported; the light's configuration decides, see beamd.conf(5)"},
    Refusal{LIGHT_CONTROL_ERROR_NO_BOARD, "no-board",
            "check the light's board and its cable, and the paths in its configuration; the log tells what "
            "was not found: journalctl -u beamd"},
    Refusal{LIGHT_CONTROL_ERROR_WRONG_POE, "wrong-poe",
            "the power supply is too weak for the light: use a port or injector of a higher PoE class"},
};

// "led0" for the object of a light.
std::string light_at(const std::string &path) {
  const std::string prefix = BEAMD_LIGHT_PATH_PREFIX;
  return path.starts_with(prefix) ? "led" + path.substr(prefix.size()) : "LIGHT";
}

std::string fill_in(std::string advice, const std::string &light) {
  const size_t place = advice.find("%s");
  return place == std::string::npos ? advice : advice.replace(place, 2, light);
}

Failure refused(int code, const std::string &message, const std::string &path) {
  for (const Refusal &refusal : kRefusals)
    if (refusal.code == code)
      return {kExitRefused, refusal.name, message, fill_in(refusal.advice, light_at(path))};
  return {kExitRefused, "refused", message, "beamd's log may tell more: journalctl -u beamd"};
}

Failure not_running() {
  return {kExitUnreachable, "not-running", "beamd is not on the bus",
          "is beamd running? systemctl status beamd"};
}

Failure no_answer(const std::string &what) {
  return {
      kExitUnreachable, "no-answer", what,
      "beamd may be busy, with a slow pan-tilt unit for example: try again; if it stays so: systemctl status "
      "beamd"};
}

Failure access_denied() {
  return {kExitNotAllowed, "access-denied", "the bus does not allow this user to do that",
          "only root and the members of group light may change lights: \"sudo usermod -aG light USER\", and "
          "log in again"};
}

Failure bus_unreachable(const std::string &what) {
  return {kExitUnreachable, "bus-unreachable", what,
          "is the bus running? systemctl status dbus; another one can be named with --bus ADDRESS"};
}

Failure light_has_gone(const std::string &light) {
  return {kExitNotFound, "no-such-light", "there is no light \"" + light + "\" any more",
          "\"beamctl list\" shows those that there are"};
}

Failure not_offered(const std::string &message, const std::string &path) {
  return {kExitRefused, "not-offered", message,
          "\"beamctl show " + light_at(path) + "\" tells what is supported"};
}

bool is_one_of(const GError *error, std::initializer_list<GDBusError> codes) {
  for (const GDBusError code : codes)
    if (g_error_matches(error, G_DBUS_ERROR, code))
      return true;
  return false;
}

// GLib's own code has no error name of its own for this.
bool is_about_object(const GError *error, const std::string &message) {
  return is_one_of(error, {G_DBUS_ERROR_UNKNOWN_OBJECT}) ||
         (is_one_of(error, {G_DBUS_ERROR_UNKNOWN_METHOD}) &&
          message.starts_with("Object does not exist at path"));
}

// What the sender wrote, without the name that GDBus puts before it.
std::string message_of(const GError *error) {
  g_autoptr(GError) copy = g_error_copy(error);
  g_dbus_error_strip_remote_error(copy);
  return copy->message;
}

// What comes over the bus may have the domain and the code of any error of GLib's.
Failure remote_failure(const GError *error, const std::string &path) {
  const std::string message = message_of(error);
  if (error->domain == g_quark_from_static_string(LIGHT_CONTROL_ERROR_DOMAIN))
    return refused(error->code, message, path);
  if (is_one_of(error, {G_DBUS_ERROR_SERVICE_UNKNOWN, G_DBUS_ERROR_NAME_HAS_NO_OWNER}))
    return not_running();
  if (is_one_of(error, {G_DBUS_ERROR_ACCESS_DENIED, G_DBUS_ERROR_AUTH_FAILED}))
    return access_denied();
  if (is_one_of(error, {G_DBUS_ERROR_NO_REPLY, G_DBUS_ERROR_TIMEOUT, G_DBUS_ERROR_TIMED_OUT}))
    return no_answer("beamd ended before it answered, or did not answer in time");
  if (is_one_of(error, {G_DBUS_ERROR_DISCONNECTED}))
    return bus_failure(error);
  if (path.starts_with(BEAMD_LIGHT_PATH_PREFIX) && is_about_object(error, message))
    return light_has_gone(light_at(path));
  if (is_one_of(error,
                {G_DBUS_ERROR_UNKNOWN_METHOD, G_DBUS_ERROR_UNKNOWN_INTERFACE, G_DBUS_ERROR_UNKNOWN_OBJECT,
                 G_DBUS_ERROR_UNKNOWN_PROPERTY, G_DBUS_ERROR_INVALID_ARGS}))
    return not_offered(message, path);
  return refused(-1, message, path);
}

Failure local_failure(const GError *error, const std::string &path) {
  if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT))
    return no_answer("beamd does not answer");
  // An answer of another type than asked for.
  if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_INVALID_ARGUMENT))
    return refused(-1, error->message, path);
  return bus_failure(error);
}

}  // namespace

Failure bus_failure(const GError *error) {
  return bus_unreachable("the bus cannot be reached: " + message_of(error));
}

Failure silent_bus() { return bus_unreachable("the bus does not answer"); }

Failure call_failure(const GError *error, const std::string &path) {
  return g_dbus_error_is_remote_error(error) ? remote_failure(error, path) : local_failure(error, path);
}

Failure odd_answer(const std::string &what) {
  return {kExitRefused, "odd-answer", "beamd " + what, "do beamd and beamctl have the same version?"};
}

bool is_unsupported(const Failure &failure) {
  return failure.code() == "not-supported" || failure.code() == "not-offered";
}
