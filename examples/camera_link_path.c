/*
 * Prints where cameras publish their values. Linked against the module's import library instead of loading it by name; in
 * the unpacked package, where OviCam.p is beside the program:
 *
 *   x86_64-w64-mingw32-gcc -Iinclude examples/camera_link_path.c lib/libOviCam.a -o camera_link_path.exe
 *   cl /Iinclude examples\camera_link_path.c lib\OviCam.lib
 */
#include <stdio.h>

#include "interop/camera_link.h"

int main(void) {
  char path[260];
  if (!QrmLink_SidecarPath(path, (int)sizeof path)) {
    fprintf(stderr, "The temporary directory has no name or one that is too long; shorten it.\n");
    return 1;
  }
  printf("%s\n", path);
  return 0;
}
