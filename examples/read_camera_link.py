#!/usr/bin/env python3
"""Prints what a rendering camera published, or why there is nothing to print: read_camera_link.py MODULE-FILE"""

import ctypes
import os
import sys

TEXT = ctypes.c_char
NUMBER = ctypes.c_double
VECTOR = ctypes.c_double * 3


class Record(ctypes.Structure):
    """The record of interop/camera_link.h; the order of the fields is the layout."""

    _fields_ = [
        ("version", ctypes.c_int32),
        ("plugin", TEXT * 128),
        ("plugin_version", TEXT * 32),
        ("body", TEXT * 128),
        ("iso", NUMBER),
        ("iris", NUMBER),
        ("shutter_angle", NUMBER),
        ("frame_time", NUMBER),
        ("scene", TEXT * 128),
        ("native_iso", NUMBER),
        ("dynamic_range", NUMBER),
        ("aperture_source", ctypes.c_int32),
        ("focal_mm", NUMBER),
        ("film_w_mm", NUMBER),
        ("film_h_mm", NUMBER),
        ("distort_k1", NUMBER),
        ("distort_k2", NUMBER),
        ("distort_strength", NUMBER),
        ("stmap_active", ctypes.c_int32),
        ("stmap_path", TEXT * 512),
        ("stmap_strength", NUMBER),
        ("stmap_blend", NUMBER),
        ("lens", TEXT * 256),
        ("cam_pos", VECTOR),
        ("cam_right", VECTOR),
        ("cam_up", VECTOR),
        ("cam_forward", VECTOR),
        ("body_tag", TEXT * 64),
        ("lens_tag", TEXT * 64),
        ("camera_name", TEXT * 128),
    ]


def shown(value):
    if isinstance(value, bytes):
        return value.decode(errors="replace")
    if isinstance(value, VECTOR):
        return " ".join(f"{component:g}" for component in value)
    return f"{value:g}"


def main():
    if len(sys.argv) != 2:
        sys.exit(f"usage: {sys.argv[0]} MODULE-FILE")
    try:
        module = ctypes.CDLL(os.path.abspath(sys.argv[1]))
    except OSError as error:
        sys.exit(f"The camera module cannot be loaded; give the path of its file: {error}")
    try:
        read_link, link_path = module.QrmLink_Read, module.QrmLink_SidecarPath
    except AttributeError:
        sys.exit(f"{sys.argv[1]} is not the camera module: it does not offer the camera link functions.")

    path = ctypes.create_string_buffer(260)
    if not link_path(path, len(path)):
        sys.exit("The temporary directory has no name or one that is too long; shorten it.")
    record = Record()
    if not read_link(ctypes.byref(record)):
        name = os.fsdecode(path.value)
        if not os.path.exists(name):
            sys.exit(f"There is no {name}; render with a camera that publishes its values first.")
        sys.exit(f"{name} has version {record.version} and not 1; it is damaged or from another program.")
    for name, _ in Record._fields_:
        print(f"{name:16} {shown(getattr(record, name))}")


if __name__ == "__main__":
    main()
