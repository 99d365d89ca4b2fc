/*
 * Prints what a rendering camera published, or why there is nothing to print. In the unpacked package:
 *
 *   x86_64-w64-mingw32-gcc -Iinclude examples/read_camera_link.c -o read_camera_link.exe
 *   cl /Iinclude examples\read_camera_link.c
 *   read_camera_link.exe OviCam.p
 *
 * With a build of the module for this machine, in the sources' folder:
 *
 *   cc -I. examples/read_camera_link.c -ldl -o read_camera_link && ./read_camera_link OviCam.so
 */
#include <stdio.h>
#include <string.h>

#include "interop/camera_link.h"

#ifdef _WIN32
#include <windows.h>
typedef HMODULE Library;
static Library load(const char* file) { return LoadLibraryA(file); }
static void find(Library library, const char* name, void* function) {
  FARPROC found = GetProcAddress(library, name);
  memcpy(function, &found, sizeof found);
}
#else
#include <dlfcn.h>
typedef void* Library;
static Library load(const char* file) { return dlopen(file, RTLD_NOW); }
static void find(Library library, const char* name, void* function) {
  void* found = dlsym(library, name);
  memcpy(function, &found, sizeof found);
}
#endif

static void print_vector(const char* name, const double vector[3]) {
  printf("%-14s %g %g %g\n", name, vector[0], vector[1], vector[2]);
}

int main(int argc, char** argv) {
  int (*read_link)(QrmLinkRecord*) = NULL;
  int (*link_path)(char*, int) = NULL;
  QrmLinkRecord record;
  char path[260];
  FILE* file;
  Library library;

  if (argc != 2) {
    fprintf(stderr, "usage: %s MODULE-FILE\n", argv[0]);
    return 2;
  }
  library = load(argv[1]);
  if (!library) {
    fprintf(stderr, "%s cannot be loaded; give the path of the camera module's file.\n", argv[1]);
    return 2;
  }
  find(library, "QrmLink_Read", &read_link);
  find(library, "QrmLink_SidecarPath", &link_path);
  if (!read_link || !link_path) {
    fprintf(stderr, "%s is not the camera module: it does not offer the camera link functions.\n", argv[1]);
    return 2;
  }

  if (!link_path(path, (int)sizeof path)) {
    fprintf(stderr, "The temporary directory has no name or one that is too long; shorten it.\n");
    return 1;
  }
  if (!read_link(&record)) {
    file = fopen(path, "r");
    if (!file) {
      fprintf(stderr, "There is no %s; render with a camera that publishes its values first.\n", path);
    } else {
      fclose(file);
      fprintf(stderr, "%s has version %d and not 1; it is damaged or from another program.\n", path, (int)record.version);
    }
    return 1;
  }

  printf("%-14s %s %s\n", "plug-in", record.plugin, record.plugin_version);
  printf("%-14s %s %s\n", "body", record.body, record.body_tag);
  printf("%-14s %s %s\n", "lens", record.lens, record.lens_tag);
  printf("%-14s %s\n", "scene", record.scene);
  printf("%-14s %s\n", "camera", record.camera_name);
  printf("%-14s ISO %g, native %g, %g stops\n", "sensor", record.iso, record.native_iso, record.dynamic_range);
  printf("%-14s f/%g, source %d\n", "iris", record.iris, (int)record.aperture_source);
  printf("%-14s %g degrees\n", "shutter", record.shutter_angle);
  printf("%-14s %g\n", "frame time", record.frame_time);
  printf("%-14s %g mm on %g x %g mm\n", "focal length", record.focal_mm, record.film_w_mm, record.film_h_mm);
  printf("%-14s k1 %g, k2 %g, strength %g\n", "distortion", record.distort_k1, record.distort_k2, record.distort_strength);
  printf("%-14s %s %s, strength %g, blend %g\n", "ST map", record.stmap_active ? "on" : "off", record.stmap_path,
         record.stmap_strength, record.stmap_blend);
  print_vector("position", record.cam_pos);
  print_vector("right", record.cam_right);
  print_vector("up", record.cam_up);
  print_vector("forward", record.cam_forward);
  return 0;
}
