#include "support/configuration_tree.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <ostream>

#include "beamctl/check/check.h"

namespace {

constexpr const char *kState =
    "[common]\nledtype=IR\nnbrofinterfaces=3\nenable=true\nintensityLOW=0\nintensityHIGH=100\nintensity=50\n";

std::string table(int leds) {
  std::string none;
  std::string full;
  for (int led = 0; led < leds; ++led) {
    none += "0;";
    full += "90;";
  }
  const std::string row = "]\n0=" + none + "\n100=" + full + "\n";
  return "[info]\nleds=" + std::to_string(leds) + "\n[0" + row + "[100" + row;
}

constexpr const char *kGrid =
    "[info]\nangle_div=50\nintensity_div=50\n[0]\n0=0;0;\n50=5;6;\n100=9;8;\n[50]\n0=0;0;\n50=4;4;\n100=9;9;"
    "\n"
    "[100]\n0=0;0;\n50=6;5;\n100=8;9;\n";

std::string dimming(bool has_switch = false, int sensors = 1) {
  std::string text = "[regulator]\n";
  text += has_switch ? "enabled=true\n" : "";
  text += "sample_time=5\ntemp_sensor_id=Board\n";
  for (int sensor = 2; sensor <= sensors; ++sensor)
    text += "temp_sensor_id" + std::to_string(sensor) + "=Board" + std::to_string(sensor) + "\n";
  return text + "ref_temp=60\nk_p=0.1\nk_i=0.001\nk_d=0\n";
}

constexpr const char *kBlock = "[i2c_info]\ncamblockI2Cbus=0\ncamblockI2Caddress=58\ncamblocksubdevice=5\n";

const std::map<std::string, CameraFiles, std::less<>> &type_files() {
  static const std::string kTable = "/etc/beamd/illumination.conf";
  static const std::string kDimming = "/etc/beamd/dimming.conf";
  static const std::string kCamblock = "/etc/beamd/camblock.conf";
  static const std::map<std::string, CameraFiles, std::less<>> files = {
      {"Dummy", {{kTable, table(2)}}},
      {"Tarsil", {{kTable, kGrid}, {kDimming, dimming()}}},
      {"LED1I2C", {{kTable, table(1)}, {kDimming, dimming(true)}}},
      {"LED2I2C", {{kTable, table(2)}, {kDimming, dimming()}}},
      {"LED2UART", {}},
      {"LED2CAMBLOCKI2C",
       {{kTable, table(2)},
        {kDimming, dimming()},
        {kCamblock,
         std::string{kBlock} +
             "camblocksubdevice_led0_enable_disable_reg=1\ncamblocksubdevice_led0_power_reg=2\n"
             "camblocksubdevice_led1_enable_disable_reg=3\ncamblocksubdevice_led1_power_reg=4\n"}}},
      {"LEDCAMBLOCKI2C",
       {{kTable, table(2)},
        {kDimming, dimming(false, 2)},
        {kCamblock,
         std::string{kBlock} +
             "[led0]\nenable_disable_reg=1\npower_reg=2\n[led1]\nenable_disable_reg=3\npower_reg=4\n"}}},
      {"LEDBL", {{kTable, "[info]\nleds=2\n"}, {kDimming, dimming(true)}}},
      {"LEDFISHEYEI2C", {{kTable, "[info]\nleds=2\n"}, {kDimming, dimming()}}},
      {"LEDSYSFS", {{kTable, table(2)}, {kDimming, dimming()}}},
      {"LED1PWM",
       {{kDimming, dimming()},
        {"/etc/beamd/pwm.conf", "[pwm]\nld_period=1000\nduty_high=900\nduty_low=100\n"}}},
      {"LEDSERIALLINK", {}},
  };
  return files;
}

int line_of(const std::string &text, const std::string &part) {
  const std::size_t place = text.find(part);
  EXPECT_NE(place, std::string::npos) << part;
  return static_cast<int>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(place), '\n')) +
         1;
}

}  // namespace

CameraFiles valid_configuration(std::string_view type) {
  CameraFiles files = type_files().find(type)->second;
  const bool is_per_led = type == "LEDBL" || type == "LEDFISHEYEI2C" || type == "LEDSYSFS";
  std::string state = kState;
  state += type == "LED1PWM"         ? "max_brightness_level=100\n"
           : type == "LEDSERIALLINK" ? "expander_type=0\n"
                                     : "";
  files["/etc/beamd/beamd.conf"] = "[LED]\nNbrOfLeds=1\n[LED.L0]\nType=" + std::string{type} + "\n";
  files["/etc/beamd/led0.conf"] = state;
  files["/usr/share/beamd/led0.conf"] =
      std::string{"[common]\nbasepath=/sys/board"} + (is_per_led ? "/led%d" : "") + "\n";
  return files;
}

ConfigurationTree::ConfigurationTree() {
  std::string pattern = testing::TempDir() + "check-XXXXXX";
  root_ = mkdtemp(pattern.data());
}

ConfigurationTree::~ConfigurationTree() {
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

void ConfigurationTree::write(const std::string &file, std::string_view text) const {
  std::filesystem::create_directories(path(file).parent_path());
  std::ofstream(path(file), std::ios::binary) << text;
}

void ConfigurationTree::write(const CameraFiles &files) const {
  for (const auto &[file, text] : files)
    write(file, text);
}

std::string ConfigurationTree::findings() const {
  std::string text;
  for (const check::Finding &finding : check::check_tree(root_).all) {
    text += finding.file + (finding.line > 0 ? ":" + std::to_string(finding.line) : "") + " ";
    text += std::string{name_of(finding.severity)} + " ";
    text += std::string{name_of(finding.rule)} + " ";
    text += std::string{name_of(finding.reason)} + "\n";
    EXPECT_NE(finding.message, "");
    EXPECT_NE(finding.reaction, "");
  }
  return text;
}

std::ostream &operator<<(std::ostream &stream, const Mistake &mistake) {
  return stream << mistake.type << ' ' << mistake.file;  // the texts may be no UTF-8
}

std::vector<Mistake> &known_mistakes() {
  static std::vector<Mistake> mistakes;
  return mistakes;
}

std::vector<Mistake> known(std::vector<Mistake> mistakes) {
  known_mistakes().insert(known_mistakes().end(), mistakes.begin(), mistakes.end());
  return mistakes;
}

void MistakeTest::expect_found(const Mistake &mistake) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration(mistake.type);
  for (const auto &[file, text] : mistake.more)
    files[file] = text;
  tree.write(files);
  EXPECT_EQ(tree.findings(), "") << "without the mistake";

  std::string &text = files[mistake.file];
  const std::size_t place = text.find(mistake.right);
  ASSERT_NE(place, std::string::npos) << "the test's own text has changed:\n" << text;
  text.replace(place, mistake.right.size(), mistake.wrong);
  tree.write(mistake.file, text);

  const std::string file = mistake.marked_file.empty() ? mistake.file : mistake.marked_file;
  std::string where = file;
  if (mistake.mark != "-")
    where += ":" + std::to_string(line_of(files[file], mistake.mark.empty() ? mistake.wrong : mistake.mark));
  EXPECT_EQ(tree.findings(), where + " " + mistake.expected + "\n") << text;
}
