#include "tool/output/panorama_metadata.h"

namespace tool {

std::vector<std::pair<std::string, std::string>> panorama_properties(const Panorama& panorama) {
  const bool half = panorama.cover == PanoramaCover::half;
  const int turn_width = half ? 2 * panorama.width : panorama.width;
  // What is to the left of a half is a whole number of pixels.
  if (turn_width != 2 * panorama.height || (half && panorama.width % 2 != 0)) return {};
  std::vector<std::pair<std::string, std::string>> properties{
      {"GPano:UsePanoramaViewer", "True"},
      {"GPano:ProjectionType", "equirectangular"},
      {"GPano:FullPanoWidthPixels", std::to_string(turn_width)},
      {"GPano:FullPanoHeightPixels", std::to_string(panorama.height)},
      {"GPano:CroppedAreaImageWidthPixels", std::to_string(panorama.width)},
      {"GPano:CroppedAreaImageHeightPixels", std::to_string(panorama.height)},
      {"GPano:CroppedAreaLeftPixels", std::to_string((turn_width - panorama.width) / 2)},
      {"GPano:CroppedAreaTopPixels", "0"}};
  if (panorama.packing) {
    properties.emplace_back("GSpherical:Spherical", "true");
    properties.emplace_back("GSpherical:ProjectionType", "equirectangular");
    properties.emplace_back("GSpherical:StereoMode", *panorama.packing == Packing::over_under ? "top-bottom" : "left-right");
  }
  return properties;
}

std::string panorama_packet(const std::vector<std::pair<std::string, std::string>>& properties) {
  if (properties.empty()) return {};
  std::string packet =
      "<?xpacket begin=\"\xEF\xBB\xBF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n"
      " <rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n"
      "  <rdf:Description rdf:about=\"\" xmlns:GPano=\"http://ns.google.com/photos/1.0/panorama/\" "
      "xmlns:GSpherical=\"http://ns.google.com/videos/1.0/spherical/\">\n";
  for (const auto& [name, value] : properties)
    packet.append("   <").append(name).append(">").append(value).append("</").append(name).append(">\n");
  packet += "  </rdf:Description>\n </rdf:RDF>\n</x:xmpmeta>\n<?xpacket end=\"r\"?>";
  return packet;
}

}  // namespace tool
