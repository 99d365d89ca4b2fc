#ifndef _WIN32

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <poll.h>
#include <shared_mutex>
#include <span>
#include <spawn.h>
#include <stdexcept>
#include <string_view>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "standin/host/module_file.h"
#include "standin/remote/process_group.h"
#include "standin/remote/program_file.h"
#include "standin/remote/ray_protocol.h"
#include "standin/remote/ray_service.h"
#include "standin/remote/shared_rays.h"

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

/// Wine's server dropped the program's connection, which it sometimes does while the program starts and nothing of the module
/// has run.
struct WineLostItsServer : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Does what begins with starting a service, and once more where Wine has lost it.
template <class Use>
auto with_a_second_start(Use use) {
  try {
    return use();
  } catch (const WineLostItsServer&) {
    return use();
  }
}

/// Never destroyed: a program may be ended by a signal at any time.
RunningGroups& running_services() {
  static auto& only = *new RunningGroups;
  return only;
}

/// Seconds without a byte from a service, or without room for one to it, after which it has failed. The first answer may have
/// to wait for Wine to be set up.
int patience_seconds() {
  constexpr int usual = 300;
  const char* wanted = std::getenv("OVICAM_RAY_SERVICE_SECONDS");
  if (wanted == nullptr || *wanted == '\0') return usual;
  const std::string_view text = wanted;
  int seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (error != std::errc() || end != text.data() + text.size() || seconds < 1)
    throw std::runtime_error("OVICAM_RAY_SERVICE_SECONDS is \"" + std::string(text) + "\"; give a whole number, 1 or more");
  return seconds;
}

/// What Wine and a module under it say. It has no name, so that nothing is left of it, unless it is kept.
class Log {
 public:
  /// Above the standard streams, and what a child is given besides.
  static constexpr int first_descriptor = 10;

  Log() : file_(std::tmpfile()) {
    if (file_ != nullptr) descriptor_ = Descriptor(fcntl(fileno(file_.get()), F_DUPFD_CLOEXEC, first_descriptor));
  }

  /// Negative when no temporary file could be made.
  int descriptor() const { return descriptor_.number(); }

  std::string text() const {
    std::string all;
    std::array<char, 4096> part{};
    for (off_t at = 0;;) {
      const ssize_t count = pread(descriptor(), part.data(), part.size(), at);
      if (count <= 0) return all;
      all.append(part.data(), static_cast<std::size_t>(count));
      at += count;
    }
  }

  /// Writes it to a new file in the temporary folder and returns a sentence about that; empty when there is nothing to keep.
  std::string kept() const {
    const std::string all = text();
    std::error_code error;
    std::string name = (std::filesystem::temp_directory_path(error) / "ovicam-wine-XXXXXX.log").string();
    if (all.empty() || error) return {};
    const Descriptor file(mkstemps(name.data(), 4));
    if (file.number() < 0 || ::write(file.number(), all.data(), all.size()) != static_cast<ssize_t>(all.size())) return {};
    return "; Wine's messages are in " + name;
  }

 private:
  struct Close {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };
  std::unique_ptr<std::FILE, Close> file_;
  Descriptor descriptor_;
};

