#pragma once

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <httplib.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/support/running_tool.h"
#include "tests/support/tool_fixture.h"

namespace test_support {

/// A running `ovicam view`, and what a page asks of it.
class Page {
 public:
  Page(const std::string& arguments, const std::filesystem::path& log)
      : tool_(tool_command("view --no-browser " + arguments), log) {
    if (!comes_true([&] { return has_address() || tool_.told().find("ovicam: ") != std::string::npos; }) || !has_address())
      throw std::runtime_error("no address: " + tool_.told());
    const std::string host = address_.substr(7, address_.find('/', 7) - 7);
    folder_ = address_.substr(7 + host.size());
    client_ = std::make_unique<httplib::Client>("http://" + host);
    client_->set_read_timeout(60, 0);
    host_ = host;
  }
  ~Page() { close(); }
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  RunningTool& tool() { return tool_; }
  httplib::Client& client() { return *client_; }
  const std::string& host() const { return host_; }
  const std::string& folder() const { return folder_; }

  /// From here on somebody watches, as an open page does.
  void open() {
    watching_ = true;
    watcher_ = std::thread([this] {
      httplib::Client client("http://" + host_);
      client.set_read_timeout(60, 0);
      client.Get(folder_ + "news", [this](const char*, std::size_t) { return watching_.load(); });
    });
  }
  void close() {
    watching_ = false;
    if (watcher_.joinable()) watcher_.join();
  }

  httplib::Result post(const std::string& body) { return client_->Post(folder_ + "change", body, "application/json"); }
  std::uint64_t change(const nlohmann::json& change) {
    const auto answer = post(change.dump());
    EXPECT_TRUE(answer && answer->status == 200) << change << (answer ? answer->body : " no answer");
    return answer && answer->status == 200 ? nlohmann::json::parse(answer->body).at("change").get<std::uint64_t>() : 0;
  }
  nlohmann::json state() {
    const auto answer = client_->Get(folder_ + "state");
    EXPECT_TRUE(answer && answer->status == 200);
    return nlohmann::json::parse(answer ? answer->body : "{}");
  }
  /// The first state that has the change.
  nlohmann::json state_with(std::uint64_t change) {
    nlohmann::json now;
    EXPECT_TRUE(comes_true([&] {
      now = state();
      return now.at("change").get<std::uint64_t>() >= change;
    })) << "change "
        << change;
    return now;
  }

  struct Picture {
    std::uint64_t number = 0;
    std::uint64_t change = 0;
    bool refined = false;
    std::string png;
  };
  std::optional<Picture> picture() {
    const auto answer = client_->Get(folder_ + "picture.png");
    if (!answer || answer->status != 200) return std::nullopt;
    return Picture{std::stoull(answer->get_header_value("Picture-Number")),
                   std::stoull(answer->get_header_value("Picture-Change")),
                   answer->get_header_value("Picture-Refined") == "yes", answer->body};
  }
  Picture refined_picture(std::uint64_t change) {
    std::optional<Picture> now;
    EXPECT_TRUE(comes_true([&] {
      now = picture();
      return now && now->refined && now->change >= change;
    })) << "no refined picture of change "
        << change;
    return now.value_or(Picture());
  }

 private:
  bool has_address() {
    std::istringstream lines(tool_.told());
    for (std::string line; std::getline(lines, line);)
      if (line.starts_with("http://127.0.0.1:") && line.ends_with('/')) address_ = line;
    return !address_.empty();
  }

  RunningTool tool_;
  std::string address_;
  std::string host_;
  std::string folder_;
  std::unique_ptr<httplib::Client> client_;
  std::atomic<bool> watching_ = false;
  std::thread watcher_;
};

class NativeView : public NativeTool {
 protected:
  std::string small_view(const std::string& more = "") const {
    return quoted(scene_) + " --server QuorinPanoramicCam --samples 2 " + more;
  }
  /// What the command line that the page offers renders.
  std::string rendered(const nlohmann::json& state, const std::string& extension = ".png") {
    const std::string command = state.at("command");
    const std::string program = "ovicam render ";
    EXPECT_TRUE(command.starts_with(program)) << command;
    const std::string output = " -o picture.png";
    EXPECT_TRUE(command.ends_with(output)) << command;
    const std::filesystem::path file = out("rendered" + extension);
    const std::string words = command.substr(program.size(), command.size() - program.size() - output.size());
    const Outcome outcome = run("cd / && " + tool_command("render " + words + " -o " + quoted(file)));
    EXPECT_EQ(outcome.exit_code, 0) << command << outcome.output;
    return contents(file);
  }
};

inline int status_of(const httplib::Result& result) { return result ? result->status : -1; }

/// Another value that the row's limits allow, as a person would enter it; empty when the row cannot be set.
inline std::string another_value(const nlohmann::json& row) {
  const std::string quantity = row.at("quantity");
  if (quantity == "yes or no") return row.at("shown") == "yes" ? "no" : "yes";
  if (quantity == "choice") {
    const auto& choices = row.at("choices");
    const auto now = std::stoull(row.at("value").get<std::string>());
    return choices.size() < 2 ? "" : std::to_string((now + 1) % choices.size());
  }
  if (quantity == "none" || quantity == "text") return "";
  const double size = quantity == "angle" ? std::acos(-1.0) / 180.0 : quantity == "percent" ? 0.01 : 1.0;
  const double now = std::stod(row.at("value").get<std::string>()) / size;
  double next = now == 0.0 ? 1.0 : now * 0.75;
  if (quantity == "whole number") next = std::round(now) + 1.0;
  if (row.contains("maximum") && next > row.at("maximum").get<double>() / size) next = now - 1.0;
  if (row.contains("minimum") && next < row.at("minimum").get<double>() / size) next = now + 1.0;
  std::ostringstream text;
  text << next;
  return text.str();
}

inline const nlohmann::json& row_called(const nlohmann::json& state, const std::string& label) {
  const auto& rows = state.at("rows");
  const auto found = std::ranges::find_if(rows, [&](const nlohmann::json& row) { return row.at("name") == label; });
  EXPECT_NE(found, rows.end()) << label;
  return found != rows.end() ? *found : rows.at(0);
}

}  // namespace test_support
