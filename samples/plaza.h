#pragma once

#include <string>
#include <vector>

#include "samples/mesh.h"

namespace samples {

struct SampleObject {
  /// As the scene names it: relative to the scene's folder, with forward slashes.
  std::string file;
  std::string name;
  Mesh mesh;
  /// The object stands in the scene once for each of these, turned about the middle.
  std::vector<double> headings_degrees;
};

/// Half the side of the lettered floor, metres: eight tiles of three metres each way, A to H from west to east, 1 to 8 from
/// south to north.
constexpr double floor_half_side = 12.0;

/// How far east of the middle the tram's north-south line is, metres.
constexpr double tram_line_east = 15.0;

/// The plaza's objects: red to the north (+Z), green to the east (+X), yellow to the south, blue to the west, and the floor's
/// tiles as surfaces "Tile A1" to "Tile H8". All but the tram are modelled in place; the tram's origin is on the ground
/// below its middle. Threads: any.
std::vector<SampleObject> plaza_objects();

/// An upright board with a grid of straight lines, a metre apart, around the origin of the object and seen from the south; it
/// is 48 m wide and 32 m high. Threads: any.
SampleObject grid_board();

/// The inside of a cube around the origin of the object. Each side has its name, the axis of the world that it lies along, and
/// an arrow: up on four of them, and towards the front above and below.
SampleObject cube_chart();

}  // namespace samples
