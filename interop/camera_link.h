#ifndef OVICAM_CAMERA_LINK_H
#define OVICAM_CAMERA_LINK_H

/**
 * The camera link file: a small text file, "Quorin_CameraLink.ini" in the user's temporary directory, by which a rendering
 * camera tells other programs its photographic values. The module file exports these functions under these names.
 *
 * The file begins with the line "[CameraLink]"; every other line is key=value, numbers with six decimals and a point
 * whatever the locale. Texts are written as they are given: one that holds a line end breaks its line. Its numbers are
 * those of one call.
 *
 * Threads: every function may be called by any thread at any time. None waits, but on Windows for some 20 milliseconds while
 * another program has the file open. A write that finds another one under way, in
 * this process or in another one that uses this module, writes nothing and returns 0. The content grows in a second file,
 * the link file's name with ".tmp" appended, and is put in place in one step: a reader, and whoever looks after a process
 * was ended while writing, finds the previous content or the new one whole. A ".tmp" file left by such a process is
 * overwritten by the next write. A program that writes the ".tmp" file by other means is outside these guarantees.
 *
 * Nothing that others leave in the place of one of the two files is followed, written to or waited for: neither a link, nor a
 * second name of another file, nor a pipe.
 */

/* C programs read this header, too. */
/* NOLINTBEGIN(modernize-deprecated-headers, modernize-use-using) */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** What the link file says. Texts are cut to their field and always end with a NUL. What the file does not say is 0. */
typedef struct QrmLinkRecord {
  int32_t version;         /**< 1; -1 when the file does not give one */
  char plugin[128];        /**< family of the plug-in that wrote the file */
  char plugin_version[32]; /**< its version */
  char body[128];          /**< camera body */
  double iso;              /**< sensitivity, ISO */
  double iris;             /**< f-number */
  double shutter_angle;    /**< degrees, 1 to 360 */
  double frame_time;       /**< time given by the writer; this module's cameras give the fraction of the frame, 0 to 1 */
  char scene[128];         /**< scene name */
  double native_iso;       /**< native sensitivity of the sensor, ISO */
  double dynamic_range;    /**< stops */
  int32_t aperture_source; /**< where the aperture came from, a code of the writer's */
  double focal_mm;         /**< focal length, millimetres */
  double film_w_mm;        /**< film width, millimetres */
  double film_h_mm;        /**< film height, millimetres */
  double distort_k1;       /**< first radial distortion coefficient */
  double distort_k2;       /**< second radial distortion coefficient */
  double distort_strength; /**< share of the distortion that is applied */
  int32_t stmap_active;    /**< whether an ST map is used: 0 or 1 */
  char stmap_path[512];    /**< image file of the ST map */
  double stmap_strength;   /**< share of the ST map's displacement that is applied */
  double stmap_blend;      /**< blend of the ST map with the plain picture */
  char lens[256];          /**< lens name */
  double cam_pos[3];       /**< camera position, metres in the scene's world */
  double cam_right[3];     /**< the camera's right axis, in the world */
  double cam_up[3];        /**< the camera's up axis, in the world */
  double cam_forward[3];   /**< the camera's viewing direction, in the world */
  char body_tag[64];       /**< short code of the body */
  char lens_tag[64];       /**< short code of the lens */
  char camera_name[128];   /**< name of the camera item */
} QrmLinkRecord;

/**
 * Writes the link file's path into `out`, cut to `size` characters with its NUL, whether the file is there or not.
 * Returns 1; 0, with nothing written, when `out` is null, `size` is less than 64, or the temporary directory has no name
 * or one longer than 259 characters.
 */
int QrmLink_SidecarPath(char* out, int size);

/**
 * Publishes the values of a camera. Returns 1 when the file was replaced; 0 when it was not, with the previous file as it
 * was: another write is under way, the temporary directory is missing, too long or may not be written, the disk is full,
 * or, on Windows, another program has the file open just then. Calling again later is safe.
 * Null texts stand for "unknown" (plugin), "0" (plugin_version) or nothing. Units and ranges as in QrmLinkRecord; values
 * are written as they are given, unchecked. Scene, native ISO and dynamic range are empty and 0.
 */
int QrmLink_Write(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                  double shutter_angle, double frame_time);

/** QrmLink_Write with the scene name. */
int QrmLink_WriteEx(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                    double shutter_angle, double frame_time, const char* scene);

/** QrmLink_WriteEx with the sensor's native ISO and its dynamic range in stops. */
int QrmLink_WriteEx2(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                     double shutter_angle, double frame_time, const char* scene, double native_iso, double dynamic_range);

/** QrmLink_WriteEx2 with the code of where the aperture came from, which the callers agree on among themselves. */
int QrmLink_WriteEx3(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                     double shutter_angle, double frame_time, const char* scene, double native_iso, double dynamic_range,
                     int aperture_source);

/** QrmLink_WriteEx3 with focal length and film size in millimetres, lens distortion, ST map and lens name. */
int QrmLink_WriteEx4(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                     double shutter_angle, double frame_time, const char* scene, double native_iso, double dynamic_range,
                     int aperture_source, double focal_mm, double film_w_mm, double film_h_mm, double distort_k1,
                     double distort_k2, double distort_strength, int stmap_active, const char* stmap_path,
                     double stmap_strength, double stmap_blend, const char* lens);

/** QrmLink_WriteEx4 with the camera's pose, three numbers each, where a null pointer leaves its line out, and the tags. */
int QrmLink_WriteEx5(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                     double shutter_angle, double frame_time, const char* scene, double native_iso, double dynamic_range,
                     int aperture_source, double focal_mm, double film_w_mm, double film_h_mm, double distort_k1,
                     double distort_k2, double distort_strength, int stmap_active, const char* stmap_path,
                     double stmap_strength, double stmap_blend, const char* lens, const double* cam_pos,
                     const double* cam_right, const double* cam_up, const double* cam_forward, const char* body_tag,
                     const char* lens_tag);

/** QrmLink_WriteEx5 with the name of the camera item. */
int QrmLink_WriteEx6(const char* plugin, const char* plugin_version, const char* body, double iso, double iris,
                     double shutter_angle, double frame_time, const char* scene, double native_iso, double dynamic_range,
                     int aperture_source, double focal_mm, double film_w_mm, double film_h_mm, double distort_k1,
                     double distort_k2, double distort_strength, int stmap_active, const char* stmap_path,
                     double stmap_strength, double stmap_blend, const char* lens, const double* cam_pos,
                     const double* cam_right, const double* cam_up, const double* cam_forward, const char* body_tag,
                     const char* lens_tag, const char* camera_name);

/**
 * Fills `record` from the link file. Returns 1 when there is a file and its version is 1. Otherwise 0, and the record holds
 * what could be read: all zero but for version -1 when there is no file; nothing is written when `record` is null.
 * Unknown keys are ignored; of a key given more than once the last line counts. Lines are read in pieces of 511 characters.
 */
int QrmLink_Read(QrmLinkRecord* record);

#ifdef __cplusplus
}
#endif

/* NOLINTEND(modernize-deprecated-headers, modernize-use-using) */

#endif
