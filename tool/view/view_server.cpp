#include "tool/view/view_server.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <httplib.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <sys/random.h>
#include <thread>
#include <utility>

#include "standin/scene/number_text.h"
#include "tool/output/json_output.h"
#include "tool/output/panel_page.h"
#include "tool/view/page_files.h"

namespace tool {
namespace {

using nlohmann::json;

constexpr const char* own_machine = "127.0.0.1";
constexpr std::size_t longest_body = 65536;
/// A browser opens six; each may wait for the next request for a while.
constexpr std::size_t connection_threads = 24;
constexpr auto heartbeat = std::chrono::milliseconds(250);
constexpr int seconds_for_a_request = 5;
/// Nothing is loaded from elsewhere, and no other page may hold this one in a frame.
constexpr const char* content_policy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

std::string new_secret() {
  std::array<unsigned char, 16> bytes{};
  std::size_t have = 0;
  while (have < bytes.size()) {
    const ssize_t more = getrandom(bytes.data() + have, bytes.size() - have, 0);
    if (more < 0 && errno != EINTR)
      throw std::runtime_error("The system gives no random numbers: " + std::generic_category().message(errno));
    if (more > 0) have += static_cast<std::size_t>(more);
  }
  std::string text;
  for (const unsigned char byte : bytes) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

/// Takes as long wherever they differ.
bool same_secret(std::string_view given, std::string_view secret) {
  if (given.size() != secret.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < given.size(); ++i) difference |= static_cast<unsigned char>(given[i] ^ secret[i]);
  return difference == 0;
}

std::optional<double> number_in(const std::string& text) {
  std::string_view rest = text;
  const auto number = standin::take_number(rest);
  return rest.empty() ? number : std::nullopt;
}

void refuse(httplib::Response& response, int status, const std::string& sentence) {
  response.status = status;
  response.set_content(json_line({{"trouble", sentence}}), "application/json");
}

}  // namespace

class ViewServer::Connections {
 public:
  Connections(Viewing& viewing, int port) : viewing_(viewing), secret_(new_secret()) {
    server_.new_task_queue = [] { return new httplib::ThreadPool(connection_threads); };
    // The library's own would let another program share the port.
    server_.set_socket_options([](socket_t socket) {
      const int yes = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server_.set_tcp_nodelay(true);
    server_.set_payload_max_length(longest_body);
    server_.set_read_timeout(seconds_for_a_request, 0);
    server_.set_write_timeout(seconds_for_a_request, 0);
    server_.set_keep_alive_max_count(100000);
    server_.set_default_headers({{"Cache-Control", "no-store"},
                                 {"Content-Security-Policy", content_policy},
                                 {"Cross-Origin-Resource-Policy", "same-origin"},
                                 {"Referrer-Policy", "no-referrer"},
                                 {"X-Content-Type-Options", "nosniff"}});
    port_ = port == 0 ? server_.bind_to_any_port(own_machine) : (server_.bind_to_port(own_machine, port) ? port : -1);
    if (port_ <= 0) {
      throw std::runtime_error(port == 0
                                   ? std::string("No port of this machine is free; end other programs")
                                   : "Port " + std::to_string(port) +
                                         " cannot be had, most likely because another program has it; give another --port, "
                                         "or none for any that is free");
    }
    address_ = "http://" + std::string(own_machine) + ":" + std::to_string(port_) + "/" + secret_ + "/";
    offer();
    thread_ = std::thread([this] { server_.listen_after_bind(); });
  }

  ~Connections() {
    while (!server_.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ending_ = true;
    server_.stop();
    thread_.join();
  }
  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;

  const std::string& address() const { return address_; }

 private:
  /// Whether the request was meant for this server by its own page or by a person who has its address. A page of another site
  /// can make a browser send requests here, and by a name of its own that leads to this machine read the answers.
  bool is_meant(const httplib::Request& request) const {
    const auto is_own = [&](const std::string& text, const std::string& before) {
      const std::string port = ":" + std::to_string(port_);
      return text == before + own_machine + port || text == before + "localhost" + port;
    };
    if (request.get_header_value_count("Host") != 1 || !is_own(request.get_header_value("Host"), "")) return false;
    const std::size_t origins = request.get_header_value_count("Origin");
    if (origins > 1 || (origins == 1 && !is_own(request.get_header_value("Origin"), "http://"))) return false;
    if (!request.has_header("Sec-Fetch-Site")) return true;
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    return site == "same-origin" || site == "none";
  }

  bool knows_secret(const httplib::Request& request) const {
    const std::string& path = request.path;
    return path.size() > secret_.size() + 1 && path[0] == '/' && path[secret_.size() + 1] == '/' &&
           same_secret(std::string_view(path).substr(1, secret_.size()), secret_);
  }

  void offer() {
    server_.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      if (is_meant(request) && knows_secret(request)) return httplib::Server::HandlerResponse::Unhandled;
      refuse(response, 403, "This address is not the one that \"ovicam view\" has printed");
      return httplib::Server::HandlerResponse::Handled;
    });
    server_.set_exception_handler([](const httplib::Request&, httplib::Response& response, const std::exception_ptr& thrown) {
      try {
        std::rethrow_exception(thrown);
      } catch (const std::exception& error) {
        refuse(response, 400, error.what());
      }
    });
    server_.set_error_handler([](const httplib::Request&, httplib::Response& response) {
      if (response.body.empty()) refuse(response, response.status, "There is nothing of this kind here");
    });
    const std::string folder = "/" + secret_ + "/";
    const auto offer_text = [&](const std::string& name, std::string text, const char* type) {
      server_.Get(folder + name, [text = std::move(text), type](const httplib::Request&, httplib::Response& response) {
        response.set_content(text, type);
      });
    };
    offer_text("", std::string(page_html), "text/html; charset=utf-8");
    offer_text("page.js", std::string(page_js), "text/javascript; charset=utf-8");
    offer_text("sphere_viewer.js", std::string(sphere_viewer_js), "text/javascript; charset=utf-8");
    offer_text("page.css", std::string(panel_style()) + std::string(page_css), "text/css; charset=utf-8");
    server_.Get(folder + "state", [this](const httplib::Request&, httplib::Response& response) {
      response.set_content(viewing_.state(), "application/json");
    });
    server_.Get(folder + "picture.png",
                [this](const httplib::Request&, httplib::Response& response) { send_picture(response); });
    server_.Get(folder + "plain.png", [this](const httplib::Request&, httplib::Response& response) {
      const auto picture = viewing_.picture();
      if (picture == nullptr || picture->plain_png.empty()) return refuse(response, 404, "Nothing is compared with");
      describe(*picture, response);
      send_bytes(picture->plain_png, "image/png", response);
    });
    server_.Get(folder + "picture.exr", [this](const httplib::Request&, httplib::Response& response) {
      const auto picture = viewing_.picture();
      if (picture == nullptr || picture->pixels.empty())
        return refuse(response, 404, "There is no refined picture of the camera yet");
      describe(*picture, response);
      send_bytes(exr_bytes(picture->pixels, picture->form), "image/x-exr", response);
    });
    server_.Post(folder + "scene", [this](const httplib::Request& request, httplib::Response& response) {
      require_json(request);
      const auto file = viewing_.save_scene(parse_scene_copy(request.body));
      if (!file) return refuse(response, 409, "There is a file of this name already");
      response.set_content(json_line({{"file", *file}}), "application/json");
    });
    server_.Get(folder + "news", [this](const httplib::Request&, httplib::Response& response) { send_news(response); });
    server_.Get(folder + "look", [this](const httplib::Request& request, httplib::Response& response) {
      const auto x = number_in(request.get_param_value("x"));
      const auto y = number_in(request.get_param_value("y"));
      if (!x || !y) throw std::runtime_error("x and y must be numbers of pixels");
      response.set_content(viewing_.look_at(*x, *y), "application/json");
    });
    server_.Post(folder + "change", [this](const httplib::Request& request, httplib::Response& response) {
      require_json(request);
      const std::uint64_t number = viewing_.change(parse_change(request.body, viewing_.camera_count()));
      response.set_content(json{{"change", number}}.dump(), "application/json");
    });
  }

  /// A form of another site cannot have this type.
  static void require_json(const httplib::Request& request) {
    if (!request.get_header_value("Content-Type").starts_with("application/json"))
      throw std::runtime_error("A change must be JSON");
  }

  static void describe(const ViewPicture& picture, httplib::Response& response) {
    response.set_header("Picture-Number", std::to_string(picture.number));
    response.set_header("Picture-Change", std::to_string(picture.change));
    response.set_header("Picture-Coarseness", std::to_string(picture.coarseness));
    response.set_header("Picture-Refined", picture.refined ? "yes" : "no");
  }

  static void send_bytes(const std::vector<std::byte>& bytes, const char* type, httplib::Response& response) {
    response.set_content(reinterpret_cast<const char*>(bytes.data()), bytes.size(), type);
  }

  void send_picture(httplib::Response& response) const {
    const auto picture = viewing_.picture();
    if (picture == nullptr) return refuse(response, 404, "There is no picture yet");
    describe(*picture, response);
    send_bytes(picture->png, "image/png", response);
  }

  /// Server-sent events, each with the newest numbers. What a browser has left is found out by writing to it.
  void send_news(httplib::Response& response) {
    struct Reader {
      explicit Reader(Viewing& viewing) : watch(viewing) {}
      Viewing::Watch watch;
      Viewing::News known;
    };
    const auto reader = std::make_shared<Reader>(viewing_);
    response.set_chunked_content_provider("text/event-stream", [this, reader](std::size_t, httplib::DataSink& sink) {
      if (ending_) {
        sink.done();
        return true;
      }
      const Viewing::News news = viewing_.wait_for_news(reader->known, heartbeat);
      std::string text = ":\n\n";
      if (news != reader->known) text = "data: " + json{{"state", news.state}, {"picture", news.picture}}.dump() + "\n\n";
      reader->known = news;
      return sink.write(text.data(), text.size());
    });
  }

  Viewing& viewing_;
  const std::string secret_;
  httplib::Server server_;
  int port_ = 0;
  std::string address_;
  std::atomic<bool> ending_ = false;
  std::thread thread_;
};

ViewServer::ViewServer(Viewing& viewing, int port) : connections_(std::make_unique<Connections>(viewing, port)) {}

ViewServer::~ViewServer() = default;

const std::string& ViewServer::address() const { return connections_->address(); }

}  // namespace tool
