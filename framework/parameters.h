#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

#include "framework/host_services.h"

namespace framework {

/// An animatable parameter of a camera: the channel that the host's graph editor shows, and the value that the ray mapping
/// reads. The default is the value's own initialiser.
template <class Lens>
struct Parameter {
  const char* channel;
  double Lens::*value;
  /// The envelope only stands for the host camera's zoom factor: it is never read, loaded or saved.
  bool host_zoom = false;
};

template <class Lens>
constexpr Parameter<Lens> parameter(const char* channel, double Lens::*value) {
  return {channel, value};
}

template <class Lens>
constexpr Parameter<Lens> host_zoom_parameter(double Lens::*value) {
  return {"ZoomFactor", value, true};
}

/// One thing that a camera keeps in the scene file.
template <class Lens>
struct SavedItem {
  enum class Kind { envelope, word, reserved_word, number, plain_number };

  Kind kind;
  double Lens::*value = nullptr;
  std::uint32_t Lens::*word = nullptr;
  /// Taken in place of a loaded number that is not above zero.
  double fallback = 0.0;
};

template <class Lens>
constexpr SavedItem<Lens> saved_envelope(double Lens::*value) {
  return {SavedItem<Lens>::Kind::envelope, value};
}

/// An unsigned 32-bit word.
template <class Lens>
constexpr SavedItem<Lens> saved_word(std::uint32_t Lens::*word) {
  return {SavedItem<Lens>::Kind::word, nullptr, word};
}

/// A word that is written as 0 and ignored when read.
template <class Lens>
constexpr SavedItem<Lens> reserved_word() {
  return {SavedItem<Lens>::Kind::reserved_word};
}

/// A parameter's plain value as a single-precision number, in place of its envelope.
template <class Lens>
constexpr SavedItem<Lens> saved_number(double Lens::*value, double fallback) {
  return {SavedItem<Lens>::Kind::number, value, nullptr, fallback};
}

/// A value that has no envelope, as a single-precision number; taken as it is loaded.
template <class Lens>
constexpr SavedItem<Lens> saved_plain_number(double Lens::*value) {
  return {SavedItem<Lens>::Kind::plain_number, value};
}

/// Where a value stands in a camera's parameter table, and so among its envelopes; the table's size when it has none.
template <class Lens>
constexpr std::size_t index_of(std::type_identity_t<std::span<const Parameter<Lens>>> parameters, double Lens::*value) {
  std::size_t index = 0;
  while (index < parameters.size() && parameters[index].value != value) ++index;
  return index;
}

/// Makes one envelope of the host's float type without texture, starting at `*initial`, under the channel group of an item
/// and the name of the server. Null when the host refuses, or has no such service. Threads: the host's main thread.
LWVParmID create_vpenv(const LWVParmFuncs* vparmf, const char* server_name, int envelope_type, const char* channel,
                       LWChanGroupID group, const double* initial);

/// The envelope's value at a time, or `otherwise` when there is no envelope. Threads: any.
inline double envelope_value(const LWVParmFuncs* vparmf, LWVParmID envelope, LWTime time, double otherwise) {
  if (vparmf == nullptr || envelope == nullptr) return otherwise;
  // The host may fill all three, whatever the parameter's own size.
  double result[3] = {otherwise, 0.0, 0.0};
  vparmf->getVal(envelope, time, nullptr, result);
  return result[0];
}

/// Sets a constant envelope; nothing happens to a keyed one, nor when there is none. Threads: the host's main thread.
void set_envelope(const LWVParmFuncs* vparmf, LWVParmID envelope, double value);

}  // namespace framework
