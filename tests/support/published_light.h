#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "led/led_base.h"
#include "support/private_bus.h"

/// What a caller on the bus got.
struct LightReply {
  enum class Kind { kValues, kRefusal, kOtherError };
  Kind kind;
  int code;  ///< of a refusal: the code in the light-control domain
  /// The values as GVariant text, such as "(5,)", or the error's message.
  std::string text;

  bool operator==(const LightReply &) const = default;
};

LightReply answered(std::string values = "()");
LightReply refused(int code, std::string message);
void PrintTo(const LightReply &reply, std::ostream *stream);

/// A light on a private bus, and a client of it on a connection of its own. All in the calling thread: a call
/// runs the default main context until its reply is there. Values are given and returned as GVariant text.
class PublishedLight {
 public:
  /// Publishes the light with the interfaces of its own, or with those of @p interfaces instead.
  explicit PublishedLight(LedBase *light, GDBusNodeInfo *interfaces = nullptr);
  ~PublishedLight();
  PublishedLight(const PublishedLight &) = delete;
  PublishedLight &operator=(const PublishedLight &) = delete;

  LightReply call(const char *interface, const char *method, const std::string &arguments = "()") const;
  /// Whether nothing comes back by the time that a later call has been answered. The light must have its
  /// Common interface.
  bool leaves_unanswered(const char *interface, const char *method,
                         const std::string &arguments = "()") const;
  LightReply get(const char *interface, const char *property) const;
  LightReply get_all(const char *interface) const;
  LightReply set(const char *interface, const char *property, const std::string &value) const;

 private:
  struct Outcome;

  void start(const char *interface, const char *method, GVariant *arguments, GCancellable *cancellable,
             Outcome *outcome) const;
  LightReply finish(const char *interface, const char *method, GVariant *arguments) const;
  static void on_reply(GObject *client, GAsyncResult *result, gpointer user_data);

  std::string path_;
  BusConnection service_ = connect_to_private_bus();
  BusConnection client_ = connect_to_private_bus();
};
