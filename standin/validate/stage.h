#pragma once

#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sdk/host.h"
#include "standin/host/guarded.h"
#include "standin/host/host.h"
#include "standin/host/module.h"
#include "standin/host/ray_query.h"
#include "standin/host/save_state.h"
#include "standin/validate/call_log.h"
#include "standin/validate/context.h"

namespace standin::validate {

/// What every byte of a record is before the module is given it: what is left out shows.
inline constexpr unsigned char untouched_byte = 0xA5;

template <class Record>
void make_untouched(Record& record) {
  std::memset(static_cast<void*>(&record), untouched_byte, sizeof record);
}

/// Whether that many bytes are as make_untouched left them.
bool is_untouched(const void* bytes, std::size_t size);

template <class Function>
bool is_untouched(Function* pointer) {
  return is_untouched(&pointer, sizeof pointer);  // NOLINT(bugprone-sizeof-expression): the pointer itself
}

/// Two objects, a camera called "Camera" that moves and zooms, and four more, "Other 1" to "Other 4".
Scene validation_scene();

/// How the host answers while a test runs; as ever at first.
struct HostAnswers {
  /// Each answer is as likely as this to be null, huge, tiny or not a number.
  double spoilt_share = 0.0;
  std::uint64_t seed = 0;
};

/// A host with a scene and the module in it. On destruction the module is unloaded, and what the host has against it is held
/// against the test. One at a time. Threads: one.
class Stage {
 public:
  explicit Stage(Context& context, Scene scene = validation_scene());
  ~Stage();
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  /// What the module is activated with. It counts what is asked for, and keeps an item's name in one buffer, which the next
  /// name overwrites.
  static GlobalFunc* global() noexcept;

  const Module& module() const { return *module_; }
  /// Empty: the server has none of that class.
  const Server* server(const char* class_name) const { return module_->find(class_name, context.server); }

  /// From here on the host's own rules are not held against the module: the test breaks them itself.
  void forgive() { forgiving_ = true; }
  /// Ends the module now, with whatever of it is alive.
  void unload();

  Context& context;
  Host host;
  HostAnswers answers;
  /// The services' uses by name: acquired minus released.
  std::map<std::string, int> held_services;
  std::vector<std::string> unknown_services;
  /// Calls of getVal without room for a result.
  int values_without_result = 0;

 private:
  std::optional<Module> module_;
  bool forgiving_ = false;
};

/// The records of a handler's activation, each between guard words.
struct HandlerRecords {
  /// Every byte untouched, and the three pointers set.
  HandlerRecords();
  bool intact() const { return instance.intact() && item.intact() && render.intact() && handler.intact(); }

  Guarded<LWInstanceFuncs> instance;
  Guarded<LWItemFuncs> item;
  Guarded<LWRenderFuncs> render;
  Guarded<LWCameraHandler> handler;
};

/// The three vectors of a ray as the module wrote them.
struct Ray {
  int result = 0;
  std::array<double, 9> words{};

  friend bool operator==(const Ray& a, const Ray& b) {
    // Bit by bit. NOLINTNEXTLINE(*-suspicious-memory-comparison,cert-exp42-c,cert-flp37-c)
    return a.result == b.result && (a.result == 0 || std::memcmp(a.words.data(), b.words.data(), sizeof a.words) == 0);
  }
  bool finite() const;
  double direction_length() const;
};

struct FilmPosition {
  int result = 0;
  std::array<double, 3> words{};

  friend bool operator==(const FilmPosition& a, const FilmPosition& b) {
    // Bit by bit. NOLINTNEXTLINE(*-suspicious-memory-comparison,cert-exp42-c,cert-flp37-c)
    return a.result == b.result && (a.result == 0 || std::memcmp(a.words.data(), b.words.data(), 2 * sizeof(double)) == 0);
  }
};

/// One instance of the server, and every call to it by name. Records are checked after each. Threads: evaluate and project
/// any number at once, each with a call slot of its own; everything else one.
class Instance {
 public:
  /// Throws std::runtime_error when it is refused.
  Instance(Stage& stage, const std::string& item = "Camera");
  /// Of another server of the module.
  Instance(Stage& stage, const std::string& item, const std::string& server);
  ~Instance();
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  LWInstance raw() const { return instance_; }
  LWCameraHandler& handler() { return *records_.handler; }
  LWInstanceFuncs& functions() { return *records_.instance; }
  LWRenderFuncs& render_functions() { return *records_.render; }
  /// Ends it before its time.
  void destroy();
  /// It is left to the module, as by a host that ends.
  void abandon() { instance_ = nullptr; }

  std::vector<VariantParameter*> parameters() const;
  /// Parameters and panel values get values that differ from the defaults but that a person could choose.
  void randomise();

  LWError copy_from(const Instance& other);
  std::vector<std::uint8_t> save_binary();
  std::vector<std::string> save_text();
  LWError load(LoadState& state);

  void init(LWRenderMode mode = LWRM_RENDER);
  void clean_up();
  LWError new_time(int frame, double seconds);
  /// With the access record of the camera at that time.
  LWError new_frame(int frame, double seconds, double duration_seconds, unsigned motion_steps);
  LWError new_frame(const LWFrameInfo& frame, const LWCameraAccess& access);
  /// The host's time, new time and new frame.
  void begin_frame(int frame, double duration_seconds, unsigned motion_steps);
  /// init and a frame with motion blur.
  void prepare(int frame = 1, unsigned motion_steps = 4);

  /// As of the last new_frame.
  LWCameraAccess& access() { return *access_; }
  Ray evaluate(const RayQuery& query) const { return evaluate(query, &*access_); }
  Ray evaluate(const RayQuery& query, const LWCameraAccess* access) const;
  FilmPosition project(Vec3 world, double lens_x, double lens_y, double fractional_time, Eye eye) const;
  int preview(double lens_x, double lens_y, Eye eye);
  unsigned flags();
  /// Null: no text.
  const char* describe();

  /// A new panel over this instance; null when the server has no panel.
  LWXPanelID open_panel();
  /// The panels are not closed with this instance.
  void forget_panels() { panels_.clear(); }
  /// The first panel, opened on first use. Null when the server has none.
  Panel* panel();
  /// Null when the server has no gizmo.
  const LWGizmoFuncs* gizmo();
  void draw_gizmo();

  const std::string& server() const { return server_; }
  LWItemID item() const { return item_; }

 private:
  Stage& stage_;
  std::string server_;
  LWItemID item_ = nullptr;
  HandlerRecords records_;
  LWInstance instance_ = nullptr;
  std::uint64_t first_parameter_ = 0;
  std::uint64_t last_parameter_ = 0;
  Guarded<LWCameraAccess> access_;
  std::vector<LWXPanelID> panels_;
  Guarded<LWGizmoFuncs> gizmo_functions_;
  bool has_gizmo_ = false;
};

/// A film position within the film of the instance, a lens position in the unit disc and a time within the frame.
RayQuery random_query(Context& context, const LWCameraAccess& access);

}  // namespace standin::validate
