#include "daemon/real_main.h"

#include <glib.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "daemon/controller_service.h"
#include "daemon/debug.h"
#include "daemon/light_controller.h"
#include "daemon/privileges.h"
#include "platform/command_source.h"

namespace {

struct Options {
  gboolean debug = FALSE;
  gboolean no_daemon = FALSE;
};

std::optional<Options> parse_options(int argc, char **argv) {
  Options options;
  const GOptionEntry entries[] = {
      {"debug", 'd', G_OPTION_FLAG_NONE, G_OPTION_ARG_NONE, &options.debug, "Enable debug output prints",
       nullptr},
      {"no-daemon", 'n', G_OPTION_FLAG_NONE, G_OPTION_ARG_NONE, &options.no_daemon, "Do not daemonize",
       nullptr},
      {},
  };
  g_autoptr(GOptionContext) context = g_option_context_new("");
  g_option_context_add_main_entries(context, entries, nullptr);

  g_autoptr(GError) error = nullptr;
  if (g_option_context_parse(context, &argc, &argv, &error))
    return options;
  std::fprintf(stderr, "%s\nTry -? or --help for more information.\n", error->message);
  return std::nullopt;
}

void open_log(bool foreground) {
  if (foreground)
    openlog("beamd", LOG_PID | LOG_CONS | LOG_PERROR, LOG_LOCAL5);
  else
    openlog("beamd", LOG_PID, LOG_DAEMON);
}

void daemonize() {
  if (daemon(0, 0) != 0) {
    syslog(LOG_ERR, "Daemon failed: %m");
    std::exit(EXIT_FAILURE);
  }
  syslog(LOG_INFO, "beamd starting.");
}

void request_shutdown(int signal_number) {
  if (signal_number == SIGINT || signal_number == SIGTERM)
    std::atomic_ref{light_controller_shutdown}.store(1, std::memory_order_relaxed);
}

void install_termination_handler() {
  struct sigaction action = {};
  action.sa_handler = request_shutdown;
  sigemptyset(&action.sa_mask);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
}

}  // namespace

int real_main(int argc, char **argv) {
  command_source_register_mainloop_thread();
  const auto options = parse_options(argc, argv);
  if (!options)
    return EXIT_FAILURE;

  BEAMD_DEBUG_FLAG = options->debug ? 1 : 0;
  open_log(options->no_daemon);
  if (!options->no_daemon)
    daemonize();

  g_autoptr(LightController) controller = LIGHT_CONTROLLER(g_object_new(TYPE_LIGHT_CONTROLLER, nullptr));
  // exit, not return: releasing the controller would switch lights.
  if (!light_controller_setup(controller)) {
    syslog(LOG_ERR, "LightController setup failed...exiting");
    std::exit(EXIT_FAILURE);
  }
  if (!drop_privileges()) {
    syslog(LOG_ERR, "Failed setting uid and gid of the process.");
    std::exit(EXIT_FAILURE);
  }

  install_termination_handler();
  light_controller_run_loop(controller);
  g_clear_object(&controller);
  syslog(LOG_INFO, "Terminating");
  return EXIT_SUCCESS;
}