/// The service's process and the pipes to it. Destruction ends the process. Threads: one that writes and one that reads, at
/// once.
class Process {
 public:
  /// With a log, that is where its standard error goes; it is told to the person once the service has done its work.
  Process(const std::vector<std::string>& command, std::unique_ptr<Log> log) : log_(std::move(log)) {
    Pipe input = make_pipe();
    Pipe output = make_pipe();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.from.number(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.to.number(), STDOUT_FILENO);
    if (log_ != nullptr && log_->descriptor() >= 0) {
      posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, notices);
      posix_spawn_file_actions_adddup2(&actions, log_->descriptor(), STDERR_FILENO);
    }
    const int error = running_services().start(command, actions, pid_);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
      throw std::runtime_error("The ray service " + command.back() + " cannot be started with " + command.front() + ": " +
                               std::generic_category().message(error));
    }
    to_service_ = std::move(input.to);
    // So that a service that reads nothing does not hold this program up.
    fcntl(to_service_.number(), F_SETFL, fcntl(to_service_.number(), F_GETFL) | O_NONBLOCK);
    from_service_ = std::move(output.from);
  }

  ~Process() {
    end();
    if (log_ != nullptr && !dead_) std::cerr << log_->text() << std::flush;
    running_services().forget(pid_);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// As much time as the service has for what is written or read in one piece.
  struct Patience {
    std::chrono::steady_clock::duration waited{};
  };

  void write(const void* data, std::size_t size, Patience& patience) {
    const BrokenPipeGuard guard;
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
      wait_for(to_service_, POLLOUT, patience);
      const ssize_t written = ::write(to_service_.number(), next, size);
      if (written < 0 && (errno == EINTR || errno == EAGAIN)) continue;
      if (written <= 0) fail(&Process::death);
      next += written;
      size -= static_cast<std::size_t>(written);
    }
  }

  void read(void* data, std::size_t size, Patience& patience) {
    char* next = static_cast<char*>(data);
    while (size > 0) {
      wait_for(from_service_, POLLIN, patience);
      const ssize_t got = ::read(from_service_.number(), next, size);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) fail(&Process::death);
      next += got;
      size -= static_cast<std::size_t>(got);
    }
  }

 private:
  /// The descriptor of run-wine.sh for what a person should know at once.
  static constexpr int notices = 3;
  /// Of run-wine.sh, when the last line of its messages is a sentence for a person.
  static constexpr int wine_trouble = 125;

  void end() {
    // The service ends at the end of its input; one that does not is killed.
    to_service_.close();
    using namespace std::chrono_literals;
    for (const auto patience = std::chrono::steady_clock::now() + 10s; !ended();) {
      if (std::chrono::steady_clock::now() > patience) {
        kill(-pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        return;
      }
      std::this_thread::sleep_for(5ms);
    }
  }

  /// Wine's own server may keep the pipe open after the service has died: waiting for the end of the pipe alone would never
  /// return. A look counts for no more than it was meant to take: this program may have been stopped meanwhile.
  void wait_for(const Descriptor& pipe, short event, Patience& patience) {
    using namespace std::chrono_literals;
    constexpr std::chrono::steady_clock::duration look_every = 250ms;
    pollfd ready{pipe.number(), event, 0};
    while (true) {
      const bool over = ended();
      const auto start = std::chrono::steady_clock::now();
      const int count = poll(&ready, 1, over ? 0 : static_cast<int>(look_every / 1ms));
      patience.waited += std::min(look_every, std::chrono::steady_clock::now() - start);
      if (patience.waited >= std::chrono::seconds(patience_seconds_)) fail(&Process::silence);
      if (count > 0) return;
      if (count == 0 && over) fail(&Process::death);
    }
  }

  /// What goes wrong first is what all are told.
  [[noreturn]] void fail(std::exception_ptr (Process::*reason)()) {
    const std::lock_guard lock(failing_);
    dead_ = true;
    if (!failure_) failure_ = (this->*reason)();
    std::rethrow_exception(failure_);
  }

  std::exception_ptr silence() {
    kill(-pid_, SIGKILL);
    return std::make_exception_ptr(std::runtime_error("The ray service gave no answer within " +
                                                      std::to_string(patience_seconds_) +
                                                      " seconds and was ended; try again, and where a scene takes longer, set "
                                                      "OVICAM_RAY_SERVICE_SECONDS to more" +
                                                      (log_ != nullptr ? log_->kept() : std::string())));
  }

  bool ended() {
    const std::lock_guard lock(ending_);
    if (!ended_ && waitpid(pid_, &status_, WNOHANG) != 0) ended_ = true;
    return ended_;
  }

  std::exception_ptr death() {
    // Its pipes close a moment before the process ends.
    for (int wait = 0; wait < 100 && !ended(); ++wait) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const bool over = ended();
    const bool exited = over && WIFEXITED(status_);
    std::string how;
    if (exited)
      how = " (exit code " + std::to_string(WEXITSTATUS(status_)) + ")";
    else if (over && WIFSIGNALED(status_))
      how = " (signal " + std::to_string(WTERMSIG(status_)) + ")";
    if (log_ == nullptr) {
      return std::make_exception_ptr(std::runtime_error("The ray service has died" + how +
                                                        "; see its messages above, and check that its program can be run"));
    }
    if (exited && WEXITSTATUS(status_) == wine_trouble) return std::make_exception_ptr(std::runtime_error(last_line_of_log()));
    // The log is not kept: most likely, the second start finds nothing wrong.
    if (log_->text().find("wine client error:0: ") != std::string::npos) {
      return std::make_exception_ptr(WineLostItsServer(
          "Wine's server has dropped the connection of the ray service twice as it started" + how + "; render again"));
    }
    return std::make_exception_ptr(std::runtime_error("The ray service, which runs the module under Wine, has died" + how +
                                                      "; render again" + log_->kept()));
  }

  std::string last_line_of_log() const {
    std::string text = log_->text();
    while (text.ends_with('\n')) text.pop_back();
    const std::size_t before = text.rfind('\n');
    return before == std::string::npos ? text : text.substr(before + 1) + log_->kept();
  }

  const int patience_seconds_ = std::min(patience_seconds(), 86400);
  pid_t pid_ = -1;
  std::mutex ending_;
  bool ended_ = false;
  int status_ = 0;
  std::mutex failing_;
  bool dead_ = false;
  std::exception_ptr failure_;
  std::unique_ptr<Log> log_;
  Descriptor to_service_;
  Descriptor from_service_;
};

