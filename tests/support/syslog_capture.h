#pragma once

#include <ostream>
#include <string>
#include <utility>
#include <vector>

/// Collects what this process logs, as long as it lives. At most one lives at a time; without one, lines go
/// to stderr.
///
/// The executable that has syslog_capture.cpp gets the C library's logging functions replaced, also for the
/// shared libraries it uses. openlog() and closelog() stay as they are.
class SyslogCapture {
 public:
  struct Line {
    int priority;  ///< as the caller gave it: the severity, with a facility only if the call named one
    std::string text;

    bool operator==(const Line &) const = default;
  };

  SyslogCapture();
  ~SyslogCapture();
  SyslogCapture(const SyslogCapture &) = delete;
  SyslogCapture &operator=(const SyslogCapture &) = delete;

  /// The lines so far, in order.
  const std::vector<Line> &lines() const { return lines_; }

  void clear() { lines_.clear(); }

  void add(Line line) { lines_.push_back(std::move(line)); }

 private:
  std::vector<Line> lines_;
};

/// How GoogleTest shows a line.
void PrintTo(const SyslogCapture::Line &line, std::ostream *stream);
