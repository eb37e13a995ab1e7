// A backend of serial-link lights. Each call is a line in /run/serial_backend.calls, which must be there and
// be writable for the daemon's user; so is its end, "unload". A line that begins with "wrong" tells of what
// is not as a backend may expect. It knows the daemon by its exported names and by positions only.
//
// $SERIAL_BACKEND_LACKS names what is missing: "record" (none is returned), "initialise", "set_light" or
// "probe". $SERIAL_BACKEND_PROBE has what probes return, for those channels that it names, instead of 0:
// "1=-1 3=7".

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

constexpr std::size_t kPlatformSize = 3528;

struct Record {
  void *own_0;
  void *platform;
  void *own_2[4];
  void (*initialise)(Record *self, int what);
  void *own_7[10];
  void (*set_light)(Record *self, int channel, int on);
  int (*probe)(Record *self, int channel, int expander_type);
};
static_assert(sizeof(Record) == 152);

}  // namespace

// What the daemon exports.
extern "C" {
extern unsigned char beamd_platform[kPlatformSize];
Record *serial_link_create();
int sensor_reinit();
void debug_output(int a, int b, const char *format, ...) __attribute__((format(printf, 3, 4)));
}

namespace {

constexpr unsigned char kUsed = 0x5a;

Record *the_record = nullptr;

[[gnu::format(printf, 1, 2)]] void note(const char *format, ...) {
  std::FILE *calls = std::fopen("/run/serial_backend.calls", "r+");
  if (calls == nullptr)
    return;
  std::fseek(calls, 0, SEEK_END);
  std::va_list arguments;
  va_start(arguments, format);
  std::vfprintf(calls, format, arguments);
  va_end(arguments);
  std::fputc('\n', calls);
  std::fclose(calls);
}

void expect(bool is_right, const char *what) {
  if (!is_right)
    note("wrong: %s", what);
}

bool is_full_of(const void *memory, std::size_t size, unsigned char value) {
  const auto *bytes = static_cast<const unsigned char *>(memory);
  return std::all_of(bytes, bytes + size, [value](unsigned char byte) { return byte == value; });
}

bool lacks(const char *what) {
  const char *missing = std::getenv("SERIAL_BACKEND_LACKS");
  return missing != nullptr && std::strcmp(missing, what) == 0;
}

int probe_result(int channel) {
  const char *results = std::getenv("SERIAL_BACKEND_PROBE");
  while (results != nullptr && *results != '\0') {
    char *end = nullptr;
    const long of_channel = std::strtol(results, &end, 10);
    if (*end != '=')
      break;
    const long result = std::strtol(end + 1, &end, 10);
    if (of_channel == channel)
      return static_cast<int>(result);
    results = end;
  }
  return 0;
}

void use_own_fields() {
  the_record->own_0 = the_record;
  std::fill(std::begin(the_record->own_2), std::end(the_record->own_2), the_record);
  std::fill(std::begin(the_record->own_7), std::end(the_record->own_7), the_record);
}

bool has_own_fields() {
  const auto is_used = [](const void *field) { return field == the_record; };
  return is_used(the_record->own_0) &&
         std::all_of(std::begin(the_record->own_2), std::end(the_record->own_2), is_used) &&
         std::all_of(std::begin(the_record->own_7), std::end(the_record->own_7), is_used);
}

void check_call_on(const Record *self) {
  expect(self == the_record, "a record of somebody else's");
  expect(the_record->platform == beamd_platform, "the platform pointer");
  expect(has_own_fields(), "a field of the backend's own was written");
}

void initialise(Record *self, int what) {
  note("initialise %d", what);
  check_call_on(self);
  std::memset(beamd_platform, kUsed, kPlatformSize);
  debug_output(6, what, "serial backend: %s, %d%%\n", "ready", 100);
}

void set_light(Record *self, int channel, int on) {
  note("set_light %d %d", channel, on);
  check_call_on(self);
}

int probe(Record *self, int channel, int expander_type) {
  note("probe %d %d", channel, expander_type);
  check_call_on(self);
  return probe_result(channel);
}

[[gnu::destructor]] void end() { note("unload"); }

}  // namespace

extern "C" [[gnu::visibility("default")]] Record *lib_serial_link_create() {
  note("create");
  expect(sensor_reinit() == -1, "sensors can be initialised again");
  expect(is_full_of(beamd_platform, kPlatformSize, 0) || is_full_of(beamd_platform, kPlatformSize, kUsed),
         "the daemon wrote in the platform record");
  if (lacks("record"))
    return nullptr;

  the_record = serial_link_create();
  expect(is_full_of(the_record, sizeof *the_record, 0), "the new record is not empty");
  use_own_fields();
  the_record->initialise = lacks("initialise") ? nullptr : initialise;
  the_record->set_light = lacks("set_light") ? nullptr : set_light;
  the_record->probe = lacks("probe") ? nullptr : probe;
  return the_record;
}
