// Runs in a private view of /etc and /run.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "platform/bootblock.h"

namespace {

constexpr const char *kConfiguration = "/etc/fw_env.config";
constexpr const char *kImage = "/run/environment.bin";
constexpr const char *kSecondImage = "/run/environment-2.bin";
constexpr uid_t kNobody = 65534;

/// What bootblock_get() returned: the value, or the name of errno.
std::string describe(const char *name) {
  errno = 0;
  char *value = bootblock_get(name);
  const int error = errno;
  if (value == nullptr)
    return error == ENOENT ? "<ENOENT>" : error == EIO ? "<EIO>" : "<errno " + std::to_string(error) + ">";
  const std::string text = value;
  free(value);
  return text;
}

/// Runs `body` in a process of its own, since a process reads the environment only once.
std::vector<std::string> in_child(const std::function<std::vector<std::string>()> &body) {
  int ends[2];
  if (pipe(ends) != 0)
    return {"<no pipe>"};
  const pid_t child = fork();
  if (child == 0) {
    std::string answer;
    for (const std::string &line : body())
      answer += line + "\n";
    const bool written = write(ends[1], answer.data(), answer.size()) == static_cast<ssize_t>(answer.size());
    _exit(written ? 0 : 1);
  }
  close(ends[1]);
  std::string answer;
  char block[256];
  ssize_t length;
  while ((length = read(ends[0], block, sizeof block)) > 0)
    answer.append(block, static_cast<size_t>(length));
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;

  std::vector<std::string> lines;
  for (size_t start = 0, end; (end = answer.find('\n', start)) != std::string::npos; start = end + 1)
    lines.push_back(answer.substr(start, end - start));
  return lines;
}

std::string get(const char *name) {
  const std::vector<std::string> answer = in_child([name] { return std::vector{describe(name)}; });
  return answer.empty() ? "<no answer>" : answer.front();
}

void write_file(const char *path, const std::string &text) { std::ofstream(path, std::ios::binary) << text; }

void make_image(const char *path, const std::string &text, bool redundant = false) {
  write_file("/run/environment.txt", text);
  const std::string command = std::string("mkenvimage ") + (redundant ? "-r " : "") + "-s 0x2000 -o " + path +
                              " /run/environment.txt";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

void corrupt(const char *path) {
  std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(100);
  file.put('!');
}

class Bootblock : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(getenv("BEAMD_TEST_WORK"), nullptr) << "needs a private view of the file system";
    std::filesystem::create_directories("/run/lock");
    for (const char *path : {kConfiguration, kImage, kSecondImage})
      std::filesystem::remove_all(path);
    make_image(kImage, "HWID=7.1\nLIGHT_CONTROL_ENABLED=no\nbootargs=console=ttyS0 root=/dev/a\n");
  }

  static void configure() { write_file(kConfiguration, std::string(kImage) + " 0x0 0x2000\n"); }
};

TEST_F(Bootblock, ReturnsTheValueOfAParameter) {
  configure();
  EXPECT_EQ(get("HWID"), "7.1");
  EXPECT_EQ(get("LIGHT_CONTROL_ENABLED"), "no");
}

TEST_F(Bootblock, KeepsEqualSignsInAValue) {
  configure();
  EXPECT_EQ(get("bootargs"), "console=ttyS0 root=/dev/a");
}

TEST_F(Bootblock, IsMissingAParameterThatIsNotSet) {
  configure();
  for (const char *name : {"OPTICS", "HWI", "HWID=7.1", "hwid", ""})
    EXPECT_EQ(get(name), "<ENOENT>") << name;
}

TEST_F(Bootblock, IsMissingEverythingWithoutAConfiguration) { EXPECT_EQ(get("HWID"), "<ENOENT>"); }

TEST_F(Bootblock, FailsOnACorruptEnvironment) {
  configure();
  corrupt(kImage);
  EXPECT_EQ(get("HWID"), "<EIO>");
  EXPECT_EQ(get("OPTICS"), "<EIO>");
}

TEST_F(Bootblock, FailsOnAnErasedEnvironment) {
  configure();
  for (const char byte : {'\xff', '\0'}) {
    write_file(kImage, std::string(0x2000, byte));
    EXPECT_EQ(get("HWID"), "<EIO>");
  }
}

TEST_F(Bootblock, FailsOnAShortEnvironment) {
  configure();
  std::filesystem::resize_file(kImage, 0x1000);
  EXPECT_EQ(get("HWID"), "<EIO>");
}

