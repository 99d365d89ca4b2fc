#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace test_support {

/// An envelope: what the host's graph editor calls it, and what a new instance starts it with.
struct ChannelFacts {
  std::string name;
  double default_value = 0.0;
};

/// One thing that a camera writes into the scene file.
struct SavedFacts {
  enum class Kind { envelope, word, reserved_word, number };

  Kind kind = Kind::envelope;
  /// Of an envelope, and of a number, which is the plain value of one.
  std::string channel;
  /// What a new instance writes; of an envelope, that is its channel's default.
  double default_value = 0.0;
};

/// What the module answers for an id of a panel.
struct ValueFacts {
  enum class Kind { none, envelope, text, word, number };

  std::uint32_t id = 0;
  Kind kind = Kind::none;
  /// Of an envelope its channel; of a text the text, where it is always the same.
  std::string text;
  /// Of a word or a number, in a new instance.
  double default_value = 0.0;
};

struct ControlFacts {
  std::uint32_t id = 0;
  std::string label;
  std::string control_class;
  /// Empty type: the control has no data.
  std::string data_name;
  std::string data_type;
};

/// A camera server as its users know it: the one list of facts that the tests of all cameras are driven by.
struct CameraFacts {
  std::string server_name;
  std::string user_name;
  std::string name_space;
  /// The functions of the namespace that activate the three classes.
  std::string handler_activation = "CameraHandler";
  std::string interface_activation = "CameraInterface";
  std::string gizmo_activation = "CameraGizmo";
  std::string tag_table;

  std::string description;
  unsigned flags = 0;
  /// Looks through other cameras, and asks the host for their evaluators.
  bool looks_through_other_cameras = false;
  /// Rays depend on the position on the lens.
  bool has_a_lens = false;
  /// Rays depend on the eye.
  bool has_two_eyes = false;
  /// There are film positions without a ray.
  bool film_has_gaps = false;
  /// Evaluation refuses a call without the camera's record; the others know all that they need from the frame.
  bool rays_need_a_record = true;
  /// There are world points with a film position.
  bool projects = true;
  /// A projection that is refused may leave one coordinate in its output.
  bool refused_projection_may_write = false;
  /// The envelopes' owner; that of the namespace, which several servers can share.
  std::string plugin_name;
  std::vector<ChannelFacts> channels;
  std::vector<SavedFacts> saved;

  std::vector<ControlFacts> controls;
  /// In the order of the controls; then the ids that no control shows.
  std::vector<ValueFacts> values;
  std::vector<std::uint32_t> dividers_after;
  std::vector<std::uint32_t> sensitive;

  /// What the gizmo answers when it is asked for a handle's place, and when one is dragged; it has none.
  int gizmo_handle_answer = -1;

  std::uint32_t logo_id() const { return controls.front().id; }
};

/// In the order of the module's table.
const std::vector<CameraFacts>& all_cameras();

/// Throws std::out_of_range when there is no such server.
const CameraFacts& camera_facts(const std::string& server_name);

/// Readable in the names of tests.
void PrintTo(const CameraFacts& facts, std::ostream* stream);

}  // namespace test_support
