#pragma once

/// The text of the camera link file, apart from where it is kept.

#include <cstdio>
#include <string>

#include "interop/camera_link.h"

namespace camera_link {

/// What the writers are given, in the order of the fullest one's arguments. Pointers belong to the caller.
struct Values {
  const char* plugin = nullptr;
  const char* plugin_version = nullptr;
  const char* body = nullptr;
  double iso = 0.0;
  double iris = 0.0;
  double shutter_angle = 0.0;
  double frame_time = 0.0;
  const char* scene = nullptr;
  double native_iso = 0.0;
  double dynamic_range = 0.0;
  int aperture_source = 0;
  double focal_mm = 0.0;
  double film_w_mm = 0.0;
  double film_h_mm = 0.0;
  double distort_k1 = 0.0;
  double distort_k2 = 0.0;
  double distort_strength = 0.0;
  int stmap_active = 0;
  const char* stmap_path = nullptr;
  double stmap_strength = 0.0;
  double stmap_blend = 0.0;
  const char* lens = nullptr;
  const double* cam_pos = nullptr;
  const double* cam_right = nullptr;
  const double* cam_up = nullptr;
  const double* cam_forward = nullptr;
  const char* body_tag = nullptr;
  const char* lens_tag = nullptr;
  const char* camera_name = nullptr;
  int version = 1;
};

/// The writers differ in the lines they write; each writes the lines of those before it and more.
enum class Writer { ex2 = 2, ex3, ex4, ex5, ex6 };

/// The whole text of the file, lines ending in a line feed. Throws std::bad_alloc.
std::string compose(Writer writer, const Values& values);

/// Reads lines to the file's end into `record`, which keeps what no line sets.
void read(std::FILE* file, QrmLinkRecord& record);

}  // namespace camera_link