/// Throws when it does not exist, and when the module cannot be one.
std::filesystem::path existing_service_program(const std::filesystem::path& module_file) {
  if (const std::string trouble = module_file_trouble(module_file); !trouble.empty())
    throw std::runtime_error("The module " + module_file.string() + " cannot be loaded: " + trouble);
  std::filesystem::path program = program_for_module("OVICAM_RAY_SERVICE", "ovicam-ray-service", module_file);
  if (!std::filesystem::is_regular_file(program)) {
    throw std::runtime_error("There is no ray service " + program.string() +
                             "; build it beside the module, or set OVICAM_RAY_SERVICE to its path");
  }
  return program;
}

constexpr const char* nonsense = "The ray service's answer makes no sense; is its program of the same build as this one?";

/// The requests that are answered in any order, by their numbers. One of the threads that wait reads for all of them. Threads:
/// any number at once.
class RequestsUnderWay {
 public:
  explicit RequestsUnderWay(std::size_t most) : requests_(most) {
    for (std::size_t request = most; request > 0; --request) free_.push_back(static_cast<std::uint32_t>(request - 1));
  }

  /// A number that nobody uses, if there is one.
  std::optional<std::uint32_t> take() {
    const std::lock_guard lock(mutex_);
    return take_free();
  }

  std::uint32_t wait_for_one() {
    std::unique_lock lock(mutex_);
    while (true) {
      if (broken_) std::rethrow_exception(broken_);
      if (const auto request = take_free()) return *request;
      changed_.wait(lock);
    }
  }

  void give_back(std::uint32_t request) {
    const std::lock_guard lock(mutex_);
    requests_[request] = {};
    free_.push_back(request);
    changed_.notify_all();
  }

  /// From now on every request fails with this.
  void give_up(const std::exception_ptr& why) {
    const std::lock_guard lock(mutex_);
    if (!broken_) broken_ = why;
    changed_.notify_all();
  }

