// regulator_golden_check FILE: lets the regulator calculate what regulator_golden.py calculated, whose
// description of FILE holds here, and compares the bits. Needs nothing but the C++ library, so that it runs
// wherever a compiler reaches.

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "drivers/regulator_step.h"

namespace {

constexpr double kUnseeded = -1000.0;
constexpr int kMostShown = 10;

struct Value {
  const char *name;
  double expected;
  double actual;
};

bool is_same(double a, double b) {
  return std::isnan(a) ? std::isnan(b) : std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

/// The numbers up to the word @p end, none when there is something else.
std::optional<std::vector<double>> numbers(std::istream &words, const std::string &end) {
  std::vector<double> found;
  std::string word;
  while (words >> word && word != end) {
    char *rest = nullptr;
    found.push_back(std::strtod(word.c_str(), &rest));
    if (*rest != '\0')
      return std::nullopt;
  }
  return words || end.empty() ? std::optional{found} : std::nullopt;
}

class Check {
 public:
  /// False when the line is none of the file's kinds.
  bool take(const std::string &line) {
    ++line_;
    std::istringstream words{line};
    std::string kind;
    words >> kind;
    if (kind == "sequence")
      return start(words);
    if (kind == "gains")
      return take_gains(words);
    if (kind == "step")
      return step(words);
    if (kind == "keep")
      return keep(words);
    return kind == "#";
  }

  int ticks() const { return ticks_; }
  int differing() const { return differing_; }

 private:
  bool start(std::istream &words) {
    filtered_ = kUnseeded;
    state_ = {};
    return static_cast<bool>(std::getline(words >> std::ws, sequence_));
  }

  bool take_gains(std::istream &words) {
    const auto gains = numbers(words, "");
    if (!gains || gains->size() != 4)
      return false;
    gains_ = {(*gains)[0], (*gains)[1], (*gains)[2], (*gains)[3]};
    return true;
  }

  bool step(std::istream &words) {
    const auto given = numbers(words, "=");
    const auto terms = numbers(words, ">");
    const auto left = numbers(words, "");
    const bool is_unseeded = filtered_ == kUnseeded;
    if (!given || given->size() != (is_unseeded ? 4U : 3U) || !terms || terms->size() != 8 || !left ||
        left->size() != 3)
      return false;

    filtered_ = low_pass(is_unseeded ? (*given)[2] : filtered_, given->back());
    const auto step = regulator_step(state_, gains_, (*given)[0], filtered_, (*given)[1]);
    state_ = step.next;
    compare({{"filtered", (*terms)[0], filtered_},
             {"accumulated", (*terms)[1], step.accumulated},
             {"error", (*terms)[2], step.error},
             {"proportional", (*terms)[3], step.proportional},
             {"derivative", (*terms)[4], step.derivative},
             {"integral", (*terms)[5], step.integral},
             {"output", (*terms)[6], step.output},
             {"reduction", (*terms)[7], step.reduction},
             {"next.prev_error", (*left)[0], state_.prev_error},
             {"next.integral", (*left)[1], state_.integral},
             {"next.prev_output", (*left)[2], state_.prev_output}});
    return true;
  }

  bool keep(std::istream &words) {
    std::string equals;
    words >> equals;
    const auto filtered = numbers(words, ">");
    const auto left = numbers(words, "");
    if (equals != "=" || !filtered || filtered->size() != 1 || !left || left->size() != 3)
      return false;
    compare({{"filtered", (*filtered)[0], filtered_},
             {"prev_error", (*left)[0], state_.prev_error},
             {"integral", (*left)[1], state_.integral},
             {"prev_output", (*left)[2], state_.prev_output}});
    return true;
  }

  void compare(const std::vector<Value> &values) {
    ++ticks_;
    bool differs = false;
    for (const auto &value : values) {
      if (is_same(value.expected, value.actual))
        continue;
      differs = true;
      if (++differences_ <= kMostShown)
        std::printf("line %d (%s): %s is %a instead of %a\n", line_, sequence_.c_str(), value.name,
                    value.actual, value.expected);
    }
    differing_ += differs ? 1 : 0;
  }

  int line_ = 0;
  int ticks_ = 0;
  int differing_ = 0;    // ticks
  int differences_ = 0;  // values
  std::string sequence_;
  RegulatorGains gains_{};
  RegulatorState state_;
  double filtered_ = kUnseeded;
};

}  // namespace

int main(int argc, char *argv[]) {
  if (argc != 2) {
    std::cerr << "usage: regulator_golden_check FILE\n";
    return 2;
  }
  std::ifstream file{argv[1]};
  Check check;
  std::string line;
  while (std::getline(file, line)) {
    if (!check.take(line)) {
      std::cerr << "not a line of regulator_golden.py: " << line << '\n';
      return 1;
    }
  }
  std::printf("%d ticks, %d differ\n", check.ticks(), check.differing());
  return check.ticks() == 0 || check.differing() != 0 ? 1 : 0;
}
