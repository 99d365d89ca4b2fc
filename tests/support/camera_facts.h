#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace test_support {

/// An envelope: its name in the host's graph editor, and its value in a new instance.
struct ChannelFacts {
  std::string name;
  double default_value = 0.0;
};

/// One thing that a camera writes into the scene file.
struct SavedFacts {
  enum class Kind { envelope, word, reserved_word, number };

  Kind kind = Kind::envelope;
  /// The channel of an envelope, or of the envelope whose plain value a number is.
  std::string channel;
  /// What a new instance writes. Envelopes start at their channel's default instead.
  double default_value = 0.0;
};

/// What the module answers for an id of a panel.
struct ValueFacts {
  enum class Kind { none, envelope, text, word, number };

  std::uint32_t id = 0;
  Kind kind = Kind::none;
  /// An envelope's channel, or a text that never changes.
  std::string text;
  /// The value of a word or a number in a new instance.
  double default_value = 0.0;
};

struct ControlFacts {
  std::uint32_t id = 0;
  std::string label;
  std::string control_class;
  /// Both are empty for a control without data.
  std::string data_name;
  std::string data_type;
};

/// A camera server as its users know it. Tests of all cameras take what they expect from these facts, which are written
/// independently of the cameras' sources.
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
  /// The owner under which the envelopes are created; servers of one namespace share it.
  std::string plugin_name;
  std::vector<ChannelFacts> channels;
  std::vector<SavedFacts> saved;

  std::vector<ControlFacts> controls;
  /// In the order of the controls, followed by the ids that no control shows.
  std::vector<ValueFacts> values;
  std::vector<std::uint32_t> dividers_after;
  std::vector<std::uint32_t> sensitive;
  /// The hints that the host is handed, in words, one to a line. An empty line stands before what it is handed later.
  std::string hints;

  /// What the gizmo, which has no handles, answers when the host asks for one or drags one.
  int gizmo_handle_answer = -1;

  std::uint32_t logo_id() const { return controls.front().id; }
};

/// In the order of their tag tables, which is that of the module's table.
const std::vector<CameraFacts>& all_cameras();

/// Throws std::out_of_range when there is no such server.
const CameraFacts& camera_facts(const std::string& server_name);

/// For readable failures.
void PrintTo(const CameraFacts& facts, std::ostream* stream);

}  // namespace test_support