  /// What the service says of the request: nothing, or why it failed. `read` reads an answer, of whatever request; where that
  /// throws, this throws the same for all requests from then on.
  template <class Read>
  std::string wait_for(std::uint32_t request, Read read) {
    std::unique_lock lock(mutex_);
    while (requests_[request].state != State::answered) {
      if (broken_) std::rethrow_exception(broken_);
      if (reading_) {
        changed_.wait(lock);
        continue;
      }
      reading_ = true;
      lock.unlock();
      std::optional<PlacesFilled> answer;
      std::exception_ptr failure;
      try {
        answer = read();
      } catch (...) {
        failure = std::current_exception();
      }
      lock.lock();
      reading_ = false;
      if (!failure && (answer->request >= requests_.size() || requests_[answer->request].state != State::under_way))
        failure = std::make_exception_ptr(std::runtime_error(nonsense));
      if (failure)
        broken_ = failure;
      else
        requests_[answer->request] = {State::answered, std::move(answer->failure)};
      changed_.notify_all();
    }
    return requests_[request].failure;
  }

 private:
  enum class State { free, under_way, answered };
  struct Request {
    State state = State::free;
    std::string failure;
  };

  std::optional<std::uint32_t> take_free() {
    if (free_.empty()) return {};
    const std::uint32_t request = free_.back();
    free_.pop_back();
    requests_[request].state = State::under_way;
    return request;
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Request> requests_;
  std::vector<std::uint32_t> free_;
  bool reading_ = false;
  std::exception_ptr broken_;
};

/// A running service for one module. What is asked is answered one by one, but for rays and points in shared memory.
class ServiceConnection {
 public:
  explicit ServiceConnection(const std::filesystem::path& module_file)
      : ServiceConnection(Program{existing_service_program(module_file)}) {}

  /// The path that the service uses for the file.
  std::filesystem::path path(const std::filesystem::path& file) const { return under_wine_ ? windows_path(file) : file; }

  /// Throws std::runtime_error with the service's sentence when it could not do it. Threads take turns.
  template <class Request>
  typename Request::Answer ask(const Request& request) {
    const std::unique_lock alone(use_);
    send(packed(request));
    return receive<typename Request::Answer>();
  }

  /// One answer per query. Threads: any number at once, where memory is shared.
  void evaluate(std::span<const RayQuery> queries, std::span<RayAnswer> answers) {
    exchange<EvaluateRays>(queries, answers, &SharedRays::queries, &SharedRays::answers);
  }
  /// The same.
  void project(std::span<const PointQuery> queries, std::span<PointAnswer> answers) {
    exchange<ProjectPoints>(queries, answers, &SharedRays::points, &SharedRays::film_points);
  }

  /// Through memory where both ends can see it: the pipe copies every ray twice, and under Wine more often.
  OpenSession::Answer open(OpenSession request) {
    request.shared_requests = std::clamp(4 * std::thread::hardware_concurrency(), 4U, most_requests);
    shared_ = SharedRays::create(request.shared_requests, most_rays);
    if (shared_) request.shared_rays = path(shared_->file());
    OpenSession::Answer answer = ask(request);
    if (shared_) shared_->remove_file();
    return answer;
  }

  BeginFrame::Answer begin_frame(int frame) {
    BeginFrame::Answer answer = ask(BeginFrame{frame});
    if (answer.shares_rays && !shared_) throw std::runtime_error(nonsense);
    if (answer.shares_rays && !requests_) requests_.emplace(shared_->requests());
    shares_rays_ = answer.shares_rays;
    return answer;
  }

 private:
  struct Program {
    std::filesystem::path file;
  };

  /// A part of the queries that is on its way, and where their answers will lie.
  struct Part {
    std::uint32_t request = 0;
    std::size_t first = 0;
    std::size_t count = 0;
  };

