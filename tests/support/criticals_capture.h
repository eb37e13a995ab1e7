#pragma once

#include <glib.h>

#include <string>
#include <vector>

/// Collects the criticals that this program's own code reports, as long as it lives. Without one, each is
/// fatal.
class CriticalsCapture {
 public:
  CriticalsCapture()
      : fatal_{g_log_set_always_fatal(static_cast<GLogLevelFlags>(G_LOG_FATAL_MASK))},
        handler_{g_log_set_handler(kDomain, G_LOG_LEVEL_CRITICAL, add, this)} {}
  ~CriticalsCapture() {
    g_log_remove_handler(kDomain, handler_);
    g_log_set_always_fatal(fatal_);
  }
  CriticalsCapture(const CriticalsCapture &) = delete;
  CriticalsCapture &operator=(const CriticalsCapture &) = delete;

  const std::vector<std::string> &texts() const { return texts_; }

  void clear() { texts_.clear(); }

 private:
  static constexpr const char *kDomain = "beamd";

  static void add(const gchar *, GLogLevelFlags, const gchar *text, gpointer self) {
    static_cast<CriticalsCapture *>(self)->texts_.emplace_back(text);
  }

  std::vector<std::string> texts_;
  GLogLevelFlags fatal_;
  guint handler_;
};
