#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "support/private_bus.h"

/// The temperature service, on the private bus. It answers from GDBus's own thread, so that the test's thread
/// may block in a call. A sensor of which nothing was said does not exist.
class TemperatureService {
 public:
  TemperatureService();
  ~TemperatureService();
  TemperatureService(const TemperatureService &) = delete;
  TemperatureService &operator=(const TemperatureService &) = delete;

  void has_sensor(const std::string &name, int id) { replies(name, "(" + std::to_string(id) + ",)"); }
  /// @p values as GVariant text: "(5,)" is what the service should say.
  void replies(const std::string &name, const std::string &values);
  void fails(const std::string &name, const std::string &error_name, const std::string &message);

  /// What it was asked for so far: "path interface.Method arguments".
  std::vector<std::string> calls() const;

 private:
  struct Answer {
    std::string error_name;  ///< empty for a reply
    std::string text;        ///< the values or the message
  };

  static GDBusMessage *filter(GDBusConnection *connection, GDBusMessage *message, gboolean incoming,
                              gpointer self);
  GDBusMessage *answer(GDBusMessage *call);

  mutable std::mutex mutex_;
  std::map<std::string, Answer> answers_;
  std::vector<std::string> calls_;
  BusConnection connection_ = connect_to_private_bus();
  guint filter_;
};
