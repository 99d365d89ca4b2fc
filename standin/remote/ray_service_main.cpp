/// The ray service: opens one session in this process, or describes a module, and answers its client, over standard input and
/// output, until the input ends.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "standin/remote/evaluation_threads.h"
#include "standin/remote/monitor.h"
#include "standin/remote/ray_protocol.h"
#include "standin/remote/shared_rays.h"
#include "standin/session/session.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

using namespace standin;
using namespace standin::ray_protocol;

/// Standard output, for the answers alone. From here on, what the module prints goes to standard error: it would corrupt the
/// answers.
std::FILE* claim_standard_output() {
#ifdef _WIN32
  _setmode(_fileno(stdin), _O_BINARY);
  const int claimed = _dup(_fileno(stdout));
  _dup2(_fileno(stderr), _fileno(stdout));
  _setmode(claimed, _O_BINARY);
  return _fdopen(claimed, "wb");
#else
  const int claimed = dup(STDOUT_FILENO);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  return fdopen(claimed, "wb");
#endif
}

/// None at the end of the input.
std::optional<std::vector<char>> read_message() {
  std::uint32_t size = 0;
  if (std::fread(&size, sizeof size, 1, stdin) != 1 || size > most_bytes) return {};
  std::vector<char> bytes(size);
  if (std::fread(bytes.data(), 1, size, stdin) != size) return {};
  return bytes;
}

/// Where the answers go. Threads: any; their messages follow one another whole.
class Output {
 public:
  explicit Output(std::FILE* file) : file_(file) {}

  /// Writes a message, and the answers to rays or points that follow it. A client that is gone reads nothing more: there is
  /// nothing to be said about it.
  void write(const std::vector<char>& message, std::span<const std::byte> answers = {}) {
    const std::lock_guard lock(monitor_);
    const auto size = static_cast<std::uint32_t>(message.size());
    sound_ = sound_ && std::fwrite(&size, sizeof size, 1, file_) == 1 && std::fwrite(message.data(), 1, size, file_) == size &&
             std::fwrite(answers.data(), 1, answers.size(), file_) == answers.size() && std::fflush(file_) == 0;
  }

  /// Whether everything was written.
  bool sound() {
    const std::lock_guard lock(monitor_);
    return sound_;
  }

 private:
  Monitor monitor_;
  std::FILE* file_;
  bool sound_ = true;
};

class Service {
 public:
  explicit Service(Output& output) : output_(output) {}

  /// Answers a request. One for rays or points may be answered later, while others are read: nothing but such requests comes
  /// between. Throws with a sentence for a person.
  void answer(std::vector<char> bytes) {
    MessageReader request(std::move(bytes));
    Kind kind{};
    request(kind);
    if (kind == Kind::evaluate) return evaluate(unpacked<EvaluateRays>(request));
    if (kind == Kind::project_points) return project(unpacked<ProjectPoints>(request));
    threads_.finish();
    output_.write(answer_to(kind, request));
  }

 private:
  std::vector<char> answer_to(Kind kind, MessageReader& request) {
    switch (kind) {
      case Kind::open:
        return packed(open(unpacked<OpenSession>(request)));
      case Kind::describe:
        return packed(DescribeModule::Answer{describe_module(unpacked<DescribeModule>(request).module_file)});
      case Kind::begin_frame:
        return packed(begin_frame(unpacked<BeginFrame>(request)));
      case Kind::end:
        unpacked<EndSession>(request);
        return packed(end());
      case Kind::project:
        return packed(project(unpacked<ProjectPoint>(request)));
      case Kind::show_panel:
        unpacked<ShowPanel>(request);
        return packed(ShowPanel::Answer{session().panel()});
      case Kind::set:
        return packed(set(unpacked<Set>(request)));
      case Kind::draw_gizmo:
        return packed(draw_gizmo(unpacked<DrawGizmo>(request)));
      case Kind::save:
        unpacked<SaveLines>(request);
        return packed(SaveLines::Answer{session().saved_lines()});
      case Kind::turn:
        session().turn(unpacked<Turn>(request).turn);
        return packed(Turn::Answer{session().take_warnings()});
      default:
        throw std::runtime_error("The ray service does not know this kind of request");
    }
  }

