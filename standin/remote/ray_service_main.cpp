/// The ray service: opens one session in this process, or describes a module, and answers its client, over standard input and
/// output, until the input ends.

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "standin/remote/ray_protocol.h"
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

/// The answers' way out. What the module prints goes to standard error from here on: it would garble the answers.
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
  if (std::fread(&size, sizeof size, 1, stdin) != 1 || size > most_bytes) {
    return {};
  }
  std::vector<char> bytes(size);
  if (std::fread(bytes.data(), 1, size, stdin) != size) {
    return {};
  }
  return bytes;
}

/// A message, and the rays that go with it.
bool write_message(std::FILE* out, const Writer& message, std::span<const RayAnswer> rays) {
  const auto size = static_cast<std::uint32_t>(message.bytes().size());
  return std::fwrite(&size, sizeof size, 1, out) == 1 && std::fwrite(message.bytes().data(), 1, size, out) == size &&
         std::fwrite(rays.data(), sizeof(RayAnswer), rays.size(), out) == rays.size() && std::fflush(out) == 0;
}

class Service {
 public:
  /// Throws with a sentence for a person. The answer's rays are in rays() until the next one.
  Writer answer(Reader request) {
    rays_ = {};
    const auto kind = request.take<Kind>();
    if (kind == Kind::open) {
      open(request);
      Writer reply(Kind::done);
      put_texts(reply, session_->take_warnings());
      return reply;
    }
    if (kind == Kind::describe) {
      check_version(request);
      Writer reply(Kind::done);
      put_description(reply, describe_module(request.take_path()));
      return reply;
    }
    if (session_ == nullptr) {
      throw std::runtime_error("The ray service was asked for rays before it was given a scene");
    }
    Writer reply(Kind::done);
    switch (kind) {
      case Kind::begin_frame:
        put_setup(reply, session_->begin_frame(request.take<std::int32_t>()));
        put_texts(reply, session_->take_warnings());
        break;
      case Kind::evaluate:
        evaluate(request);
        break;
      case Kind::project:
        project(request, reply);
        break;
      default:
        throw std::runtime_error("The ray service was asked for something it does not know");
    }
    return reply;
  }

  std::span<const RayAnswer> rays() const { return rays_; }

 private:
  static void check_version(Reader& request) {
    if (request.take<std::uint32_t>() != version) {
      throw std::runtime_error("The ray service is of another version than this program; build both from the same sources");
    }
  }

  void open(Reader& request) {
    check_version(request);
    session_.reset();
    session_ = open_session(take_options(request));
  }

  void evaluate(Reader& request) {
    const auto count = request.take<std::uint32_t>();
    if (count > most_rays) {
      throw std::runtime_error("The ray service was asked for too many rays at once");
    }
    queries_.resize(count);
    if (std::fread(queries_.data(), sizeof(RayQuery), count, stdin) != count) {
      throw std::runtime_error("The ray service's input ended within a request");
    }
    answers_.resize(count);
    session_->evaluate(queries_, answers_);
    rays_ = answers_;
  }

  void project(Reader& request, Writer& reply) {
    const Vec3 world = request.take_vector();
    const auto fractional_time = request.take<double>();
    const auto film = session_->project(world, fractional_time, request.take<Eye>());
    reply.put(film.has_value());
    reply.put(film ? film->first : 0.0);
    reply.put(film ? film->second : 0.0);
  }

  std::unique_ptr<Session> session_;
  std::vector<RayQuery> queries_;
  std::vector<RayAnswer> answers_;
  /// All the answers, of a request that went well.
  std::span<const RayAnswer> rays_;
};

Writer answer_or_failure(Service& service, std::vector<char> request) {
  try {
    return service.answer(Reader(std::move(request)));
  } catch (const std::exception& error) {
    Writer failure(Kind::failed);
    failure.put_text(error.what());
    return failure;
  }
}

}  // namespace

int main() {
  std::FILE* out = claim_standard_output();
  if (out == nullptr) {
    return EXIT_FAILURE;
  }
  Service service;
  while (auto request = read_message()) {
    const Writer reply = answer_or_failure(service, std::move(*request));
    if (!write_message(out, reply, service.rays())) {
      return EXIT_FAILURE;
    }
  }
  return std::fclose(out) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
