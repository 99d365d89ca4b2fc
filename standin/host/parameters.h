#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "sdk/services.h"
#include "standin/host/audit.h"
#include "standin/host/handle_table.h"
#include "standin/scene/envelope.h"

namespace standin {

/// A VParm: a value that the host keeps and animates for a module.
struct VariantParameter {
  /// Counts creations, from 1.
  std::uint64_t serial = 0;
  int type = 0;
  int texture_type = 0;
  std::string channel_name;
  LWChanGroupID group = nullptr;
  std::string plugin_name;
  /// How often the module has set it up: once, before it is used.
  int set_ups = 0;
  Envelope envelope = Envelope::constant(0.0);
  /// The three doubles of the last setVal, whether or not it had an effect.
  std::array<double, 3> last_set{};

  double at(double time_seconds) const { return envelope.at(time_seconds); }
  void set_constant(double value) { envelope = Envelope::constant(value); }
  /// Linear keys: time in seconds, and value.
  void set_keys(const std::vector<std::pair<double, double>>& keys);
};

/// The parameters that the module has created and not destroyed. Threads: getVal from any number at once.
class ParameterService {
 public:
  HandleTable<VariantParameter, LWVParmID, 0x1A01> table;
  /// Makes `create` return null.
  Refusal refusal;
  std::uint64_t created = 0;

  /// The living parameters of that group with serials in [first, last), in order of creation. A null group stands for any.
  std::vector<VariantParameter*> of(LWChanGroupID group, std::uint64_t first = 0, std::uint64_t last = UINT64_MAX) const;
};

}  // namespace standin
