#ifndef _WIN32

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <mutex>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "standin/remote/ray_protocol.h"
#include "standin/remote/ray_service.h"

#ifndef OVICAM_RUN_WINE
#define OVICAM_RUN_WINE "wine"
#endif

namespace standin {
namespace {

using namespace ray_protocol;

[[noreturn]] void fail_with_system_error(const char* what) {
  throw std::runtime_error(std::string(what) + ": " + std::generic_category().message(errno));
}

/// One end of a pipe.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }

  int number() const { return number_; }
  void close() {
    if (number_ >= 0) ::close(std::exchange(number_, -1));
  }

 private:
  int number_ = -1;
};

struct Pipe {
  Descriptor from;
  Descriptor to;
};

Pipe make_pipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail_with_system_error("The ray service cannot be reached");
#ifdef F_SETPIPE_SZ
  // Space for a whole request saves both processes from waking each other for every 64 KiB. Failure only costs time.
  constexpr int one_request = 1 << 20;
  fcntl(ends[0], F_SETPIPE_SZ, one_request);
#endif
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// Makes writing to a closed pipe an error instead of the end of this program, for this thread and as long as the guard lives.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() {
    sigemptyset(&broken_pipe_);
    sigaddset(&broken_pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &broken_pipe_, &before_);
  }
  ~BrokenPipeGuard() {
    if (!was_pending_) {
      const timespec no_wait{};
      while (sigtimedwait(&broken_pipe_, nullptr, &no_wait) < 0 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

 private:
  sigset_t broken_pipe_{};
  sigset_t before_{};
  bool was_pending_ = false;
};

/// The service's process and the pipes to it. Destruction ends the process.
class Process {
 public:
  explicit Process(std::vector<std::string> command) {
    Pipe input = make_pipe();
    Pipe output = make_pipe();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.from.number(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.to.number(), STDOUT_FILENO);
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const int error = posix_spawnp(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
      throw std::runtime_error("The ray service " + command.back() + " cannot be started with " + command.front() + ": " +
                               std::generic_category().message(error));
    }
    to_service_ = std::move(input.to);
    from_service_ = std::move(output.from);
  }

  ~Process() {
    // The service ends at the end of its input; one that does not is killed.
    to_service_.close();
    using namespace std::chrono_literals;
    for (const auto patience = std::chrono::steady_clock::now() + 10s; !ended();) {
      if (std::chrono::steady_clock::now() > patience) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        return;
      }
      std::this_thread::sleep_for(5ms);
    }
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void write(const void* data, std::size_t size) {
    const BrokenPipeGuard guard;
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
      const ssize_t written = ::write(to_service_.number(), next, size);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) fail_as_dead();
      next += written;
      size -= static_cast<std::size_t>(written);
    }
  }

  void read(void* data, std::size_t size) {
    char* next = static_cast<char*>(data);
    while (size > 0) {
      wait_for_data();
      const ssize_t got = ::read(from_service_.number(), next, size);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) fail_as_dead();
      next += got;
      size -= static_cast<std::size_t>(got);
    }
  }

 private:
  /// Wine's own server may keep the pipe open after the service has died: waiting for the end of the pipe alone would never
  /// return.
  void wait_for_data() {
    constexpr int look_every_milliseconds = 250;
    pollfd readable{from_service_.number(), POLLIN, 0};
    while (true) {
      const bool over = ended();
      const int count = poll(&readable, 1, over ? 0 : look_every_milliseconds);
      if (count > 0) return;
      if (count == 0 && over) fail_as_dead();
    }
  }

  bool ended() {
    if (!ended_ && waitpid(pid_, &status_, WNOHANG) != 0) ended_ = true;
    return ended_;
  }

  [[noreturn]] void fail_as_dead() {
    // Its pipes close a moment before the process ends.
    for (int wait = 0; wait < 100 && !ended(); ++wait) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::string how;
    if (ended() && WIFEXITED(status_))
      how = " (exit code " + std::to_string(WEXITSTATUS(status_)) + ")";
    else if (ended() && WIFSIGNALED(status_))
      how = " (signal " + std::to_string(WTERMSIG(status_)) + ")";
    throw std::runtime_error("The ray service has died" + how + "; see its messages above, and check that " +
                             std::string(OVICAM_RUN_WINE) + " and its program can be run");
  }

  pid_t pid_ = -1;
  bool ended_ = false;
  int status_ = 0;
  Descriptor to_service_;
  Descriptor from_service_;
};

/// The path that a Windows program under Wine uses for the file.
std::filesystem::path windows_path(const std::filesystem::path& file) {
  if (file.empty()) return {};
  std::string text = "Z:" + std::filesystem::absolute(file).lexically_normal().string();
  std::replace(text.begin(), text.end(), '/', '\\');
  return text;
}

