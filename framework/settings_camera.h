#pragma once

#include <array>
#include <span>

#include "framework/camera.h"
#include "framework/panel.h"
#include "framework/parameters.h"
#include "framework/popup_list.h"
#include "framework/records.h"

namespace framework {

/// What a camera says of itself as data.
template <class Settings>
struct CameraTables {
  /// The owner of the envelopes.
  const char* server_name;
  /// What the host shows of an instance.
  const char* description;
  /// LWCameraFlags.
  unsigned flags = 0;
  /// Asks the host for the evaluators of other cameras.
  bool looks_through_other_cameras = false;
  /// The envelopes in order of creation.
  std::span<const Parameter<Settings>> parameters;
  /// What the scene keeps, in order of saving. Old scenes are read in this order: new items go to the end.
  std::span<const SavedItem<Settings>> saved;
  /// In the panel's order.
  std::span<const PanelRow<Settings>> panel;
  /// The entries of the panel's popups.
  PopupList popup = objects_popup;
  /// What the gizmo answers when the host asks for a handle, or moves one: -1 for none.
  int gizmo_handle = -1;
  /// Called when the host closes a panel, with what the panel's hint said; null: nobody takes notice.
  void (*panel_closed)(const void* data) = nullptr;
};

/// A camera with settings: their envelopes, their place in the scene file and their panel, all from its tables. `Settings` is
/// a struct of doubles and 32-bit words with their defaults.
template <class Settings>
class SettingsCamera : public Camera {
 public:
  /// No camera has more envelopes: kept within the instance, they are at hand in every ray.
  static constexpr std::size_t most_parameters = 10;

  SettingsCamera(const CameraTables<Settings>& tables, const HostServices& services, LWItemID item)
      : Camera(services, item), tables_(tables) {}

  /// Completes a new camera, whose envelopes start at its values.
  void start() {
    for (const auto& parameter : tables_.parameters)
      if (parameter.host_zoom) values.*parameter.value = readings().zoom_factor_now();
    initialise();
    const LWItemInfo* iteminfo = host().iteminfo;
    const LWChanGroupID group = iteminfo != nullptr && own_item != nullptr ? iteminfo->chanGroup(own_item) : nullptr;
    for (std::size_t i = 0; i < tables_.parameters.size(); ++i) {
      const auto& parameter = tables_.parameters[i];
      envelopes[i] =
          create_vpenv(host().vparmf, tables_.server_name, LWVP_FLOAT, parameter.channel, group, &(values.*parameter.value));
    }
  }

  /// Becomes a copy, with envelopes of its own: it takes over records, parameters and saved values. Copying to itself changes
  /// nothing.
  void copy_from(const SettingsCamera& from) {
    if (this == &from) return;
    forget();
    access = from.access;
    frame_info = from.frame_info;
    render_mode = 0;
    current_frame = 0;
    current_time = 0.0;
    focal_value = 0.0;
    aperture_value = 0.0;
    values = {};
    for (const auto& parameter : tables_.parameters) values.*parameter.value = from.values.*parameter.value;
    for (const auto& item : tables_.saved) {
      if (item.word != nullptr) values.*item.word = from.values.*item.word;
      if (item.value != nullptr) values.*item.value = from.values.*item.value;
    }
    after_copy(from);
    const LWVParmFuncs* vparmf = host().vparmf;
    for (std::size_t i = 0; i < envelopes.size() && vparmf != nullptr; ++i)
      if (envelopes[i] != nullptr && from.envelopes[i] != nullptr) vparmf->copy(envelopes[i], from.envelopes[i]);
  }

  /// Destroys the envelopes, which the host owns, before the instance is deleted.
  void release() {
    forget();
    const LWVParmFuncs* vparmf = host().vparmf;
    for (LWVParmID& envelope : envelopes) {
      if (envelope != nullptr && vparmf != nullptr) vparmf->destroy(envelope);
      envelope = nullptr;
    }
  }

  void load(const LWLoadState& state) override { load(state, tables_.saved); }
  void save(const LWSaveState& state) const override { save(state, tables_.saved); }
  /// What is missing keeps its value.
  void load(const LWLoadState& state, std::span<const SavedItem<Settings>> items);
  void save(const LWSaveState& state, std::span<const SavedItem<Settings>> items) const;

  void read_values(LWTime time) override {
    read_host_zoom(time);
    read_envelopes(time);
  }

  /// Of the host's camera, for a parameter that stands for its zoom factor.
  void read_host_zoom(LWTime time) {
    for (const auto& parameter : tables_.parameters) {
      if (!parameter.host_zoom) continue;
      const CameraReadings camera = readings();
      values.*parameter.value = camera.zoom_factor(time);
      focal_value = values.*parameter.value * camera.film_size().height * 0.5;
      // The f-stop is that of the host's current time, whatever time is asked for: scenes have been rendered so.
      aperture_value = focal_value * 0.5 / camera.f_stop_now();
    }
  }

