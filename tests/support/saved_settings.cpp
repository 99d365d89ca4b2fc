#include "tests/support/saved_settings.h"

#include "standin/host/save_state.h"

namespace test_support {
namespace {

double default_of(const CameraFacts& camera, const std::string& channel) {
  for (const ChannelFacts& facts : camera.channels)
    if (facts.name == channel) return facts.default_value;
  return 0.0;
}

void write(standin::SaveState& state, const std::vector<SavedValue>& settings) {
  for (const SavedValue& value : settings) {
    switch (value.kind) {
      case SavedFacts::Kind::envelope:
        standin::save_parameter(state, value.envelope);
        break;
      case SavedFacts::Kind::word:
      case SavedFacts::Kind::reserved_word:
        state.write_numbers(&value.word, 1);
        break;
      case SavedFacts::Kind::number:
        state.write_numbers(&value.number, 1);
        break;
    }
  }
}

}  // namespace

std::vector<SavedValue> default_settings(const CameraFacts& camera) {
  std::vector<SavedValue> settings;
  for (const SavedFacts& facts : camera.saved) {
    SavedValue value;
    value.kind = facts.kind;
    value.envelope = standin::Envelope::constant(default_of(camera, facts.channel));
    value.word = facts.kind == SavedFacts::Kind::word ? static_cast<std::uint32_t>(facts.default_value) : 0;
    value.number = static_cast<float>(facts.default_value);
    settings.push_back(value);
  }
  return settings;
}

std::vector<SavedValue> distinct_settings(const CameraFacts& camera, int seed) {
  std::vector<SavedValue> settings = default_settings(camera);
  for (std::size_t i = 0; i < settings.size(); ++i) {
    const double value = 0.125 * static_cast<double>(seed) + 0.01 * static_cast<double>(i + 1);
    settings[i].envelope = standin::Envelope::constant(value);
    if (i % 2 == 1) {
      settings[i].envelope.keys.push_back({value * 2.0, 0.5, standin::Span::linear, {}});
      settings[i].envelope.keys.push_back({-value, 1.25, standin::Span::hermite, {0.25, -0.5}});
      settings[i].envelope.after = standin::EndBehaviour::repeat;
    }
    if (settings[i].kind == SavedFacts::Kind::word)
      settings[i].word = 0x0A0B0C00U + static_cast<std::uint32_t>(16 * seed) + static_cast<std::uint32_t>(i);
    settings[i].number = static_cast<float>(100.0 * seed) + static_cast<float>(i) + 0.1F;
  }
  return settings;
}

std::vector<std::string> as_text(const std::vector<SavedValue>& settings) {
  standin::SaveState state(LWIO_TEXT);
  write(state, settings);
  return state.lines();
}

std::vector<std::uint8_t> as_binary(const std::vector<SavedValue>& settings) {
  standin::SaveState state(LWIO_BINARY);
  write(state, settings);
  return state.bytes();
}

}  // namespace test_support