  OpenSession::Answer open(const OpenSession& request) {
    session_.reset();
    shared_.reset();
    session_ = open_session(request.options);
    if (!request.shared_rays.empty() && request.shared_requests <= most_requests)
      shared_ = SharedRays::open(request.shared_rays, request.shared_requests, most_rays);
    return {session_->take_warnings(), session_->take_notes()};
  }

  Session& session() const {
    if (session_ == nullptr) throw std::runtime_error("The ray service was asked for something before it was given a scene");
    return *session_;
  }

  BeginFrame::Answer begin_frame(const BeginFrame& request) {
    const FrameSetup setup = session().begin_frame(request.frame);
    return {setup, session().take_warnings(), shared_ != nullptr};
  }

  EndSession::Answer end() {
    session().end();
    EndSession::Answer answer{session().take_warnings()};
    session_.reset();
    return answer;
  }

  void evaluate(const EvaluateRays& asked) {
    if (asked.count > most_rays) throw std::runtime_error("The ray service was asked for too many rays at once");
    fill(asked, shared_ ? shared_->queries(place_of(asked.request)) : std::span<RayQuery>(),
         shared_ ? shared_->answers(asked.request) : std::span<RayAnswer>(),
         [](Session& session, auto queries, auto answers) { session.evaluate(queries, answers); });
  }

  void project(const ProjectPoints& asked) {
    if (asked.count > most_rays) throw std::runtime_error("The ray service was asked for too many points at once");
    fill(asked, shared_ ? shared_->points(place_of(asked.request)) : std::span<PointQuery>(),
         shared_ ? shared_->film_points(asked.request) : std::span<PointAnswer>(),
         [](Session& session, auto queries, auto answers) { session.project(queries, answers); });
  }

  std::size_t place_of(std::uint32_t request) const {
    if (request >= shared_->requests()) throw std::runtime_error("The ray service was asked for too many requests at once");
    return request;
  }

  /// Has one of the threads find the answers in shared memory; without it, finds those that follow the request, here.
  template <class Request, class Query, class Reply, class Find>
  void fill(const Request& asked, std::span<Query> queries, std::span<Reply> replies, Find find) {
    Session& session = this->session();
    if (shared_) {
      threads_.begin([this, &session, asked, queries, replies, find] {
        PlacesFilled filled{asked.request, {}};
        try {
          find(session, queries.first(asked.count), replies.first(asked.count));
        } catch (const std::exception& error) {
          filled.failure = error.what();
        }
        output_.write(packed(filled));
      });
      return;
    }
    std::vector<Query> read(asked.count);
    if (std::fread(read.data(), sizeof(Query), read.size(), stdin) != read.size())
      throw std::runtime_error("The ray service's input ended within a request");
    std::vector<Reply> found(asked.count);
    find(session, std::span(read), std::span(found));
    output_.write(packed(PlacesFilled{asked.request, {}}), std::as_bytes(std::span(found)));
  }

  ProjectPoint::Answer project(const ProjectPoint& request) const {
    return {session().project(request.world, request.fractional_time, request.eye)};
  }

  Set::Answer set(const Set& request) const {
    AppliedSetting applied = session().set(request.name, request.text);
    return {std::move(applied), session().take_warnings()};
  }

  DrawGizmo::Answer draw_gizmo(const DrawGizmo& request) const {
    return {session().draw_gizmo(request.eye_position, request.direction)};
  }

  Output& output_;
  std::unique_ptr<Session> session_;
  /// Null where the rays pass through the pipe.
  std::unique_ptr<SharedRays> shared_;
  /// Goes first: what it does needs the others.
  EvaluationThreads threads_;
};

}  // namespace

int main() {
  std::FILE* file = claim_standard_output();
  if (file == nullptr) return EXIT_FAILURE;
  Output output(file);
  {
    Service service(output);
    while (output.sound()) {
      auto request = read_message();
      if (!request) break;
      try {
        service.answer(std::move(*request));
      } catch (const std::exception& error) {
        output.write(packed(Failure{error.what()}));
      }
    }
  }
  return output.sound() && std::fclose(file) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
