#include "framework/parameters.h"

namespace framework {

LWVParmID create_vpenv(const LWVParmFuncs* vparmf, const char* server_name, int envelope_type, const char* channel,
                       LWChanGroupID group, const double* initial) {
  if (vparmf == nullptr) return nullptr;
  const LWVParmID envelope = vparmf->create(envelope_type, LWVPDT_NOTXTR);
  if (envelope == nullptr) return nullptr;
  vparmf->setup(envelope, channel, group, nullptr, nullptr, server_name, nullptr);
  set_envelope(vparmf, envelope, *initial);
  return envelope;
}

void set_envelope(const LWVParmFuncs* vparmf, LWVParmID envelope, double value) {
  if (vparmf == nullptr || envelope == nullptr) return;
  double values[3] = {value, 0.0, 0.0};
  vparmf->setVal(envelope, values);
}

}  // namespace framework
