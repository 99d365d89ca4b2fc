#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <filesystem>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <shared_mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "standin/scene/scene.h"
#include "standin/session/introspection.h"
#include "standin/session/session.h"
#include "tool/output/picture.h"
#include "tool/render/render_scene.h"
#include "tool/render/scene_layers.h"
#include "tool/view/lens_measures.h"
#include "tool/view/scene_copy.h"
#include "tool/view/view_choice.h"

namespace tool {

/// What is looked at, as the command line names it.
struct ViewSource {
  /// Camera, server, settings and size are where the viewing begins.
  standin::SessionOptions session;
  /// What a command line for the same pictures begins with: program, subcommand, scene, and options that do not change.
  std::vector<std::string> command;
  /// None: the scene's first.
  std::optional<int> frame;
  std::uint32_t samples = 16;
};

/// A picture as a PNG, and what it shows.
struct ViewPicture {
  std::vector<std::byte> png;
  /// Counts pictures, from 1.
  std::uint64_t number = 0;
  /// The last change that it shows.
  std::uint64_t change = 0;
  /// How many pixels of the frame one of its pixels is wide.
  int coarseness = 1;
  /// Whether it is the very picture that the command gives.
  bool refined = false;
  /// The host's plain perspective of the same place, where it is compared with.
  std::vector<std::byte> plain_png = {};
  /// Of a refined picture that a camera has seen.
  std::vector<Pixel> pixels = {};
  PictureForm form = {};
};

/// A camera that a person looks through and changes: it is rendered again with every change, first coarsely, then finer as long
/// as nothing changes. One thread of its own has session and renderer; changes that come while it works join into one, so that
/// the newest state is always next. Threads: every member function any number at once.
class Viewing {
 public:
  /// Opens the camera. Throws std::runtime_error with a sentence where that fails.
  explicit Viewing(ViewSource source);
  Viewing(const Viewing&) = delete;
  Viewing& operator=(const Viewing&) = delete;
  /// Ends rendering at once.
  ~Viewing();

  /// Asks for a change and returns its number.
  std::uint64_t change(ViewChange change);

  /// Of the scene read last.
  std::size_t camera_count() const { return camera_count_; }

  /// Numbers that grow with everything new.
  struct News {
    std::uint64_t state = 0;
    std::uint64_t picture = 0;

    friend bool operator==(const News&, const News&) = default;
  };
  /// Waits until there are other numbers than these, for that long at most.
  News wait_for_news(News known, std::chrono::milliseconds longest) const;

  /// What the page shows beside the picture, as JSON.
  std::string state() const;
  /// Null before the first.
  std::shared_ptr<const ViewPicture> picture() const;

  /// What is seen at a place of the frame, in pixels from its upper left corner, as JSON. Throws std::runtime_error with a
  /// sentence where nothing can be said.
  std::string look_at(double x, double y) const;

  /// Keeps the scene with the shown camera as it is here, and returns the file's name. None where there is such a file already
  /// and it may not be replaced. Throws std::runtime_error with a sentence.
  std::optional<std::string> save_scene(const SceneCopy& copy);

  /// Rendering goes on only while somebody watches.
  class Watch {
   public:
    explicit Watch(Viewing& viewing);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

   private:
    Viewing& viewing_;
  };

 private:
  using Settings = std::vector<std::pair<std::string, std::string>>;
  /// Camera and server, which a panel belongs to.
  using PanelKey = std::pair<std::size_t, std::string>;
  struct Step {
    int coarseness = 1;
    std::uint32_t samples = 1;
  };

  // --- Of the thread that renders.

  void run();
  void give_up(const std::exception& error);
  void describe_servers();
  void apply(const ViewChange& change);
  void read_scene();
  void open();
  void begin_frame();
  standin::CameraTurn turn() const;
  void turn_scene();
  void tell_of_turn_without_effect(const ViewChoice& before, const std::vector<standin::RayAnswer>& rays_before);
  void publish_state();
  nlohmann::json state_json() const;
  nlohmann::json row_json(const standin::ControlDescription& row) const;
  std::string command_line() const;
  void plan_steps();
  void render_step();
  void render_gizmo();
  int pictures_at_once() const;
  static int coarse(int side, const Step& step);
  void write_scene_copy(const SceneCopy& copy, const std::filesystem::path& file);
  PictureForm finished_form(const standin::FrameSetup& setup) const;
  std::optional<std::vector<Pixel>> render(standin::Session& session, const standin::FrameSetup& setup, const Step& step,
                                           bool can_be_cancelled);
  void publish_picture(ViewPicture picture);
  const standin::Item& camera() const { return *cameras_.at(choice_.camera); }
  std::string server_name() const;
  Settings& settings() { return settings_[{choice_.camera, choice_.server}]; }
  void fit_size_to_camera();

  const ViewSource source_;
  std::unique_ptr<standin::Scene> scene_;
  std::filesystem::file_time_type scene_time_;
  std::vector<standin::Item*> cameras_;
  /// The camera that the scene has turned, as its file has it.
  std::optional<standin::Item> untouched_;
  std::unique_ptr<RenderScene> render_scene_;
  /// Of the gizmo's drawing; empty until it is first shown.
  std::vector<PlacedLayer> layers_;
  standin::ModuleDescription module_;
  std::unique_ptr<standin::Session> session_;
  standin::FrameSetup setup_;
  LensMeasures measures_;
  ViewChoice choice_;
  bool size_is_chosen_ = false;
  std::map<PanelKey, Settings> settings_;
  /// What the settings of the command line are for.
  PanelKey start_;
  std::vector<std::string> warnings_;
  /// What came of the last change, when that was not what was asked for.
  std::string trouble_;
  std::vector<standin::ControlDescription> rows_;
  std::uint64_t applied_ = 0;
  /// What is still to be rendered of the present state, the last one first.
  std::vector<Step> steps_;
  /// Whether the next step is the first one, which is shown whatever comes meanwhile: under changes that never pause, the
  /// picture has to follow all the same.
  bool is_first_step_ = true;
  double seconds_per_ray_ = 1e-6;

  // --- Shared.

  std::atomic<std::size_t> camera_count_ = 0;
  /// Whether what is being rendered is not wanted any more.
  std::atomic<bool> cancelled_ = false;
  /// Held alone while session and scene are changed.
  mutable std::shared_timed_mutex stage_;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  bool ending_ = false;
  int watchers_ = 0;
  std::uint64_t changes_ = 0;
  std::optional<ViewChange> pending_;
  /// What else the thread that has the session is to do.
  std::deque<std::packaged_task<void()>> errands_;
  News news_;
  std::string state_;
  std::shared_ptr<const ViewPicture> picture_;
  std::exception_ptr failed_;

  std::thread thread_;
};

}  // namespace tool