std::filesystem::path service_program(const std::filesystem::path& module_file) {
  if (const char* program = std::getenv("OVICAM_RAY_SERVICE"); program != nullptr && *program != '\0') return program;
  const char* name = is_windows_binary(module_file) ? "ovicam-ray-service.exe" : "ovicam-ray-service";
  return std::filesystem::absolute(module_file).parent_path() / name;
}

/// Throws when it does not exist.
std::filesystem::path existing_service_program(const std::filesystem::path& module_file) {
  std::filesystem::path program = service_program(module_file);
  if (!std::filesystem::is_regular_file(program)) {
    throw std::runtime_error("There is no ray service " + program.string() +
                             "; build it beside the module, or set OVICAM_RAY_SERVICE to its path");
  }
  return program;
}

/// A running service for one module.
class ServiceConnection {
 public:
  explicit ServiceConnection(const std::filesystem::path& module_file)
      : ServiceConnection(Program{existing_service_program(module_file)}) {}

  /// The path that the service uses for the file.
  std::filesystem::path path(const std::filesystem::path& file) const { return under_wine_ ? windows_path(file) : file; }

  /// Throws std::runtime_error with the service's sentence when it could not do it. Threads take turns.
  template <class Request>
  typename Request::Answer ask(const Request& request) {
    const std::lock_guard lock(mutex_);
    send(packed(request));
    return receive<typename Request::Answer>();
  }

  /// One answer per query, for at most `most_rays` of them. Threads take turns.
  void evaluate(std::span<const RayQuery> queries, std::span<RayAnswer> answers) {
    const std::vector<char> request = packed(EvaluateRays{static_cast<std::uint32_t>(queries.size())});
    const std::lock_guard lock(mutex_);
    send(request);
    process_.write(queries.data(), queries.size_bytes());
    receive<EvaluateRays::Answer>();
    process_.read(answers.data(), answers.size_bytes());
  }

 private:
  void send(const std::vector<char>& message) {
    const auto size = static_cast<std::uint32_t>(message.size());
    process_.write(&size, sizeof size);
    process_.write(message.data(), size);
  }

  template <class Answer>
  Answer receive() {
    constexpr const char* nonsense = "The ray service's answer makes no sense; is its program of the same build as this one?";
    std::uint32_t size = 0;
    process_.read(&size, sizeof size);
    if (size > most_bytes) throw std::runtime_error(nonsense);
    std::vector<char> bytes(size);
    process_.read(bytes.data(), size);
    MessageReader reply(std::move(bytes));
    Kind kind{};
    reply(kind);
    if (kind == Kind::failed) throw std::runtime_error(unpacked<Failure>(reply).sentence);
    if (kind != Answer::kind) throw std::runtime_error(nonsense);
    return unpacked<Answer>(reply);
  }

  struct Program {
    std::filesystem::path file;
  };

  explicit ServiceConnection(const Program& program)
      : under_wine_(is_windows_binary(program.file)),
        process_(under_wine_ ? std::vector<std::string>{OVICAM_RUN_WINE, program.file.string()}
                             : std::vector<std::string>{program.file.string()}) {}

  bool under_wine_;
  std::mutex mutex_;
  Process process_;
};

class RemoteSession : public Session {
 public:
  explicit RemoteSession(const SessionOptions& options) : service_(options.module_file) {
    SessionOptions translated = options;
    translated.scene_file = service_.path(options.scene_file);
    translated.module_file = service_.path(options.module_file);
    if (!options.content_folder.empty()) translated.content_folder = service_.path(options.content_folder);
    warnings_ = service_.ask(OpenSession{{}, translated}).warnings;
  }

  std::vector<std::string> take_warnings() override { return std::exchange(warnings_, {}); }

  FrameSetup begin_frame(int frame) override {
    BeginFrame::Answer answer = service_.ask(BeginFrame{frame});
    std::ranges::move(answer.warnings, std::back_inserter(warnings_));
    return answer.setup;
  }

  void evaluate(std::span<const RayQuery> queries, std::span<RayAnswer> answers) override {
    if (queries.size() != answers.size()) throw std::runtime_error("A session needs room for one answer per query");
    while (!queries.empty()) {
      const std::size_t count = std::min(queries.size(), most_rays);
      service_.evaluate(queries.first(count), answers.first(count));
      queries = queries.subspan(count);
      answers = answers.subspan(count);
    }
  }

  std::optional<std::pair<double, double>> project(Vec3 world, double fractional_time, Eye eye) override {
    return service_.ask(ProjectPoint{world, fractional_time, eye}).film;
  }

 private:
  ServiceConnection service_;
  std::vector<std::string> warnings_;
};

}  // namespace

std::unique_ptr<Session> open_remote_session(const SessionOptions& options) { return std::make_unique<RemoteSession>(options); }

ModuleDescription describe_remote_module(const std::filesystem::path& module_file) {
  ServiceConnection service(module_file);
  return service.ask(DescribeModule{{}, service.path(module_file)}).description;
}

}  // namespace standin

#endif
