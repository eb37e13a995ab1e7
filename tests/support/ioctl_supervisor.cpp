#include "support/ioctl_supervisor.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

namespace {

constexpr int kSetupFailed = 125;
constexpr int kExecFailed = 127;
constexpr std::size_t kMostRequests = 200;  // a jump in a filter spans 255 instructions

std::vector<sock_filter> make_filter(const std::vector<std::uint32_t> &requests) {
  const auto count = static_cast<std::uint8_t>(requests.size());
  std::vector<sock_filter> filter{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_ioctl, 0, static_cast<std::uint8_t>(count + 1)),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),
  };
  for (std::uint8_t i = 0; i < count; ++i)
    filter.push_back(
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, requests[i], static_cast<std::uint8_t>(count - i), 0));
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF));
  return filter;
}

/// Puts the filter on this process. Without "killable" waiting, a signal would end a call under way with
/// EINTR.
UniqueFd install_filter(const std::vector<std::uint32_t> &requests) {
  auto filter = make_filter(requests);
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  const unsigned long flags = SECCOMP_FILTER_FLAG_NEW_LISTENER | SECCOMP_FILTER_FLAG_WAIT_KILLABLE_RECV;
  return UniqueFd{static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &program))};
}

/// A message of one byte with room for one descriptor.
class DescriptorMessage {
 public:
  DescriptorMessage() {
    header_.msg_iov = &data_;
    header_.msg_iovlen = 1;
    header_.msg_control = control_.data();
    header_.msg_controllen = control_.size();
  }

  bool send(int socket, int descriptor) {
    cmsghdr *control = CMSG_FIRSTHDR(&header_);
    control->cmsg_level = SOL_SOCKET;
    control->cmsg_type = SCM_RIGHTS;
    control->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(control), &descriptor, sizeof descriptor);
    return sendmsg(socket, &header_, MSG_NOSIGNAL) == 1;
  }

  UniqueFd receive(int socket) {
    if (recvmsg(socket, &header_, MSG_CMSG_CLOEXEC) != 1 || CMSG_FIRSTHDR(&header_) == nullptr)
      return {};
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(CMSG_FIRSTHDR(&header_)), sizeof descriptor);
    return UniqueFd{descriptor};
  }

 private:
  char byte_ = 'x';
  iovec data_{&byte_, 1};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control_{};
  msghdr header_{};
};

[[noreturn]] void run_child(const std::function<int()> &body, const std::vector<std::uint32_t> &requests,
                            int socket) {
  {
    const UniqueFd listener = install_filter(requests);
    if (!listener || !DescriptorMessage{}.send(socket, listener.get())) {
      std::perror("ioctl supervisor: cannot install the filter");
      _exit(kSetupFailed);
    }
  }
  close(socket);
  _exit(body());
}

std::string path_of(pid_t process, std::uint64_t descriptor) {
  const auto link =
      "/proc/" + std::to_string(process) + "/fd/" + std::to_string(static_cast<int>(descriptor));
  std::array<char, PATH_MAX> path{};
  const ssize_t length = readlink(link.c_str(), path.data(), path.size());
  return length < 0 ? std::string{} : std::string(path.data(), static_cast<std::size_t>(length));
}

iovec remote(std::uint64_t address, std::size_t size) {
  return {reinterpret_cast<void *>(static_cast<std::uintptr_t>(address)), size};
}

}  // namespace

bool IoctlCall::read_bytes(std::uint64_t address, void *destination, std::size_t size) const {
  const iovec here{destination, size};
  const iovec there = remote(address, size);
  return process_vm_readv(process_, &here, 1, &there, 1, 0) == static_cast<ssize_t>(size);
}

bool IoctlCall::write_bytes(std::uint64_t address, const void *source, std::size_t size) const {
  const iovec here{const_cast<void *>(source), size};
  const iovec there = remote(address, size);
  return process_vm_writev(process_, &here, 1, &there, 1, 0) == static_cast<ssize_t>(size);
}

std::optional<SupervisedProcess> SupervisedProcess::start(const std::function<int()> &body,
                                                          const std::vector<std::uint32_t> &requests) {
  std::array<int, 2> sockets{};
  if (requests.size() > kMostRequests ||
      socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) < 0) {
    std::perror("ioctl supervisor");
    return std::nullopt;
  }
  const UniqueFd ours{sockets[0]};
  UniqueFd theirs{sockets[1]};

  const pid_t pid = fork();
  if (pid == 0)
    run_child(body, requests, theirs.get());
  theirs = UniqueFd{};
  if (pid < 0) {
    std::perror("ioctl supervisor: cannot fork");
    return std::nullopt;
  }
  SupervisedProcess process{pid, DescriptorMessage{}.receive(ours.get())};
  if (!process.listener_)
    return std::nullopt;
  return process;
}

SupervisedProcess::~SupervisedProcess() {
  if (pid_ <= 0)
    return;
  kill(pid_, SIGKILL);
  wait();
}

SupervisedProcess::Event SupervisedProcess::serve(const IoctlHandler &handler, int timeout_ms) {
  pollfd ready{listener(), POLLIN, 0};
  const int count = poll(&ready, 1, timeout_ms);
  if (count <= 0)
    return Event::kTimeout;
  if ((ready.revents & POLLIN) == 0)
    return Event::kEnded;

  seccomp_notif call{};
  if (ioctl(listener(), SECCOMP_IOCTL_NOTIF_RECV, &call) < 0)
    return Event::kServed;  // the caller was killed meanwhile

  const auto pid = static_cast<pid_t>(call.pid);
  const IoctlResult result =
      handler(IoctlCall{pid, path_of(pid, call.data.args[0]), static_cast<std::uint32_t>(call.data.args[1]),
                        call.data.args[2]});
  seccomp_notif_resp response{};
  response.id = call.id;
  response.val = result.result();
  response.error = -result.error();
  response.flags = result.is_passed_on() ? SECCOMP_USER_NOTIF_FLAG_CONTINUE : 0;
  ioctl(listener(), SECCOMP_IOCTL_NOTIF_SEND, &response);
  return Event::kServed;
}

int SupervisedProcess::serve_until_end(const IoctlHandler &handler) {
  while (serve(handler) != Event::kEnded) {
  }
  return wait();
}

int SupervisedProcess::wait() {
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::function<int()> execute(std::vector<std::string> argv) {
  return [argv = std::move(argv)]() mutable {
    std::vector<char *> arguments;
    for (auto &argument : argv)
      arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
    std::perror(arguments.front());
    return kExecFailed;
  };
}
