#include "beamctl/commands.h"

namespace {

constexpr OptionSpec kIntensityOptions[] = {
    {"led", "N", "Only the LED with the number N, from 0"},
    {"automatic", nullptr, "The intensities of LEDs while the light's intensity is automatic"},
    {"manual", nullptr, "The intensities of LEDs while it is not; they are kept over a restart"},
};

constexpr OptionSpec kCheckOptions[] = {
    {"root", "DIR", "The folder that holds the camera's file system; otherwise this machine's own"},
};

constexpr const char *kCheckText =
    "Looks at every configuration file of beamd below DIR: what it would misread, drop or refuse\n"
    "is an error, what is harmless and surely not meant is a warning. Nothing is written, and\n"
    "no daemon is needed.";

constexpr const char *kLightText =
    "LIGHT is a name that \"beamctl list\" shows, such as led0, or its number.";

constexpr const char *kIntensityText =
    "LIGHT is a name that \"beamctl list\" shows, such as led0, or its number. Without VALUE\n"
    "the intensity is shown. With --automatic or --manual alone, all LEDs of the light are\n"
    "meant; --led alone means the kind that the light uses now.";

constexpr const char *kSwitchText =
    "LIGHT is a name that \"beamctl list\" shows, such as led0, or its number. A disabled light\n"
    "stays dark until it is enabled; what was asked for is not forgotten.";

constexpr const char *kPropertyText =
    "LIGHT is a name that \"beamctl list\" shows, such as led0, or its number. \"beamctl show LIGHT\"\n"
    "shows all properties.";

constexpr Command kCommands[] = {
    {"list", "", "List all lights", "", 0, 0, {}, list_command},
    {"show", "LIGHT", "Show everything that beamd tells of a light", kLightText, 1, 1, {}, show_command},
    {"on", "LIGHT", "Switch a light on", kSwitchText, 1, 1, {}, on_command},
    {"off", "LIGHT", "Switch a light off", kLightText, 1, 1, {}, off_command},
    {"enable", "LIGHT", "Let a light shine when it is on", kSwitchText, 1, 1, {}, enable_command},
    {"disable", "LIGHT", "Keep a light dark whatever asks for it", kSwitchText, 1, 1, {}, disable_command},
    {"intensity", "LIGHT [VALUE]", "Show or set an intensity", kIntensityText, 1, 2, kIntensityOptions,
     intensity_command},
    {"angle", "LIGHT [VALUE]", "Show or set the angle of illumination", kLightText, 1, 2, {}, angle_command},
    {"get", "LIGHT PROPERTY", "Show a property", kPropertyText, 2, 2, {}, get_command},
    {"set", "LIGHT PROPERTY VALUE", "Set a property", kPropertyText, 3, 3, {}, set_command},
    {"monitor", "", "Show events as they come, until Ctrl-C", "", 0, 0, {}, monitor_command},
    {"check", "", "Check the configuration files of a camera", kCheckText, 0, 0, kCheckOptions,
     check_command},
};

}  // namespace

std::span<const Command> all_commands() { return kCommands; }
