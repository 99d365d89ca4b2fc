#pragma once

#include <cstdint>

#include "framework/panel.h"
#include "framework/parameters.h"

/// The exposure that a shot is meant to have. It changes no ray: it is published for other programs to read.
namespace photographic {

inline constexpr double default_iso = 800.0;
inline constexpr double default_iris = 2.8;
inline constexpr double default_shutter_degrees = 180.0;

/// The channels, in order; `Lens` has the three values by these names.
template <class Lens>
constexpr auto iso_parameter = framework::parameter("PhotoISO", &Lens::photo_iso);
template <class Lens>
constexpr auto iris_parameter = framework::parameter("PhotoIris", &Lens::photo_iris);
template <class Lens>
constexpr auto shutter_parameter = framework::parameter("PhotoShutter", &Lens::photo_shutter_degrees);

/// Plain numbers in the scene file; what is not above zero is replaced by its default when read.
template <class Lens>
constexpr auto saved_iso = framework::saved_number(&Lens::photo_iso, default_iso);
template <class Lens>
constexpr auto saved_iris = framework::saved_number(&Lens::photo_iris, default_iris);
template <class Lens>
constexpr auto saved_shutter = framework::saved_number(&Lens::photo_shutter_degrees, default_shutter_degrees);

/// Panel rows, which clamp what is typed.
inline constexpr double unlimited = __builtin_inf();
template <class Lens>
constexpr auto iso_row = framework::PanelRow<Lens>::clamped_number(0x8014, "ISO", &Lens::photo_iso, 1.0, unlimited);
template <class Lens>
constexpr auto iris_row = framework::PanelRow<Lens>::clamped_number(0x8015, "Iris (f-stop)", &Lens::photo_iris, 0.5, unlimited);
template <class Lens>
constexpr auto shutter_row =
    framework::PanelRow<Lens>::clamped_number(0x8016, "Shutter Angle", &Lens::photo_shutter_degrees, 1.0, 360.0);

}  // namespace photographic
