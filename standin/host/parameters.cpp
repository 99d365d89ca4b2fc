#include "standin/host/parameters.h"

#include <algorithm>
#include <utility>

#include "standin/host/save_state.h"
#include "standin/host/services.h"

namespace standin {
namespace {

LWVParmID create(int type, int texture_type) {
  Host* host = Host::current();
  if (host == nullptr) return nullptr;
  if (type != LWVP_FLOAT && type != LWVP_PERCENT && type != LWVP_DIST && type != LWVP_ANGLE) {
    violation("LWVParmFuncs create", "the type " + std::to_string(type) + " is not one of the host's");
    return nullptr;
  }
  if (host->parameters.refusal.refuses()) return nullptr;
  auto parameter = std::make_unique<VariantParameter>();
  parameter->serial = ++host->parameters.created;
  parameter->type = type;
  parameter->texture_type = texture_type;
  return host->parameters.table.add(std::move(parameter));
}

void destroy(LWVParmID id) {
  Host* host = Host::current();
  if (host != nullptr && host->parameters.table.take(id) == nullptr)
    violation("LWVParmFuncs destroy", "the handle " + handle_text(id) + " is stale or was never given out");
}

void setup(LWVParmID id, const char* channel_name, LWChanGroupID group, void* /*texture_context*/, void* /*event*/,
           const char* plugin_name, void* /*user_data*/) {
  if (VariantParameter* parameter = require(&Host::parameters, id, "LWVParmFuncs setup")) {
    if (++parameter->set_ups > 1)
      violation("LWVParmFuncs setup", "the parameter \"" + parameter->channel_name + "\" is set up already");
    parameter->channel_name = channel_name != nullptr ? channel_name : "";
    parameter->group = group;
    parameter->plugin_name = plugin_name != nullptr ? plugin_name : "";
  }
}

LWError copy(LWVParmID to, LWVParmID from) {
  VariantParameter* target = require(&Host::parameters, to, "LWVParmFuncs copy (target)");
  const VariantParameter* source = require(&Host::parameters, from, "LWVParmFuncs copy (source)");
  if (target == nullptr || source == nullptr) return "There is no such parameter";
  target->envelope = source->envelope;
  return nullptr;
}

LWError load(LWVParmID id, const LWLoadState* record) {
  VariantParameter* parameter = require(&Host::parameters, id, "LWVParmFuncs load");
  LoadState* state = LoadState::behind(record);
  if (state == nullptr) violation("LWVParmFuncs load", "the load state is not one of the host's");
  return parameter != nullptr && state != nullptr ? load_parameter(*state, parameter->envelope) : "There is nothing to load";
}

LWError save(LWVParmID id, const LWSaveState* record) {
  const VariantParameter* parameter = require(&Host::parameters, id, "LWVParmFuncs save");
  SaveState* state = SaveState::behind(record);
  if (state == nullptr) violation("LWVParmFuncs save", "the save state is not one of the host's");
  if (parameter == nullptr || state == nullptr) return "There is nothing to save";
  save_parameter(*state, parameter->envelope);
  return nullptr;
}

/// Apart from what every ray passes: texts need a large frame.
[[gnu::noinline]] void note_no_result() { violation("LWVParmFuncs getVal", "there is no room for the result"); }

double get_value(LWVParmID id, LWTime time, void* /*micropolygon*/, double* result) {
  const VariantParameter* parameter = require(&Host::parameters, id, "LWVParmFuncs getVal");
  const double value = parameter != nullptr ? parameter->envelope.at(time) : 0.0;
  if (result != nullptr)
    std::fill_n(result, 3, value);
  else
    note_no_result();
  return value;
}

int set_value(LWVParmID id, double* value) {
  VariantParameter* parameter = require(&Host::parameters, id, "LWVParmFuncs setVal");
  if (parameter == nullptr || value == nullptr) return 0;
  std::copy_n(value, 3, parameter->last_set.begin());
  if (parameter->envelope.animated()) return 0;
  parameter->set_constant(value[0]);
  return 1;
}

LWVParmFuncs parameter_table() {
  LWVParmFuncs functions{};
  functions.create = create;
  functions.destroy = destroy;
  functions.setup = setup;
  functions.copy = copy;
  functions.load = load;
  functions.save = save;
  functions.getVal = get_value;
  functions.setVal = set_value;
  functions.getState = functions.setState = functions.editEnv = functions.editTex = unsupported_slot;
  functions.initMP = functions.getEnv = functions.getTex = unsupported_slot;
  return functions;
}

}  // namespace

void VariantParameter::set_keys(const std::vector<std::pair<double, double>>& keys) {
  envelope.keys.clear();
  for (const auto& [time_seconds, value] : keys) envelope.keys.push_back({value, time_seconds, Span::linear, {}});
}

std::vector<VariantParameter*> ParameterService::of(LWChanGroupID group, std::uint64_t first, std::uint64_t last) const {
  std::vector<VariantParameter*> found;
  table.for_each([&](LWVParmID, VariantParameter& parameter) {
    if ((group == nullptr || parameter.group == group) && parameter.serial >= first && parameter.serial < last)
      found.push_back(&parameter);
  });
  std::sort(found.begin(), found.end(),
            [](const VariantParameter* a, const VariantParameter* b) { return a->serial < b->serial; });
  return found;
}

Service parameter_service() {
  static ServiceTable<LWVParmFuncs> handed(parameter_table());
  return handed.service(LWVPARMFUNCS_GLOBAL);
}

}  // namespace standin
