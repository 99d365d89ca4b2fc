/// Feeds any bytes to both ends of the ray service's conversation. What is read once is written and read as the same again.

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "standin/remote/ray_protocol.h"

namespace {

using namespace standin::ray_protocol;

template <class Message>
void read_as(const std::vector<char>& bytes) {
  try {
    MessageReader reader(bytes);
    const auto message = unpacked<Message>(reader);
    const std::vector<char> written = packed(message);
    // Behind the kind.
    MessageReader again({written.begin() + 1, written.end()});
    if (packed(unpacked<Message>(again)) != written) std::abort();
  } catch (const std::runtime_error&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::vector<char> bytes(data + 1, data + size);
  switch (*data % 11) {
    case 0:
      read_as<OpenSession>(bytes);
      break;
    case 1:
      read_as<OpenSession::Answer>(bytes);
      break;
    case 2:
      read_as<BeginFrame>(bytes);
      break;
    case 3:
      read_as<BeginFrame::Answer>(bytes);
      break;
    case 4:
      read_as<EvaluateRays>(bytes);
      break;
    case 5:
      read_as<ProjectPoint>(bytes);
      break;
    case 6:
      read_as<ProjectPoint::Answer>(bytes);
      break;
    case 7:
      read_as<DescribeModule::Answer>(bytes);
      break;
    case 9:
      read_as<ProjectPoints>(bytes);
      break;
    case 10:
      read_as<PlacesFilled>(bytes);
      break;
    default:
      read_as<Failure>(bytes);
  }
  return 0;
}