  explicit ServiceConnection(const Program& program)
      : under_wine_(is_windows_binary(program.file)),
        process_(command(under_wine_, program.file), under_wine_ ? std::make_unique<Log>() : nullptr) {}

  static std::vector<std::string> command(bool under_wine, const std::filesystem::path& program) {
    std::vector<std::string> words = running_command(program);
    if (under_wine) words.insert(words.begin(), {"env", "OVICAM_NOTICES=3"});
    return words;
  }

  /// Threads take turns.
  void send(const std::vector<char>& message, std::span<const std::byte> more = {}) {
    std::vector<char> bytes(sizeof(std::uint32_t));
    const auto size = static_cast<std::uint32_t>(message.size());
    std::memcpy(bytes.data(), &size, sizeof size);
    bytes.insert(bytes.end(), message.begin(), message.end());
    const std::lock_guard lock(sending_);
    Process::Patience patience;
    process_.write(bytes.data(), bytes.size(), patience);
    process_.write(more.data(), more.size(), patience);
  }

  template <class Answer>
  Answer receive() {
    std::uint32_t size = 0;
    Process::Patience patience;
    process_.read(&size, sizeof size, patience);
    if (size > most_bytes) throw std::runtime_error(nonsense);
    std::vector<char> bytes(size);
    process_.read(bytes.data(), size, patience);
    MessageReader reply(std::move(bytes));
    Kind kind{};
    reply(kind);
    if (kind == Kind::failed) throw std::runtime_error(unpacked<Failure>(reply).sentence);
    if (kind != Answer::kind) throw std::runtime_error(nonsense);
    return unpacked<Answer>(reply);
  }

  template <class Request, class Query, class Reply, class QueriesOf, class RepliesOf>
  void exchange(std::span<const Query> queries, std::span<Reply> replies, QueriesOf queries_of, RepliesOf replies_of) {
    if (!shares_rays_) return exchange_through_pipe<Request>(queries, replies);
    const std::shared_lock beside_others(use_);
    std::deque<Part> under_way;
    std::string failure;
    const auto finish_oldest = [&] {
      const Part part = under_way.front();
      under_way.pop_front();
      if (const std::string why = requests_->wait_for(part.request, [this] { return receive<PlacesFilled>(); }); why.empty())
        std::ranges::copy(((*shared_).*replies_of)(part.request).first(part.count), replies.begin() + part.first);
      else
        failure = why;
      requests_->give_back(part.request);
    };
    try {
      for (std::size_t first = 0; first < queries.size() && failure.empty(); first += most_rays) {
        // Who waits for a place holds none, so that somebody always goes on.
        std::optional<std::uint32_t> request = requests_->take();
        for (; !request && !under_way.empty(); request = requests_->take()) finish_oldest();
        if (!request) request = requests_->wait_for_one();
        const std::span<const Query> part = queries.subspan(first, std::min(queries.size() - first, most_rays));
        std::ranges::copy(part, ((*shared_).*queries_of)(*request).begin());
        under_way.push_back({*request, first, part.size()});
        send(packed(Request{static_cast<std::uint32_t>(part.size()), *request}));
      }
      while (!under_way.empty()) finish_oldest();
    } catch (...) {
      // Others may wait for the places that this has taken.
      requests_->give_up(std::current_exception());
      throw;
    }
    if (!failure.empty()) throw std::runtime_error(failure);
  }

  template <class Request, class Query, class Reply>
  void exchange_through_pipe(std::span<const Query> queries, std::span<Reply> replies) {
    const std::unique_lock alone(use_);
    for (std::size_t first = 0; first < queries.size(); first += most_rays) {
      const std::size_t count = std::min(queries.size() - first, most_rays);
      send(packed(Request{static_cast<std::uint32_t>(count), 0}), std::as_bytes(queries.subspan(first, count)));
      if (const auto answer = receive<PlacesFilled>(); !answer.failure.empty()) throw std::runtime_error(answer.failure);
      Process::Patience patience;
      process_.read(replies.data() + first, count * sizeof(Reply), patience);
    }
  }

