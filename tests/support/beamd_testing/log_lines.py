"""Lines of the log that belong to no driver, as pairs of severity and text."""

from . import syslog

SETUP_FAILED = (syslog.ERR, "LightController setup failed...exiting")
TERMINATING = (syslog.INFO, "Terminating")
NOT_ACTIVATED = (syslog.ERR, "Unable to activate light")
NOT_DEACTIVATED = (syslog.ERR, "Unable to deactivate light")
