// Compiled with -U_FORTIFY_SOURCE, and <syslog.h> stays out: either would turn the names below into other
// functions.

#include "support/syslog_capture.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace {

SyslogCapture *current = nullptr;

constexpr std::array kSeverities{"LOG_EMERG",   "LOG_ALERT",  "LOG_CRIT", "LOG_ERR",
                                 "LOG_WARNING", "LOG_NOTICE", "LOG_INFO", "LOG_DEBUG"};

/// errno must still be the caller's when this is called: the C library's printf() family knows %m, too.
std::string format_text(const char *format, std::va_list arguments) {
  const int error = errno;
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  errno = error;
  std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  errno = error;
  return text;
}

void record(int priority, const char *format, std::va_list arguments) {
  SyslogCapture::Line line{priority, format_text(format, arguments)};
  const int error = errno;
  if (current)
    current->add(std::move(line));
  else
    std::fprintf(stderr, "syslog %s: %s\n", kSeverities[static_cast<std::size_t>(priority & 7)],
                 line.text.c_str());
  errno = error;
}

}  // namespace

extern "C" {

void vsyslog(int priority, const char *format, std::va_list arguments) {
  record(priority, format, arguments);
}

void __vsyslog_chk(int priority, int, const char *format, std::va_list arguments) {
  record(priority, format, arguments);
}

void syslog(int priority, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  record(priority, format, arguments);
  va_end(arguments);
}

void __syslog_chk(int priority, int, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  record(priority, format, arguments);
  va_end(arguments);
}

}  // extern "C"

SyslogCapture::SyslogCapture() { current = this; }

SyslogCapture::~SyslogCapture() { current = nullptr; }

void PrintTo(const SyslogCapture::Line &line, std::ostream *stream) {
  *stream << kSeverities[static_cast<std::size_t>(line.priority & 7)] << " \"" << line.text << '"';
}