  bool under_wine_;
  /// Shared by those whose rays lie in shared memory; the others are alone.
  std::shared_mutex use_;
  std::mutex sending_;
  /// Null where there is no such memory.
  std::unique_ptr<SharedRays> shared_;
  bool shares_rays_ = false;
  std::optional<RequestsUnderWay> requests_;
  Process process_;
};

class RemoteSession : public Session {
 public:
  explicit RemoteSession(const SessionOptions& options) : service_(options.module_file) {
    SessionOptions translated = options;
    translated.scene_file = service_.path(options.scene_file);
    translated.module_file = service_.path(options.module_file);
    if (!options.content_folder.empty()) translated.content_folder = service_.path(options.content_folder);
    OpenSession::Answer answer = service_.open(OpenSession{{}, translated, {}});
    warnings_ = std::move(answer.warnings);
    notes_ = std::move(answer.notes);
  }

  std::vector<std::string> take_warnings() override { return std::exchange(warnings_, {}); }

  std::vector<std::string> take_notes() override { return std::exchange(notes_, {}); }

  FrameSetup begin_frame(int frame) override {
    BeginFrame::Answer answer = service_.begin_frame(frame);
    const FrameSetup& setup = answer.setup;
    for (const double number : {setup.start_seconds, setup.duration_seconds, setup.film_width, setup.film_height})
      if (!std::isfinite(number)) throw std::runtime_error(nonsense);
    if (setup.frame != frame || setup.duration_seconds < 0.0) throw std::runtime_error(nonsense);
    std::ranges::move(answer.warnings, std::back_inserter(warnings_));
    return setup;
  }

  void evaluate(std::span<const RayQuery> queries, std::span<RayAnswer> answers) override {
    if (queries.size() != answers.size()) throw std::runtime_error("A session needs room for one answer per query");
    service_.evaluate(queries, answers);
  }

  void project(std::span<const PointQuery> queries, std::span<PointAnswer> answers) override {
    if (queries.size() != answers.size()) throw std::runtime_error("A session needs room for one answer per point");
    service_.project(queries, answers);
  }

  void end() override { std::ranges::move(service_.ask(EndSession{}).warnings, std::back_inserter(warnings_)); }

  std::optional<std::pair<double, double>> project(Vec3 world, double fractional_time, Eye eye) override {
    return service_.ask(ProjectPoint{world, fractional_time, eye}).film;
  }

  std::vector<ControlDescription> panel() override { return service_.ask(ShowPanel{}).rows; }

  AppliedSetting set(const std::string& name, const std::string& text) override {
    Set::Answer answer = service_.ask(Set{name, text});
    std::ranges::move(answer.warnings, std::back_inserter(warnings_));
    return std::move(answer.applied);
  }

  void turn(const CameraTurn& by) override {
    std::ranges::move(service_.ask(Turn{by}).warnings, std::back_inserter(warnings_));
  }

  std::vector<GizmoElement> draw_gizmo(Vec3 eye_position, Vec3 direction) override {
    return service_.ask(DrawGizmo{eye_position, direction}).elements;
  }

  std::vector<std::string> saved_lines() override { return service_.ask(SaveLines{}).lines; }

 private:
  ServiceConnection service_;
  std::vector<std::string> warnings_;
  std::vector<std::string> notes_;
};

}  // namespace

std::unique_ptr<Session> open_remote_session(const SessionOptions& options) {
  return with_a_second_start([&] { return std::make_unique<RemoteSession>(options); });
}

void end_ray_services() { running_services().kill_all(); }

ModuleDescription describe_remote_module(const std::filesystem::path& module_file) {
  return with_a_second_start([&] {
    ServiceConnection service(module_file);
    return service.ask(DescribeModule{{}, service.path(module_file)}).description;
  });
}

}  // namespace standin

#endif
