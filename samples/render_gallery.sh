#!/bin/sh
# Renders the gallery through the shipped Windows module, with a page that shows it.
# OVICAM_TOOL and OVICAM_MODULE name another program and another module.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
tool=${OVICAM_TOOL:-$root/build/native/ovicam}
module=${OVICAM_MODULE:-$root/build/windows/OviCam.p}
gallery="$root/build/gallery"
page="$gallery/index.html.unfinished"
mkdir -p "$gallery"

cat >"$page" <<'END'
<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<title>What the cameras see</title>
<style>
body { margin: 2em; background: #26282b; color: #ddd; font: 15px sans-serif }
main { display: flex; flex-wrap: wrap; gap: 2em }
figure { margin: 0; width: min-content }
img { display: block; max-width: 90vw }
figcaption { margin-top: .4em; min-width: 20em }
</style>
<h1>What the cameras see</h1>
<main>
END

show() {
  printf '<figure><img src="%s" alt=""><figcaption>%s</figcaption></figure>\n' "$1" "$2" >>"$page"
}

# Two at a time: while one picture's programs start, the other one uses the machine.
earlier=""
paint() {
  "$tool" "$@" &
  later=$!
  [ -z "$earlier" ] || wait "$earlier"
  earlier=$later
}

# render PICTURE CAMERA CAPTION [option ...], with $samples per pixel
samples=8
render() {
  picture=$1
  camera=$2
  caption=$3
  shift 3
  paint render "$root/samples/cameras.lws" --module "$module" --camera "$camera" -o "$gallery/$picture" \
    --samples "$samples" "$@"
  show "$picture" "$caption"
}

paint render "$root/samples/plaza.lws" --module "$module" --camera Panorama -o "$gallery/panorama.png" \
  --samples 8 --size 960x240
show panorama.png "Panorama: the whole turn from left to right, 45° up and down."
render perspective.png Perspective "Perspective: everything is sharp."
samples=16
render perspective_depth_of_field.png "Perspective Depth of Field" \
  "Perspective with depth of field: focused on the hall, the flowers in front are not sharp."
render motion_blur.png Moving "Motion blur: the camera rides past the flowers to the right." --frames 15
samples=8
render spherical_180.png "Spherical 180" "Spherical, 180°: the circle that touches the edges is the half of the world ahead."
render spherical_360.png "Spherical 360" "Spherical, 360°: the circle is the whole world; straight behind lies all around it."
render stereo.png Stereo "Stereo, one picture: left eye and right eye side by side."
render stereo_left.png Stereo "Stereo, left eye." --eye left --size 320x320
render stereo_right.png Stereo "Stereo, right eye." --eye right --size 320x320
render stereo_convergence.png "Stereo Convergence" "Stereo, both eyes turned in to the flowers."
render fisheye_power_half.png "Fisheye Power 0.5" "Fisheye, power 0.5: the middle is wide, the corners stay."
render fisheye_power_one.png "Fisheye Power 1" "Fisheye, power 1: a plain perspective."
render fisheye_power_two.png "Fisheye Power 2" "Fisheye, power 2: the middle is magnified, the corners stay."
render radial_shift_barrel.png "Radial Shift Barrel" "Radial shift, c = 0.35: straight lines bulge outwards (barrel)."
render radial_shift_pincushion.png "Radial Shift Pincushion" \
  "Radial shift, c = −0.25: straight lines bend inwards (pincushion)."
render advanced_panorama.png "Advanced Panorama" "Advanced panorama as it comes: the whole turn."
render advanced_panorama_limits.png "Advanced Panorama Limits" "Advanced panorama: 200° across, from 15° down to 65° up."
render advanced_panorama_scales.png "Advanced Panorama Scales" \
  "Advanced panorama: right half scaled to 200 %, left to 60 %, top to 160 %, shifted by 25 % and 20 %."
render immersive.png Immersive "Immersive: the full sphere."
render cylinder_upright.png "Cylinder Upright" "Cylinder about the upright axis: all around, and 12 m of height seen level."
render cylinder_lying.png "Cylinder Lying" "Cylinder about the lying axis: 28 m of width seen straight on, from the floor to the sky."
render dual.png Dual "Dual: two cameras side by side."
render four_up.png Four-up "Four-up: four cameras, one of them a fisheye."
render twelve_up.png Twelve-up "Twelve-up: twelve cameras with lenses from wide to long."
render dual_of_multiview.png "Dual of Multi-view" "Dual, showing the middle of the twelve-up and of the four-up camera."
render skybox_cross.png "Skybox Cross" "Skybox, unfolded to a cross."
render skybox_alternate.png "Skybox Alternate" "Skybox, unfolded to the alternate shape: the sky is joined to the back."
render plain.png "From a Roof" "A plain camera of the host, as the next two cameras' source."
render overscan.png Overscan "Overscan: the frame 10 % larger, jittered by 8 % across and 4 % up."
render dpi.png DPI "Print frame: 20 cm at 60 dots per inch, and 1 cm of bleed around what the camera sees."

wait "$earlier"

# Gizmos and panels are drawn by this machine's build of the module.
# gizmo PICTURE CAMERA CAPTION
gizmo() {
  "$tool" render "$root/samples/cameras.lws" --camera "$2" --gizmo --size 480x360 -o "$gallery/$1"
  show "$1" "$3"
}

# panel NAME CAMERA CAPTION
panel() {
  "$tool" panel "$root/samples/cameras.lws" --camera "$2" -o "$gallery/$1.html"
  [ ! -f "$gallery/$1.png" ] || show "$1.png" "$3"
}

gizmo stereo_gizmo.png "Stereo Convergence" "In the viewport: the convergence plane at the flowers, and the stereo camera's two eyes."
gizmo fisheye_gizmo.png "Fisheye Power 2" "In the viewport: the surface that the fisheye's rays sweep."
panel stereo_panel "Stereo Convergence" "The stereo camera's panel."
panel dpi_panel DPI "The print frame's panel."
panel skybox_panel "Skybox Cross" "The skybox camera's panel."

printf '</main>\n</html>\n' >>"$page"
mv "$page" "$gallery/index.html"
echo "The pictures are in $gallery; index.html shows them all."
