/// The ray service: opens one session in this process, or describes a module, and answers its client, over standard input and
/// output, until the input ends.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "standin/remote/evaluation_threads.h"
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

/// A message, and the answers to rays or points that follow it.
bool write_message(std::FILE* out, const std::vector<char>& message, std::span<const std::byte> answers) {
  const auto size = static_cast<std::uint32_t>(message.size());
  return std::fwrite(&size, sizeof size, 1, out) == 1 && std::fwrite(message.data(), 1, size, out) == size &&
         std::fwrite(answers.data(), 1, answers.size(), out) == answers.size() && std::fflush(out) == 0;
}

class Service {
 public:
  /// The answer's bytes; those of rays or points are in more_answers() until the next request. Throws with a sentence for a
  /// person.
  std::vector<char> answer(std::vector<char> bytes) {
    more_answers_ = {};
    MessageReader request(std::move(bytes));
    Kind kind{};
    request(kind);
    switch (kind) {
      case Kind::open:
        return packed(open(unpacked<OpenSession>(request)));
      case Kind::describe:
        return packed(DescribeModule::Answer{describe_module(unpacked<DescribeModule>(request).module_file)});
      case Kind::begin_frame:
        return packed(begin_frame(unpacked<BeginFrame>(request)));
      case Kind::evaluate:
        evaluate(unpacked<EvaluateRays>(request).count);
        return packed(EvaluateRays::Answer{});
      case Kind::project_points:
        project(unpacked<ProjectPoints>(request).count);
        return packed(ProjectPoints::Answer{});
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

  std::span<const std::byte> more_answers() const { return more_answers_; }

 private:
  OpenSession::Answer open(const OpenSession& request) {
    session_.reset();
    shared_.reset();
    session_ = open_session(request.options);
    if (!request.shared_rays.empty()) shared_ = SharedRays::open(request.shared_rays, most_rays);
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

  void evaluate(std::uint32_t count) {
    if (count > most_rays) throw std::runtime_error("The ray service was asked for too many rays at once");
    if (shared_) {
      threads_.evaluate(session(), shared_->queries().first(count), shared_->answers().first(count));
      return;
    }
    read(queries_, count);
    answers_.resize(count);
    threads_.evaluate(session(), queries_, answers_);
    more_answers_ = std::as_bytes(std::span(answers_));
  }

  void project(std::uint32_t count) {
    if (count > most_rays) throw std::runtime_error("The ray service was asked for too many points at once");
    if (shared_) {
      threads_.project(session(), shared_->points().first(count), shared_->film_points().first(count));
      return;
    }
    read(points_, count);
    film_points_.resize(count);
    threads_.project(session(), points_, film_points_);
    more_answers_ = std::as_bytes(std::span(film_points_));
  }

  template <class Query>
  static void read(std::vector<Query>& queries, std::uint32_t count) {
    queries.resize(count);
    if (std::fread(queries.data(), sizeof(Query), count, stdin) != count)
      throw std::runtime_error("The ray service's input ended within a request");
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

  std::unique_ptr<Session> session_;
  /// Null where the rays pass through the pipe.
  std::unique_ptr<SharedRays> shared_;
  EvaluationThreads threads_;
  std::vector<RayQuery> queries_;
  std::vector<RayAnswer> answers_;
  std::vector<PointQuery> points_;
  std::vector<PointAnswer> film_points_;
  /// Of a request that succeeded, where they do not lie in shared memory.
  std::span<const std::byte> more_answers_;
};

std::vector<char> answer_or_failure(Service& service, std::vector<char> request) {
  try {
    return service.answer(std::move(request));
  } catch (const std::exception& error) {
    return packed(Failure{error.what()});
  }
}

}  // namespace

int main() {
  std::FILE* out = claim_standard_output();
  if (out == nullptr) return EXIT_FAILURE;
  Service service;
  while (auto request = read_message()) {
    const std::vector<char> reply = answer_or_failure(service, std::move(*request));
    if (!write_message(out, reply, service.more_answers())) return EXIT_FAILURE;
  }
  return std::fclose(out) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
