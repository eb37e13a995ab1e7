// pwm.conf and camblock.conf.

#include <algorithm>
#include <map>

#include "beamctl/check/rules.h"

namespace check {

namespace {

constexpr const char *kInfo = "i2c_info";
constexpr gint kLowByte = 0xFF;

void check_registers(CheckedFile &file) {
  struct Register {
    int line;
    std::string key;
    gint number;
  };
  std::vector<Register> registers;
  for (const KeyFile::Group &group : file.keys().groups()) {
    if (!file.is_known_group(group.name))
      continue;
    for (const KeyFile::Key &key : group.keys)
      if (const auto number = file.integer(group.name, key.name);
          number && file.is_used_key(group.name, key.name) && key.name.ends_with("_reg") &&
          key.line == file.keys().line_of(group.name, key.name))
        registers.push_back({key.line, key.name, *number & kLowByte});
  }
  std::sort(registers.begin(), registers.end(),
            [](const Register &left, const Register &right) { return left.line < right.line; });

  std::map<gint, int> owners;
  for (const Register &one : registers)
    if (const auto [owner, is_new] = owners.try_emplace(one.number, one.line); !is_new)
      file.report_line(one.line, {Severity::kError, Rule::kRegisterShared, Reason::kMisread,
                                  quoted(one.key) + " is register " + std::to_string(one.number) +
                                      ", which stands on line " + std::to_string(owner->second) + " already",
                                  "both write the same register"});
}

}  // namespace

std::optional<gint> check_camblock(Camera &camera, const LightType &type) {
  if (type.without_register == Reason::kUnused)
    return std::nullopt;
  const std::string path = file_path(FileKind::kCamblock);
  auto keys = read_key_file(camera, path, {Severity::kError, Reason::kRefusesToStart});
  if (!keys)
    return std::nullopt;
  CheckedFile file{FileKind::kCamblock, path, std::move(*keys), type, readers_of(camera, FileKind::kCamblock),
                   camera.report};
  file.check();
  check_registers(file);
  if (type.name != led_type::kLedCamblockI2c ||
      !check_first_group(file, kInfo, "the first group is passed over, and [i2c_info] taken for an LED"))
    return std::nullopt;
  return file.has_merged_groups() ? std::nullopt
                                  : std::optional{static_cast<gint>(file.keys().groups().size()) - 1};
}

void check_pwm(Camera &camera, const LightType &type) {
  if (type.name != led_type::kLed1Pwm)
    return;
  const std::string path = file_path(FileKind::kPwm);
  auto keys = read_key_file(camera, path, {Severity::kError, Reason::kRefusesToStart});
  if (!keys)
    return;
  CheckedFile file{FileKind::kPwm, path, std::move(*keys), type, set_of(type), camera.report};
  file.check();
  const auto period = file.integer("pwm", "ld_period");
  const auto high = file.integer("pwm", "duty_high");
  const auto low = file.integer("pwm", "duty_low");
  if (period && high && low && gint64{*high} + *low > *period)
    file.report_at("pwm", "duty_high",
                   {Severity::kError, Rule::kDutyBeyondPeriod, Reason::kMisread,
                    "duty_high and duty_low together are " + std::to_string(gint64{*high} + *low) +
                        ", more than ld_period, which is " + std::to_string(*period),
                    "the kernel refuses the duty cycle that makes the light dark"});
}

}  // namespace check