  void read_envelopes(LWTime time) {
    for (const auto& parameter : tables_.parameters)
      if (!parameter.host_zoom) read_envelope(parameter.value, time);
  }

  void* panel_value(std::uint32_t id) override { return row_value(tables_.panel, id); }
  void set_panel_value(std::uint32_t id, const void* value) override { set_row_value(tables_.panel, id, value); }
  void* row_value(std::span<const PanelRow<Settings>> rows, std::uint32_t id);
  void set_row_value(std::span<const PanelRow<Settings>> rows, std::uint32_t id, const void* value);

  /// Null when the host refused it, or the value has none.
  LWVParmID envelope(double Settings::*value) const {
    const std::size_t index = index_of(tables_.parameters, value);
    return index < tables_.parameters.size() ? envelopes[index] : nullptr;
  }

  void read_envelope(double Settings::*value, LWTime time) {
    values.*value = envelope_value(host().vparmf, envelope(value), time, values.*value);
  }

  Settings values{};
  /// Of a camera that stands for the host's zoom factor, at the time that the values were read for: film distance in metres,
  /// and half of it over the f-stop.
  double focal_value = 0.0;
  double aperture_value = 0.0;
  /// In the order of the parameters.
  std::array<LWVParmID, most_parameters> envelopes{};

 private:
  const CameraTables<Settings>& tables_;
};

template <class Settings>
void SettingsCamera<Settings>::load(const LWLoadState& state, std::span<const SavedItem<Settings>> items) {
  using Kind = typename SavedItem<Settings>::Kind;
  const LWVParmFuncs* vparmf = host().vparmf;
  for (const auto& item : items) {
    if (item.kind == Kind::envelope) {
      if (const LWVParmID id = envelope(item.value); id != nullptr && vparmf != nullptr) vparmf->load(id, &state);
    } else if (item.kind == Kind::number || item.kind == Kind::plain_number) {
      float number = 0.0F;
      if (state.readFP(state.readData, &number, 1) != 1) continue;
      values.*item.value = item.kind == Kind::plain_number || number > 0.0F ? number : item.fallback;
      set_envelope(vparmf, envelope(item.value), values.*item.value);
    } else {
      std::uint32_t word = 0;
      if (state.readU4(state.readData, &word, 1) == 1 && item.word != nullptr) values.*item.word = word;
    }
  }
}

template <class Settings>
void SettingsCamera<Settings>::save(const LWSaveState& state, std::span<const SavedItem<Settings>> items) const {
  using Kind = typename SavedItem<Settings>::Kind;
  const LWVParmFuncs* vparmf = host().vparmf;
  for (const auto& item : items) {
    if (item.kind == Kind::envelope) {
      if (const LWVParmID id = envelope(item.value); id != nullptr && vparmf != nullptr) vparmf->save(id, &state);
    } else if (item.kind == Kind::number || item.kind == Kind::plain_number) {
      const auto number = static_cast<float>(values.*item.value);
      state.writeFP(state.writeData, &number, 1);
    } else {
      const std::uint32_t word = item.word != nullptr ? values.*item.word : 0;
      state.writeU4(state.writeData, &word, 1);
    }
  }
}

template <class Settings>
void* SettingsCamera<Settings>::row_value(std::span<const PanelRow<Settings>> rows, std::uint32_t id) {
  for (const auto& row : rows) {
    using Binding = typename PanelRow<Settings>::Binding;
    if (row.id != id) continue;
    switch (row.binding) {
      case Binding::none:
        return nullptr;
      case Binding::text:
        return const_cast<char*>(row.text);
      case Binding::envelope:
        return envelope(row.value);
      case Binding::word:
        return &(values.*row.word);
      case Binding::clamped_number:
      case Binding::plain_number:
        return &(values.*row.value);
    }
  }
  return nullptr;
}

template <class Settings>
void SettingsCamera<Settings>::set_row_value(std::span<const PanelRow<Settings>> rows, std::uint32_t id, const void* value) {
  for (const auto& row : rows) {
    using Binding = typename PanelRow<Settings>::Binding;
    if (row.id != id) continue;
    if (row.binding == Binding::word) values.*row.word = *static_cast<const std::uint32_t*>(value);
    if (row.binding == Binding::plain_number) values.*row.value = *static_cast<const double*>(value);
    if (row.binding == Binding::clamped_number) {
      double& number = values.*row.value;
      number = *static_cast<const double*>(value);
      // Written so that what is not a number becomes the minimum.
      if (!(number >= row.minimum)) number = row.minimum;
      if (number > row.maximum) number = row.maximum;
      set_envelope(host().vparmf, envelope(row.value), number);
    }
  }
}

}  // namespace framework