TEST_F(Bootblock, FailsWithoutTheConfiguredEnvironment) {
  configure();
  std::filesystem::remove(kImage);
  EXPECT_EQ(get("HWID"), "<EIO>");
}

TEST_F(Bootblock, FailsWhenTheEnvironmentIsAFolder) {
  configure();
  std::filesystem::remove(kImage);
  std::filesystem::create_directory(kImage);
  EXPECT_EQ(get("HWID"), "<EIO>");
}

TEST_F(Bootblock, FailsWhenTheConfigurationIsAFolder) {
  std::filesystem::create_directory(kConfiguration);
  EXPECT_EQ(get("HWID"), "<EIO>");
}

TEST_F(Bootblock, FailsOnAConfigurationItCannotUse) {
  const std::string image = kImage;
  for (const std::string &text :
       {std::string(), std::string("# nothing\n"), image + "\n", image + " 0x0\n", image + " 0x0 0x0\n",
        image + " 0x0 0x1\n", image + " 0x0 0x4\n", image + " 0x0 -1\n", image + " 0x0 0x7fffffffffffffff\n",
        image + " -0x2000 0x2000\n", image + " 0x100000 0x2000\n", std::string(10000, 'x') + " 0x0 0x2000\n",
        image + " 0x0 0x8000000000000000\n" + image + " 0x0 0x8000000000000000\n", std::string(5000, '\0')}) {
    write_file(kConfiguration, text);
    EXPECT_EQ(get("HWID"), "<EIO>") << text.substr(0, 100);
  }
}

TEST_F(Bootblock, ReadsTheCopyThatIsValid) {
  make_image(kImage, "HWID=1\n", true);
  make_image(kSecondImage, "HWID=2\n", true);
  write_file(kConfiguration, std::string(kImage) + " 0 0x2000\n" + kSecondImage + " 0 0x2000\n");
  corrupt(kImage);
  EXPECT_EQ(get("HWID"), "2");
  corrupt(kSecondImage);
  EXPECT_EQ(get("HWID"), "<EIO>");
}

TEST_F(Bootblock, KeepsWhatItReadFirst) {
  configure();
  const std::vector<std::string> answers = in_child([] {
    std::vector<std::string> values{describe("HWID")};
    corrupt(kImage);
    values.push_back(describe("HWID"));
    std::filesystem::remove(kImage);
    std::filesystem::remove(kConfiguration);
    values.push_back(describe("LIGHT_CONTROL_ENABLED"));
    values.push_back(describe("OPTICS"));
    return values;
  });
  EXPECT_EQ(answers, (std::vector<std::string>{"7.1", "7.1", "no", "<ENOENT>"}));
}

TEST_F(Bootblock, KeepsAFailure) {
  configure();
  corrupt(kImage);
  const std::vector<std::string> answers = in_child([] {
    std::vector<std::string> values{describe("HWID")};
    make_image(kImage, "HWID=1\n");
    values.push_back(describe("HWID"));
    return values;
  });
  EXPECT_EQ(answers, (std::vector<std::string>{"<EIO>", "<EIO>"}));
}

TEST_F(Bootblock, AnswersAfterPrivilegesAreDropped) {
  configure();
  chmod(kImage, 0600);
  const std::vector<std::string> answers = in_child([] {
    std::vector<std::string> values{describe("HWID")};
    values.emplace_back(setuid(kNobody) == 0 ? "dropped" : "kept");
    values.push_back(describe("LIGHT_CONTROL_ENABLED"));
    return values;
  });
  EXPECT_EQ(answers, (std::vector<std::string>{"7.1", "dropped", "no"}));
}

TEST_F(Bootblock, FailsWithoutTheRightToReadTheEnvironment) {
  configure();
  chmod(kImage, 0600);
  const std::vector<std::string> answers = in_child([] {
    return std::vector<std::string>{setuid(kNobody) == 0 ? "dropped" : "kept", describe("HWID")};
  });
  EXPECT_EQ(answers, (std::vector<std::string>{"dropped", "<EIO>"}));
}

TEST_F(Bootblock, LeavesNoDescriptorAndNoOutputBehind) {
  configure();
  const auto open_descriptors = [] {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
  };
  const std::vector<std::string> answers = in_child([&open_descriptors] {
    const auto before = open_descriptors();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const std::string value = describe("HWID");
    const std::string output =
        testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    return std::vector<std::string>{value, output, std::to_string(open_descriptors() - before)};
  });
  EXPECT_EQ(answers, (std::vector<std::string>{"7.1", "", "0"}));
}

}  // namespace
